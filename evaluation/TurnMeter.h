#pragma once

#include <algorithm>
#include <cmath>
#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Vector3;

/// How far a unit has turned, back and forth added up, as one sensor shows it: coarse, but immune to noise.
class TurnMeter {
public:
    /// A direction that stands still in the earth: gravity or the field. Counts each change by 0.3 rad.
    void addDirection(double t, const Vector3& vector) {
        const double norm = vector.norm();
        if (!std::isfinite(norm) || norm <= 0.0) return;
        const double gain = time_ ? std::clamp((t - *time_) / kSmooth, 0.0, 1.0) : 1.0;
        time_ = t;
        smooth_ += gain * (vector / norm - smooth_);
        if (smooth_.norm() < 0.5) return;
        const Vector3 now = smooth_.normalized();
        if (anchor_.squaredNorm() == 0.0) anchor_ = now;
        if ((now - anchor_).norm() < kStep) return;
        turned_ += kStep;
        anchor_ = now;
    }
    /// @param angle rad, integral of the rates, axis by axis; turns slower than 0.3 rad/s may be a bias
    void addAngle(double t, const Vector3& angle) {
        const double turn = (angle - smooth_).norm();
        if (time_ && turn > kLeastRate * (t - *time_) && t - *time_ < kLongestStep) turned_ += turn;
        time_ = t;
        smooth_ = angle;
    }
    /// rad
    double turned() const { return turned_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(time_, smooth_, anchor_, turned_);
    }

private:
    static constexpr double kSmooth = 0.2;       // s
    static constexpr double kStep = 0.3;         // rad
    static constexpr double kLeastRate = 0.3;    // rad/s
    static constexpr double kLongestStep = 0.5;  // s

    std::optional<double> time_;
    Vector3 smooth_ = Vector3::Zero();  // of the direction; the last angle
    Vector3 anchor_ = Vector3::Zero();
    double turned_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
