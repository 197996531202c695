#pragma once
// Drawing vocabulary of the chart engine: pens, brushes, fonts and the abstract
// canvas every chart element paints through, plus the plain QPainter canvas.
// The same drawing code serves the screen, an image and a printer.

#include "chart/ColumnFold.h"
#include "frame/ZELBase.h"

#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>
#include <QPen>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

constexpr TColor clDkGray = 0x808080;

enum TTeeUnits { muPercent, muPixels };

enum TPenStyle { psSolid, psDash, psDot, psDashDot, psDashDotDot, psClear, psInsideFrame };
enum TPenMode { pmCopy, pmXor, pmNotXor };
enum TPenEndStyle { esRound, esSquare, esFlat };
enum TPenJoinStyle { jsRound, jsBevel, jsMitter };
enum TBrushStyle { bsSolid, bsClear, bsHorizontal, bsVertical, bsFDiagonal, bsBDiagonal, bsCross, bsDiagCross };
enum TFontStyle { fsBold = 1, fsItalic = 2, fsUnderline = 4, fsStrikeOut = 8 };
using TFontStyles = int;

// Change notification shared by pens, brushes and fonts: an element hangs its
// invalidate on OnChange; the stamp lets a canvas see cheaply that a pen changed.
class TTeeChangeNotify {
public:
    std::function<void()> OnChange;
    unsigned ChangeStamp() const { return fStamp; }

protected:
    void Changed()
    {
        ++fStamp;
        if (OnChange)
            OnChange();
    }

private:
    unsigned fStamp = 0;
};

class TPen : public TTeeChangeNotify {
public:
    virtual ~TPen() = default;
    TColor Color() const { return fColor; }
    void SetColor(TColor v) { if (v != fColor) { fColor = v; Changed(); } }
    int Width() const { return fWidth; }
    void SetWidth(int v) { if (v != fWidth) { fWidth = v; Changed(); } }
    TPenStyle Style() const { return fStyle; }
    void SetStyle(TPenStyle v) { if (v != fStyle) { fStyle = v; Changed(); } }
    TPenMode Mode() const { return fMode; }
    void SetMode(TPenMode v) { if (v != fMode) { fMode = v; Changed(); } }

protected:
    TColor fColor = clBlack;
    int fWidth = 1;
    TPenStyle fStyle = psSolid;
    TPenMode fMode = pmCopy;
};

class TTeePen : public TPen {
public:
    TTeePen() = default;
    // Copies everything a pen carries, including visibility (OnChange stays).
    void Assign(const TTeePen& other);
    bool Visible() const { return fVisible; }
    void SetVisible(bool v) { if (v != fVisible) { fVisible = v; Changed(); } }
    void Show() { SetVisible(true); }
    void Hide() { SetVisible(false); }
    bool SmallDots() const { return fSmallDots; }
    void SetSmallDots(bool v) { if (v != fSmallDots) { fSmallDots = v; Changed(); } }
    int SmallSpace() const { return fSmallSpace; }
    void SetSmallSpace(int v) { if (v != fSmallSpace) { fSmallSpace = v; Changed(); } }
    TPenEndStyle EndStyle() const { return fEndStyle; }
    void SetEndStyle(TPenEndStyle v) { if (v != fEndStyle) { fEndStyle = v; Changed(); } }
    TPenJoinStyle JoinStyle() const { return fJoinStyle; }
    void SetJoinStyle(TPenJoinStyle v) { if (v != fJoinStyle) { fJoinStyle = v; Changed(); } }
    TColor Fill() const { return fFill; }
    void SetFill(TColor v) { if (v != fFill) { fFill = v; Changed(); } }

protected:
    bool fVisible = true;
    bool fSmallDots = false;
    int fSmallSpace = 0;
    TPenEndStyle fEndStyle = esRound;
    TPenJoinStyle fJoinStyle = jsRound;
    TColor fFill = clNone;
};

class TTeeHiddenPen : public TTeePen {
public:
    TTeeHiddenPen() { fVisible = false; }
};

// The pen of ticks.
class TDarkGrayPen : public TTeePen {
public:
    TDarkGrayPen() { fColor = clDkGray; }
};

enum TGradientDirection { gdTopBottom, gdBottomTop, gdLeftRight, gdRightLeft };

