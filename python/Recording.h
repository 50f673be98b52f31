#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/RecordingChoice.h"
#include "io/RecordingSource.h"
#include "io/recording/ArrayReader.h"
#include "io/recording/StoredRecording.h"
#include "python/Arrays.h"
#include "python/FusedResult.h"

namespace Kavelin::Python {

/// Samples of one unit in arrays, which this keeps: times of n, vectors of n x 3, quaternions of n x 4.
class SampleArrays {
public:
    /// @throws Refusal naming the argument that has another shape or length. Each may be None.
    SampleArrays(pybind11::handle t, pybind11::handle acc, pybind11::handle gyr, pybind11::handle mag,
                 pybind11::handle quat);

    /// A table of them; the memory is lent by this.
    const RecordingIO::ArrayView& table() const { return table_; }

private:
    void add(pybind11::handle argument, const char* name, const std::vector<std::string>& columns,
             const char* unit);

    std::vector<Doubles> kept_;
    std::vector<std::string> header_;
    RecordingIO::ArrayView table_;
    std::string counted_;  // the argument that says how many rows there are
};

/// Opens a table in memory as a file with these numbers would be opened. What owns the numbers outlives it.
RecordingIO::RecordingOpener openerOf(const std::string& name, const RecordingIO::ArrayView& table);

/// A recording in memory, and how it was read.
struct Recording {
    std::shared_ptr<const RecordingIO::StoredRecording> stored;
    Cli::RecordingChoice choice;
    std::string name;   ///< as the user gave it
    bool isUp = false;  ///< what it holds is not relative to North-East-Down, whatever is said of a file
    std::vector<std::string> sensors;  ///< of the recording that it comes from; empty where that holds one
    std::optional<ReferenceFrame> estimate{};  ///< that it is

    /// Opens it for the reader of a layout.  @throws Poco::InvalidArgumentException where the options ask for another
    /// choice than that by which it was read
    RecordingIO::RecordingOpener opener() const;
};

}  // namespace Kavelin::Python
