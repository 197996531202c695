#include "chart/Series.h"

#include <algorithm>
#include <cmath>

TFastLineSeries::TFastLineSeries()
{
    fPen.SetColor(clTeeColor);
    fAllowSinglePoint = false;
    fDrawBetweenPoints = true;
    fTreatNulls = tnIgnore;
}

void TFastLineSeries::Assign(const TFastLineSeries& source)
{
    AssignFormat(source);
    fPen.Assign(source.fPen);
    fAutoRepaint = source.fAutoRepaint;
    fClickTolerance = source.fClickTolerance;
    fDrawAllPointsStyle = source.fDrawAllPointsStyle;
    fDrawAllPoints = source.fDrawAllPoints;
    fDrawStyle = source.fDrawStyle;
    fFastPen = source.fFastPen;
    fIgnoreNulls = source.fIgnoreNulls;
    fInvertedStairs = source.fInvertedStairs;
    fStairs = source.fStairs;
    fTreatNulls = source.fTreatNulls;
    Repaint();
}

void TFastLineSeries::SetPen(const TTeePen& value)
{
    TChartSeries::SetPen(value);
    SetSeriesColor(value.Color());
}

void TFastLineSeries::SetSeriesColor(TColor value)
{
    TChartSeries::SetSeriesColor(value);
    fPen.SetColor(value);
}

namespace {
// Half the pen beyond the centre line, the way a wide pen overlaps the plot edge.
int PenOverhang(int w)
{
    return w - (w - 2) / 2;
}
}

void TFastLineSeries::CalcHorizMargins(int& leftMargin, int& rightMargin)
{
    TChartSeries::CalcHorizMargins(leftMargin, rightMargin);
    const int d = PenOverhang(fPen.Width());
    leftMargin += d;
    rightMargin += d;
}

void TFastLineSeries::CalcVerticalMargins(int& topMargin, int& bottomMargin)
{
    TChartSeries::CalcVerticalMargins(topMargin, bottomMargin);
    const int d = PenOverhang(fPen.Width());
    if (d == 0 || !fGetVertAxis)
        return;
    if (MaxYValue() >= fGetVertAxis->Maximum())
        topMargin += d;
    if (MinYValue() <= fGetVertAxis->Minimum())
        bottomMargin += d;
}

void TFastLineSeries::AssignFormat(const TChartSeries& source)
{
    TChartSeries::AssignFormat(source);
    fPen.SetVisible(true);
    fPen.SetColor(clTeeColor);
}

bool TFastLineSeries::DrawAllAtOnce() const
{
    return fDrawAllPoints && fDrawStyle == flAll && fTreatNulls == tnIgnore && !fStairs && fParentChart &&
           !fParentChart->View3D();
}

void TFastLineSeries::CalcFirstLastVisibleIndex()
{
    TChartSeries::CalcFirstLastVisibleIndex();
    if (fDrawAllPoints || fFirstVisibleIndex != fLastVisibleIndex)
        return;
    if (fFirstVisibleIndex > 0) {
        // A single visible row: start from the first row of the column before it,
        // so the line into the plot is drawn.
        int first = fFirstVisibleIndex - 1;
        const int px = CalcXPos(first);
        while (first > 0 && CalcXPos(first - 1) == px)
            --first;
        fFirstVisibleIndex = first;
    } else if (fFirstVisibleIndex == 0) {
        fFirstVisibleIndex = -1;
    }
}

void TFastLineSeries::PrepareForDraw()
{
    CalcFirstLastVisibleIndex();
    if (fFirstVisibleIndex < 0 || !fGetHorizAxis || !fGetVertAxis)
        return;
    const int start = fFirstVisibleIndex < 1 ? 0 : fFirstVisibleIndex - 1;
    // The line begins at the last point before the visible range, outside the plot.
    OldX = CalcXPos(start);
    OldY = CalcYPos(start);
    if (!DrawAllAtOnce())
        return;
    const std::size_t n = std::size_t(fLastVisibleIndex - start + 1);
    if (Points.size() != n)
        Points.resize(n);
    const TChartValue* xv = fX->Data() + start;
    const TChartValue* yv = fY->Data() + start;
    const TChartAxis* h = fGetHorizAxis;
    const TChartAxis* v = fGetVertAxis;
    // Mapped a run at a time, then spread into the point records.
    constexpr std::size_t kRun = 2048;
    int px[kRun];
    for (std::size_t i = 0; i < n; i += kRun) {
        const int m = int(std::min(kRun, n - i));
        h->CalcPosValues(xv + i, px, m);
        for (int j = 0; j < m; ++j)
            Points[i + std::size_t(j)].X = px[j];
        v->CalcPosValues(yv + i, px, m);
        for (int j = 0; j < m; ++j)
            Points[i + std::size_t(j)].Y = px[j];
    }
}

