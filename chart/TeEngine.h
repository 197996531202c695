#pragma once
// Data and scale side of the chart engine: value lists and series that hold the
// points, axes that find ranges and label steps and map values to pixels, and the
// axis panel that ties series and axes to one chart.

#include "chart/TeeProcs.h"
#include "chart/ValueRangeIndex.h"

#include <QString>
#include <cmath>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <functional>
#include <memory>
#include <vector>

class TChartSeries;
class TChartAxis;
class TCustomAxisPanel;

class ChartException : public Exception {
public:
    using Exception::Exception;
};

class AxisException : public Exception {
public:
    using Exception::Exception;
};

// An internal consistency check of the engine failed (bad counts handed in, for instance).
class EChartAssertion : public Exception {
public:
    using Exception::Exception;
};

enum TChartListOrder { loNone, loAscending, loDescending };
enum TValueEvent { veClear, veAdd, veDelete, veRefresh, veModify };
enum TTeeSeriesEvent { seAdd, seRemove, seChangeTitle, seChangeColor, seSwap, seChangeActive, seDataChanged };
enum TTreatNullsStyle { tnDontPaint, tnSkip, tnIgnore };
enum THorizAxis { aTopAxis, aBottomAxis, aBothHorizAxis, aCustomHorizAxis };
enum TVertAxis { aLeftAxis, aRightAxis, aBothVertAxis, aCustomVertAxis };
enum TAxisLabelStyle { talAuto, talNone, talValue, talMark, talText, talPointValue };
enum TAxisLabelAlign { alDefault, alOpposite };
enum TAxisLabelPosition { lpAtTick, lpBeforeTick, lpAfterTick, lpCenter };
enum TAxisTitlePosition { tpStart, tpCenter, tpEnd };

using TChartValue = double;
// The storage of one column. Shared so that a caller's array can be handed over
// without a copy (bulk fill); its length is the capacity.
using TChartValues = std::vector<TChartValue>;
using TChartValuesPtr = std::shared_ptr<TChartValues>;

// One column of a series.
class TChartValueList {
public:
    TChartValueList(TChartSeries* owner, const QString& name);
    virtual ~TChartValueList();
    TChartValueList(const TChartValueList&) = delete;
    TChartValueList& operator=(const TChartValueList&) = delete;

    // Copies order, date-time flag and source, not the values.
    virtual void Assign(const TChartValueList& source);
    // Stores value in TempValue and inserts it where Order puts it; the row is returned.
    virtual int AddChartValue(TChartValue value);
    int AddChartValue() { return AddChartValue(TempValue); }
    virtual void ClearValues();
    virtual void InsertChartValue(int index, TChartValue value);
    virtual void Delete(int index);
    void Delete(int index, int quantity);

    int Locate(TChartValue value) const { return Locate(value, 0, fCount - 1); }
    int Locate(TChartValue value, int first, int last) const;
    void FillSequence();
    void Exchange(int a, int b);
    void Sort();

    // Unchecked in spirit; an empty list reads 0 rather than memory it does not own.
    TChartValue First() const { return Value && fCount > 0 ? (*Value)[0] : 0; }
    TChartValue Last() const { return Value && fCount > 0 ? (*Value)[fCount - 1] : 0; }
    TChartValue operator[](int index) const { return (*Value)[index]; }
    // Writes one entry and tells the series.
    void SetValue(int index, TChartValue value);
    const TChartValue* Data() const { return Value ? Value->data() : nullptr; }
    int Capacity() const { return Value ? int(Value->size()) : 0; }

    int Count() const;
    void SetCount(int value);
    // The list now holds value entries, of which the first kept stand as before (the
    // array may have moved): order check, statistics and range index go on from there
    // rather than over every row again, as a live run's few new rows need.
    void SetCountKeeping(int value, int kept);
    bool Modified() const { return fModified; }
    void SetModified(bool value);
    // Whether the used entries really stand in ascending order. Worked out once
    // per change: a bulk fill hands over arrays that nobody has checked.
    bool InAscendingOrder() const;
    // Block extremes of the used entries, built again after any change.
    const TValueRangeIndex& RangeIndex() const;
    // Takes what other, a list over the same array and count, has worked out
    // (extremes, sums, order): series sharing one x array walk it once. Lists over
    // other values or with nothing current keep their own state.
    void TakeFactsOf(const TChartValueList& other);

    TChartValue MaxValue();
    TChartValue MinValue();
    TChartValue Total();
    TChartValue TotalABS();
    TChartValue Range() { return MaxValue() - MinValue(); }
    void RecalcStats(int start);

    TChartListOrder Order() const { return fOrder; }
    void SetOrder(TChartListOrder v) { fOrder = v; }
    bool DateTime() const { return fDateTime; }
    void SetDateTime(bool v);
    const QString& Name() const { return fName; }
    void SetName(const QString& v) { fName = v; }
    const QString& ValueSource() const { return fValueSource; }
    void SetValueSource(const QString& v) { fValueSource = v; }
    TChartSeries* Owner() const { return fOwner; }

    // The values; public so that a caller can hand over its own array (bulk fill).
    TChartValuesPtr Value;
    TChartValue TempValue = 0;

private:
    void Grow();
    void SumTotals(int start);
    void Unshare();
    int CompareRows(int a, int b) const;
    // Every change of the values goes through here.
    void Changed()
    {
        fModified = true;
        fOrderChecked = false;
        ++fStamp;
    }

