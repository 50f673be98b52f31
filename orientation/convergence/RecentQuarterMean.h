#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Kavelin::OrientationInternal {

/// A sum with the rounding error of its additions beside it: as good as twice the digits.
/// Source: Neumaier, Zeitschrift fuer Angewandte Mathematik und Mechanik 54, 1974.
struct CompensatedSum {
    double sum = 0.0;
    double error = 0.0;

    void add(double value);
};

/// Mean of the newest quarter (rounded down) of a growing list, in constant amortised time an entry.
///
/// The quarter is a window whose ends only move forwards: two stacks make it a queue with a sum. The part
/// that was there when the front stack was last built has its sums from each entry to the stack's end; the
/// younger part has one running sum. Nothing is ever subtracted, so an old large entry leaves no rounding
/// error behind when it has gone.
class RecentQuarterMean {
public:
    void clear() { *this = {}; }

    /// Takes note of the last of `entries`; to be called once after each append. Allocates as the list grows.
    void advance(std::span<const double> entries);

    /// @param entries the same list, of at least 4.
    /// @return the mean of the last entries.size() / 4: up to kPlainCount of them exactly as summed from the
    /// oldest to
    ///         the newest, more of them to the last digit or so of the true mean. Not-a-number and infinite
    ///         entries give what that sum gives.
    double mean(std::span<const double> entries) const;

    static constexpr std::size_t kPlainCount = 64;

private:
    /// Only tame entries go into the compensated sums; the others are counted.
    enum Kind : std::uint8_t { kTame, kNotANumber, kPlusInfinity, kMinusInfinity, kHuge };
    static Kind kindOf(double entry);
    static double tamePart(double entry) { return kindOf(entry) == kTame ? entry : 0.0; }
    void turnOver(std::span<const double> entries);

    std::size_t start_ = 0;  // first entry of the window
    std::vector<CompensatedSum>
        front_;            // sums from an entry to the end of the front part; the oldest entry's last
    CompensatedSum back_;  // sum of what came after the front part
    std::array<std::size_t, 5> count_{};  // entries of each kind in the window
};

}  // namespace Kavelin::OrientationInternal