class TTeeGradient : public TTeeChangeNotify {
public:
    bool Visible() const { return fVisible; }
    void SetVisible(bool v) { if (v != fVisible) { fVisible = v; Changed(); } }
    TColor StartColor() const { return fStartColor; }
    void SetStartColor(TColor v) { if (v != fStartColor) { fStartColor = v; Changed(); } }
    TColor EndColor() const { return fEndColor; }
    void SetEndColor(TColor v) { if (v != fEndColor) { fEndColor = v; Changed(); } }
    TGradientDirection Direction() const { return fDirection; }
    void SetDirection(TGradientDirection v) { if (v != fDirection) { fDirection = v; Changed(); } }

private:
    bool fVisible = false;
    TColor fStartColor = clWhite;
    TColor fEndColor = clYellow;
    TGradientDirection fDirection = gdTopBottom;
};

// A copy of a shape's outline in one colour, moved by HorizSize and VertSize pixels:
// positive sizes lie right and below, negative ones left and above.
class TTeeShadow : public TTeeChangeNotify {
public:
    explicit TTeeShadow(TColor color = clGray) : fColor(color) {}
    TColor Color() const { return fColor; }
    void SetColor(TColor v) { if (v != fColor) { fColor = v; Changed(); } }
    int HorizSize() const { return fHorizSize; }
    void SetHorizSize(int v) { if (v != fHorizSize) { fHorizSize = v; Changed(); } }
    int VertSize() const { return fVertSize; }
    void SetVertSize(int v) { if (v != fVertSize) { fVertSize = v; Changed(); } }
    void SetSize(int v) { SetHorizSize(v); SetVertSize(v); }
    // Shown when switched on and moved at all.
    bool Visible() const { return fVisible && (fHorizSize != 0 || fVertSize != 0); }
    void SetVisible(bool v) { if (v != fVisible) { fVisible = v; Changed(); } }

private:
    TColor fColor;
    int fHorizSize = 0, fVertSize = 0;
    bool fVisible = true;
};

class TBrush : public TTeeChangeNotify {
public:
    virtual ~TBrush() = default;
    TColor Color() const { return fColor; }
    void SetColor(TColor v) { if (v != fColor) { fColor = v; Changed(); } }
    TBrushStyle Style() const { return fStyle; }
    void SetStyle(TBrushStyle v) { if (v != fStyle) { fStyle = v; Changed(); } }
    void Assign(const TBrush& other) { fColor = other.fColor; fStyle = other.fStyle; Changed(); }

protected:
    TColor fColor = clWhite;
    TBrushStyle fStyle = bsSolid;
};

class TTeeBrush : public TBrush {
public:
    TTeeGradient& Gradient() { return fGradient; }

private:
    TTeeGradient fGradient;
};

class TFont : public TTeeChangeNotify {
public:
    virtual ~TFont() = default;
    TColor Color() const { return fColor; }
    void SetColor(TColor v) { if (v != fColor) { fColor = v; Changed(); } }
    // Character height in pixels; the point size follows it at 96 dots per inch.
    int Height() const { return fHeight; }
    void SetHeight(int v) { if (v != fHeight) { fHeight = v; Changed(); } }
    int Size() const;
    void SetSize(int points);
    const QString& Name() const { return fName; }
    void SetName(const QString& v) { if (v != fName) { fName = v; Changed(); } }
    TFontStyles Style() const { return fStyle; }
    void SetStyle(TFontStyles v) { if (v != fStyle) { fStyle = v; Changed(); } }
    void Assign(const TFont& other);
    QFont ToQFont() const;

protected:
    TColor fColor = clBlack;
    int fHeight = -11;   // 8 points
    QString fName = QStringLiteral("Verdana");
    TFontStyles fStyle = 0;
};

// Only colour, height, name and style act on the drawing; the rest is kept as data.
class TTeeFont : public TFont {
public:
    double SizeFloat = 0;
    int Quality = 0;
    bool Shadow = false;
    bool Emboss = false;
    bool OutLine = false;
    QString Picture;
    int InterCharSize = 0;
    bool DefaultFont = true;
    TTeeGradient& Gradient() { return fGradient; }

private:
    TTeeGradient fGradient;
};

enum TCanvasBackMode { cbmNone, cbmTransparent, cbmOpaque };

// Text alignment flags, combined like the platform's: one horizontal, one vertical.
constexpr unsigned TA_LEFT = 0, TA_RIGHT = 2, TA_CENTER = 6, TA_TOP = 0, TA_BOTTOM = 8, TA_BASELINE = 24;

using TTeeBlend = int;