    TChartSeries* fOwner;
    QString fName;
    QString fValueSource;
    int fCount = 0;
    bool fModified = true;
    TChartListOrder fOrder = loNone;
    bool fDateTime = false;
    TChartValue fMaxValue = 0, fMinValue = 0, fTotal = 0, fTotalABS = 0;
    int fTotalsCount = 0;   // the leading rows fTotal and fTotalABS hold; -1 when out of date
    // The answer of InAscendingOrder and what it was given for.
    mutable bool fOrderChecked = false;
    mutable bool fAscending = false;
    mutable const TChartValue* fOrderData = nullptr;
    mutable int fOrderCount = 0;
    // Counts the changes the list is told of; the range index is built for one state.
    std::uint64_t fStamp = 0;
    mutable std::unique_ptr<TValueRangeIndex> fRangeIndex;
};

using TChartValueLists = std::vector<TChartValueList*>;

// Optional text per row; holds entries only once some row got a text.
class TLabelsList {
public:
    int Count() const { return int(fItems.size()); }
    QString Label(int index) const { return index >= 0 && index < Count() ? fItems[index] : QString(); }
    void SetLabel(int index, const QString& text);
    void Insert(int index, const QString& text);
    void Delete(int index) { if (index >= 0 && index < Count()) fItems.erase(fItems.begin() + index); }
    void Delete(int index, int quantity);
    void Exchange(int a, int b);
    void Clear() { fItems.clear(); }
    bool HasText() const;

private:
    std::vector<QString> fItems;
};

// Texts at the points of a series. The evaluation charts never show them; a series
// creates them on first use and keeps their custom positions in step with its rows.
class TSeriesMarks {
public:
    bool Visible = false;
    TTeeFont Font;
    std::vector<TPoint> Positions;   // custom position per row; empty while none was set
};

class TCustomChartElement {
public:
    TCustomChartElement();
    virtual ~TCustomChartElement();
    TCustomChartElement(const TCustomChartElement&) = delete;
    TCustomChartElement& operator=(const TCustomChartElement&) = delete;

    bool Active() const { return fActive; }
    virtual void SetActive(bool value);
    TTeeBrush& Brush() { return fBrush; }
    TTeePen& Pen() { return fPen; }
    virtual void SetPen(const TTeePen& value) { fPen.Assign(value); }
    TCustomAxisPanel* ParentChart() const { return fParentChart; }
    virtual void SetParentChart(TCustomAxisPanel* value) { fParentChart = value; }
    const QString& Name() const { return fName; }
    void SetName(const QString& v) { fName = v; }
    // Asks the chart for a paint, if there is a chart.
    void Repaint();

protected:
    bool fActive = true;
    TTeeBrush fBrush;
    TTeePen fPen;
    TCustomAxisPanel* fParentChart = nullptr;
    QString fName;
};

class TCustomChartSeries : public TCustomChartElement {
public:
    const QString& Title() const { return fTitle; }
    void SetTitle(const QString& v);
    bool ShowInLegend() const { return fShowInLegend; }
    void SetShowInLegend(bool v) { if (v != fShowInLegend) { fShowInLegend = v; Repaint(); } }

protected:
    QString fTitle;
    bool fShowInLegend = true;
};

class TChartSeries : public TCustomChartSeries {
public:
    TChartSeries();
    ~TChartSeries() override;

    // ---- colours
    TColor SeriesColor() const { return fColor == clTeeColor ? fAutoColor : fColor; }
    virtual void SetSeriesColor(TColor value);
    // The palette colour picked while SeriesColor stays clTeeColor.
    void SetAutoColor(TColor value) { fAutoColor = value; }
    bool ColorEachPoint() const { return fColorEachPoint; }
    void SetColorEachPoint(bool v) { if (v != fColorEachPoint) { fColorEachPoint = v; Repaint(); } }
    virtual TColor ValueColor(int index) const;
    bool IsNull(int index) const { return fColors && index >= 0 && index < int(fColors->size()) && (*fColors)[index] == clNone; }
    // Own colour of each row; null while no row has one.
    const std::vector<TColor>* ColorList() const { return fColors.get(); }

    // ---- fields kept as data
    QString ColorSource, XLabelsSource;
    Qt::CursorShape Cursor = Qt::ArrowCursor;
    int Depth = -1;
    QString PercentFormat = TeeMsg_DefPercentFormat;
    QString ValueFormat = TeeMsg_DefValueFormat;
    unsigned char RecalcOptions = 15;
    TChartValue DefaultNullValue = 0;

    TLabelsList& Labels() { return fLabels; }
    const TLabelsList& Labels() const { return fLabels; }
    // Created on first use, not visible.
    TSeriesMarks& Marks();
    bool HasMarks() const { return fMarks != nullptr; }
    // Text of the mark of a row: its label, else its value in ValueFormat; OnGetMarkText has the last word.
    QString GetMarkText(int valueIndex) const;
    // Draws the marks of the rows from FirstValueIndex to LastValueIndex when they are visible.
    void DrawMarks();
    TTreatNullsStyle TreatNulls() const { return fTreatNulls; }
    void SetTreatNulls(TTreatNullsStyle v) { if (v != fTreatNulls) { fTreatNulls = v; Repaint(); } }

    // ---- value lists
    TChartValueList* XValues() const { return fX.get(); }
    TChartValueList* YValues() const { return fY.get(); }
    TChartValueList* MandatoryValueList() const { return fYMandatory ? fY.get() : fX.get(); }
    TChartValueList* NotMandatoryValueList() const { return fYMandatory ? fX.get() : fY.get(); }
    bool YMandatory() const { return fYMandatory; }
    // A series lying on its side maps its values horizontally.
    void SetYMandatory(bool v) { fYMandatory = v; }
    const TChartValueLists& ValuesLists() const { return fValueLists; }
    TChartValueList* ValuesList(const QString& name) const;

