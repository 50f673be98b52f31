#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>

namespace Kavelin::RecordingIO {

/// Why a line gives no row.
enum class Fault {
    kNotANumber,     ///< a cell is neither a number nor empty nor "nan"
    kShortRow,       ///< fewer cells than the header has
    kLongRow,        ///< more cells than the header has
    kNoTime,         ///< the time cell is empty
    kTimeBackwards,  ///< earlier than a row before
    kCutOff,         ///< the file ends in the middle of this row
    kUnreadable,     ///< the file cannot be read on from here, or a line is too long
    kOtherSensor,    ///< from here on the rows are another sensor's: the end
};
inline constexpr std::size_t kFaultCount = 8;

/// A line that gives no row, and why: "too few cells: the row has 3 of 7 cells".
struct Refusal {
    Fault fault = Fault::kNotANumber;
    std::string what{};
};

/// A few words for a summary: "text in a number", "time backwards", ...
std::string_view faultName(Fault fault);

/// How many faults there were of each kind.
class FaultCounts {
public:
    /// @return how many of this kind there are now.
    std::uint64_t add(Fault fault) { return ++counts_[static_cast<std::size_t>(fault)]; }
    std::uint64_t of(Fault fault) const { return counts_[static_cast<std::size_t>(fault)]; }
    std::uint64_t total() const { return std::accumulate(counts_.begin(), counts_.end(), std::uint64_t{0}); }

private:
    std::array<std::uint64_t, kFaultCount> counts_{};
};

}  // namespace Kavelin::RecordingIO
