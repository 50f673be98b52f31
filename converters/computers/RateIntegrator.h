#pragma once

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/ExponentialMap.h"

namespace Kavelin::OrientationInternal {

/// Turns angular rates into the rotation since the previous sample, the rate being held constant in between.
/// Never throws; one thread at a time.
class RateIntegrator {
public:
    /// Computes the turn from the previous sample to this one: the identity for the first.
    /// @param rate rad/s, sensor frame; at a norm of kFirstOrderRate or less the turn is taken
    /// to first order.
    /// @param t    s; a time before the previous one gives the inverse turn.
    Matrix3 advance(const Vector3& rate, double t) {
        const double dt = state_.time == kNoTime ? 0.0 : t - state_.time;
        state_ = {t, rate};
        const double norm = rate.norm();
        if (norm <= kFirstOrderRate) return firstOrder(rate * dt);
        return AbsoluteAttitudeComputer::axisAngleToRotation(norm * dt, rate / norm);
    }

    /// Forgets the previous sample.
    void clear() { state_ = State{}; }

    /// Gives or takes the whole state, for a snapshot: the time, as no computation reads the rate.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(state_.time);
    }

private:
    // Deliberate: this time stamp means "no previous sample",
    // so a sample that follows one stamped -1 gives the identity.
    static constexpr double kNoTime = -1.0;

    struct State {
        double time = kNoTime;
        Vector3 rate = Vector3::Zero();  // last rate taken; no computation reads it
    };

    static Matrix3 firstOrder(const Vector3& turn) {
        Matrix3 r;
        r << 1, -turn.z(), turn.y(), turn.z(), 1, -turn.x(), -turn.y(), turn.x(), 1;
        return r;
    }

    State state_;
};

}  // namespace Kavelin::OrientationInternal