    // ---- axes
    THorizAxis HorizAxis() const { return fHorizAxis; }
    void SetHorizAxis(THorizAxis v);
    TVertAxis VertAxis() const { return fVertAxis; }
    void SetVertAxis(TVertAxis v);
    TChartAxis* CustomHorizAxis() const { return fCustomHorizAxis; }
    void SetCustomHorizAxis(TChartAxis* axis);
    TChartAxis* CustomVertAxis() const { return fCustomVertAxis; }
    void SetCustomVertAxis(TChartAxis* axis);
    // The axes the points are mapped with; null without a chart.
    TChartAxis* GetHorizAxis() const { return fGetHorizAxis; }
    TChartAxis* GetVertAxis() const { return fGetVertAxis; }
    bool AssociatedToAxis(const TChartAxis* axis) const;
    virtual bool UseAxis() const { return true; }
    // Re-reads the axis references from the enumerations and the chart.
    void ResolveAxes();

    // ---- visible range, set before each draw
    int FirstValueIndex() const { return fFirstVisibleIndex; }
    int LastValueIndex() const { return fLastVisibleIndex; }
    bool CalcVisiblePoints() const { return fCalcVisiblePoints; }
    void SetCalcVisiblePoints(bool v) { fCalcVisiblePoints = v; }
    bool DrawBetweenPoints() const { return fDrawBetweenPoints; }
    void SetDrawBetweenPoints(bool v) { fDrawBetweenPoints = v; }
    bool AllowSinglePoint() const { return fAllowSinglePoint; }
    void SetAllowSinglePoint(bool v) { fAllowSinglePoint = v; }
    // The data was handed over by the program.
    bool ManualData() const { return fManualData; }
    void SetManualData(bool v) { fManualData = v; }

    // ---- virtual operations
    void SetActive(bool value) override;
    void SetParentChart(TCustomAxisPanel* value) override;
    void SetPen(const TTeePen& value) override;
    virtual void CalcHorizMargins(int& leftMargin, int& rightMargin);
    virtual void CalcVerticalMargins(int& topMargin, int& bottomMargin);
    // Called once per chart paint before the layout.
    virtual void DoSeriesDraw() {}
    // Appends a copy of every row of source (values, colours, labels).
    virtual void AssignValues(const TChartSeries& source);
    virtual void AssignFormat(const TChartSeries& source);
    virtual TAxisLabelStyle GetDefaultLabelStyle(const TChartAxis* axis) const;
    virtual void ClearLists();
    virtual void DoAfterDrawValues();
    virtual void DoBeforeDrawValues();
    virtual void PrepareForDraw() {}
    virtual void DrawAllValues();
    virtual void DrawLegendShape(TColor color, const TRect& rect);
    virtual void DrawMark(int valueIndex, const QString& text);
    virtual void DrawValue(int valueIndex) { (void)valueIndex; }
    virtual void AddedValue(int valueIndex);
    virtual void NotifyValue(TValueEvent kind, int valueIndex) { (void)kind; (void)valueIndex; }
    virtual TChartValue XValue(int index) const { return (*fX)[index]; }
    virtual TChartValue YValue(int index) const { return (*fY)[index]; }
    virtual int Add(TChartValue value, const QString& text = QString(), TColor color = clTeeColor);
    virtual int AddNull(const QString& text = QString());
    virtual int AddNullXY(TChartValue x, TChartValue y, const QString& text = QString());
    virtual int AddXY(TChartValue x, TChartValue y, const QString& text = QString(), TColor color = clTeeColor);
    virtual int Count() const { return fX->Count(); }
    virtual void ClearValues();
    virtual void Delete(int valueIndex);
    virtual void Delete(int valueIndex, int quantity, bool removeGap = false);
    virtual TChartValue MaxXValue() { return fX->MaxValue(); }
    virtual TChartValue MaxYValue() { return fY->MaxValue(); }
    virtual TChartValue MaxZValue() { return 0; }
    virtual TChartValue MinXValue() { return fX->MinValue(); }
    virtual TChartValue MinYValue() { return fY->MinValue(); }
    virtual TChartValue MinZValue() { return 0; }
    virtual int CalcXPos(int valueIndex) const;
    virtual int CalcYPos(int valueIndex) const;
    virtual void CalcFirstLastVisibleIndex();
    // Index of the row under the point, -1 for none.
    virtual int Clicked(int x, int y) { (void)x; (void)y; return -1; }

    // Moves a whole row (all columns, colour, label) from one index to the other.
    virtual void SwapValueIndex(int a, int b);
    void BeginUpdate() { ++fUpdateCount; }
    void EndUpdate();
    int UpdateCount() const { return fUpdateCount; }
    void CheckOrder();