void TFastLineSeries::SetupPen()
{
    if (fPen.Color() == clTeeColor)
        fCanvas->AssignVisiblePenColor(fPen, SeriesColor());
    else
        fCanvas->AssignVisiblePen(fPen);
    fCanvas->Brush().SetStyle(bsClear);
    fCanvas->SetBackMode(cbmTransparent);
}

// Map: the rows from row from on, at most kMapRun of them and none past last, into
// pixels; returns how many. The callers' loops over the runs keep their state in
// registers, which a callback taking the runs would not.
int TFastLineSeries::MapRun(int from, int last, int* xs, int* ys) const
{
    const int n = std::min(kMapRun, last - from + 1);
    fGetHorizAxis->CalcPosValues(fX->Data() + from, xs, n);
    fGetVertAxis->CalcPosValues(fY->Data() + from, ys, n);
    return n;
}

void TFastLineSeries::DrawAllValues()
{
    if (!fParentChart || fFirstVisibleIndex < 0 || !fGetHorizAxis || !fGetVertAxis)
        return;
    fCanvas = fParentChart->Canvas();
    Drawing = true;
    SetupPen();
    const bool all = DrawAllAtOnce();
    if (!all) {
        fCanvas->MoveTo(OldX, OldY);
        if (!fDrawAllPoints) {
            Column.Open(OldX, OldY);
            HasMinMax = false;
        }
    }
    if (fFastPen)
        fCanvas->FastLineMode(true);
    if (all) {
        fCanvas->Polyline(Points.data(), int(Points.size()));
    } else if (fTreatNulls == tnIgnore && fDrawAllPoints && !fColorEachPoint) {
        DrawEveryRow();
    } else if (!fColors && !fColorEachPoint) {
        DrawRowsWithoutNulls();
    } else {
        if (fFirstVisibleIndex > 0)
            TFastLineSeries::DrawValue(fFirstVisibleIndex);
        // Each row takes the one-value steps.
        int xs[kMapRun], ys[kMapRun];
        for (int from = fFirstVisibleIndex + 1; from <= fLastVisibleIndex; from += kMapRun) {
            const int n = MapRun(from, fLastVisibleIndex, xs, ys);
            for (int j = 0; j < n; ++j) {
                if (fColorEachPoint) {
                    TTeePen p;
                    p.Assign(fPen);
                    p.SetColor(ValueColor(from + j));
                    fCanvas->AssignVisiblePen(p);
                }
                DrawValueAt(from + j, xs[j], ys[j]);
            }
        }
    }
    if (fFastPen)
        fCanvas->FastLineMode(false);
    Drawing = false;
}

void TFastLineSeries::DrawEveryRow()
{
    // Every row is an ordinary point here: each one is a plain DrawLine. Draw takes
    // the points a run at a time, adds the stair steps and hands them to the canvas
    // in one call, so nothing is allocated and nothing dispatched per row.
    const bool stairs = fStairs, inverted = fInvertedStairs;
    int ox = OldX, oy = OldY;
    int xs[kMapRun], ys[kMapRun];
    TPoint pts[2 * kMapRun];
    auto draw = [&](const int* px, const int* py, int n) {
        int k = 0;
        for (int j = 0; j < n; ++j) {
            if (stairs)
                pts[k++] = inverted ? TPoint{ox, py[j]} : TPoint{px[j], oy};
            pts[k++] = TPoint{px[j], py[j]};
            ox = px[j];
            oy = py[j];
        }
        fCanvas->LineToPoints(pts, k);
    };
    const int from = fFirstVisibleIndex > 0 ? fFirstVisibleIndex : fFirstVisibleIndex + 1;
    TLinearPixelMap mapX, mapY;
    if (CanFoldByIndex(from, mapX, mapY)) {
        // Reduce and map: at most four points per pixel column.
        ReduceRowsByIndex(fX->Data(), fY->Data(), from, fLastVisibleIndex, mapX, mapY, fY->RangeIndex(), draw);
    } else {
        // Map every row; the canvas reduces the columns.
        for (int r = from; r <= fLastVisibleIndex; r += kMapRun)
            draw(xs, ys, MapRun(r, fLastVisibleIndex, xs, ys));
    }
    OldX = ox;
    OldY = oy;
}

