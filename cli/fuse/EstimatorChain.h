#pragma once

#include <string>

#include "cli/fuse/Estimator.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/layout/LayoutDraft.h"
#include "io/recording/Schema.h"

namespace Kavelin::Cli {

/// The names of the filters that one sensor's way through a layout consists of.
struct ChainNames {
    std::string recording = "recording";
    std::string calibration = "calibration";
    std::string estimator = "estimator";
    std::string columns = "columns";  ///< turns rows where the estimator wants columns
    std::string verdict = "verdict";
    std::string clock = "clock";  ///< brings sensors with clocks of their own onto one
    std::string mount = "mount";  ///< turns the attitude into that of the segment

    /// "recording_thigh" and so on.
    static ChainNames of(const std::string& sensor) {
        return {"recording_" + sensor, "calibration_" + sensor, "estimator_" + sensor, "columns_" + sensor,
                "verdict_" + sensor,   "clock_" + sensor,       "mount_" + sensor};
    }
};

/// A layout with chains of a recording, an estimator and a verdict.
class EstimatorChain : public LayoutDraft {
protected:
    /// @param options, estimator borrowed
    EstimatorChain(const std::string& layout, const std::string& description, const FuseOptions& options,
                   const Estimator& estimator)
        : LayoutDraft(layout, description, options.plugins), options_(options), estimator_(estimator) {}

    /// The filter that reads, with the options that concern it.  @param path as the user wrote it
    /// @param sensor of several in the recording; empty: it holds one
    void addRecording(const ChainNames& chain, const std::string& path, const std::string& sensor);
    /// Behind the recording, what applies a unit's calibration, where the options name one.  @throws UsageError
    void addCalibration(const ChainNames& chain, const std::string& unit);
    /// Behind an attitude, what turns it into that of the segment that carries the unit, where the options say how it is
    /// mounted.  @return where the attitude comes from then  @throws UsageError
    Target addMount(const ChainNames& chain, const std::string& unit, const Target& attitude);
    /// Where the samples of a sensor come from, each at its own times.
    Target measured(const ChainNames& chain, const std::string& pin) const;
    /// Where the samples of a sensor come from, at times that the rates have too.
    Target sensor(const ChainNames& chain, const std::string& pin) const;
    /// Whether a round brings one sample at most, so that it need not be copied.
    bool isLent(const ChainNames& chain) const { return !hasFilter(chain.clock.c_str()); }
    /// Connects what the recording holds with what the estimator takes. First, so that the others find their
    /// sensors.
    void feedEstimator(const ChainNames& chain, const RecordingIO::Schema& schema);
    /// Adds the verdict, where the attitude can be judged.
    void addVerdict(const ChainNames& chain, const RecordingIO::Schema& schema);

    const FuseOptions& options_;
    const Estimator& estimator_;

private:
    void addClock(const ChainNames& chain, const RecordingIO::Schema& schema);
};

}  // namespace Kavelin::Cli
