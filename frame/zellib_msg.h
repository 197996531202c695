#pragma once
// The borderless, non-modal message window: an error note that goes away by
// itself, or a system note that stays until it is cleared. A system note is kept
// as pending and returns once an error note has come and gone. Every note is logged.
// Main thread only.

#include "frame/ThdTimer.h"
#include "frame/ZELBase.h"

#include <QColor>
#include <QImage>
#include <QLabel>
#include <QWidget>

// Header strip with a vertical colour gradient drawn in bands and a centred caption.
class TGradientHeaderPanel : public QWidget {
public:
    explicit TGradientHeaderPanel(QWidget* parent = nullptr);
    void SetGradient(const QColor& startColor, const QColor& endColor);
    QColor GradientStartColor() const { return fStart; }
    QColor GradientEndColor() const { return fEnd; }
    int GradientSteps() const { return fSteps; }
    QLabel* LabelCaption() const { return fLabel; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor fStart = Qt::white, fEnd = Qt::white;
    int fSteps = 15;
    QLabel* fLabel;
};

// Shows one image of a list, centred.
class TImageSquare : public QWidget {
public:
    explicit TImageSquare(QWidget* parent = nullptr);
    void SetImages(QList<QImage> images) { fImages = std::move(images); update(); }
    int ImageIndex() const { return fImageIndex; }
    void SetImageIndex(int value);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<QImage> fImages;
    int fImageIndex = -1;
};

class TFoMsg : public QWidget {
public:
    explicit TFoMsg(QWidget* parent = nullptr);

    TGradientHeaderPanel* Cappanel;
    TImageSquare* Bild;
    QLabel* MsgLabel;
    TThreadedTimer* Timer1;
    // 48 x 64 each: 0 the error sign, 1 the information sign.
    QList<QImage> ImageList;

    // Places the form for the position of an error note (0, 1 or 2).
    void Place(int position);
    void Timer1Timer(TThreadedTimer* Sender);
    void FormClick();
    void StopTimer();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
};

// The form, created on first use.
extern TFoMsg* FoMsg;
extern QString PendingInfo;
extern bool ErrorTimerRunning;

// Settings of section "programm", read at unit start.
extern int Fehlermeldezeit;    // ms an error note stays
extern int FehlerAnzeige_X;    // left edge at position 0, if not 0
extern int FehlerAnzeige_Y;    // top edge at position 0, if not 0
extern int FehlerAnzeige_X1;   // left edge at position 1
extern int FehlerAnzeige_X2;   // left edge at position 2

// An error note; with stay false it hides itself after Fehlermeldezeit.
void MsgError(const QString& text, int position, bool stay);
// A system note that becomes the pending one.
void MsgInfo(const QString& text);
// Drops the pending note and hides the window, unless an error note is timing.
void MsgClear();

// The two signs of the image list, drawn here rather than shipped as files.
QImage MsgErrorImage();
QImage MsgInfoImage();

// Unit start (after the configuration store is read) and end.
void zellib_msg_Initialize();
void zellib_msg_Finalize();
