#pragma once
// Smallest and largest value of a value array over blocks of rows, in levels of 32,
// 1024, 32768, ... rows. A million rows folded into a few hundred pixel columns need
// only the rows that can still change a column's extremes: a block whose values all
// map into the range a column has reached already is passed over as a whole.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

class TValueRangeIndex {
public:
    // Builds the levels over count values; a block holding a NaN is never passed over.
    void Build(const double* values, int count);
    // Whether the index was built for these values in this state of the list.
    bool BuiltFor(const double* values, int count, std::uint64_t stamp) const
    {
        return fValues == values && fCount == count && fStamp == stamp;
    }
    void SetStamp(std::uint64_t stamp) { fStamp = stamp; }

    // The first row in [from, to] whose pixel, as map gives it, lies outside
    // [lo, hi]; to + 1 when there is none. map must be monotonic (a linear axis).
    template <class Map>
    int FirstOutside(const double* values, int from, int to, int lo, int hi, const Map& map) const
    {
        int r = from;
        while (r <= to) {
            // The largest block that starts at r and ends within the range.
            int level = -1;
            while (level + 1 < int(fMin.size()) && (r & Mask(level + 1)) == 0 &&
                   std::int64_t(r) + Size(level + 1) - 1 <= to)
                ++level;
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

    // Widens [lo, hi] to the pixels of the rows in [from, to].
    template <class Map>
    void PixelRange(const double* values, int from, int to, int& lo, int& hi, const Map& map) const
    {
        int r = from;
        while (r <= to) {
            int level = -1;
            while (level + 1 < int(fMin.size()) && (r & Mask(level + 1)) == 0 &&
                   std::int64_t(r) + Size(level + 1) - 1 <= to)
                ++level;
            for (; level >= 0; --level) {
                const double mn = fMin[std::size_t(level)][std::size_t(r >> Shift(level))];
                if (std::isnan(mn))
                    continue;   // a NaN maps where no order holds: its rows one by one
                const double mx = fMax[std::size_t(level)][std::size_t(r >> Shift(level))];
                const int a = map(mn), b = map(mx);
                lo = std::min({lo, a, b});
                hi = std::max({hi, a, b});
                r += Size(level);
                break;
            }
            if (level >= 0)
                continue;
            const int p = map(values[r]);
            lo = std::min(lo, p);
            hi = std::max(hi, p);
            ++r;
        }
    }

private:
    static constexpr int kBits = 5;   // 32 rows, then 32 blocks, per level
    static int Shift(int level) { return kBits * (level + 1); }
    static int Size(int level) { return 1 << Shift(level); }
    static int Mask(int level) { return Size(level) - 1; }

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
