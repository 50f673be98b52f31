#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/fuse/ResultWatch.h"
#include "evaluation/AttitudeErrors.h"
#include "evaluation/Judge.h"
#include "io/recording/Fault.h"
#include "io/recording/RecordingStatistics.h"

namespace Kavelin::Cli {

/// What the summary of a run is made of.
struct FuseSummary {
    std::string recording;
    std::string type;
    const RecordingIO::Schema& schema;
    const RecordingIO::RecordingStatistics& statistics;
    const RecordingIO::FaultCounts& faults;
    const ResultWatch& watch;
    const RecordingIO::AttitudeErrors* errors;  ///< null where nothing is compared
    bool hasOwnReference;                       ///< the recording holds a quaternion, and no other was given
    std::uint64_t dropped;
    std::string settings;  ///< the estimator's settings file; empty where it has none
    bool hasField;         ///< it takes a field, and the recording has some
    /// Rows after the first attitude that hold everything taken together, and that gave no attitude.
    std::uint64_t silentRows;
    const RecordingIO::Judged* judged;  ///< null for an attitude that cannot be judged
    std::vector<std::string> notes;     ///< on the file written
    std::string frame;                  ///< "ned", "enu" where it was asked for
    bool isReferenceInFrame;            ///< nothing but `frame` says what the reference is relative to
    double outputRate;                  ///< Hz, to which the result was resampled; 0: it was not
    std::vector<std::string> resamplerNotes;
    std::vector<std::string>
        calibration;  ///< what was applied to the samples and the attitude; empty: nothing
};

/// The summary of a run, some lines for a person: rows, rate, gaps, what was left out and dropped, flags,
/// static share, errors against the reference, then one line a warning, and the verdict on tilt and heading.
std::string summaryText(const FuseSummary& summary);

/// Share of the rows in which a flag was raised, or a quality was bad.
struct FlagShare {
    std::string name;
    double share;
    bool isQuality;
};
/// Share of all that were sent; without a field, the flag of the field says nothing.
std::vector<FlagShare> flagShares(const FuseSummary& summary);

/// By how much the field's norm changes with the direction; nothing where the magnetometer does not look
/// uncalibrated.
std::optional<double> ironShare(const FuseSummary& summary);

/// What in the recording needs a person's attention, one sentence each.
std::vector<std::string> warningsOf(const FuseSummary& summary);

}  // namespace Kavelin::Cli