// The abstract canvas: state every implementation shares and the operations the
// chart elements call.
class TTeeCanvas {
public:
    TTeeCanvas();
    virtual ~TTeeCanvas() = default;
    TTeeCanvas(const TTeeCanvas&) = delete;
    TTeeCanvas& operator=(const TTeeCanvas&) = delete;

    QPaintDevice* ReferenceCanvas() const { return fReferenceCanvas; }
    TTeeBrush& Brush() { return fBrush; }
    TTeePen& Pen() { return fPen; }
    TTeeFont& Font() { return fFont; }
    TCanvasBackMode BackMode() const { return fBackMode; }
    void SetBackMode(TCanvasBackMode v) { fBackMode = v; }
    TColor BackColor() const { return fBackColor; }
    void SetBackColor(TColor v) { fBackColor = v; }
    TTeeGradient& Gradient() { return fBrush.Gradient(); }
    bool Metafiling() const { return fMetafiling; }
    void SetMetafiling(bool v) { fMetafiling = v; }
    unsigned TextAlign() const { return fTextAlign; }
    void SetTextAlign(unsigned v) { fTextAlign = v; }

    void AssignVisiblePen(const TTeePen& pen) { AssignVisiblePenColor(pen, pen.Color()); }
    virtual void AssignVisiblePenColor(const TTeePen& pen, TColor color);
    void AssignFont(const TFont& font) { fFont.Assign(font); }

    virtual TRect InitWindow(QPaintDevice* target, const TRect& rect, bool is3D, TColor backColor) = 0;
    virtual void ShowImage(QPaintDevice* target, const TRect& rect) = 0;

    virtual void Rectangle(const TRect& r) = 0;
    virtual void FillRect(const TRect& r) = 0;
    virtual void MoveTo(int x, int y) = 0;
    virtual void LineTo(int x, int y) = 0;
    virtual void Line(int x0, int y0, int x1, int y1);
    virtual void HorizLine(int left, int right, int y);
    virtual void VertLine(int x, int top, int bottom);
    virtual void Polyline(const TPoint* points, int count) = 0;
    // Whether LineTo keeps of a run of points in one pixel column only the first,
    // the two extremes in their order and the last, so that these four draw the same.
    virtual bool FoldsColumns() const { return false; }
    // LineTo to each point in turn: one call for a run of a curve.
    virtual void LineToPoints(const TPoint* points, int count)
    {
        for (int i = 0; i < count; ++i)
            LineTo(points[i].X, points[i].Y);
    }
    virtual void Ellipse(const TRect& r) = 0;
    virtual void RoundRect(const TRect& r, int xRadius, int yRadius) = 0;
    // Fills r running from the gradient's start colour to its end colour.
    virtual void GradientFill(const TRect& r, const TTeeGradient& gradient) = 0;
    // A picture stretched over r, tiled from r's corner, or centred in r; clipped to r.
    virtual void StretchDraw(const TRect& r, const QImage& image) = 0;
    virtual void TileDraw(const TRect& r, const QImage& image) = 0;
    virtual void CenterDraw(const TRect& r, const QImage& image) = 0;
    virtual void TextOut(int x, int y, const QString& text) = 0;
    virtual void RotateLabel(int x, int y, const QString& text, double angle) = 0;
    virtual int TextWidth(const QString& text) = 0;
    virtual int TextHeight(const QString& text) = 0;
    int FontHeight() { return TextHeight(QStringLiteral("W")); }
    virtual void ClipRectangle(const TRect& r) = 0;
    virtual void UnClipRectangle() = 0;
    virtual void BeginEntity(const QString& name) { (void)name; }
    virtual void EndEntity() {}
    virtual TTeeBlend BeginBlending(const TRect& r, int percent) = 0;
    virtual void EndBlending(TTeeBlend handle) = 0;
    virtual bool SupportsFullRotation() const { return false; }
    // Between FastLineMode(true) and FastLineMode(false) lines skip smoothing.
    virtual void FastLineMode(bool on) { (void)on; }

protected:
    QPaintDevice* fReferenceCanvas = nullptr;
    TTeeBrush fBrush;
    TTeePen fPen;
    TTeeFont fFont;
    TCanvasBackMode fBackMode = cbmTransparent;
    TColor fBackColor = clWhite;
    bool fMetafiling = false;
    unsigned fTextAlign = TA_LEFT | TA_TOP;
};

// The layer where a 3D projection would sit; 2D charts only need its buffering switch.
class TCanvas3D : public TTeeCanvas {
public:
    bool BufferedDisplay() const { return fBufferedDisplay; }
    void SetBufferedDisplay(bool v) { fBufferedDisplay = v; }

protected:
    bool fBufferedDisplay = true;
};

