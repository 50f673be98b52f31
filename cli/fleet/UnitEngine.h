#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cli/fuse/FuseOptions.h"

namespace Kavelin::Cli {

/// Of the options of `fuse`: type, settings, form, frame, scores, and what is said of the columns (mapping, units, axes).
/// Those that a stream of batches cannot have are refused; the others do not matter.
using UnitEngineOptions = FuseOptions;

/// Rows of one unit, in the order in which they were measured.
struct Batch {
    std::string columns;  ///< "t, ax [m/s^2], ...", as the first line of a recording; empty: in the payload
    std::string_view payload;  ///< CSV lines, the first of which may name the columns, or CBOR
};

/// What a batch gave.
struct Answer {
    std::string header;  ///< "t,qw,qx,qy,qz,...", as `kavelin fuse` writes it, without line end
    std::string rows;    ///< lines as `kavelin fuse` writes them, each with its line end
    std::size_t rowsTaken = 0;
    std::size_t rowsRefused = 0;
    std::vector<std::string> remarks;  ///< why rows were left out
};

/// What the rows so far are worth: "good", "doubtful", "bad"; empty: not known.
struct UnitVerdict {
    std::string tilt;
    std::string heading;
};

/// Runs batches of rows through the layout of `kavelin fuse`, for any number of units in turn. Of a unit nothing is kept but
/// its bytes, so whoever has these goes on where they were saved; the results of all its batches, one after another, are byte
/// for byte those of one recording with the same rows. [one thread]
///
/// A unit's bytes are 10 to 16 KiB. To take them up and to give them back costs as much as fifteen rows.
class UnitEngine {
public:
    /// @param options the plugins are loaded
    /// @throws UsageError or a Poco exception for a type, setting or form that cannot be used
    explicit UnitEngine(const UnitEngineOptions& options);
    ~UnitEngine();

    /// Runs the rows of a batch.
    /// @param state the unit's bytes, empty for a new unit; replaced when the batch is done
    /// @param calibration JSON text as `kavelin calibrate` writes it, empty: none; it is read for a new unit only
    /// @throws Poco::DataFormatException for a batch, bytes or a calibration that cannot be used: nothing has changed
    Answer advance(std::string& state, const Batch& batch, const std::string& calibration = {});

    /// Whether a unit can go on from these bytes.  @throws Poco::DataFormatException: it cannot
    void requireState(const std::string& state);

    /// What the rows so far of the unit that was advanced last are worth; empty where that was refused. It costs as much as
    /// two hundred rows, so ask now and then, not after every batch.
    UnitVerdict verdict();

private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace Kavelin::Cli
