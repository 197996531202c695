#include "chart/ValueRangeIndex.h"

#include <algorithm>
#include <limits>

void TValueRangeIndex::Build(const double* values, int count)
{
    fValues = values;
    fCount = count;
    fMin.clear();
    fMax.clear();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    // Level 0 from the rows; a NaN spoils its block, and every block above it.
    std::size_t blocks = (std::size_t(std::max(count, 0)) + (1 << kBits) - 1) >> kBits;
    if (blocks == 0)
        return;
    std::vector<double> mins(blocks), maxs(blocks);
    for (std::size_t b = 0; b < blocks; ++b) {
        const int from = int(b << kBits), to = std::min(count, from + (1 << kBits));
        double mn = values[from], mx = values[from];
        bool bad = false;
        for (int i = from; i < to; ++i) {
            const double v = values[i];
            bad |= std::isnan(v);
            mn = std::min(mn, v);
            mx = std::max(mx, v);
        }
        mins[b] = bad ? nan : mn;
        maxs[b] = bad ? nan : mx;
    }
    fMin.push_back(std::move(mins));
    fMax.push_back(std::move(maxs));
    // Up to blocks of 2^30 rows, so that a block's size stays an int.
    while (fMin.back().size() >= 2 && fMin.size() < std::size_t(30 / kBits)) {
        const std::vector<double>& lowMin = fMin.back();
        const std::vector<double>& lowMax = fMax.back();
        blocks = (lowMin.size() + (1 << kBits) - 1) >> kBits;
        std::vector<double> upMin(blocks), upMax(blocks);
        for (std::size_t b = 0; b < blocks; ++b) {
            const std::size_t from = b << kBits, to = std::min(lowMin.size(), from + (std::size_t(1) << kBits));
            double mn = lowMin[from], mx = lowMax[from];
            for (std::size_t i = from; i < to && !std::isnan(mn); ++i) {
                if (std::isnan(lowMin[i])) {
                    mn = mx = nan;
                    break;
                }
                mn = std::min(mn, lowMin[i]);
                mx = std::max(mx, lowMax[i]);
            }
            upMin[b] = mn;
            upMax[b] = mx;
        }
        fMin.push_back(std::move(upMin));
        fMax.push_back(std::move(upMax));
    }
}