// QPainter canvas. Consecutive LineTo calls with the same pen are collected and
// reach the painter as one polyline: a curve of many thousand points is one call.
class TTeeCanvas3D : public TCanvas3D {
public:
    TTeeCanvas3D();
    ~TTeeCanvas3D() override;

    TRect InitWindow(QPaintDevice* target, const TRect& rect, bool is3D, TColor backColor) override;
    void ShowImage(QPaintDevice* target, const TRect& rect) override;
    // The finished picture of the last buffered paint; empty when unbuffered.
    const QImage& Bitmap() const { return fBitmap; }
    // Draws on an open painter (printer, image export) instead of a device; EndPainter() closes.
    void BeginPainter(QPainter* painter);
    void EndPainter();
    // Opens a painter on the kept picture, for drawing between two paints (the
    // rubber band, points appended without a repaint); false without a picture.
    bool BeginBufferPaint();
    bool Painting() const { return fPainter != nullptr; }
    QPainter* Painter() { return fPainter; }

    TPoint PenPos() const { return {fX, fY}; }
    bool AntiAlias() const { return fAntiAlias; }
    virtual void SetAntiAlias(bool v);
    bool AntiAliasText() const { return fAntiAliasText; }
    virtual void SetAntiAliasText(bool v);

    void Rectangle(const TRect& r) override;
    void FillRect(const TRect& r) override;
    void MoveTo(int x, int y) override;
    void LineTo(int x, int y) override;
    void Polyline(const TPoint* points, int count) override;
    void LineToPoints(const TPoint* points, int count) override;
    // Exclusive-or lines keep every segment.
    bool FoldsColumns() const override { return fPen.Mode() == pmCopy; }
    void Ellipse(const TRect& r) override;
    void RoundRect(const TRect& r, int xRadius, int yRadius) override;
    void GradientFill(const TRect& r, const TTeeGradient& gradient) override;
    void StretchDraw(const TRect& r, const QImage& image) override;
    void TileDraw(const TRect& r, const QImage& image) override;
    void CenterDraw(const TRect& r, const QImage& image) override;
    void TextOut(int x, int y, const QString& text) override;
    void RotateLabel(int x, int y, const QString& text, double angle) override;
    int TextWidth(const QString& text) override;
    int TextHeight(const QString& text) override;
    void ClipRectangle(const TRect& r) override;
    void UnClipRectangle() override;
    TTeeBlend BeginBlending(const TRect& r, int percent) override;
    void EndBlending(TTeeBlend handle) override;
    void FastLineMode(bool on) override;

    // Number of painter calls that drew lines since InitWindow; lets callers see batching.
    int LineCalls() const { return fLineCalls; }

protected:
    void Flush();
    void OpenColumn(int x, int y)
    {
        fColOpen = true;
        fCol.Open(x, y);
    }
    // A point on the open column with the pen it was started with only widens the
    // column: only its extremes and its last point can show.
    bool WidenColumn(int x, int y, unsigned penStamp)
    {
        if (!fColOpen || x != fCol.X || fPendingPen != penStamp)
            return false;
        fCol.Add(y);
        fX = x;
        fY = y;
        return true;
    }
    void CloseColumn();
    bool ApplyPen();              // false when the pen draws nothing
    void ApplyMode(TPenMode mode);
    bool ApplyBrush();            // false when the brush fills nothing
    void ApplyHints();
    QPen MakeQPen() const;
    void DrawText(int x, int y, const QString& text, double angle);
    const QFontMetrics& Metrics();

    QPainter* fPainter = nullptr;
    std::unique_ptr<QPainter> fOwnPainter;
    QImage fBitmap;
    QPoint fOrigin;               // where the buffer lands on the target
    int fX = 0, fY = 0;
    bool fAntiAlias = false;
    bool fAntiAliasText = false;
    bool fFastLine = false;
    std::vector<QPoint> fPending; // polyline collected from LineTo calls
    // The pixel column being collected: a run of points on one X folds into its
    // first, lowest, highest and last point, which paint the same pixels.
    bool fColOpen = false;
    TColumnFold fCol;
    unsigned fPendingPen = 0;
    QPen fPendingQPen;            // the pen the collected polyline was started with
    TPenMode fPendingMode = pmCopy;
    int fLineCalls = 0;
    int fBlendDepth = 0;
    QFont fQFont;
    std::optional<QFontMetrics> fMetrics;
    unsigned fMetricsStamp = 0;
};
