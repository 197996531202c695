#pragma once
// Smallest and largest value of a value array over blocks of rows, in levels of 128,
// 16384, 2097152, ... rows. A million rows folded into a few hundred pixel columns need
// only the rows that can still change a column's extremes: a block whose values all
// map into the range a column has reached already is passed over as a whole. Blocks of
// 128 keep the index at 1/64 of its values (a few ms more per frame than blocks of 32,
// a quarter of their memory).

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <vector>

class TValueRangeIndex {
public:
    // Builds the levels over count values; a block holding a NaN is never passed over.
    void Build(const double* values, int count) { Make(values, count, 0); }
    // The same levels once the values from row kept on were appended or replaced (the
    // array may have moved): only the blocks from the one holding row kept are made again.
    void Extend(const double* values, int count, int kept);
    // Whether the index was built for these values in this state of the list.
    bool BuiltFor(const double* values, int count, std::uint64_t stamp) const
    {
        return fValues == values && fCount == count && fStamp == stamp;
    }
    // Whether the index was built for this state of the list, wherever its values are now.
    bool BuiltAt(std::uint64_t stamp) const { return fCount >= 0 && fStamp == stamp; }
    void SetStamp(std::uint64_t stamp) { fStamp = stamp; }

    // The first row in [from, to] whose pixel, as map gives it, lies outside
    // [lo, hi]; to + 1 when there is none. map must be monotonic (a linear axis).
    template <class Map>
    int FirstOutside(const double* values, int from, int to, int lo, int hi, const Map& map) const
    {
        int r = from;
        while (r <= to) {
            int level = LargestLevel(r, to);
            bool passed = false;
            for (; level >= 0; --level) {
                if (Inside(level, r >> Shift(level), lo, hi, map)) {
                    r += Size(level);
                    passed = true;
                    break;
                }
            }
            if (passed)
                continue;
            const int p = map(values[r]);
            if (p < lo || p > hi)
                return r;
            ++r;
        }
        return to + 1;
    }

    // The smallest and largest pixel of the rows in [from, to], and whether the
    // smallest is met first. One pass over the largest blocks that fit; only a block
    // holding the first of both extremes is looked into again.
    template <class Map>
    void ColumnExtremes(const double* values, int from, int to, const Map& map, int& lo, int& hi, bool& lowFirst) const
    {
        lo = INT_MAX;
        hi = INT_MIN;
        int loAt = from, hiAt = from, loSize = 1, hiSize = 1;
        int r = from;
        while (r <= to) {
            int level = LargestLevel(r, to);
            int a = 0, b = 0, size = 1;
            for (; level >= 0; --level) {
                const double mn = fMin[std::size_t(level)][std::size_t(r >> Shift(level))];
                if (std::isnan(mn))
                    continue;   // a NaN maps where no order holds: smaller blocks, then rows
                a = map(mn);
                b = map(fMax[std::size_t(level)][std::size_t(r >> Shift(level))]);
                if (a > b)
                    std::swap(a, b);
                size = Size(level);
                break;
            }
            if (level < 0)
                a = b = map(values[r]);
            if (a < lo) {
                lo = a;
                loAt = r;
                loSize = size;
            }
            if (b > hi) {
                hi = b;
                hiAt = r;
                hiSize = size;
            }
            r += size;
        }
        if (loAt != hiAt) {
            lowFirst = loAt < hiAt;
            return;
        }
        // Both met first in the same block: which row comes first inside it.
        const int end = loAt + std::max(loSize, hiSize) - 1;
        lowFirst = FirstOutside(values, loAt, end, lo + 1, INT_MAX, map) <
                   FirstOutside(values, loAt, end, INT_MIN, hi - 1, map);
    }

private:
    void Make(const double* values, int count, int kept);

    static constexpr int kBits = 7;   // 128 rows, then 128 blocks, per level
    static int Shift(int level) { return kBits * (level + 1); }
    static int Size(int level) { return 1 << Shift(level); }
    static int Mask(int level) { return Size(level) - 1; }
    // The level of the largest block that starts at row r and ends by row to; -1 for none.
    int LargestLevel(int r, int to) const
    {
        int level = -1;
        while (level + 1 < int(fMin.size()) && (r & Mask(level + 1)) == 0 &&
               std::int64_t(r) + Size(level + 1) - 1 <= to)
            ++level;
        return level;
    }

    template <class Map>
    bool Inside(int level, int block, int lo, int hi, const Map& map) const
    {
        const double mn = fMin[std::size_t(level)][std::size_t(block)];
        const double mx = fMax[std::size_t(level)][std::size_t(block)];
        if (std::isnan(mn))
            return false;
        int a = map(mn), b = map(mx);
        if (a > b)
            std::swap(a, b);
        return a >= lo && b <= hi;
    }

    std::vector<std::vector<double>> fMin, fMax;
    const double* fValues = nullptr;
    int fCount = -1;
    std::uint64_t fStamp = 0;
};
