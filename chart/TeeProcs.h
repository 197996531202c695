#pragma once
// Panel base of every chart (size, margins, canvas, invalidate) and the number
// and date formatting the engine's labels use.

#include "chart/TeCanvas.h"

#include <QWidget>
#include <algorithm>
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

enum TPanelBevel { bvNone, bvLowered, bvRaised, bvSpace };

// A panel without caption: its frame of two bevels, each BevelWidth wide.
class TCustomPanelNoCaption : public QWidget {
public:
    explicit TCustomPanelNoCaption(QWidget* parent = nullptr) : QWidget(parent) {}
    TPanelBevel BevelInner() const { return fBevelInner; }
    void SetBevelInner(TPanelBevel v) { if (v != fBevelInner) { fBevelInner = v; BevelChanged(); } }
    TPanelBevel BevelOuter() const { return fBevelOuter; }
    void SetBevelOuter(TPanelBevel v) { if (v != fBevelOuter) { fBevelOuter = v; BevelChanged(); } }
    int BevelWidth() const { return fBevelWidth; }
    void SetBevelWidth(int v) { v = std::max(v, 1); if (v != fBevelWidth) { fBevelWidth = v; BevelChanged(); } }
    // Pixels the two bevels take from each side.
    int BevelsSize() const { return ((fBevelOuter != bvNone) + (fBevelInner != bvNone)) * fBevelWidth; }

protected:
    virtual void BevelChanged() { update(); }
    TPanelBevel fBevelInner = bvNone, fBevelOuter = bvNone;
    int fBevelWidth = 1;
};

class TCustomTeePanel : public TCustomPanelNoCaption {
public:
    explicit TCustomTeePanel(QWidget* parent = nullptr);
    ~TCustomTeePanel() override;

    // The paint entry: starts the canvas on target, forms ChartBounds and
    // ChartRect, runs InternalDraw and shows the buffer on target.
    void Draw(QPaintDevice* target, const TRect& rect);
    // The whole chart as it would show in the window, drawn without one.
    QImage RenderImage();
    // True once a paint left a picture that a repaint without change may copy.
    bool BufferValid() const { return fBufferValid; }
    // Draws on the kept picture between paints; the window then only copies it.
    bool BeginLiveDraw();
    void EndLiveDraw();
    QSize sizeHint() const override { return QSize(400, 250); }
    bool Printing() const { return fPrinting; }
    void SetPrinting(bool v) { fPrinting = v; }

    int PrintMargins[4] = {15, 15, 15, 15};
    TTeeHiddenPen Border;
    int BorderRound = 0;
    // Drawn under the panel, beside it by their sizes; both default to no size.
    TTeeShadow& Shadow() { return fShadow; }
    TTeeShadow& Emboss() { return fEmboss; }
    // The panel without the room its shadow and emboss take at their sides.
    TRect PanelBody(const TRect& bounds) const;
    // Frame of the panel on each side of its body: border pen and bevels.
    int FrameSize() const { return (Border.Visible() ? Border.Width() : 0) + BevelsSize(); }
    // ChartRect before titles, legend and axes: the body less frame and margins.
    TRect MarginRect(const TRect& bounds) const;
    bool PrintProportional = true;
    int View3DOptions = 0;
    // Set by a click handler to stop the zoom and pan that would follow.
    bool CancelMouse = false;
    // Marks a panel that an editor holds; the panel itself draws and answers the
    // mouse as before.
    bool Locked = false;
    // Width and height of the drawing area as of the first draw.
    int DrawWidth() const { return fDrawWidth; }
    int DrawHeight() const { return fDrawHeight; }

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
    virtual void InternalDraw(const TRect& rect) { (void)rect; }
    void BevelChanged() override { Invalidate(); }
    void paintEvent(QPaintEvent* event) override;
    bool fBufferValid = false;
    bool fPrinting = false;
    int fDrawWidth = 0, fDrawHeight = 0;

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
    TTeeShadow fShadow{clGray}, fEmboss{clWhite};
};

// ------------------------------------------------------------- zoom and pan

