#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/recording/ColumnNames.h"

namespace Kavelin::RecordingIO {

/// How a table of text is to be read: what its cells are separated by, what its columns are, where its rows
/// begin, and where their times come from. Found in its first lines (see findForm), or made by a format that
/// knows.
struct TableForm {
    char separator = ',';
    bool mergesSeparators = false;  ///< several blanks in a row separate once
    bool commaIsPoint = false;      ///< 1,5 is one and a half
    std::vector<ColumnName> columns;
    std::size_t headerLine = 1;  ///< number of the line with the names; 0: there is none
    std::size_t firstRow = 2;    ///< number of the first line that is a row

    /// A column that holds the time: its index, and its unit where the column itself does not say it.
    struct Time {
        enum class Kind {
            kNumber,   ///< a time in a unit
            kDate,     ///< text, as ISO 8601 writes it
            kCounter,  ///< of packets, or of ticks of a clock, that starts over at 2^16 or 2^32
        };
        Kind kind = Kind::kNumber;
        std::size_t column = 0;
        std::string unit;                             ///< of kNumber; empty: the column's own, or seconds
        double rate = 0.0;                            ///< Hz, of kCounter: counts a second
        double step = 0.0;                            ///< of kCounter: counts a packet; 0: it counts time
        std::optional<double> origin = std::nullopt;  ///< of kCounter: the count at 0 s; none: the first
    };
    std::optional<Time> time;             ///< none: the columns' names tell
    std::vector<std::size_t> emptyTimes;  ///< columns that are called a time, and hold none
    std::string whyNoTime;                ///< "N counts packets, and ...": why a rate has to be given
    double rate = 0.0;  ///< Hz, of the rows, as the lines above the header say; 0: they do not

    /// Columns that hold an orientation, sensor to earth, in another form than a quaternion.
    struct Attitude {
        enum class Kind {
            kQuaternion,
            kMatrix,  ///< nine elements, row by row
            kEuler    ///< roll, pitch, yaw: intrinsic turns about z by yaw, y by pitch, x by roll
        };
        Kind kind = Kind::kQuaternion;
        std::vector<std::size_t> columns;
        std::string unit;  ///< of angles: "deg"
    };
    std::optional<Attitude> attitude;
    /// What the orientations are relative to: x, y, z of the earth frame.
    enum class Earth { kEastNorthUp, kNorthWestUp, kNorthEastDown };
    Earth earth = Earth::kEastNorthUp;
    /// Pins whose vectors have the opposite sign in the file: gravity where specific force is meant.
    std::vector<std::string> inverted;

    /// What was decided, where it is not the plain case: "semicolon", "decimal comma", "units in line 3".
    std::vector<std::string> decisions;
};

/// What a user says of a table; what is not said is found out.
struct Dialect {
    std::optional<char> separator;
    std::optional<bool> commaIsPoint;
    std::optional<std::size_t> headerLine;
    std::string counter;  ///< name of the column that counts packets; empty: not said

    bool operator==(const Dialect&) const = default;
    bool isEmpty() const { return !separator && !commaIsPoint && !headerLine && counter.empty(); }
};

/// Reads `separator=semicolon, decimal=comma, header=3, counter=NAME`; separators are comma, semicolon, tab and
/// blank.  Raises Poco::DataFormatException.
Dialect parseDialect(std::string_view text);

/// What is known besides a table's lines.
struct FormHints {
    Dialect dialect;
    std::string mapping;       ///< of columns to pins: the names that it uses are in the header
    double rate = 0.0;         ///< Hz, as the user says
    bool hasTimeUnit = false;  ///< the user says the unit of the time
    bool isWhole = true;       ///< there are rows enough to judge by their steps
    bool hasRates = false;     ///< another table of the recording has the rates
};

/// Finds out the form of a table from its first lines: those above the rows, and the first rows.
/// @param lines from the first on, without line feeds; the first without a byte order mark
/// Raises Poco::DataFormatException where there is no header.
TableForm findForm(const std::vector<std::string>& lines, const FormHints& hints);

/// The form of a table whose only header is this line.
TableForm formOfHeader(std::string_view line);

/// Whether a line names a time and all axes of a sensor.
bool isWholeHeader(std::string_view line);

}  // namespace Kavelin::RecordingIO
