#include "orientation/convergence/MagnitudeBlocks.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Kavelin::OrientationInternal {

void MagnitudeBlocks::clear() {
    for (auto& level : levels_) level.clear();
}

void MagnitudeBlocks::advance(std::span<const double> errors) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    std::size_t count = errors.size();
    for (std::size_t level = 0; count % kFanOut == 0; ++level, count /= kFanOut) {
        Extremes extremes{kInfinity, -kInfinity};
        for (std::size_t i = count - kFanOut; i < count; ++i) {
            const Extremes part =
                level == 0 ? Extremes{std::abs(errors[i]), std::abs(errors[i])} : levels_[level - 1][i];
            // std::min and std::max keep their first argument when the second is not a number
            extremes.least = std::min(extremes.least, part.least);
            extremes.greatest = std::max(extremes.greatest, part.greatest);
        }
        if (levels_.size() == level) levels_.emplace_back();
        levels_[level].push_back(extremes);
    }
}

template <typename EntryFits, typename BlockMayFit>
MagnitudeBlocks::Found MagnitudeBlocks::searchBack(std::size_t floor, std::size_t end, EntryFits entryFits,
                                                   BlockMayFit blockMayFit) const {
    std::size_t size = 1;  // of the blocks of this level: 1 at level 0, the errors themselves
    std::size_t visits = 0;
    for (std::size_t level = 0; end > floor;) {
        ++visits;
        if (level == 0 && entryFits(end - 1)) return {end - 1, visits};
        if (level > 0 && blockMayFit(levels_[level - 1][end / size - 1])) {
            --level;
            size /= kFanOut;
            continue;
        }
        end -= size;
        while (level < levels_.size() && end % (size * kFanOut) == 0) {
            ++level;
            size *= kFanOut;
        }
    }
    return {0, visits};
}

MagnitudeBlocks::Found MagnitudeBlocks::lastOutside(std::span<const double> errors, std::size_t floor,
                                                    std::size_t end, const ErrorBand& band) const {
    return searchBack(
        floor, end, [&](std::size_t i) { return band.excludes(std::abs(errors[i])); },
        [&](const Extremes& block) { return band.excludes(block.least) || band.excludes(block.greatest); });
}

MagnitudeBlocks::Found MagnitudeBlocks::lastInside(std::span<const double> errors, std::size_t floor,
                                                   std::size_t end, const ErrorBand& band) const {
    return searchBack(
        floor, end, [&](std::size_t i) { return !band.excludes(std::abs(errors[i])); },
        [&](const Extremes& block) { return !(block.least >= band.upper || block.greatest <= band.lower); });
}

}  // namespace Kavelin::OrientationInternal
