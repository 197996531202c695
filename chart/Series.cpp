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
            MinY = MaxY = OldY;
            HasMinMax = false;
        }
    }
    if (fFastPen)
        fCanvas->FastLineMode(true);
    if (all) {
        fCanvas->Polyline(Points.data(), int(Points.size()));
    } else if (fTreatNulls == tnIgnore && fDrawAllPoints && !fColorEachPoint) {
        // Every row is an ordinary point here: each one is a plain DrawLine. The rows
        // are mapped a run at a time into a buffer on the stack and handed to the
        // canvas in one call, so nothing is allocated and nothing dispatched per row.
        constexpr int kRun = 2048;
        int xs[kRun], ys[kRun];
        TPoint pts[2 * kRun];
        const TChartAxis* h = fGetHorizAxis;
        const TChartAxis* v = fGetVertAxis;
        const TChartValue* xv = fX->Data();
        const TChartValue* yv = fY->Data();
        const bool stairs = fStairs, inverted = fInvertedStairs;
        int ox = OldX, oy = OldY;
        auto put = [&](const int* xs, const int* ys, int n) {
            int k = 0;
            for (int j = 0; j < n; ++j) {
                if (stairs)
                    pts[k++] = inverted ? TPoint{ox, ys[j]} : TPoint{xs[j], oy};
                pts[k++] = TPoint{xs[j], ys[j]};
                ox = xs[j];
                oy = ys[j];
            }
            fCanvas->LineToPoints(pts, k);
        };
        int from = fFirstVisibleIndex > 0 ? fFirstVisibleIndex : fFirstVisibleIndex + 1;
        if (CanFoldByIndex(from)) {
            FoldedRows(from, put);
        } else {
            while (from <= fLastVisibleIndex) {
                const int n = std::min(kRun, fLastVisibleIndex - from + 1);
                h->CalcPosValues(xv + from, xs, n);
                v->CalcPosValues(yv + from, ys, n);
                put(xs, ys, n);
                from += n;
            }
        }
        OldX = ox;
        OldY = oy;
    } else if (!fColors && !fColorEachPoint) {
        // No row is null here, so the null test is the different-pixel test alone;
        // the steps of DrawValue run inline over rows mapped a run at a time.
        if (fFirstVisibleIndex > 0)
            TFastLineSeries::DrawValue(fFirstVisibleIndex);
        const bool minmax = !fDrawAllPoints && fDrawAllPointsStyle == daMinMax;
        const bool firstOnly = !fDrawAllPoints && fDrawAllPointsStyle == daFirst;
        const bool inverted = fGetVertAxis->Inverted();
        const bool stairs = fStairs, invertedStairs = fInvertedStairs;
        TCanvas3D* c = fCanvas;
        int ox = OldX, oy = OldY, mn = MinY, mx = MaxY;
        bool has = HasMinMax;
        auto line = [&](int x, int y) {
            if (stairs)
                invertedStairs ? c->LineTo(ox, y) : c->LineTo(x, oy);
            c->LineTo(x, y);
            ox = x;
            oy = y;
        };
        constexpr int kRun = 2048;
        int xs[kRun], ys[kRun];
        const int last = fLastVisibleIndex;
        for (int from = fFirstVisibleIndex + 1; from <= last; from += kRun) {
            const int n = std::min(kRun, last - from + 1);
            fGetHorizAxis->CalcPosValues(fX->Data() + from, xs, n);
            fGetVertAxis->CalcPosValues(fY->Data() + from, ys, n);
            for (int j = 0; j < n; ++j) {
                const int x = xs[j], y = ys[j];
                if (x == ox) {
                    if (firstOnly || y == oy)
                        continue;
                    if (!minmax) {
                        line(x, y);
                        continue;
                    }
                    mn = std::min(mn, y);
                    mx = std::max(mx, y);
                    has = true;
                    if (from + j == last) {
                        const int cx = ox;
                        line(cx, inverted ? mx : mn);
                        line(cx, inverted ? mn : mx);
                        if (inverted)
                            line(cx, mx);
                    }
                    continue;
                }
                if (minmax) {
                    if (has) {
                        const int cx = ox;
                        line(cx, inverted ? mx : mn);
                        line(cx, inverted ? mn : mx);
                    }
                    line(x, y);
                    has = false;
                    mn = INT_MAX;
                    mx = INT_MIN;
                } else {
                    line(x, y);
                }
            }
        }
        OldX = ox;
        OldY = oy;
        MinY = mn;
        MaxY = mx;
        HasMinMax = has;
    } else {
        if (fFirstVisibleIndex > 0)
            TFastLineSeries::DrawValue(fFirstVisibleIndex);
        // Rows mapped a run at a time; each row then takes the one-value steps.
        constexpr int kRun = 2048;
        int xs[kRun], ys[kRun];
        for (int from = fFirstVisibleIndex + 1; from <= fLastVisibleIndex; from += kRun) {
            const int n = std::min(kRun, fLastVisibleIndex - from + 1);
            fGetHorizAxis->CalcPosValues(fX->Data() + from, xs, n);
            fGetVertAxis->CalcPosValues(fY->Data() + from, ys, n);
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

bool TFastLineSeries::CanFoldByIndex(int from) const
{
    // The canvas must fold a pixel column to its first, extreme and last points, and
    // both mappings must be linear, which keeps the order of the values: a block's
    // extremes are its pixels' extremes, and the rows of a column stand together.
    TLinearPixelMap map;
    if (!FoldByIndex || !fCanvas || !fCanvas->FoldsColumns() || !fGetHorizAxis->LinearMapping(map) ||
        !fGetVertAxis->LinearMapping(map))
        return false;
    const int rows = fLastVisibleIndex - from + 1;
    return rows > 4 * std::max(1, std::abs(fGetHorizAxis->IAxisSize)) && fX->InAscendingOrder();
}

void TFastLineSeries::FoldedRows(int from, const std::function<void(const int*, const int*, int)>& put) const
{
    TLinearPixelMap mapX, mapY;
    fGetHorizAxis->LinearMapping(mapX);
    fGetVertAxis->LinearMapping(mapY);
    const TChartValue* xv = fX->Data();
    const TChartValue* yv = fY->Data();
    const TValueRangeIndex& index = fY->RangeIndex();
    const int last = fLastVisibleIndex;
    constexpr int kRun = 512;
    int xs[kRun], ys[kRun];
    int k = 0;
    int width = 1;   // rows of the column before: the guess for the next one
    for (int r = from; r <= last;) {
        const int x = mapX(xv[r]);
        // The column's last row, searched from the guess in doubling steps and then
        // halved back: with evenly spaced rows the guess hits, and the rows read lie
        // next to each other rather than all over the array.
        int inside = r, outside = last + 1;
        const int guess = int(std::min<long long>(last, (long long)r + width - 1));
        if (mapX(xv[guess]) == x) {
            inside = guess;
            for (int step = 1; inside < last; step *= 2) {
                const int probe = int(std::min<long long>(last, (long long)inside + step));
                if (mapX(xv[probe]) != x) {
                    outside = probe;
                    break;
                }
                inside = probe;
            }
        } else {
            outside = guess;
            for (int step = 1;; step *= 2) {
                const int probe = outside - step;
                if (probe <= r)
                    break;
                if (mapX(xv[probe]) == x) {
                    inside = probe;
                    break;
                }
                outside = probe;
            }
        }
        while (outside - inside > 1) {
            const int mid = inside + (outside - inside) / 2;
            (mapX(xv[mid]) == x ? inside : outside) = mid;
        }
        const int e = inside;
        if (k + 4 > kRun) {
            put(xs, ys, k);
            k = 0;
        }
        if (e - r < 4) {
            for (int i = r; i <= e; ++i) {
                xs[k] = x;
                ys[k++] = mapY(yv[i]);
            }
        } else {
            // First row, the extreme met first, the other extreme, last row: the
            // canvas keeps the same column from these as from every row.
            int lo = 0, hi = 0;
            bool lowFirst = false;
            index.ColumnExtremes(yv, r, e, mapY, lo, hi, lowFirst);
            const int column[4] = {mapY(yv[r]), lowFirst ? lo : hi, lowFirst ? hi : lo, mapY(yv[e])};
            for (int y : column) {
                xs[k] = x;
                ys[k++] = y;
            }
        }
        width = e - r + 1;
        r = e + 1;
    }
    if (k > 0)
        put(xs, ys, k);
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
        const bool inverted = fGetVertAxis->Inverted();
        if (x != OldX) {
            if (HasMinMax) {
                const int colX = OldX;
                DrawLine(colX, inverted ? MaxY : MinY);
                DrawLine(colX, inverted ? MinY : MaxY);
            }
            DrawLine(x, y);
            HasMinMax = false;
            MinY = INT_MAX;
            MaxY = INT_MIN;
            return;
        }
        MinY = std::min(MinY, y);
        MaxY = std::max(MaxY, y);
        HasMinMax = true;
        if (valueIndex == fLastVisibleIndex) {
            const int colX = OldX;
            if (!inverted) {
                DrawLine(colX, MinY);
                DrawLine(colX, MaxY);
            } else {
                // Three segments on an inverted axis, so the column ends where it started.
                DrawLine(colX, MaxY);
                DrawLine(colX, MinY);
                DrawLine(colX, MaxY);
            }
        }
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
