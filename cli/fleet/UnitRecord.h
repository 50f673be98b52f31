#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fleet/UnitColumns.h"

namespace Kavelin::Cli {

/// What is known of a unit beside the state of its filters.
struct UnitRecord {
    std::string columns = {};  ///< as plainColumns
    UnitTime time = {};
    bool isCalibrated = false;
    bool isTimeWatched = false;           ///< the first rows have yet to bear out the unit of the times
    std::vector<double> firstTimes = {};  ///< as they stand in these rows
};

/// The state of the filters of a unit that has just begun, by which the others are told.
struct FreshState {
    std::string bytes;
    std::string base;  ///< the same, and zeros: much of what a unit has more than a fresh one is zero
    std::uint32_t sum = 0;

    FreshState() = default;
    explicit FreshState(std::string state);
};

/// The bytes of a unit: its record, and how the state of its filters differs from that of one that has just begun.
/// @param filters a state that bears a checksum of its own
std::string packUnit(const UnitRecord& unit, const FreshState& fresh, std::string_view filters);

/// A unit's bytes, opened.
struct PackedUnit {
    UnitRecord record;
    std::uint32_t freshSum = 0;
    std::string_view difference;  ///< lies in the bytes

    /// @throws Poco::DataFormatException for bytes that are no unit's, or whose record is damaged
    explicit PackedUnit(std::string_view bytes);
    /// The state of its filters.  @throws Poco::DataFormatException where they are others than those of `fresh`
    std::string filters(const FreshState& fresh) const;
};

}  // namespace Kavelin::Cli