    // ---- events
    std::function<bool(TChartSeries* sender)> OnBeforeAdd;
    std::function<void(TChartSeries* sender, int valueIndex)> OnAfterAdd;
    std::function<void(TChartSeries* sender)> OnClearValues;
    std::function<void(TChartSeries* sender, int valueIndex, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnClick;
    std::function<void(TChartSeries* sender, int valueIndex, Qt::MouseButton button, Qt::KeyboardModifiers shift, int x, int y)> OnDblClick;
    std::function<void(TChartSeries* sender, int valueIndex, QString& markText)> OnGetMarkText;
    std::function<void(TChartSeries* sender)> OnMouseEnter;
    std::function<void(TChartSeries* sender)> OnMouseLeave;
    std::function<void(TChartSeries* sender)> BeforeDrawValues;
    std::function<void(TChartSeries* sender)> AfterDrawValues;

protected:
    friend class TCustomAxisPanel;
    void InsertRowExtras(int row, const QString& text, TColor color);

    TColor fColor = clTeeColor;
    TColor fAutoColor = clTeeColor;
    bool fColorEachPoint = false;
    TLabelsList fLabels;
    TTreatNullsStyle fTreatNulls = tnDontPaint;
    std::unique_ptr<TChartValueList> fX, fY;
    TChartValueLists fValueLists;
    bool fYMandatory = true;
    THorizAxis fHorizAxis = aBottomAxis;
    TVertAxis fVertAxis = aLeftAxis;
    TChartAxis* fCustomHorizAxis = nullptr;
    TChartAxis* fCustomVertAxis = nullptr;
    TChartAxis* fGetHorizAxis = nullptr;
    TChartAxis* fGetVertAxis = nullptr;
    int fFirstVisibleIndex = -1, fLastVisibleIndex = -1;
    bool fCalcVisiblePoints = true;
    bool fDrawBetweenPoints = true;
    bool fAllowSinglePoint = true;
    int fUpdateCount = 0;
    bool fManualData = false;
    std::unique_ptr<std::vector<TColor>> fColors;
    std::unique_ptr<TSeriesMarks> fMarks;
};

// The chart's series in drawing and legend order. Series are not owned.
class TChartSeriesList {
public:
    int Count() const { return int(fItems.size()); }
    TChartSeries* operator[](int i) const { return fItems[i]; }
    int IndexOf(const TChartSeries* s) const;
    auto begin() const { return fItems.begin(); }
    auto end() const { return fItems.end(); }

private:
    friend class TCustomAxisPanel;
    std::vector<TChartSeries*> fItems;
};

// ------------------------------------------------------------------ axes

class TChartAxisPen : public TTeePen {
public:
    TChartAxisPen() { fWidth = 2; }
};

class TAxisGridPen : public TTeePen {
public:
    TAxisGridPen() { fColor = clGray; fStyle = psDot; }
    bool DrawAlways = false;
    int DrawEvery = 1;
};

class TTicks : public TDarkGrayPen {};

// Fixed labels given by the program; when present they replace the computed ones.
struct TAxisItem {
    double Value = 0;
    QString Text;
};

struct TAxisLabelsFormat {
    bool Visible = true;
    bool ClipText = false;     // shorten overlapping texts instead of dropping them
    int FrameWidth = 0;        // frame around each label, 0 for none
    int ShadowSize = 0;
};

class TAxisLabels {
public:
    TAxisLabelAlign Align = alDefault;
    bool Alternate = false;
    double Angle = 0;
    bool Behind = false;
    int MarginToAxis = 10;
    bool OnAxis = true;
    int Separation = 10;
    int Size = 0;
    TAxisLabelStyle Style = talAuto;
    bool Exponent = false;
    bool MultiLine = false;
    bool RoundFirst = true;
    TAxisLabelPosition Position = lpAtTick;
    bool UseImages = true;
    bool Visible = true;
    bool GridIgnoresLabelSize = false;
    TTeeFont Font;
    TAxisLabelsFormat Format;
    std::vector<TAxisItem> Items;
    // Measured by the last layout.
    int LabelWidth = 0, LabelHeight = 0;
};

class TChartAxisTitle {
public:
    const QString& Caption() const { return fCaption; }
    void SetCaption(const QString& v) { fCaption = v; Changed(); }
    double Angle() const { return fAngle; }
    void SetAngle(double v) { fAngle = v; Changed(); }
    TAxisTitlePosition Position() const { return fPosition; }
    void SetPosition(TAxisTitlePosition v) { fPosition = v; Changed(); }
    bool Visible() const { return fVisible; }
    void SetVisible(bool v) { fVisible = v; Changed(); }
    TTeeFont& Font() { return fFont; }
    std::function<void()> OnChange;

private:
    friend class TChartAxis;
    void Changed() { if (OnChange) OnChange(); }
    QString fCaption;
    double fAngle = 0;
    TAxisTitlePosition fPosition = tpCenter;
    bool fVisible = true;
    TTeeFont fFont;
};

// One computed label of the last paint.
struct TAxisLabelEntry {
    double Value = 0;
    QString Text;
    int Anchor = 0;
};

// Date-time label steps, in days.
constexpr int NumDateTimeSteps = 27;
extern const double DateTimeStep[NumDateTimeSteps];
double NextDateTimeStep(double x);
// Index of an exact table entry, NumDateTimeSteps when there is none.
int FindDateTimeStep(double step);
// The 1-2-5 ladder.
double NextStep(double x);

// Rounds to the nearest pixel, ties to even; values far outside any screen are
// held at a large but safe integer, so unclamped mapping never overflows.
inline int RoundPix(double v)
{
    if (!(v > -2.0e9))
        return -2000000000;
    if (v > 2.0e9)
        return 2000000000;
#ifdef __SSE2__
    // The processor's own conversion rounds ties to even too, without a library call:
    // this runs for every point of every curve.
    return _mm_cvtsd_si32(_mm_set_sd(v));
#else
    return int(std::nearbyint(v));
#endif
}

// A linear axis's value-to-pixel mapping, exactly as the axis maps.
struct TLinearPixelMap {
    int Base = 0;
    int Sign = 1;
    double Minimum = 0, Scale = 0;
    int operator()(double v) const { return Base + Sign * RoundPix((v - Minimum) * Scale); }
};

class TChartAxis {
public:
    TChartAxis(TCustomAxisPanel* chart, bool horizontal, bool otherSide);
    virtual ~TChartAxis();
    TChartAxis(const TChartAxis&) = delete;
    TChartAxis& operator=(const TChartAxis&) = delete;

