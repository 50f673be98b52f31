#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "attitude/rotation/RotationTypes.h"
#include "evaluation/AttitudeErrors.h"

namespace Kavelin::Cli {

/// Counts, for summary and picture, what a run of `kavelin fuse` gives in addition to its table: flags and
/// scores at the times of the attitudes. Connect all pins from one layout.
class ResultWatch : public OrientationInternal::Filter {
public:
    /// A flag or score: its name and its number of elements.
    struct Extra {
        std::string name;
        std::ptrdiff_t size = 1;
    };
    /// Called for each attitude, before the next.
    using Observer = std::function<void(const ResultWatch&)>;

    /// Makes an input for each extra.
    ResultWatch(const std::string& name, const std::vector<Extra>& extras);

    void process() override;  // [layout thread]
    std::string typeName() const override { return "ResultWatch"; }

    void setObserver(Observer observer) { observer_ = std::move(observer); }

    /// s; time stamp, attitude and errors of the present attitude; no errors without a reference there.
    double time() const { return attitudePin_.lastTimeStamp(); }
    const OrientationInternal::Quaternion& attitude() const { return attitude_; }
    const std::optional<RecordingIO::PairErrors>& pairErrors() const { return pairErrors_; }
    std::uint64_t attitudes() const { return attitudes_; }
    const std::vector<Extra>& extras() const { return extras_; }
    /// Element of an extra at the present attitude's time; NaN where nothing was sent.
    double extra(std::size_t index, std::ptrdiff_t element = 0) const;
    /// Attitudes with an extra, and those where its first element was not 0.
    struct Count {
        std::uint64_t sent = 0;
        std::uint64_t raised = 0;
    };
    const Count& count(std::size_t index) const { return pins_[index]->count; }
    /// Share of the time with a static score during which its overall flag was raised; NaN without such time.
    double staticShare() const { return staticTime_ / scoredTime_; }
    /// rad/s; the last bias sent.
    const std::optional<Eigen::Vector3d>& bias() const { return bias_; }

private:
    using Matrix = OrientationInternal::Matrix;
    using Input = OrientationInternal::InputPin<Matrix>;

    struct ExtraPin {
        ExtraPin(const Extra& extra, Filter* owner)
            : pin(extra.name, owner, OrientationInternal::AnyTime{}), size(extra.size) {}

        void goTo(double time);

        Input pin;
        std::ptrdiff_t size;
        bool ahead = false;    // the sample taken last is of a later time
        bool present = false;  // it is of the attitude's time
        Count count;
    };

    bool takeAttitude();
    void takeBias();
    void countScore();

    Input attitudePin_{"attitude", this, OrientationInternal::AnyTime{}};
    Input biasPin_{"3g_bias", this, OrientationInternal::AnyTime{}};
    ExtraPin errors_{{"errors", 3}, this};
    std::vector<Extra> extras_;
    std::vector<std::unique_ptr<ExtraPin>> pins_;
    std::optional<std::size_t> score_;  // which extra is the static mode's
    Observer observer_;

    OrientationInternal::Quaternion attitude_{1.0, 0.0, 0.0, 0.0};
    std::optional<RecordingIO::PairErrors> pairErrors_;
    std::optional<Eigen::Vector3d> bias_;
    std::uint64_t attitudes_ = 0;
    double staticTime_ = 0.0;
    double scoredTime_ = 0.0;
    double lastTime_ = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace Kavelin::Cli
