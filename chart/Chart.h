#pragma once
// The chart control: titles, walls, legend, the mouse (zoom, undo, pan, wheel)
// and the hit test, over the axis panel's draw sequence.

#include "chart/TeEngine.h"

#include <QStringList>
#include <array>
#include <memory>
#include <vector>

class TCustomChart;

enum TChartClickedArea {
    caNone, caLegend, caAxis, caSeries, caTitle, caFoot, caChartRect, caSeriesMarks, caSeriesPointer,
    caSubTitle, caSubFoot, caAxisTitle
};

struct TChartClickResult {
    TChartClickedArea ClickedArea = caNone;
    int PointIndex = -1;
    TChartSeries* ASeries = nullptr;
    TChartAxis* AAxis = nullptr;
};

enum TAlignment { taLeftJustify, taRightJustify, taCenter };

// A framed, filled box with text that hangs on a chart.
class TTeeCustomShape {
public:
    explicit TTeeCustomShape(TCustomChart* chart);
    virtual ~TTeeCustomShape() = default;
    TTeeCustomShape(const TTeeCustomShape&) = delete;
    TTeeCustomShape& operator=(const TTeeCustomShape&) = delete;

    bool Visible() const { return fVisible; }
    void SetVisible(bool v) { if (v != fVisible) { fVisible = v; Changed(); } }
    bool Transparent() const { return fTransparent; }
    void SetTransparent(bool v) { if (v != fTransparent) { fTransparent = v; Changed(); } }
    TTeeFont& Font() { return fFont; }
    TTeePen& Frame() { return fFrame; }
    TTeeBrush& Brush() { return fBrush; }
    int ShadowSize = 0;
    // Where the shape was drawn by the last paint.
    TRect ShapeBounds;
    TCustomChart* ParentChart() const { return fChart; }
    // Frame width the shape takes out of the layout.
    int FrameWidth() const { return fFrame.Visible() ? fFrame.Width() : 0; }
    // Background and frame into r.
    void DrawShape(const TRect& r);

protected:
    void Changed();
    TCustomChart* fChart;
    bool fVisible = true;
    bool fTransparent = false;
    TTeeFont fFont;
    TTeePen fFrame;
    TTeeBrush fBrush;
};

class TStringsShape : public TTeeCustomShape {
public:
    using TTeeCustomShape::TTeeCustomShape;
    const QStringList& Text() const { return fText; }
    void SetText(const QStringList& v) { fText = v; Changed(); }
    void SetCaption(const QString& v) { SetText(v.isEmpty() ? QStringList() : v.split(u'\n')); }

protected:
    QStringList fText;
};

class TChartTitle : public TStringsShape {
public:
    explicit TChartTitle(TCustomChart* chart, bool foot = false);
    TAlignment Alignment() const { return fAlignment; }
    void SetAlignment(TAlignment v) { if (v != fAlignment) { fAlignment = v; Changed(); } }
    bool AdjustFrame = true;
    int VertMargin = 5;
    bool CustomPosition = false;
    int Left = 0, Top = 0;
    bool IsFoot() const { return fFoot; }
    // A title with no text counts as not visible.
    bool ShouldDraw() const { return fVisible && !fText.isEmpty(); }
    // Takes the title's band out of the chart rectangle; remember keeps where it lies.
    void CalcBand(TRect& chartRect, bool remember = true);
    void Draw();

private:
    TAlignment fAlignment = taCenter;
    bool fFoot;
};

class TChartFootTitle : public TChartTitle {
public:
    explicit TChartFootTitle(TCustomChart* chart) : TChartTitle(chart, true) {}
};

