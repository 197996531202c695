#pragma once
// The line series of the evaluation charts: a polyline over many thousand
// points with as few canvas calls as the settings allow, in plain or stair form.

#include "chart/ColumnFold.h"
#include "chart/TeEngine.h"

#include <climits>
#include <vector>

class TCustomLineSeries : public TChartSeries {
public:
    // The pen the line is drawn with: the series' own pen under that name.
    TTeePen& LinePen() { return fPen; }
    const TTeePen& LinePen() const { return fPen; }
};

enum TDrawAllPointsStyle { daFirst, daMinMax };
enum TFastLineDrawStyle { flSegments, flAll };

class TFastLineSeries : public TCustomLineSeries {
public:
    TFastLineSeries();

    // Copies format and the line's settings, not the values.
    void Assign(const TFastLineSeries& source);
    QString EditorClassName() const { return QStringLiteral("TFastLineSeriesEditor"); }

    // ---- fields
    // False: an added row is drawn on the kept picture at once, without a repaint.
    bool AutoRepaint() const { return fAutoRepaint; }
    void SetAutoRepaint(bool v) { fAutoRepaint = v; }
    int ClickTolerance() const { return fClickTolerance; }
    void SetClickTolerance(int v) { fClickTolerance = v; }
    TDrawAllPointsStyle DrawAllPointsStyle() const { return fDrawAllPointsStyle; }
    void SetDrawAllPointsStyle(TDrawAllPointsStyle v) { if (v != fDrawAllPointsStyle) { fDrawAllPointsStyle = v; Repaint(); } }
    bool DrawAllPoints() const { return fDrawAllPoints; }
    void SetDrawAllPoints(bool v) { if (v != fDrawAllPoints) { fDrawAllPoints = v; Repaint(); } }
    TFastLineDrawStyle DrawStyle() const { return fDrawStyle; }
    void SetDrawStyle(TFastLineDrawStyle v) { if (v != fDrawStyle) { fDrawStyle = v; Repaint(); } }
    // The raw line mode of the canvas (no smoothing); off in this system.
    bool FastPen() const { return fFastPen; }
    void SetFastPen(bool v) { if (v != fFastPen) { fFastPen = v; Repaint(); } }
    bool IgnoreNulls() const { return fIgnoreNulls; }
    void SetIgnoreNulls(bool v) { if (v != fIgnoreNulls) { fIgnoreNulls = v; Repaint(); } }
    bool InvertedStairs() const { return fInvertedStairs; }
    void SetInvertedStairs(bool v) { if (v != fInvertedStairs) { fInvertedStairs = v; Repaint(); } }
    bool Stairs() const { return fStairs; }
    void SetStairs(bool v) { if (v != fStairs) { fStairs = v; Repaint(); } }

    // Pixels of the previous point and of the pending column; valid from prepare to the end of a paint.
    int OldX = 0, OldY = 0;
    TColumnFold Column;
    bool HasMinMax = false;
    // Pixels of the single-polyline path; kept between paints.
    std::vector<TPoint> Points;
    bool Drawing = false;
    bool CacheX = false, CacheY = false;
    // Whether a paint of many rows per pixel column may take each column's first,
    // extreme and last rows from the values' range index instead of every row.
    // Off only to compare both ways; the pixels are the same.
    bool FoldByIndex = true;

    // True when one polyline can draw every row.
    bool DrawAllAtOnce() const;
    bool MustDrawWholeSeries() const { return DrawAllAtOnce(); }

    // ---- overridden operations
    void SetPen(const TTeePen& value) override;
    void SetSeriesColor(TColor value) override;
    void CalcHorizMargins(int& leftMargin, int& rightMargin) override;
    void CalcVerticalMargins(int& topMargin, int& bottomMargin) override;
    void AssignFormat(const TChartSeries& source) override;
    void PrepareForDraw() override;
    void DrawAllValues() override;
    void DrawLegendShape(TColor color, const TRect& rect) override;
    void DrawValue(int valueIndex) override;
    void AddedValue(int valueIndex) override;
    void CalcFirstLastVisibleIndex() override;
    int Clicked(int x, int y) override;

private:
    // DrawValue with the row's pixels already mapped.
    void DrawValueAt(int valueIndex, int x, int y);
    void SetupPen();
    void DrawLine(int x, int y);
    bool DifferentPixel(int x, int y) const;
    bool CheckNull(int row, int& x, int& y);
    // The paths of DrawAllValues: every row an ordinary point (reduced by the range
    // index where it may stand in for the rows), and rows without nulls.
    void DrawEveryRow();
    void DrawRowsWithoutNulls();
    static constexpr int kMapRun = 2048;
    int MapRun(int from, int last, int* xs, int* ys) const;
    // Whether the range index may stand in for the rows of [from, last], with the
    // linear mappings of both axes.
    bool CanFoldByIndex(int from, TLinearPixelMap& mapX, TLinearPixelMap& mapY) const;

    bool fAutoRepaint = true;
    int fClickTolerance = 0;
    TDrawAllPointsStyle fDrawAllPointsStyle = daFirst;
    bool fDrawAllPoints = true;
    TFastLineDrawStyle fDrawStyle = flSegments;
    bool fFastPen = false;
    bool fIgnoreNulls = true;
    bool fInvertedStairs = false;
    bool fStairs = false;
    TCanvas3D* fCanvas = nullptr;   // the canvas of the paint in progress
};