    TCustomAxisPanel* ParentChart() const { return fParentChart; }

    // ---- range
    bool Automatic() const { return fAutomatic; }
    void SetAutomatic(bool v);
    bool AutomaticMaximum() const { return fAutomaticMaximum; }
    void SetAutomaticMaximum(bool v) { SetBool(fAutomaticMaximum, v); }
    bool AutomaticMinimum() const { return fAutomaticMinimum; }
    void SetAutomaticMinimum(bool v) { SetBool(fAutomaticMinimum, v); }
    double Increment() const { return fIncrement; }
    void SetIncrement(double v);
    double Maximum() const { return fMaximum; }
    void SetMaximum(double v);
    double Minimum() const { return fMinimum; }
    void SetMinimum(double v);
    void SetMinMax(double min, double max);
    // Moves the range by delta and makes the axis manual. With checkLimits the
    // move must stay within the values of the axis' series.
    void Scroll(double delta, bool checkLimits);
    // Raw writes of the stored range, without checks and without a repaint.
    void RestoreState(bool automatic, bool automaticMinimum, bool automaticMaximum, double minimum, double maximum)
    {
        fAutomatic = automatic;
        fAutomaticMinimum = automaticMinimum;
        fAutomaticMaximum = automaticMaximum;
        fMinimum = minimum;
        fMaximum = maximum;
    }
    bool Logarithmic() const { return fLogarithmic; }
    void SetLogarithmic(bool v);
    double LogarithmicBase() const { return fLogarithmicBase; }
    void SetLogarithmicBase(double v);
    int MaximumOffset() const { return fMaximumOffset; }
    void SetMaximumOffset(int v) { SetInt(fMaximumOffset, v); }
    int MinimumOffset() const { return fMinimumOffset; }
    void SetMinimumOffset(int v) { SetInt(fMinimumOffset, v); }
    bool MaximumRound() const { return fMaximumRound; }
    void SetMaximumRound(bool v) { SetBool(fMaximumRound, v); }
    bool MinimumRound() const { return fMinimumRound; }
    void SetMinimumRound(bool v) { SetBool(fMinimumRound, v); }

    // ---- formats
    const QString& AxisValuesFormat() const { return fAxisValuesFormat; }
    void SetAxisValuesFormat(const QString& v) { if (v != fAxisValuesFormat) { fAxisValuesFormat = v; Changed(); } }
    const QString& DateTimeFormat() const { return fDateTimeFormat; }
    void SetDateTimeFormat(const QString& v) { if (v != fDateTimeFormat) { fDateTimeFormat = v; Changed(); } }
    bool ExactDateTime() const { return fExactDateTime; }
    void SetExactDateTime(bool v) { SetBool(fExactDateTime, v); }

    // ---- pens and lengths
    TChartAxisPen& Axis() { return fAxisPen; }
    TAxisGridPen& Grid() { return fGrid; }
    TTeeHiddenPen& MinorGrid() { return fMinorGrid; }
    TTicks& Ticks() { return fTicks; }
    TTicks& TicksInner() { return fTicksInner; }
    TTicks& MinorTicks() { return fMinorTicks; }
    int TickLength() const { return fTickLength; }
    void SetTickLength(int v) { SetInt(fTickLength, v); }
    int TickInnerLength() const { return fTickInnerLength; }
    void SetTickInnerLength(int v) { SetInt(fTickInnerLength, v); }
    int MinorTickLength() const { return fMinorTickLength; }
    void SetMinorTickLength(int v) { SetInt(fMinorTickLength, v); }
    int MinorTickCount() const { return fMinorTickCount; }
    void SetMinorTickCount(int v) { SetInt(fMinorTickCount, v); }
    bool TickOnLabelsOnly() const { return fTickOnLabelsOnly; }
    void SetTickOnLabelsOnly(bool v) { SetBool(fTickOnLabelsOnly, v); }

    // ---- placement
    bool Inverted() const { return fInverted; }
    void SetInverted(bool v);
    bool Horizontal() const { return fHorizontal; }
    void SetHorizontal(bool v);
    bool OtherSide() const { return fOtherSide; }
    void SetOtherSide(bool v) { SetBool(fOtherSide, v); }
    double StartPosition() const { return fStartPosition; }
    void SetStartPosition(double v) { if (v != fStartPosition) { fStartPosition = v; Changed(); } }
    double EndPosition() const { return fEndPosition; }
    void SetEndPosition(double v) { if (v != fEndPosition) { fEndPosition = v; Changed(); } }
    double PositionPercent() const { return fPositionPercent; }
    void SetPositionPercent(double v) { if (v != fPositionPercent) { fPositionPercent = v; Changed(); } }
    TTeeUnits PositionUnits() const { return fPositionUnits; }
    void SetPositionUnits(TTeeUnits v) { if (v != fPositionUnits) { fPositionUnits = v; Changed(); } }
    bool Visible() const { return fVisible; }
    void SetVisible(bool v) { SetBool(fVisible, v); }
    int TitleSize() const { return fTitleSize; }
    void SetTitleSize(int v) { SetInt(fTitleSize, v); }
    TChartAxisTitle& Title() { return fTitle; }
    double ZPosition = 0;
    bool IsDepthAxis = false;