class TChartWall {
public:
    explicit TChartWall(TCustomChart* chart);
    virtual ~TChartWall() = default;
    int Size = 0;
    bool Dark3D = true;
    bool AutoHide = false;
    double StartPosition = 0, EndPosition = 100;
    TTeePen& Pen() { return fPen; }
    TTeeBrush& Brush() { return fBrush; }
    TColor Color() const { return fColor; }
    void SetColor(TColor v);
    bool Transparent() const { return fTransparent; }
    void SetTransparent(bool v);
    bool Visible() const { return fVisible; }
    void SetVisible(bool v);

protected:
    void Changed();
    TCustomChart* fChart;
    TTeePen fPen;
    TTeeBrush fBrush;
    TColor fColor = clTeeColor;
    bool fTransparent = false;
    bool fVisible = true;
};

class TChartBackWall : public TChartWall {
public:
    explicit TChartBackWall(TCustomChart* chart) : TChartWall(chart)
    {
        fColor = clSilver;
        fTransparent = true;
    }
};
class TChartLeftWall : public TChartWall { public: using TChartWall::TChartWall; };
class TChartRightWall : public TChartWall { public: using TChartWall::TChartWall; };
class TChartBottomWall : public TChartWall { public: using TChartWall::TChartWall; };

class TChartWalls {
public:
    explicit TChartWalls(TCustomChart* chart) : BackWall(chart), LeftWall(chart), RightWall(chart), BottomWall(chart) {}
    TChartBackWall BackWall;
    TChartLeftWall LeftWall;
    TChartRightWall RightWall;
    TChartBottomWall BottomWall;
};

// ------------------------------------------------------------------ legend

enum TLegendAlignment { laLeft, laRight, laTop, laBottom };
enum TCheckBoxesStyle { cbsCheck, cbsRadio };
enum TLegendJustify { ljAutomatic, ljYes, ljNo };
enum TLegendStyle { lsAuto, lsSeries, lsValues, lsLastValues, lsSeriesGroups };
enum TLegendTextStyle { ltsPlain, ltsLeftValue, ltsRightValue, ltsLeftPercent, ltsRightPercent, ltsXValue, ltsValue,
                        ltsPercent, ltsXAndValue, ltsXAndPercent };
enum TLegendSymbolPosition { spLeft, spRight };
enum TLegendSymbolSize { lcsPercent, lcsPixels };

class TLegendSymbol {
public:
    bool Continuous = false;
    bool DefaultPen = true;
    int Height = 100;
    TLegendSymbolSize HeightUnits = lcsPercent;
    TLegendSymbolPosition Position = spLeft;
    bool Squared = false;
    bool UseImages = true;
    bool Visible = true;
    int Width = 20;
    TLegendSymbolSize WidthUnits = lcsPercent;
    TTeePen Pen;
    TTeeGradient Gradient;
    int ShadowSize = 0, EmbossSize = 0;
    std::function<void(TChartSeries* series, int valueIndex, const TRect& rect)> OnDraw;
};

struct TLegendItem {
    TAlignment Align = taLeftJustify;
    TTeeFont Font;
    int Left = 0, Top = 0;
    QString Text, Text2, Text3;
};

// The heading of a legend, above its items; shown when it has text.
class TLegendTitle : public TStringsShape {
public:
    explicit TLegendTitle(TCustomChart* chart);
    TAlignment Alignment() const { return fAlignment; }
    void SetAlignment(TAlignment v) { if (v != fAlignment) { fAlignment = v; Changed(); } }
    bool ShouldDraw() const { return fVisible && !fText.isEmpty(); }

private:
    TAlignment fAlignment = taCenter;
};

class TCustomChartLegend : public TTeeCustomShape {
public:
    explicit TCustomChartLegend(TCustomChart* chart);
    TLegendTitle& Title() { return fTitle; }

