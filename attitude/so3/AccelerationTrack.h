#pragma once

#include <Eigen/Core>
#include <limits>

namespace Kavelin::OrientationInternal::SO3 {

/// Keeps the newest two accelerations and interpolates between them, for sensors whose rates or time stamps
/// differ. Never throws. [layout thread]
class AccelerationTrack {
public:
    void add(double t, const Eigen::Vector3d& acc) {
        before_ = after_;
        after_ = {t, acc};
    }
    void restart() { *this = AccelerationTrack(); }

    /// Whether an acceleration has come that is not earlier than `t` (s).
    bool reaches(double t) const { return after_.t >= t - kSameInstant; }

    /// The acceleration at `t`, which the track must reach: the sample of that instant, or the linear
    /// interpolation between its neighbours. NaN where these are too far apart,
    /// or where there is no earlier one.
    Eigen::Vector3d at(double t) const {
        constexpr double kLongestBridge = 0.15;  // s; a hand's acceleration can change completely in it
        const double sinceBefore = t - before_.t;
        const double between = after_.t - before_.t;
        if (t >= after_.t - kSameInstant && t <= after_.t + kSameInstant) return after_.acc;
        if (!(sinceBefore >= 0.0 && between <= kLongestBridge)) {
            return Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
        }
        return before_.acc + sinceBefore / between * (after_.acc - before_.acc);
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(before_, after_);
    }

private:
    static constexpr double kSameInstant = 1e-6;  // s, below the resolution of any sensor's clock

    struct Timed {
        double t = std::numeric_limits<double>::quiet_NaN();
        Eigen::Vector3d acc = Eigen::Vector3d::Zero();

        template <class Archive>
        void serialize(Archive& archive) {
            archive(t, acc);
        }
    };
    Timed before_;
    Timed after_;
};

}  // namespace Kavelin::OrientationInternal::SO3
