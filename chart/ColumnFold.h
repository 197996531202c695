#pragma once
// The fold of a line into pixel columns. However many points fall on one pixel
// column, they paint the same pixels as four of them: the column's first point, its
// lowest and highest in the order they were met, and its last point. The canvas
// folds the points it is handed; the line series reduces its rows to the same four
// points, with the range index without reading most of them.
//
// A line is painted in three steps: reduce (rows to pixel columns), map (values to
// pixels) and draw (the painter calls). With the range index, reduce needs the
// pixels of the rows it looks at, so it maps them itself.

#include "chart/ValueRangeIndex.h"

#include <algorithm>
#include <climits>

struct TColumnFold {
    int X = 0;
    int First = 0, Min = INT_MAX, Max = INT_MIN, Last = 0;
    bool MinLater = false;   // the lowest point was met after the highest

    void Open(int x, int y)
    {
        X = x;
        First = Min = Max = Last = y;
        MinLater = false;
    }
    // No extremes: Empty() until Open.
    void ClearExtremes()
    {
        Min = INT_MAX;
        Max = INT_MIN;
    }
    bool Empty() const { return Min > Max; }
    // A further point of an open column: at most one extreme moves.
    void Add(int y)
    {
        if (y < Min) {
            Min = y;
            MinLater = true;
        } else if (y > Max) {
            Max = y;
            MinLater = false;
        }
        Last = y;
    }
    // The four points in the order met; put(y) is called for each.
    template <class Put>
    void ForEachPoint(Put&& put) const
    {
        put(First);
        put(MinLater ? Max : Min);
        put(MinLater ? Min : Max);
        put(Last);
    }
};

// Reduce and map: the rows [from, last] of a line with ascending x folded into its
// pixel columns, the extremes of each column taken from the range index of y; a
// column of four rows or fewer hands on its rows. mapX and mapY must be linear
// (monotonic); put(xs, ys, n) receives the points a run at a time.
template <class MapX, class MapY, class Put>
void ReduceRowsByIndex(const double* xv, const double* yv, int from, int last, const MapX& mapX, const MapY& mapY,
                       const TValueRangeIndex& index, Put&& put)
{
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
            TColumnFold column;
            bool lowFirst = false;
            index.ColumnExtremes(yv, r, e, mapY, column.Min, column.Max, lowFirst);
            column.X = x;
            column.First = mapY(yv[r]);
            column.Last = mapY(yv[e]);
            column.MinLater = !lowFirst;
            column.ForEachPoint([&](int y) {
                xs[k] = x;
                ys[k++] = y;
            });
        }
        width = e - r + 1;
        r = e + 1;
    }
    if (k > 0)
        put(xs, ys, k);
}
