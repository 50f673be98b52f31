#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/fuse/Estimator.h"
#include "cli/fuse/FuseOptions.h"
#include "cli/fuse/ResultWatch.h"
#include "cli/layout/LayoutFile.h"
#include "evaluation/AttitudeErrors.h"
#include "io/recording/Schema.h"

namespace Kavelin::Cli {

/// The layout of `kavelin fuse`, as a file might hold it:
///
///     recording --3a 3g 3m--> estimator --attitude, flags--> result
///         |---> quality, static --scores--------------------->|
///         |---> verdict, errors <--attitude-- estimator
///
/// It is made in two steps, as its parts depend on what the recording holds.
class FuseLayout {
public:
    /// The recording and the estimator, with the settings that name them.
    /// @param estimator of the options' type
    FuseLayout(const FuseOptions& options, const Estimator& estimator, Mistakes& mistakes);

    /// Everything else. The recording is open and the estimator has its settings.
    /// @param alignment of the comparison with a reference; empty: none is compared
    void complete(const RecordingIO::Schema& schema, std::optional<RecordingIO::Alignment> alignment,
                  Mistakes& mistakes);

    LayoutFile& file() { return file_; }
    /// Where the attitude comes from, and the flags and scores at its times.
    const Target& attitude() const { return attitude_; }
    const std::vector<ResultWatch::Extra>& extras() const { return extras_; }
    /// Where an extra comes from.
    Target source(const std::string& extra) const;

private:
    FilterEntry& add(const char* name, const std::string& type);
    bool hasFilter(const char* name) const { return file_.findFilter(name) != nullptr; }
    void set(FilterEntry& filter, const char* property, const std::string& value,
             const std::string& option = {});
    void connect(const Target& from, const Target& to, bool newestOnly = false);
    void applySettings(Mistakes& mistakes);
    static bool has(const std::string& type, const std::string& property);
    std::string literal(const std::string& name);

    void addRecording();
    void feedEstimator(const RecordingIO::Schema& schema);
    void addQuality(const RecordingIO::Schema& schema);
    void addStaticMode(const RecordingIO::Schema& schema);
    void addErrors(const RecordingIO::Schema& schema, RecordingIO::Alignment alignment);
    void addVerdict(const RecordingIO::Schema& schema);
    void addResult();
    std::string header() const;

    const FuseOptions& options_;
    const Estimator& estimator_;
    LayoutFile file_;
    std::vector<std::string> settings_;  // not yet applied
    Target attitude_;
    std::vector<ResultWatch::Extra> extras_;
};

}  // namespace Kavelin::Cli
