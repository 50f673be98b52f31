#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/FuseRun.h"
#include "cli/layout/PropertyValue.h"
#include "evaluation/AttitudeErrors.h"
#include "io/EarthFrame.h"
#include "io/recording/StoredRecording.h"

namespace Kavelin::Python {

/// An estimate against a reference.
struct AttitudeComparison {
    Cli::KeptSamples errors;  ///< rad: total, heading, tilt; what was aligned for the heading is taken out
    RecordingIO::ErrorFigures figures;
    double turn = 0.0;  ///< rad, about the vertical: taken out
    std::string aligned;
    std::vector<std::string> notes;  ///< on rows of the reference that were left out
    std::string whyNone;             ///< why nothing could be compared; empty: something was
    /// Nothing but the frame of the result says what the reference is relative to.
    bool isReferenceInFrame = false;
};

/// A property of the estimator as it was.
struct Setting {
    std::string name;
    std::string kind;
    Cli::PropertyValue value;
};

/// What a run of fuse gave.
struct FusedResult {
    std::string recording;
    std::string type;
    std::string frame;  ///< of the quaternions
    int status = 0;
    std::string messages;  ///< a line each
    std::string text;      ///< the summary for a person
    std::string summary;   ///< the same for programs, JSON

    Cli::KeptRows rows;  ///< with the quaternions of the result
    std::vector<Cli::ResultWatch::Extra> extras;
    Cli::KeptSamples bias;  ///< rad/s; empty where the filter sends none
    bool isBiasSent = false;
    std::vector<Setting> settings;
    std::optional<std::pair<std::string, std::string>> verdicts;  ///< on tilt and heading, in words

    /// Attitudes before they were turned to `frame`, w first; empty where they were not turned.
    std::vector<double> unturned;
    std::optional<RecordingIO::EarthTurn> turn;

    // What a reference is compared with.
    std::string estimateFrame;
    std::optional<Cli::KeptRows> estimate;  ///< empty: the rows, before the turn
    std::optional<RecordingIO::Alignment> alignment;
    bool isReferenceDown = false;  ///< one whose frame is not known is relative to North-East-Down
    std::string movement;          ///< file
    std::optional<AttitudeComparison> comparison;

    /// Of the rows; four elements each, before the turn.
    const std::vector<double>& attitudes() const { return turn ? unturned : rows.quaternions; }
};

/// Runs it.  @throws as FuseRun  [no other layout running]
FusedResult fuse(const Cli::FuseOptions& options);

/// What a comparison is made with.
struct ReferenceChoice {
    std::string file;  ///< empty: `opener`
    std::function<std::unique_ptr<RecordingIO::RowReader>()> opener;
    bool isUp = false;  ///< what is opened is relative to East-North-Up
    std::string alignment = "auto";
};

/// Compares the estimate with a reference as a run does.  @throws Cli::UsageError, Poco exceptions
AttitudeComparison compare(const FusedResult& result, const ReferenceChoice& choice);

/// The estimate of a result that is a reference.
struct ReferenceFrame {
    std::string type;
    std::string frame;  ///< as its pin declares it
};

/// Whether an estimate in another frame can be compared with it so.  @throws Cli::UsageError
void requireComparable(const ReferenceFrame& reference, std::string_view estimate,
                       RecordingIO::Alignment alignment);

/// Its estimate, where that is relative to the earth as a recording that says so; a row for each.
std::shared_ptr<const RecordingIO::StoredRecording> referenceOf(const FusedResult& result);

/// Writes the table that `kavelin fuse -o` writes.
/// @param format label of FilterCsvWriter's property; empty: by the file's name
/// @return notes on it  @throws as the writer
std::vector<std::string> write(const FusedResult& result, const std::string& path, Cli::AttitudeForm form,
                               const std::string& format);

/// n x 3: yaw, pitch, roll.  @param unit that many to a radian
std::vector<double> eulerAngles(const FusedResult& result, double unit);
/// n x 3 x 3
std::vector<double> rotations(const FusedResult& result);

}  // namespace Kavelin::Python
