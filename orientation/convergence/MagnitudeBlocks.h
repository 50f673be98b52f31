#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "orientation/convergence/ErrorBand.h"

namespace Kavelin::OrientationInternal {

/// Finds the last error whose magnitude is outside, or inside, a band within a part of a growing list. Least
/// and greatest magnitude of each 16, 256, 4096, ... errors tell what to skip, so that the time grows with
/// the logarithm of how far back the error lies; but see lastInside.
class MagnitudeBlocks {
public:
    /// Forgets every entry and keeps the storage.
    void clear();

    /// Takes note of the last of `errors`; to be called once after each append. Allocates as the list grows.
    void advance(std::span<const double> errors);

    /// What a search found, and how many errors and blocks it looked at.
    struct Found {
        std::size_t index;  // 0 for nothing
        std::size_t visits;
    };

    /// Looks for the last error outside the band with an index in [floor, end).
    /// @param floor at least 1.  @param end at most errors.size().
    Found lastOutside(std::span<const double> errors, std::size_t floor, std::size_t end,
                      const ErrorBand& band) const;

    /// Looks for the last error inside the band the same way; errors that are not numbers may be passed over.
    /// A block with magnitudes on both sides of the band must be looked into, so errors that keep jumping
    /// over the band cost a visit each.
    Found lastInside(std::span<const double> errors, std::size_t floor, std::size_t end,
                     const ErrorBand& band) const;

private:
    static constexpr std::size_t kFanOut = 16;

    /// Of the magnitudes in a block; those that are not numbers are left out.
    struct Extremes {
        double least, greatest;
    };
    template <typename EntryFits, typename BlockMayFit>
    Found searchBack(std::size_t floor, std::size_t end, EntryFits entryFits, BlockMayFit blockMayFit) const;

    std::vector<std::vector<Extremes>>
        levels_;  // levels_[j] holds blocks of kFanOut^(j + 1) errors, full ones only
};

}  // namespace Kavelin::OrientationInternal
