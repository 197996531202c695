#include "frame/zellib_msg.h"

#include "frame/MessageDlg.h"
#include "frame/ZELColor.h"
#include "frame/ZELInit.h"
#include "frame/ZELLIB_Eingabe.h"
#include "frame/ZELLIB_INI.h"
#include "frame/ZELLIB_STR.h"
#include "frame/zellib_Logging.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegularExpression>
#include <QScreen>
#include <algorithm>
#include <cstdio>

TFoMsg* FoMsg = nullptr;
QString PendingInfo;
bool ErrorTimerRunning = false;

int Fehlermeldezeit = 2000;
int FehlerAnzeige_X = 0;
int FehlerAnzeige_Y = 0;
int FehlerAnzeige_X1 = 0;
int FehlerAnzeige_X2 = 0;

namespace {
constexpr int kClientWidth = 739;
constexpr int kClientHeight = 171;
constexpr int kHeaderHeight = 26;
constexpr int kImageWidth = 106;

QFont ArialPixels(int pixels)
{
    QFont font(QStringLiteral("Arial"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(pixels);
    return font;
}

QString BreaksToLines(const QString& text)
{
    static const QRegularExpression br(QStringLiteral("<BR>"), QRegularExpression::CaseInsensitiveOption);
    return QString(text).replace(br, QStringLiteral("\n"));
}

QImage NewSignImage()
{
    QImage image(48, 64, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

// A disc with a darker rim, centred in the 48 x 64 image.
QRectF DrawDisc(QPainter& p, const QColor& fill, const QColor& rim)
{
    const QRectF disc(3, 11, 42, 42);
    p.setPen(QPen(rim, 2.5));
    p.setBrush(fill);
    p.drawEllipse(disc);
    return disc;
}

void SetLabelColor(QLabel* label, const QColor& color)
{
    QPalette pal = label->palette();
    pal.setColor(QPalette::WindowText, color);
    label->setPalette(pal);
}

TFoMsg* EnsureForm()
{
    if (!FoMsg)
        FoMsg = new TFoMsg;
    return FoMsg;
}

// An open input dialog stays in front of a note.
void RaiseModalDialog()
{
    if (CurrentEingabe)
        CurrentEingabe->raise();
}

void SetNote(int imageIndex, const QColor& gradientStart, const QColor& gradientEnd, const QString& caption,
             const QString& shownText, const QColor& textColor)
{
    FoMsg->Bild->SetImageIndex(imageIndex);
    FoMsg->Cappanel->SetGradient(gradientStart, gradientEnd);
    FoMsg->Cappanel->LabelCaption()->setText(TranslateText(caption));
    SetLabelColor(FoMsg->MsgLabel, textColor);
    FoMsg->MsgLabel->setText(shownText);
    FoMsg->MsgLabel->repaint();
}
}

QImage MsgErrorImage()
{
    QImage image = NewSignImage();
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF disc = DrawDisc(p, QColor(220, 30, 30), QColor(140, 0, 0));
    const QPointF c = disc.center();
    p.setPen(QPen(Qt::white, 6, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(c + QPointF(-10, -10), c + QPointF(10, 10));
    p.drawLine(c + QPointF(-10, 10), c + QPointF(10, -10));
    return image;
}

QImage MsgInfoImage()
{
    QImage image = NewSignImage();
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF disc = DrawDisc(p, QColor(30, 90, 210), QColor(10, 40, 120));
    const QPointF c = disc.center();
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawEllipse(QRectF(c.x() - 3.5, c.y() - 14, 7, 7));
    p.drawRoundedRect(QRectF(c.x() - 3, c.y() - 4, 6, 19), 1.5, 1.5);
    return image;
}

// ---- TGradientHeaderPanel ----

TGradientHeaderPanel::TGradientHeaderPanel(QWidget* parent) : QWidget(parent), fLabel(new QLabel(this))
{
    fLabel->setFont(ArialPixels(19));
    fLabel->setAlignment(Qt::AlignCenter);
    fLabel->setTextFormat(Qt::PlainText);
    SetLabelColor(fLabel, Qt::black);
}

void TGradientHeaderPanel::SetGradient(const QColor& startColor, const QColor& endColor)
{
    fStart = startColor;
    fEnd = endColor;
    update();
}

void TGradientHeaderPanel::paintEvent(QPaintEvent*)
{
    fLabel->setGeometry(rect());
    QPainter p(this);
    // Bands from the start colour at the top to the end colour at the bottom.
    const int h = height();
    for (int i = 0; i < fSteps; ++i) {
        const double f = fSteps > 1 ? double(i) / (fSteps - 1) : 0.0;
        const QColor c(fStart.red() + qRound((fEnd.red() - fStart.red()) * f),
                       fStart.green() + qRound((fEnd.green() - fStart.green()) * f),
                       fStart.blue() + qRound((fEnd.blue() - fStart.blue()) * f));
        const int top = i * h / fSteps;
        const int bottom = (i + 1) * h / fSteps;
        p.fillRect(0, top, width(), bottom - top, c);
    }
}

// ---- TImageSquare ----

TImageSquare::TImageSquare(QWidget* parent) : QWidget(parent) {}

void TImageSquare::SetImageIndex(int value)
{
    if (value == fImageIndex)
        return;
    fImageIndex = value;
    update();
}

void TImageSquare::paintEvent(QPaintEvent*)
{
    if (fImageIndex < 0 || fImageIndex >= fImages.size())
        return;
    const QImage& image = fImages.at(fImageIndex);
    QPainter p(this);
    p.drawImage((width() - image.width()) / 2, (height() - image.height()) / 2, image);
}

// ---- TFoMsg ----

TFoMsg::TFoMsg(QWidget* parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint),
      Cappanel(new TGradientHeaderPanel(this)),
      Bild(new TImageSquare(this)),
      MsgLabel(new QLabel(this)),
      Timer1(new TThreadedTimer(this)),
      ImageList{MsgErrorImage(), MsgInfoImage()}
{
    setWindowTitle(QStringLiteral("Meldung"));
    setFixedSize(kClientWidth, kClientHeight);
    setAutoFillBackground(true);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, Qt::white);
    setPalette(pal);

    Cappanel->setGeometry(0, 0, kClientWidth, kHeaderHeight);
    Bild->setGeometry(0, kHeaderHeight, kImageWidth, kClientHeight - kHeaderHeight);
    Bild->SetImages(ImageList);
    MsgLabel->setGeometry(kImageWidth, kHeaderHeight, kClientWidth - kImageWidth, kClientHeight - kHeaderHeight);
    MsgLabel->setFont(ArialPixels(21));
    MsgLabel->setAlignment(Qt::AlignCenter);
    MsgLabel->setWordWrap(true);
    MsgLabel->setTextFormat(Qt::PlainText);

    Timer1->SetAllowZero(true);
    Timer1->SetThreadPriority(tpHigher);
    Place(0);
}

void TFoMsg::Place(int position)
{
    switch (position) {
    case 0:
        if (FehlerAnzeige_X == 0 && FehlerAnzeige_Y == 0) {
            const QScreen* screen = QGuiApplication::primaryScreen();
            const QSize s = screen ? screen->geometry().size() : QSize(kClientWidth, kClientHeight);
            move(s.width() / 2 - width() / 2, s.height() / 2 - height() / 2);
        } else {
            move(FehlerAnzeige_X != 0 ? FehlerAnzeige_X : x(), FehlerAnzeige_Y != 0 ? FehlerAnzeige_Y : y());
        }
        break;
    case 1: move(FehlerAnzeige_X1, y()); break;
    case 2: move(FehlerAnzeige_X2, y()); break;
    default: break;
    }
}

void TFoMsg::StopTimer()
{
    Timer1->OnTimer = nullptr;
    Timer1->SetEnabled(false);
    ErrorTimerRunning = false;
}

void TFoMsg::Timer1Timer(TThreadedTimer*)
{
    Timer1->SetEnabled(false);
    ErrorTimerRunning = false;
    if (ProgrammEndet) {
        close();
        return;
    }
    if (isVisible())
        hide();
    if (!PendingInfo.isEmpty())
        MsgInfo(PendingInfo);
}

void TFoMsg::FormClick()
{
    // The timer, if running, still fires; with the window hidden it only brings
    // the pending note back.
    hide();
    ErrorTimerRunning = false;
}

void TFoMsg::mousePressEvent(QMouseEvent* event)
{
    // Taking the press makes the release come here, wherever on the window it was.
    event->accept();
}

void TFoMsg::mouseReleaseEvent(QMouseEvent* event)
{
    // Clicks on the header, the image and the text reach the form as well.
    if (rect().contains(event->position().toPoint()))
        FormClick();
}

void TFoMsg::closeEvent(QCloseEvent* event)
{
    Timer1->SetEnabled(false);
    QWidget::closeEvent(event);
}

// ---- Operations ----

namespace {
// Without a screen nobody reads the window: the text goes to standard error as well.
void ScreenFreeNote(const QString& shown)
{
    if (IsInteractive())
        return;
    std::fprintf(stderr, "%s\n", qPrintable(shown));
    std::fflush(stderr);
}
}

void MsgError(const QString& text, int position, bool stay)
{
    if (ProgrammEndet)
        return;
    EnsureForm()->Place(position);
    FoMsg->StopTimer();
    const QString shown = BreaksToLines(text);
    ScreenFreeNote(shown);
    SetNote(0, ColorToQColor(0x8080FF), ColorToQColor(0x0000FF), QStringLiteral(" F e h l e r "), shown, Qt::red);
    FoMsg->show();
    FoMsg->raise();
    QCoreApplication::processEvents();
    RaiseModalDialog();
    LogLine(QStringLiteral("ErrInfo"), shown);
    QCoreApplication::processEvents();
    if (!stay) {
        FoMsg->Timer1->OnTimer = [](TThreadedTimer* sender) { FoMsg->Timer1Timer(sender); };
        FoMsg->Timer1->SetInterval(std::uint32_t(std::max(Fehlermeldezeit, 0)));
        FoMsg->Timer1->SetEnabled(true);
        ErrorTimerRunning = true;
    }
}

void MsgInfo(const QString& text)
{
    if (ProgrammEndet)
        return;
    PendingInfo = text;
    EnsureForm()->StopTimer();
    const QString shown = BreaksToLines(text);
    ScreenFreeNote(shown);
    SetNote(1, Qt::white, ColorToQColor(0xFFFF00), QStringLiteral(" S Y S T E M - H i n w e i s "), shown,
            Qt::black);
    if (!FoMsg->isVisible()) {
        FoMsg->show();
        FoMsg->raise();
    }
    QCoreApplication::processEvents();
    RaiseModalDialog();
    LogLine(QStringLiteral("SysInfo"), shown);
    QCoreApplication::processEvents();
}

void MsgClear()
{
    if (ProgrammEndet)
        return;
    PendingInfo.clear();
    if (FoMsg && !ErrorTimerRunning && FoMsg->isVisible())
        FoMsg->hide();
}

void zellib_msg_Initialize()
{
    const QString section = QStringLiteral("programm");
    Fehlermeldezeit = ReadIniInteger(section, QStringLiteral("Fehlermeldezeit"), 2000);
    FehlerAnzeige_X = ReadIniInteger(section, QStringLiteral("FehlerAnzeige_X"), 0);
    FehlerAnzeige_Y = ReadIniInteger(section, QStringLiteral("FehlerAnzeige_Y"), 0);
    FehlerAnzeige_X1 = ReadIniInteger(section, QStringLiteral("FehlerAnzeige_X1"), 0);
    FehlerAnzeige_X2 = ReadIniInteger(section, QStringLiteral("FehlerAnzeige_X2"), 0);
}

void zellib_msg_Finalize()
{
    PendingInfo.clear();
    ErrorTimerRunning = false;
    delete FoMsg;
    FoMsg = nullptr;
}
