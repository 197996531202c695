#include "chart/ValueRangeIndex.h"

#include <algorithm>
#include <limits>

void TValueRangeIndex::Extend(const double* values, int count, int kept)
{
    Make(values, count, std::max(0, std::min({kept, fCount, count})));
}

void TValueRangeIndex::Make(const double* values, int count, int kept)
{
    fValues = values;
    fCount = count;
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr std::size_t kSize = std::size_t(1) << kBits;
    std::size_t blocks = (std::size_t(std::max(count, 0)) + kSize - 1) >> kBits;
    if (blocks == 0 || kept <= 0 || fMin.empty()) {
        fMin.clear();
        fMax.clear();
        kept = 0;
    }
    if (blocks == 0)
        return;
    // Level 0 from the rows; a NaN spoils its block, and every block above it.
    std::size_t first = std::size_t(kept) >> kBits;
    if (fMin.empty()) {
        fMin.emplace_back();
        fMax.emplace_back();
    }
    fMin[0].resize(blocks);
    fMax[0].resize(blocks);
    for (std::size_t b = first; b < blocks; ++b) {
        const int from = int(b << kBits), to = std::min(count, from + int(kSize));
        double mn = values[from], mx = values[from];
        bool bad = false;
        for (int i = from; i < to; ++i) {
            const double v = values[i];
            bad |= std::isnan(v);
            mn = std::min(mn, v);
            mx = std::max(mx, v);
        }
        fMin[0][b] = bad ? nan : mn;
        fMax[0][b] = bad ? nan : mx;
    }
    // Up to blocks of 2^30 rows, so that a block's size stays an int. A block above
    // covers 128 below it: it changes from the one holding the first changed block.
    std::size_t level = 1;
    for (; fMin[level - 1].size() >= 2 && level < std::size_t(30 / kBits); ++level) {
        const std::size_t lowSize = fMin[level - 1].size();
        blocks = (lowSize + kSize - 1) >> kBits;
        first >>= kBits;
        if (level == fMin.size()) {
            fMin.emplace_back();
            fMax.emplace_back();
            first = 0;
        }
        const std::vector<double>& lowMin = fMin[level - 1];
        const std::vector<double>& lowMax = fMax[level - 1];
        std::vector<double>& upMin = fMin[level];
        std::vector<double>& upMax = fMax[level];
        upMin.resize(blocks);
        upMax.resize(blocks);
        for (std::size_t b = first; b < blocks; ++b) {
            const std::size_t from = b << kBits, to = std::min(lowSize, from + kSize);
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
    }
    // Fewer rows than before need fewer levels.
    fMin.resize(level);
    fMax.resize(level);
}