    // ---- labels
    TAxisLabels& AxisLabels() { return fLabels; }
    bool Labels() const { return fLabels.Visible; }
    void SetLabels(bool v) { SetBool(fLabels.Visible, v); }
    double LabelsAngle() const { return fLabels.Angle; }
    void SetLabelsAngle(double v);
    TTeeFont& LabelsFont() { return fLabels.Font; }
    TAxisLabelsFormat& LabelsFormat() { return fLabels.Format; }
    bool LabelsOnAxis() const { return fLabels.OnAxis; }
    void SetLabelsOnAxis(bool v) { SetBool(fLabels.OnAxis, v); }
    int LabelsSeparation() const { return fLabels.Separation; }
    void SetLabelsSeparation(int v);
    int LabelsSize() const { return fLabels.Size; }
    void SetLabelsSize(int v) { SetInt(fLabels.Size, v); }
    TAxisLabelStyle LabelStyle() const { return fLabels.Style; }
    void SetLabelStyle(TAxisLabelStyle v) { if (v != fLabels.Style) { fLabels.Style = v; Changed(); } }
    TAxisLabelAlign LabelsAlign() const { return fLabels.Align; }
    void SetLabelsAlign(TAxisLabelAlign v) { if (v != fLabels.Align) { fLabels.Align = v; Changed(); } }
    bool LabelsAlternate() const { return fLabels.Alternate; }
    void SetLabelsAlternate(bool v) { SetBool(fLabels.Alternate, v); }
    bool LabelsBehind() const { return fLabels.Behind; }
    void SetLabelsBehind(bool v) { SetBool(fLabels.Behind, v); }
    bool LabelsExponent() const { return fLabels.Exponent; }
    void SetLabelsExponent(bool v) { SetBool(fLabels.Exponent, v); }
    bool LabelsMultiLine() const { return fLabels.MultiLine; }
    void SetLabelsMultiLine(bool v) { SetBool(fLabels.MultiLine, v); }
    bool RoundFirstLabel() const { return fLabels.RoundFirst; }
    void SetRoundFirstLabel(bool v) { SetBool(fLabels.RoundFirst, v); }
    bool LabelsGridIgnoresLabelSize() const { return fLabels.GridIgnoresLabelSize; }
    void SetLabelsGridIgnoresLabelSize(bool v) { SetBool(fLabels.GridIgnoresLabelSize, v); }
    TAxisLabelPosition LabelsPosition() const { return fLabels.Position; }
    void SetLabelsPosition(TAxisLabelPosition v) { if (v != fLabels.Position) { fLabels.Position = v; Changed(); } }

    // ---- computed by the last layout
    double IMaximum = 0, IMinimum = 0;
    long double IRange = 0;
    bool IRangeZero = true;
    int IStartPos = 0, IEndPos = 0, IAxisSize = 0, ICenterPos = 0;
    bool IAxisDateTime = false;
    int PosAxis = 0, PosLabels = 0, PosTitle = 0;
    const std::vector<int>& Tick() const { return fTicks_; }
    const std::vector<TAxisLabelEntry>& LabelEntries() const { return fEntries; }
    double AxisScale() const { return fScale; }

    // ---- operations
    void CalcMinMax(double& min, double& max) const;
    void AdjustMaxMin();
    // Grows the range so that the series' pixel margins and the offsets stay free.
    void AdjustMaxMinRect();
    void InternalCalcPositions();
    int CalcPosValue(double value) const { return (this->*fCalcPosValue)(value); }
    double CalcPosPoint(int pixel) const { return (this->*fCalcPosPoint)(pixel); }
    // The pixels of many values at once, exactly as CalcPosValue maps each.
    void CalcPosValues(const double* values, int* pixels, int count) const;
    // The mapping of a linear axis as a value that inlines; false on a logarithmic one.
    bool LinearMapping(TLinearPixelMap& map) const;
    int CalcXPosValue(double value) const { return CalcPosValue(value); }
    int CalcYPosValue(double value) const { return CalcPosValue(value); }
    double CalcIncrement();
    double CalcLabelsIncrement(int maxNumLabels);
    double CalcXYIncrement(int maxLabelSize);
    bool AxisClicked(int x, int y) const;
    QString LabelValue(double value) const;
    bool IsDateTime() const;
    TAxisLabelStyle CalcLabelStyle() const;
    // Reserves title, labels and ticks out of r and places the axis on the new side.
    void CalcRect(TRect& r);
    // Puts line, labels and title at the edge of the chart's plot rectangle, the title
    // beside the labels, with the room CalcRect measured.
    void PlaceAtChartRect();
    void Draw(bool calcPosAxis);
    // Width (or height) of the largest label the axis will show.
    int MaxLabelsWidth();
    int SizeLabels();
    int SizeTitle();
    // The rectangle of the axis title of the last layout, for the hit test.
    TRect TitleRect() const { return fTitleRect; }

private:
    void SetBool(bool& field, bool v) { if (v != field) { field = v; Changed(); } }
    void SetInt(int& field, int v) { if (v != field) { field = v; Changed(); } }
    void Changed();
    void RecalcRange();
    void ChooseMapping();
    void RoundRange();
    int DirOut() const { return fHorizontal ? (fOtherSide ? -1 : 1) : (fOtherSide ? 1 : -1); }
    bool LabelsVisible() const;
    int CurrentDateStep(double step) const;
    TChartValueList* AxisList(TChartSeries* s) const;
    bool AnySeriesHasLessThan(int num) const;
    void OneLabel(double value);
    bool PointLabelFits(int pixel, QString& text);
    std::vector<int> MinorPositions() const;
    int fMaxLines = 1;
    int ApplyPosition(int pos, const TRect& r) const;

