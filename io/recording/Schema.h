#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/Axes.h"
#include "io/recording/TableForm.h"
#include "io/recording/Units.h"

namespace Kavelin::RecordingIO {

/// Columns that go out together as one matrix.
struct Channel {
    std::string pin;       ///< "3a", "3g", "3m", "quat", or the name a mapping gives
    std::size_t rows = 1;  ///< shape of the matrix
    std::size_t cols = 1;
    std::vector<std::size_t> columns;  ///< the file's columns, from 0, one an element, row by row
    Quantity quantity = Quantity::kNone;
    Unit unit;
    bool isUnitDeclared =
        false;  ///< by the header, the mapping or an option; otherwise the base unit is assumed
    /// +1 or -1 for each element; empty: all +1.
    std::vector<double> signs;
    /// What the columns of a quaternion hold.
    using Attitude = TableForm::Attitude::Kind;
    Attitude attitude = Attitude::kQuaternion;
    /// w, x, y, z: what a quaternion is multiplied with on its right; empty: nothing.
    std::vector<double> turn;
    TableForm::Earth earth = TableForm::Earth::kEastNorthUp;  ///< what the file's quaternion is relative to
    /// Which clock its rows follow: channels of one clock come in the same rows.
    std::size_t clock = 0;

    std::size_t size() const { return rows * cols; }
    /// Whether the format says what the orientations are relative to; they leave the reader relative to East-North-Up.
    bool isEarthKnown() const { return earth != TableForm::Earth::kEastNorthUp; }
    /// Whether its orientations are not quaternions that can be sent as they stand.
    bool isTurned() const { return attitude != Attitude::kQuaternion || !turn.empty() || isEarthKnown(); }
};

/// What a recording's header line means.
struct Schema {
    char separator = ',';
    bool mergesSeparators = false;
    bool commaIsPoint = false;
    std::size_t columnCount = 0;
    std::optional<std::size_t> timeColumn;  ///< absent when the time follows from a given rate
    TableForm::Time::Kind timeKind = TableForm::Time::Kind::kNumber;
    Unit timeUnit;  ///< of the number or of the counts
    bool isTimeUnitDeclared = false;
    bool isByArrival = false;             ///< the time is that at which a row came; there is no time column
    double counterStep = 0.0;             ///< counts a packet
    std::optional<double> counterOrigin;  ///< the count at 0 s; none: the first
    /// Where 0 s is: times of two recordings, or of two sensors, go together only if it is one for both.
    enum class Origin { kGiven, kFirstRow, kFirstRowOfSensor };
    Origin origin = Origin::kGiven;
    double rate = 0.0;                 ///< Hz, of the rows where there is no time column
    std::vector<std::string> sensors;  ///< those that the table holds, where it holds several
    /// What was decided beyond the plain case, in a few words each: "semicolon", "time from the rows at 100 Hz".
    std::vector<std::string> decisions;
    std::optional<std::size_t> sensorColumn;  ///< its name says which sensor a row is of; not mapped to a pin
    std::vector<Channel> channels;
    std::size_t tables = 1;  ///< with clocks of their own, also those whose channels are left out
    std::vector<std::string> unknownColumns;  ///< neither understood nor mapped: skipped
    std::vector<std::string> notes;           ///< what a reader of the summary should know, one sentence each

    const Channel* find(std::string_view pin) const;
    std::vector<std::string> columnNames;  ///< as they stand in the header
    /// "t, 3a (ax, ay, az)": the columns that were understood, as their names stand in the header.
    std::string understood;
};

struct SchemaOptions {
    /// Columns to pins, in addition to or instead of the known names:
    /// `PIN = COLUMN, COLUMN, ... (UNIT) as RxC; PIN = ...`. UNIT and shape may be left out; the pin "t" is
    /// the time; a column is named as in the header, with or without its unit, in double quotes where it
    /// holds a comma or a semicolon, or by its number from 1 as `#4`.
    std::string mapping;
    /// Units of pins ("3a" -> "g"; "t" -> "ms"); they win over the header's.
    std::map<std::string, std::string> units;
    /// Rows a second, for a table without a time column; 0: there must be one.
    double rate = 0.0;
    /// A row's time is that at which it came; a time column is not used.
    bool isByArrival = false;
    /// Which sensor, where the table holds several; empty: it holds one.
    std::string sensor;
    bool listsSensors = false;  ///< several sensors are no mistake: their names are what is wanted
    AxesChoice axes;
};

/// Understands a header line: separator (comma, semicolon or tab), column names with units in () or [], the
/// names `t`, `time`, `timestamp`; `ax`, `Acc_X`, `Accelerometer X (g)` and their like; `qw..qz`,
/// `Quat_q0..q3`; names of a result file (`pin.x`, `pin.w`, `pin.00`), and the explicit mapping. Raises
/// Poco::DataFormatException when the line holds no names, no time, no channel, a name twice, or a unit that
/// the quantity does not have; the message says what was understood and what would be right.
Schema understandHeader(std::string_view line, const SchemaOptions& options);
/// The same for a table whose form is known.
Schema understandTable(const TableForm& form, const SchemaOptions& options);

/// Reads the text form of SchemaOptions::units, `3a=g, 3g=deg/s`.  Raises Poco::DataFormatException.
std::map<std::string, std::string> parseUnits(std::string_view text);

}  // namespace Kavelin::RecordingIO