namespace {
// One row of the daMinMax style that differs from the point before (ox): a row on
// the same pixel column widens the column; the first row of a new column draws the
// column before as its lowest and highest point, then the line to itself.
template <class Line>
void MinMaxRow(TColumnFold& column, bool& has, int ox, int x, int y, bool lastRow, bool inverted, Line&& line)
{
    if (x != ox) {
        if (has) {
            line(ox, inverted ? column.Max : column.Min);
            line(ox, inverted ? column.Min : column.Max);
        }
        line(x, y);
        has = false;
        column.ClearExtremes();
        return;
    }
    if (column.Empty())
        column.Open(ox, y);
    else
        column.Add(y);
    has = true;
    if (lastRow) {
        // Three segments on an inverted axis, so the column ends where it started.
        line(ox, inverted ? column.Max : column.Min);
        line(ox, inverted ? column.Min : column.Max);
        if (inverted)
            line(ox, column.Max);
    }
}
}

void TFastLineSeries::DrawRowsWithoutNulls()
{
    // No row is null here, so the null test is the different-pixel test alone; the
    // steps of DrawValue run inline over the mapped rows.
    if (fFirstVisibleIndex > 0)
        TFastLineSeries::DrawValue(fFirstVisibleIndex);
    const bool minmax = !fDrawAllPoints && fDrawAllPointsStyle == daMinMax;
    const bool firstOnly = !fDrawAllPoints && fDrawAllPointsStyle == daFirst;
    const bool inverted = fGetVertAxis->Inverted();
    const bool stairs = fStairs, invertedStairs = fInvertedStairs;
    TCanvas3D* c = fCanvas;
    int ox = OldX, oy = OldY;
    TColumnFold column = Column;
    bool has = HasMinMax;
    auto line = [&](int x, int y) {
        if (stairs)
            invertedStairs ? c->LineTo(ox, y) : c->LineTo(x, oy);
        c->LineTo(x, y);
        ox = x;
        oy = y;
    };
    const int last = fLastVisibleIndex;
    int xs[kMapRun], ys[kMapRun];
    for (int from = fFirstVisibleIndex + 1; from <= last; from += kMapRun) {
        const int n = MapRun(from, last, xs, ys);
        for (int j = 0; j < n; ++j) {
            const int x = xs[j], y = ys[j];
            if (x == ox && (firstOnly || y == oy))
                continue;
            if (minmax)
                MinMaxRow(column, has, ox, x, y, from + j == last, inverted, line);
            else
                line(x, y);
        }
    }
    OldX = ox;
    OldY = oy;
    Column = column;
    HasMinMax = has;
}

bool TFastLineSeries::CanFoldByIndex(int from, TLinearPixelMap& mapX, TLinearPixelMap& mapY) const
{
    // The canvas must fold a pixel column to its first, extreme and last points, and
    // both mappings must be linear, which keeps the order of the values: a block's
    // extremes are its pixels' extremes, and the rows of a column stand together.
    if (!FoldByIndex || !fCanvas || !fCanvas->FoldsColumns() || !fGetHorizAxis->LinearMapping(mapX) ||
        !fGetVertAxis->LinearMapping(mapY))
        return false;
    const int rows = fLastVisibleIndex - from + 1;
    return rows > 4 * std::max(1, std::abs(fGetHorizAxis->IAxisSize)) && fX->InAscendingOrder();
}

void TFastLineSeries::DrawLine(int x, int y)
{
    const bool bracket = fFastPen && !Drawing;
    if (bracket)
        fCanvas->FastLineMode(true);
    if (fStairs) {
        if (fInvertedStairs)
            fCanvas->LineTo(OldX, y);
        else
            fCanvas->LineTo(x, OldY);
    }
    fCanvas->LineTo(x, y);
    if (bracket)
        fCanvas->FastLineMode(false);
    OldX = x;
    OldY = y;
}

bool TFastLineSeries::DifferentPixel(int x, int y) const
{
    if (x != OldX)
        return true;
    if (!fDrawAllPoints && fDrawAllPointsStyle == daFirst)
        return false;
    return y != OldY;
}

bool TFastLineSeries::CheckNull(int row, int& x, int& y)
{
    if (!IsNull(row)) {
        const bool differs = DifferentPixel(x, y);
        if (differs && fColors && row > 0 && IsNull(row - 1) &&
            (fTreatNulls == tnDontPaint || (fTreatNulls == tnSkip && row - 1 == fFirstVisibleIndex))) {
            // The null before cut the line: this point starts a new piece.
            fCanvas->MoveTo(x, y);
            OldX = x;
            OldY = y;
            return false;
        }
        return differs;
    }
    switch (fTreatNulls) {
    case tnIgnore: return DifferentPixel(x, y);
    case tnSkip:
        x = OldX;
        y = OldY;
        return false;
    case tnDontPaint:
        if (fDrawAllPointsStyle == daFirst) {
            fCanvas->MoveTo(x, y);
        } else {
            OldX = x;
            OldY = y;
        }
        return false;
    }
    return false;
}