    int LinearHoriz(double v) const;
    int LinearHorizInv(double v) const;
    int LinearVert(double v) const;
    int LinearVertInv(double v) const;
    int LogPos(double v) const;
    int CenterPos(double) const { return ICenterPos; }
    double LinearPoint(int pixel) const;
    double LogPoint(int pixel) const;

    int TextSize(double value);
    int LabelTextWidth(const QString& text);
    int LabelTextHeight(const QString& text);
    double AlignDate(double value, int dateStep) const;
    // Runs the values of the value loop from the top down; fn returns false to stop.
    void ValueLoop(double step, int dateStep, const std::function<bool(double)>& fn);
    void BuildLabels();
    void PointLabels(TAxisLabelStyle style);
    void DrawTicksAndGrid();
    void DrawLabel(int anchor, const QString& text, int rowOffset = 0);
    void DrawTitle();
    QString PointLabelText(TChartSeries* s, int row, TAxisLabelStyle style) const;

    TCustomAxisPanel* fParentChart;
    bool fAutomatic = true, fAutomaticMaximum = true, fAutomaticMinimum = true;
    double fIncrement = 0, fMaximum = 0, fMinimum = 0;
    bool fLogarithmic = false;
    double fLogarithmicBase = 10;
    int fMaximumOffset = 0, fMinimumOffset = 0;
    bool fMaximumRound = false, fMinimumRound = false;
    QString fAxisValuesFormat = TeeMsg_DefValueFormat;
    QString fDateTimeFormat;
    bool fExactDateTime = true;
    TChartAxisPen fAxisPen;
    TAxisGridPen fGrid;
    TTeeHiddenPen fMinorGrid;
    TTicks fTicks, fTicksInner, fMinorTicks;
    int fTickLength = 4, fTickInnerLength = 0, fMinorTickLength = 2, fMinorTickCount = 3;
    bool fTickOnLabelsOnly = true;
    bool fInverted = false, fHorizontal, fOtherSide;
    double fStartPosition = 0, fEndPosition = 100, fPositionPercent = 0;
    TTeeUnits fPositionUnits = muPercent;
    bool fVisible = true;
    int fTitleSize = 0;
    TChartAxisTitle fTitle;
    TAxisLabels fLabels;

    double fScale = 0;
    double fLogMin = 0, fLogMax = 0, fLogRange = 0, fLogScale = 0;
    int (TChartAxis::*fCalcPosValue)(double) const = &TChartAxis::CenterPos;
    double (TChartAxis::*fCalcPosPoint)(int) const = &TChartAxis::LinearPoint;
    std::vector<int> fTicks_;
    std::vector<double> fTickValues;
    std::vector<TAxisLabelEntry> fEntries;
    int fLabelGap = 0;          // distance from PosAxis to PosLabels
    int fLabelRowSize = 0;      // one row of labels; alternating labels use two
    int fLabelsBand = 0;        // room of all label rows, 0 without labels
    int fTitleBand = 0;         // room of the title
    int fLastLabelPos = 0, fLastLabelSize = 0;
    bool fHasLastLabel = false;
    TRect fTitleRect;
};

// The custom axes of a chart; adding an item creates and registers an axis.
class TChartCustomAxes {
public:
    explicit TChartCustomAxes(TCustomAxisPanel* chart) : fChart(chart) {}
    TChartAxis* Add();
    int Count() const { return int(fItems.size()); }
    TChartAxis* Items(int i) const { return fItems[i].get(); }
    TChartAxis* operator[](int i) const { return fItems[i].get(); }
    void Delete(int i);
    void Clear();

private:
    TCustomAxisPanel* fChart;
    std::vector<std::unique_ptr<TChartAxis>> fItems;
};

// All axes of a chart in layout order: the fixed ones first, custom ones after.
class TChartAxes {
public:
    int Count() const { return int(fItems.size()); }
    TChartAxis* operator[](int i) const { return fItems[i]; }
    TChartAxis* Bottom() const { return fBottom; }
    TChartAxis* Left() const { return fLeft; }
    TChartAxis* Top() const { return fTop; }
    TChartAxis* Right() const { return fRight; }
    auto begin() const { return fItems.begin(); }
    auto end() const { return fItems.end(); }

private:
    friend class TCustomAxisPanel;
    friend class TChartCustomAxes;
    std::vector<TChartAxis*> fItems;
    TChartAxis *fBottom = nullptr, *fLeft = nullptr, *fTop = nullptr, *fRight = nullptr;
};

// The chart layer that owns axes and lists series.
class TCustomAxisPanel : public TCustomTeePanelExtended {
public:
    explicit TCustomAxisPanel(QWidget* parent = nullptr);
    ~TCustomAxisPanel() override;

