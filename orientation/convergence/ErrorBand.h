#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace Kavelin::OrientationInternal {

/// The band around the final error, as magnitudes (never negative, possibly not a number) are compared with
/// it.
struct ErrorBand {
    double lower;  // a magnitude at or below it is outside
    double upper;  // a magnitude at or above it is outside

    /// Builds the band of half-width `threshold` around `finalError`.
    static ErrorBand around(double finalError, double threshold) {
        return {finalError - threshold, finalError + threshold};
    }

    /// A magnitude that is not a number is inside, and so is every magnitude when the bounds are not numbers.
    bool excludes(double magnitude) const { return magnitude >= upper || magnitude <= lower; }

    /// The inside as a range of the bit patterns of magnitudes, which order as the magnitudes do. Empty when
    /// first > last.
    struct KeyRange {
        std::uint64_t first, last;
    };
    KeyRange insideKeys() const {
        if (upper <= 0.0) return {1, 0};
        const std::uint64_t first = lower >= 0.0 ? keyOf(lower) + 1 : 0;
        const std::uint64_t last =
            keyOf(std::isnan(upper) ? std::numeric_limits<double>::infinity() : upper) -
            (std::isnan(upper) ? 0 : 1);
        return {first, last};
    }

    /// @param magnitude not negative (-0.0 counts as 0.0) and not a NaN.
    static std::uint64_t keyOf(double magnitude) { return std::bit_cast<std::uint64_t>(std::abs(magnitude)); }
};

}  // namespace Kavelin::OrientationInternal