enum TMouseWheelStyle { pmwNormal, pmwInverted, pmwNone };
enum TPanningMode { pmNone, pmHorizontal, pmVertical, pmBoth };
enum TTeeZoomDirection { tzdHorizontal, tzdVertical, tzdBoth };

// A rectangle dragged with the mouse: the corner where it started and the one
// where the mouse is.
class TZoomPanning {
public:
    virtual ~TZoomPanning() = default;
    bool Active = false;
    int X0 = 0, Y0 = 0, X1 = 0, Y1 = 0;
    void Activate(int x, int y)
    {
        X0 = X1 = x;
        Y0 = Y1 = y;
        Active = true;
    }
    // Orders the corners so that X0 <= X1 and Y0 <= Y1.
    void Check()
    {
        if (X0 > X1)
            std::swap(X0, X1);
        if (Y0 > Y1)
            std::swap(Y0, Y1);
    }
};

class TTeeZoomPen : public TTeePen {
public:
    TTeeZoomPen() { fColor = clWhite; }
};
class TTeeZoomBrush : public TTeeBrush {
public:
    TTeeZoomBrush() { fStyle = bsClear; }
};

class TTeeZoom : public TZoomPanning {
public:
    bool Allow = true;
    bool Animated = false;
    int AnimatedSteps = 8;
    double AnimatedZoomFactor = 3.0;
    TTeeZoomDirection Direction = tzdBoth;
    bool FullRepaint = false;
    bool History = false;
    bool KeepAspectRatio = false;
    Qt::KeyboardModifiers KeyShift = Qt::NoModifier;
    int MinimumPixels = 16;
    Qt::MouseButton MouseButton = Qt::LeftButton;
    TMouseWheelStyle MouseWheel = pmwNone;
    bool UpLeftZooms = false;
    // Created on first use.
    TTeeZoomBrush& Brush();
    TTeeZoomPen& Pen();
    bool HasBrush() const { return fBrush != nullptr; }

private:
    std::unique_ptr<TTeeZoomBrush> fBrush;
    std::unique_ptr<TTeeZoomPen> fPen;
};

class TTeePanning : public TZoomPanning {
public:
    bool InsideBounds = false;
    TMouseWheelStyle MouseWheel = pmwNormal;
};

enum TBackImageMode { pbmStretch, pbmTile, pbmCenter };

// The layer of background picture, gradient, zoom and panning.
class TCustomTeePanelExtended : public TCustomTeePanel {
public:
    explicit TCustomTeePanelExtended(QWidget* parent = nullptr);

    TTeeZoom& Zoom() { return fZoom; }
    TTeePanning& Panning() { return fPanning; }
    TPanningMode AllowPanning() const { return fAllowPanning; }
    void SetAllowPanning(TPanningMode v) { fAllowPanning = v; }
    TMouseWheelStyle ZoomWheel() const { return fZoomWheel; }
    void SetZoomWheel(TMouseWheelStyle v) { fZoomWheel = v; }
    bool ZoomedState() const { return fZoomedState; }
    void SetZoomedState(bool v) { fZoomedState = v; }
    Qt::MouseButton ScrollMouseButton() const { return fScrollMouseButton; }
    void SetScrollMouseButton(Qt::MouseButton v) { fScrollMouseButton = v; }

    // Background picture: over the whole panel, or with BackImageInside over the plot
    // only. With BackImageTransp the colour of its bottom-left pixel lets the back show.
    QImage BackImage;
    TBackImageMode BackImageMode = pbmStretch;
    bool BackImageInside = false;
    bool BackImageTransp = false;
    // Background running from one colour to another, over the fill of Color.
    TTeeGradient& Gradient() { return fGradient; }
    // Draws BackImage into r by its mode.
    void DrawBackImage(const TRect& r);

protected:
    TTeeZoom fZoom;
    TTeePanning fPanning;
    TPanningMode fAllowPanning = pmBoth;
    TMouseWheelStyle fZoomWheel = pmwNone;
    Qt::MouseButton fScrollMouseButton = Qt::RightButton;
    bool fZoomedState = false;
    TTeeGradient fGradient;
};