    TChartAxis* BottomAxis() const { return fBottomAxis.get(); }
    TChartAxis* TopAxis() const { return fTopAxis.get(); }
    TChartAxis* LeftAxis() const { return fLeftAxis.get(); }
    TChartAxis* RightAxis() const { return fRightAxis.get(); }
    TChartAxis* DepthAxis() const { return fDepthAxis.get(); }
    TChartAxis* DepthTopAxis() const { return fDepthTopAxis.get(); }
    TChartCustomAxes& CustomAxes() { return fCustomAxes; }
    const TChartAxes& Axes() const { return fAxes; }

    const TChartSeriesList& SeriesList() const { return fSeriesList; }
    int SeriesCount() const { return fSeriesList.Count(); }
    TChartSeries* Series(int i) const { return fSeriesList[i]; }
    void AddSeries(TChartSeries* series);
    void RemoveSeries(TChartSeries* series);
    // Swaps two series in the list, and so their drawing and legend order.
    void ExchangeSeries(int a, int b);
    // First palette colour no series uses yet.
    TColor GetFreeSeriesColor() const;
    static TColor GetDefaultColor(int index);
    int CountActiveSeries() const;

    bool AutoRepaint() const { return fAutoRepaint; }
    // While false, changes do not repaint; turning it on again asks for the one paint that was held back.
    void SetAutoRepaint(bool v)
    {
        if (v == fAutoRepaint)
            return;
        fAutoRepaint = v;
        if (v)
            Invalidate();
    }
    bool AxisVisible() const { return fAxisVisible; }
    void SetAxisVisible(bool v) { if (v != fAxisVisible) { fAxisVisible = v; Invalidate(); } }
    bool AxisBehind() const { return fAxisBehind; }
    void SetAxisBehind(bool v) { if (v != fAxisBehind) { fAxisBehind = v; Invalidate(); } }
    bool ClipPoints() const { return fClipPoints; }
    void SetClipPoints(bool v) { if (v != fClipPoints) { fClipPoints = v; Invalidate(); } }
    bool Destroying() const { return fDestroying; }

    void Invalidate() override;

    // Series events reach every listener unless silenced during a paint.
    using TSeriesEventListener = std::function<void(TChartSeries* series, TTeeSeriesEvent event)>;
    void AddListener(TSeriesEventListener listener) { fListeners.push_back(std::move(listener)); }
    void BroadcastSeriesEvent(TChartSeries* series, TTeeSeriesEvent event);
    void SetListenersSilenced(bool v) { fListenersSilenced = v; }

    // Forgets every reference a series holds to axis (custom axis being deleted).
    void AxisRemoved(TChartAxis* axis);
    // The layout the next paint makes, without drawing: titles and legend, the axes
    // and their margins. Within a paint it leaves the paint's rectangles as they were.
    void CalcLayout();
    // Least room the axes take at the left and at the right of the plot. Charts stacked
    // over one scale set the same, so that their plots share their pixel columns.
    int MinAxesWidthLeft() const { return fMinAxesWidthLeft; }
    int MinAxesWidthRight() const { return fMinAxesWidthRight; }
    void SetMinAxesWidths(int left, int right);
    // Room the visible axes needed at the left and at the right in the last layout.
    int AxesWidthLeft() const { return fAxesWidthLeft; }
    int AxesWidthRight() const { return fAxesWidthRight; }
    // The axes part of a repaint: ranges, positions and the space of titles,
    // labels and ticks taken out of ChartRect in list order, in one pass.
    void CalcAxisRect();
    // Pixel margins of the series and the offsets applied to every automatic axis.
    void AxesMargins();
    // Draws every shown axis (ticks, grid, labels, titles).
    void DrawAxes();
    // An axis is drawn when visible; depth axes never in 2D.
    bool IsAxisShown(const TChartAxis* axis) const;

    std::function<void(TChartSeries* series)> OnAddSeries;
    std::function<void(TChartSeries* series)> OnRemoveSeries;
    std::function<void(TChartAxis* sender, TChartSeries* series, int valueIndex, QString& labelText)> OnGetAxisLabel;
    std::function<void(TChartAxis* sender, int labelIndex, double& labelValue, bool& stop)> OnGetNextAxisLabel;
    std::function<void()> OnBeforeDrawChart, OnBeforeDrawAxes, OnBeforeDrawSeries, OnAfterDraw;

protected:
    // One paint in its fixed order: background, titles and legend space, axes
    // layout and margins, walls, axes, series, legend, zoom rectangle.
    void InternalDraw(const TRect& rect) override;
    virtual void PanelPaint(const TRect& rect);
    // Hooks of the chart layer: the panel itself has no titles, legend or walls.
    virtual void DrawTitlesAndLegend(bool beforeSeries) { (void)beforeSeries; }
    // Takes the bands of titles and legend out of r; remember keeps where they lie.
    virtual void ReserveTitlesAndLegend(TRect& r, bool remember) { (void)r; (void)remember; }
    virtual void DrawWalls() {}
    virtual void DrawZoomRectangle() {}

private:
    friend class TChartCustomAxes;
    std::unique_ptr<TChartAxis> fBottomAxis, fTopAxis, fLeftAxis, fRightAxis, fDepthAxis, fDepthTopAxis;
    TChartCustomAxes fCustomAxes;
    TChartAxes fAxes;
    TChartSeriesList fSeriesList;
    std::vector<TSeriesEventListener> fListeners;
    bool fListenersSilenced = false;
    bool fAutoRepaint = true;
    bool fAxisVisible = true;
    bool fAxisBehind = true;
    bool fClipPoints = true;
    bool fDestroying = false;
    int fMinAxesWidthLeft = 0, fMinAxesWidthRight = 0;
    int fAxesWidthLeft = 0, fAxesWidthRight = 0;
};
