#pragma once

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Matrix3;
using OrientationInternal::Quaternion;
using OrientationInternal::Vector3;

/// How an estimate agrees with the sensors that it was made of.
struct EstimateEvidence {
    bool isThere = false;  ///< there was an attitude
    double seconds = 0.0;
    /// rad, root mean square: the angle between up and the mean specific force over some seconds, in the
    /// estimate's earth frame. A hand's linear acceleration has no mean.
    double tiltResidual = 0.0;
    /// rad, root mean square over windows of 10 s: by how much the estimate turned otherwise than the
    /// gyroscope, less its bias, says; about the vertical, and about a horizontal axis.
    double headingCorrection = 0.0;
    double tiltCorrection = 0.0;
    double largestCorrection = 0.0;      ///< rad, of the heading in one such window
    double largestCorrectionTime = 0.0;  ///< s, its end
    double turned = 0.0;                 ///< rad, forth and back added up
    bool isFinite = true;
};

/// Gathers it, in constant memory.  Never throws.
class EstimateWatch {
public:
    /// @param angle rad, integral of the rates, axis by axis, since any time  @param bias rad/s, of the rates
    void add(double t, const Quaternion& q, const std::optional<Vector3>& acceleration, const Vector3& angle,
             const Vector3& bias);
    EstimateEvidence evidence() const;

private:
    void addForce(double step, const Vector3& force, bool counts);
    void closeWindow();

    bool hasLast_ = false;
    double firstTime_ = 0.0;
    double lastTime_ = 0.0;
    Quaternion last_{1.0, 0.0, 0.0, 0.0};
    Vector3 lastAngle_ = Vector3::Zero();
    bool isFinite_ = true;

    Vector3 force_ = Vector3::Zero();  // low-passed, earth frame
    double tiltSquares_ = 0.0;
    double tiltTime_ = 0.0;

    double windowStart_ = 0.0;
    Vector3 correction_ = Vector3::Zero();  // earth frame, of this window
    double headingSquares_ = 0.0;
    double levelSquares_ = 0.0;
    double largest_ = 0.0;
    double largestTime_ = 0.0;
    int windows_ = 0;
    double turned_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
