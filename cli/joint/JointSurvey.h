#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <array>
#include <limits>
#include <optional>
#include <string>

#include "cli/TimeInterval.h"
#include "orientation/joint/JointSamples.h"
#include "orientation/joint/StillPose.h"

namespace Kavelin::Cli {

/// Gathers, in constant memory, what tells how the units of a joint are aligned with their segments: both in
/// the pose, and their motion. Connect attitudes and rates to "pairs" of a JointLayout, and the biases to the
/// estimators that have them.
class JointSurvey : public OrientationInternal::Filter {
public:
    /// @param pose empty: none is gathered
    JointSurvey(const std::string& name, const std::optional<TimeInterval>& pose);

    void process() override;  // [layout thread]
    std::string typeName() const override { return "JointSurvey"; }

    /// s, of the first and last pair of samples, and of those in the pose; NaN where there is none.
    struct Span {
        double first = std::numeric_limits<double>::quiet_NaN();
        double last = std::numeric_limits<double>::quiet_NaN();
        void add(double t) {
            if (!(first <= t)) first = t;
            last = t;
        }
    };
    const Span& all() const { return all_; }
    const Span& inPose() const { return inPose_; }
    std::size_t poseSamples() const { return pose_d_.samples(); }
    const OrientationInternal::PoseAverage& poseOfD() const { return pose_d_; }
    const OrientationInternal::PoseAverage& poseOfG() const { return pose_g_; }
    const OrientationInternal::JointSamples& motion() const { return motion_; }

    /// rad/s, of D (0) or G (1); the bias that the estimator sent last, zero without one.
    const OrientationInternal::Vector3& bias(std::size_t unit) const { return biases_[unit]; }

    /// The input for the attitude, the rate or the bias of D (0) or G (1).
    Core::AbstractInputPin& attitudePin(std::size_t unit) { return unit == 0 ? attitude_d_ : attitude_g_; }
    Core::AbstractInputPin& ratePin(std::size_t unit) { return unit == 0 ? rate_d_ : rate_g_; }
    Core::AbstractInputPin& biasPin(std::size_t unit) { return unit == 0 ? bias_d_ : bias_g_; }

private:
    using Input = OrientationInternal::InputPin<Core::Matrix>;

    bool takeAll();
    void takeBiases();
    void add(double t, const OrientationInternal::JointSample& sample);

    Input attitude_d_{"D", this, Core::kQuaternion};
    Input attitude_g_{"G", this, Core::kQuaternion};
    Input rate_d_{"3g of D", this, Core::kRate};
    Input rate_g_{"3g of G", this, Core::kRate};
    Input bias_d_{"3g_bias of D", this, OrientationInternal::AnyTime{}};
    Input bias_g_{"3g_bias of G", this, OrientationInternal::AnyTime{}};

    std::optional<TimeInterval> interval_;
    std::array<OrientationInternal::Vector3, 2> biases_{OrientationInternal::Vector3::Zero(),
                                                        OrientationInternal::Vector3::Zero()};
    Span all_, inPose_;
    OrientationInternal::PoseAverage pose_d_, pose_g_;
    OrientationInternal::JointSamples motion_;
};

}  // namespace Kavelin::Cli
