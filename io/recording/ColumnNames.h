#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

/// One cell of a header: "Accelerometer X (g)" has the name "Accelerometer X",
/// the unit "g" and the key "accelerometerx".
struct ColumnName {
    explicit ColumnName(std::string_view cell) : ColumnName(cell, cell) {}
    /// @param meaning what the cell would say if its maker had written it out: "Gyroscope X (deg/s)" for "X"
    ColumnName(std::string_view cell, std::string_view meaning);

    std::string raw;            ///< as it stands
    std::string name;           ///< without the unit
    std::string unit;           ///< what stood in () or [] at the end; empty when nothing did
    std::string key;            ///< lower case, without blanks, "_", "-" and "."
    bool tellsSensors = false;  ///< its cells, not its name, say which sensor a row is of
    std::string sensor;         ///< which it belongs to, where a table has columns of several; empty: to all

    bool isTime() const;
    /// "PacketCounter", "sample number" and the like.
    bool isCounter() const;
    /// "sensor", "Device ID" and the like: which sensor a row is of.
    bool isSensor() const;
    /// "Linear Acceleration x", "FreeAcc_X" and the like.
    bool isLinearAcceleration() const;

private:
    void takeIndex();
    void takeTimeUnit();
};

/// Columns found to belong together by their names.
struct ColumnGroup {
    std::string pin;
    std::size_t rows = 1;
    std::size_t cols = 1;
    std::vector<std::size_t> columns;
    std::vector<std::string> missing;  ///< columns that are not there, by the name that they would have
};

/// Groups the columns that are not in use: sensor axes and quaternions under any of their usual names, then
/// the dotted names of result files.
std::vector<ColumnGroup> groupColumns(const std::vector<ColumnName>& columns, const std::vector<bool>& used);

/// One entry of an explicit mapping, `PIN = COLUMN, ... (UNIT) as RxC`.
struct MappingEntry {
    std::string pin;
    std::vector<std::string> columns;
    std::string unit;
    std::size_t rows = 1;
    std::size_t cols = 1;
};

/// Raises Poco::DataFormatException with the entry that could not be read and what would be right.
std::vector<MappingEntry> parseMapping(std::string_view text);

/// The entries of a mapping whose columns are all among these: one of several tables takes its own.
std::string mappingFor(const std::vector<ColumnName>& columns, std::string_view mapping);

/// One entry of a header, `PIN = NAME, NAME, ...`: the columns of a pin in a table that is written.
struct HeaderEntry {
    std::string pin;
    std::vector<std::string> columns;  ///< as written, each with an optional unit in () at the end
};

/// Reads entries with semicolons between them; a name is in double quotes where it holds a comma or a
/// semicolon.  Raises Poco::DataFormatException for what cannot be read, a pin or a name given twice.
std::vector<HeaderEntry> parseHeader(std::string_view text);

}  // namespace Kavelin::RecordingIO