    TLegendAlignment Alignment() const { return fAlignment; }
    void SetAlignment(TLegendAlignment v) { if (v != fAlignment) { fAlignment = v; Changed(); } }
    bool CheckBoxes() const { return fCheckBoxes; }
    void SetCheckBoxes(bool v) { if (v != fCheckBoxes) { fCheckBoxes = v; Changed(); } }
    TCheckBoxesStyle CheckBoxesStyle = cbsCheck;
    bool CurrentPage = true;
    bool CustomPosition() const { return fCustomPosition; }
    void SetCustomPosition(bool v) { if (v != fCustomPosition) { fCustomPosition = v; Changed(); } }
    int Left() const { return fLeft; }
    void SetLeft(int v) { if (v != fLeft) { fLeft = v; Changed(); } }
    int Top() const { return fTop; }
    void SetTop(int v) { if (v != fTop) { fTop = v; Changed(); } }
    TTeeUnits PositionUnits = muPixels;
    TTeeHiddenPen DividingLines;
    bool DrawBehind = false;
    int FirstValue() const { return fFirstValue; }
    // Below 0 raises "First Legend Value must be > 0"; the value is then not stored.
    void SetFirstValue(int v);
    bool FontSeriesColor = false;
    TLegendJustify HorizJustify = ljAutomatic;
    int HorizMargin = 0, VertMargin = 0;
    bool Inverted = false;
    TLegendStyle LegendStyle() const { return fLegendStyle; }
    void SetLegendStyle(TLegendStyle v) { if (v != fLegendStyle) { fLegendStyle = v; Changed(); } }
    int MaxNumRows = 0;
    bool ResizeChart = true;
    TLegendSymbol Symbol;
    TLegendTextStyle TextStyle = ltsLeftValue;
    int TextSymbolGap = 2;
    int TopPos = 10;
    int VertSpacing = 0;
    // The series whose rows an lsValues legend lists; null: the first active one.
    TChartSeries* Series = nullptr;
    // Fixed items: when not empty they replace the automatic texts.
    std::vector<TLegendItem> Items;

    // ---- computed by the last layout
    int LastValue = -1;
    int NumCols = 1, NumRows = 0;
    int ItemHeight = 0;
    int TitleHeight = 0;   // band of the title above the items, 0 without one
    int XLegendText = 0, XLegendColor = 0, XLegendBox = 0, XCheckBox = 0;
    int ColumnWidths[3] = {0, 0, 0};
    TRect RectLegend;

    // Shown when visible and either check boxes are on or some series is active.
    bool ShouldDraw() const;
    bool Vertical() const { return fAlignment == laLeft || fAlignment == laRight; }
    TLegendStyle CalcLegendStyle() const;
    int TotalLegendItems() const;
    // The series listed at index (lsSeries, lsLastValues); null when there is none.
    TChartSeries* SeriesAt(int index) const;
    // The series whose rows are listed (lsValues).
    TChartSeries* GetLegendSeries() const;
    QString LegendText(int index) const;
    // Places the legend and, with ResizeChart, takes its room out of chartRect.
    void CalcLegendRect(TRect& chartRect);
    void Draw();
    // Item under the point, -1 for none.
    int Clicked(int x, int y) const;
    // The click on an item: toggles or selects series with check boxes.
    void DoClick(int itemIndex);

private:
    TLegendAlignment fAlignment = laRight;
    bool fCheckBoxes = false;
    bool fCustomPosition = false;
    int fLeft = 0, fTop = 0;
    int fFirstValue = 0;
    TLegendStyle fLegendStyle = lsAuto;
    int fRows = 0;   // items actually laid out
    TLegendTitle fTitle;
    // Top of the first row of items.
    int ItemsTop() const;
    // One item per series: lsSeries and lsLastValues.
    static bool PerSeries(TLegendStyle style) { return style == lsSeries || style == lsLastValues; }
};

class TChartLegend : public TCustomChartLegend {
public:
    using TCustomChartLegend::TCustomChartLegend;
};

// ------------------------------------------------------------------ the chart

// One axis' range as it was before the first zoom.
struct TAxisRestore {
    TChartAxis* Axis = nullptr;
    bool Automatic = true, AutomaticMinimum = true, AutomaticMaximum = true;
    double Minimum = 0, Maximum = 0;
};

