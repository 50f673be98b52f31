#pragma once

#include <compare>
#include <string>
#include <vector>

#include "io/recording/RowBuilder.h"
#include "io/recording/TableForm.h"

namespace Kavelin::Cli {

/// How the times of a unit's rows are read, where the names of the columns do not tell.
struct UnitTime {
    bool isDate = false;
    std::string unit;  ///< of numbers; empty: the column's own, or seconds

    auto operator<=>(const UnitTime&) const = default;
};

/// What the columns of a unit's rows are, as a recording's reader understands its header.
class UnitColumns {
public:
    /// @param options borrowed  @throws Poco::DataFormatException for columns that cannot be used
    UnitColumns(const std::string& columns, const RecordingIO::ReaderOptions& options);

    char separator() const { return form_.separator; }
    /// What the first rows of a unit tell of their times, as those of a pipe do: dates, times since 1970.
    /// @throws Poco::DataFormatException for times that are neither numbers nor dates
    UnitTime decideTime(const std::vector<std::string>& lines) const;
    /// Whether the unit of the times is taken for granted, so that the first rows have to bear it out.
    bool isUnitAssumed(const UnitTime& time) const;
    /// Makes sure that these are times in seconds, as far as they tell: of a file with such times, another unit would be
    /// decided on.  @param times as they stand in the rows  @throws Poco::DataFormatException
    void requireSeconds(const std::vector<double>& times) const;
    /// @throws Poco::DataFormatException
    RecordingIO::Schema schema(const UnitTime& time) const;

private:
    RecordingIO::FormHints hints(bool isWhole) const;
    void requirePlainTime() const;

    const RecordingIO::ReaderOptions& options_;
    RecordingIO::TableForm form_;  // with the time's column
};

}  // namespace Kavelin::Cli
