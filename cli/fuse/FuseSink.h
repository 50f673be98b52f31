#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <array>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "attitude/rotation/Euler.h"
#include "cli/fuse/FuseOptions.h"
#include "evaluation/AttitudeErrors.h"
#include "io/recording/ReferenceTrack.h"
#include "io/recording/WriteBehind.h"

namespace Kavelin::Cli {

using OrientationInternal::eulerZyx;
using OrientationInternal::Filter;
using OrientationInternal::InputPin;
using OrientationInternal::Matrix;
using OrientationInternal::Quaternion;

/// The end of `kavelin fuse`'s layout: one row of the result for each attitude, with what was sent beside it.
///
/// Pins: "attitude" (1x4, 4x1 or 3x3), "reference" (1x4), "3g_bias" (3 elements), and one for each flag and
/// score. A cell stays empty where nothing was sent for that time.
class FuseSink : public Filter {
public:
    /// A flag or score that gets columns: its name and its shape.
    struct Extra {
        std::string name;
        std::size_t rows = 1;
        std::size_t cols = 1;
    };
    /// Called for each row, before the next: for a picture, a progress bar, a stop.
    using Observer = std::function<void(const FuseSink&)>;

    FuseSink(const std::string& name, const std::vector<Extra>& extras, AttitudeForm form,
             RecordingIO::ResultFile& file);

    void process() override;  // [layout thread]
    std::string typeName() const override { return "FuseSink"; }

    /// Waits until all rows are in the file.  Raises what writing them raised.
    void finish() { rows_.finish(); }

    /// Where the time of an attitude comes from when its filter stamps with the wall clock.
    void setClock(std::function<double()> clock) { clock_ = std::move(clock); }
    void setObserver(Observer observer) { observer_ = std::move(observer); }
    void setErrors(RecordingIO::AttitudeErrors* errors, RecordingIO::ReferenceTrack* track,
                   const RecordingIO::Intervals* intervals);

    /// s; time stamp, attitude and errors of the present row; no errors without a reference there.
    double time() const { return time_; }
    const Quaternion& attitude() const { return attitude_; }
    const std::optional<RecordingIO::PairErrors>& pairErrors() const { return pairErrors_; }
    std::uint64_t attitudes() const { return attitudes_; }
    const std::vector<Extra>& extras() const { return extras_; }
    /// Element of an extra in the present row; NaN where nothing was sent.
    double extra(std::size_t index, std::size_t element = 0) const;
    /// Rows in which an extra's element was sent, and in which it was not 0.
    struct Count {
        std::uint64_t sent = 0;
        std::uint64_t raised = 0;
    };
    const Count& count(std::size_t index) const { return counts_[index]; }
    /// Share of the time with a static score during which its overall flag was raised; NaN without such time.
    double staticShare() const;
    /// rad/s; the last bias sent.
    const std::optional<Eigen::Vector3d>& bias() const { return bias_; }

private:
    struct ExtraPin {
        ExtraPin(const Extra& extra, Filter* owner)
            : pin(extra.name, owner, OrientationInternal::AnyTime{}), size(extra.rows * extra.cols) {}
        InputPin<Matrix> pin;
        std::size_t size;
        bool ahead = false;    // the sample taken last belongs to a later row
        bool present = false;  // it belongs to this row
    };

    bool takeAttitude();
    void takeExtras();
    void takeExtra(ExtraPin& extra) const;
    void takeReference();
    void takeOwnReference();
    void compare(const Quaternion& reference);
    void count();
    void writeRow();
    void writeAttitude();
    void writeExtras();

    RecordingIO::WriteBehind rows_;
    AttitudeForm form_;
    std::function<double()> clock_;
    Observer observer_;
    std::vector<Extra> extras_;

    InputPin<Matrix> attitudePin_{"attitude", this, OrientationInternal::AnyTime{}};
    InputPin<Matrix> referencePin_{"reference", this, OrientationInternal::AnyTime{}};
    InputPin<Matrix> biasPin_{"3g_bias", this, OrientationInternal::AnyTime{}};
    std::vector<std::unique_ptr<ExtraPin>> pins_;
    std::optional<std::size_t> score_;  // which extra is the static mode's

    double time_ = 0.0;
    Quaternion attitude_{1.0, 0.0, 0.0, 0.0};
    std::uint64_t attitudes_ = 0;
    std::vector<Count> counts_;
    double staticTime_ = 0.0;
    double scoredTime_ = 0.0;
    double lastTime_ = std::numeric_limits<double>::quiet_NaN();
    std::optional<Eigen::Vector3d> bias_;

    RecordingIO::AttitudeErrors* errors_ = nullptr;
    RecordingIO::ReferenceTrack* track_ = nullptr;
    const RecordingIO::Intervals* intervals_ = nullptr;
    bool referenceAhead_ = false;
    std::optional<RecordingIO::PairErrors> pairErrors_;
};

}  // namespace Kavelin::Cli