struct TZoomSnapshot {
    double Fixed[8] = {};   // minimum and maximum of bottom, left, top, right
    int CustomCount = 0;
    std::vector<std::array<double, 2>> Custom;
};

class TCustomChart : public TCustomAxisPanel {
public:
    explicit TCustomChart(QWidget* parent = nullptr);
    ~TCustomChart() override;

    TChartLegend& Legend() { return *fLegend; }
    // Titles are created on first use.
    TChartTitle& Title();
    TChartTitle& SubTitle();
    TChartFootTitle& Foot();
    TChartFootTitle& SubFoot();
    bool HasTitle() const { return fTitle != nullptr; }
    TChartWalls& Walls() { return fWalls; }

    TChartClickResult CalcClickResult(QPoint pos, bool checkSeries);

    // ---- zoom and scroll
    void ZoomRect(const TRect& rect);
    void UndoZoom();
    void ZoomPercent(double percent);
    const std::vector<TAxisRestore>& RestoreAxes() const { return fRestoreAxes; }
    bool AxesStored() const { return !fRestoreAxesNotStored; }
    const std::vector<TZoomSnapshot>& ZoomHistory() const { return fHistory; }

    // The mouse steps; the widget's events call them, tests may too.
    void MouseDown(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void MouseMove(Qt::KeyboardModifiers shift, int x, int y);
    void MouseUp(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    void MouseWheel(int delta);

    std::function<void(TCustomChart* sender, TChartAxis* axis, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClickAxis;
    std::function<void(TCustomChart* sender, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClickBackground;
    std::function<void(TCustomChart* sender, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClickLegend;
    std::function<void(TCustomChart* sender, TChartSeries* series, int valueIndex, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClickSeries;
    std::function<void(TCustomChart* sender, TChartTitle* title, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClickTitle;
    std::function<void(TCustomChart* sender, int index, int& x, int& y, int& xColor)> OnGetLegendPos;
    std::function<void(TCustomChart* sender, TRect& rect)> OnGetLegendRect;
    std::function<void(TCustomChart* sender, TLegendStyle style, int index, QString& text)> OnGetLegendText;
    std::function<void(TCustomChart* sender)> OnDblClick;
    // Every move of the mouse over the chart, also while a zoom is dragged.
    std::function<void(TCustomChart* sender, Qt::KeyboardModifiers shift, int x, int y)> OnMouseMove;
    std::function<void(TCustomChart* sender)> OnZoom;
    std::function<void(TCustomChart* sender)> OnUndoZoom;
    std::function<void(TCustomChart* sender)> OnScroll;
    std::function<void(TChartAxis* sender, double& min, double& max, bool& allow)> OnAllowScroll;

protected:
    void DrawTitlesAndLegend(bool beforeSeries) override;
    void ReserveTitlesAndLegend(TRect& r, bool remember) override;
    void DrawWalls() override;
    void DrawZoomRectangle() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void PanAndZoomStart(Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y);
    bool ActiveSeriesAllowZoom() const;
    // The rubber band onto the kept picture (exclusive-or: a second draw erases it).
    void PaintZoomRect();
    void ZoomRectDraw();
    void DoZoom();
    void StoreAxes();
    void TakeSnapshot();
    bool ScrollAxes(bool horizontal, int oldPixel, int newPixel);

    std::unique_ptr<TChartLegend> fLegend;
    std::unique_ptr<TChartTitle> fTitle, fSubTitle;
    std::unique_ptr<TChartFootTitle> fFoot, fSubFoot;
    TChartWalls fWalls;
    std::vector<TAxisRestore> fRestoreAxes;
    bool fRestoreAxesNotStored = true;
    std::vector<TZoomSnapshot> fHistory;
    bool fZoomRectShown = false;   // the band is on the kept picture
};

class TChart : public TCustomChart {
public:
    explicit TChart(QWidget* parent = nullptr) : TCustomChart(parent) {}
};