void TFastLineSeries::DrawValue(int valueIndex)
{
    if (!fCanvas && fParentChart)
        fCanvas = fParentChart->Canvas();
    if (!fCanvas || !fGetHorizAxis || !fGetVertAxis)
        return;
    DrawValueAt(valueIndex, fGetHorizAxis->CalcPosValue((*fX)[valueIndex]),
                fGetVertAxis->CalcPosValue((*fY)[valueIndex]));
}

void TFastLineSeries::DrawValueAt(int valueIndex, int x, int y)
{
    if (fTreatNulls == tnIgnore && fDrawAllPoints) {
        DrawLine(x, y);
        return;
    }
    if (!CheckNull(valueIndex, x, y))
        return;
    if (!fDrawAllPoints && fDrawAllPointsStyle == daMinMax) {
        MinMaxRow(Column, HasMinMax, OldX, x, y, valueIndex == fLastVisibleIndex, fGetVertAxis->Inverted(),
                  [this](int px, int py) { DrawLine(px, py); });
        return;
    }
    DrawLine(x, y);
}

void TFastLineSeries::DrawLegendShape(TColor color, const TRect& rect)
{
    if (!fParentChart)
        return;
    TCanvas3D* c = fParentChart->Canvas();
    c->AssignVisiblePenColor(fPen, color);
    const int y = (rect.Top + rect.Bottom) / 2;
    c->MoveTo(rect.Left, y);
    c->LineTo(rect.Right, y);
}

void TFastLineSeries::AddedValue(int valueIndex)
{
    if (fAutoRepaint || !fParentChart || !fActive || !fGetHorizAxis || !fGetVertAxis) {
        TChartSeries::AddedValue(valueIndex);
        return;
    }
    if (OnAfterAdd)
        OnAfterAdd(this, valueIndex);
    NotifyValue(veAdd, valueIndex);
    // Drawn straight onto the kept picture: no layout, no repaint of the chart.
    if (!fParentChart->BeginLiveDraw())
        return;
    fCanvas = fParentChart->Canvas();
    const int prev = valueIndex > 0 ? valueIndex - 1 : 0;
    const int px = CalcXPos(prev), py = CalcYPos(prev);
    if (fDrawAllPoints || px != OldX) {
        OldX = px;
        OldY = py;
    }
    const TRect& r = fParentChart->ChartRect();
    fCanvas->ClipRectangle(TRect{r.Left, r.Top - 1, r.Right, r.Bottom + 1});
    SetupPen();
    fCanvas->MoveTo(OldX, OldY);
    DrawValue(valueIndex);
    fCanvas->UnClipRectangle();
    fParentChart->EndLiveDraw();
}

namespace {
bool NearSegment(int x, int y, int x0, int y0, int x1, int y1, int tolerance)
{
    const double dx = x1 - x0, dy = y1 - y0;
    const double len2 = dx * dx + dy * dy;
    double t = len2 > 0 ? ((x - x0) * dx + (y - y0) * dy) / len2 : 0;
    t = std::clamp(t, 0.0, 1.0);
    const double ex = x0 + t * dx - x, ey = y0 + t * dy - y;
    // A tolerance of 0 still hits the pixels the line is drawn on.
    const double tol = std::max(0.5, double(tolerance));
    return ex * ex + ey * ey <= tol * tol;
}
}

int TFastLineSeries::Clicked(int x, int y)
{
    if (fFirstVisibleIndex < 0 || fLastVisibleIndex < 0 || !fGetHorizAxis || !fGetVertAxis)
        return -1;
    int px = 0, py = 0;
    for (int row = fFirstVisibleIndex; row <= fLastVisibleIndex; ++row) {
        const int cx = CalcXPos(row), cy = CalcYPos(row);
        if (cx == x && cy == y)
            return row;
        if (row > fFirstVisibleIndex) {
            bool hit;
            if (fStairs) {
                const int kx = fInvertedStairs ? px : cx;
                const int ky = fInvertedStairs ? cy : py;
                hit = NearSegment(x, y, px, py, kx, ky, fClickTolerance) ||
                      NearSegment(x, y, kx, ky, cx, cy, fClickTolerance);
            } else {
                hit = NearSegment(x, y, px, py, cx, cy, fClickTolerance);
            }
            if (hit)
                return row - 1;
        }
        px = cx;
        py = cy;
    }
    return -1;
}
