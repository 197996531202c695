#pragma once
// Panel base of every chart (size, margins, canvas, invalidate) and the number
// and date formatting the engine's labels use.

#include "chart/TeCanvas.h"

#include <QWidget>
#include <limits>
#include <memory>

// Smallest step an axis may use: the smallest positive double.
constexpr double TeeMinAxisIncrement = std::numeric_limits<double>::denorm_min();

// Default formats of values and percentages.
inline const QString TeeMsg_DefValueFormat = QStringLiteral("#,##0.###");
inline const QString TeeMsg_DefPercentFormat = QStringLiteral("##0.## %");

// Number by a pattern: "0" digit, "#" optional digit, "." decimal separator,
// "," thousands grouping, "E+00"/"E-00" exponent, quoted literals, up to three
// sections "positive;negative;zero". The separators written are those of FormatSettings.
QString TeeFormatFloat(const QString& format, double value);

// Date-time by a pattern: d dd ddd dddd ddddd, m mm mmm mmmm (minutes right after
// an hour), yy yyyy, h hh, n nn, s ss, z zzz, t tt, c, am/pm, a/p, "/" and ":" as
// the separators of FormatSettings, quoted literals. Case does not matter.
QString TeeFormatDateTime(const QString& format, TDateTime value);

class TCustomPanelNoCaption : public QWidget {
public:
    explicit TCustomPanelNoCaption(QWidget* parent = nullptr) : QWidget(parent) {}
};

class TCustomTeePanel : public TCustomPanelNoCaption {
public:
    explicit TCustomTeePanel(QWidget* parent = nullptr);
    ~TCustomTeePanel() override;

    TCanvas3D* Canvas() const { return fCanvas.get(); }
    void SetCanvas(std::unique_ptr<TCanvas3D> canvas);
    // Names the canvas class; "TGDIPlusCanvas" gives the smoothing canvas.
    const QString& DefaultCanvas() const { return fDefaultCanvas; }
    void SetDefaultCanvas(const QString& className);
    bool BufferedDisplay() const { return fCanvas->BufferedDisplay(); }
    void SetBufferedDisplay(bool v) { fCanvas->SetBufferedDisplay(v); }

    const TRect& ChartRect() const { return fChartRect; }
    // Sets the plot rectangle and its derived width, height and centre.
    void SetChartRect(const TRect& r);
    const TRect& ChartBounds() const { return fChartBounds; }
    void SetChartBounds(const TRect& r) { fChartBounds = r; }
    int ChartWidth() const { return fChartWidth; }
    int ChartHeight() const { return fChartHeight; }
    int ChartXCenter() const { return fChartXCenter; }
    int ChartYCenter() const { return fChartYCenter; }
    void RecalcWidthHeight();

    int MarginLeft() const { return fMarginLeft; }
    void SetMarginLeft(int v) { SetIntegerProperty(fMarginLeft, v); }
    int MarginTop() const { return fMarginTop; }
    void SetMarginTop(int v) { SetIntegerProperty(fMarginTop, v); }
    int MarginRight() const { return fMarginRight; }
    void SetMarginRight(int v) { SetIntegerProperty(fMarginRight, v); }
    int MarginBottom() const { return fMarginBottom; }
    void SetMarginBottom(int v) { SetIntegerProperty(fMarginBottom, v); }
    TTeeUnits MarginUnits() const { return fMarginUnits; }
    void SetMarginUnits(TTeeUnits v) { if (v != fMarginUnits) { fMarginUnits = v; Invalidate(); } }
    bool View3D() const { return fView3D; }
    void SetView3D(bool v) { if (v != fView3D) { fView3D = v; Invalidate(); } }
    bool Monochrome() const { return fMonochrome; }
    void SetMonochrome(bool v) { if (v != fMonochrome) { fMonochrome = v; Invalidate(); } }
    TColor Color() const { return fColor; }
    void SetColor(TColor v) { if (v != fColor) { fColor = v; Invalidate(); } }

    // While a stored chart is being read, setters neither check ranges nor paint.
    bool Loading() const { return fLoading; }
    void SetLoading(bool v) { fLoading = v; }
    // True while a paint runs: invalidate requests then are ignored.
    bool Drawing() const { return fDrawing; }

    // Marks the control for a paint; nothing is recomputed here.
    virtual void Invalidate();

protected:
    void SetIntegerProperty(int& field, int v)
    {
        if (v != field) {
            field = v;
            Invalidate();
        }
    }

    std::unique_ptr<TCanvas3D> fCanvas;
    QString fDefaultCanvas = QStringLiteral("TTeeCanvas3D");
    TRect fChartRect, fChartBounds;
    int fChartWidth = 0, fChartHeight = 0, fChartXCenter = 0, fChartYCenter = 0;
    int fMarginLeft = 3, fMarginTop = 4, fMarginRight = 3, fMarginBottom = 4;
    TTeeUnits fMarginUnits = muPercent;
    bool fView3D = true;
    bool fMonochrome = false;
    TColor fColor = clBtnFace;
    bool fLoading = false;
    bool fDrawing = false;
};
