#pragma once

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Matrix3;
using OrientationInternal::Quaternion;
using OrientationInternal::Vector3;

/// How well an estimate agrees with the sensors that it was made from.
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

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(last_, firstTime_, isFinite_, force_, corrections_, turned_);
    }

private:
    void addForce(double step, const Vector3& force, bool counts);
    void closeWindow();

    struct Last {
        double time;
        Quaternion attitude;
        Vector3 angle;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(time, attitude, angle);
        }
    };
    struct Force {
        Vector3 mean = Vector3::Zero();  // low-passed, earth frame
        double tiltSquares = 0.0;
        double tiltTime = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(mean, tiltSquares, tiltTime);
        }
    };
    /// Sums over the windows that are closed, and the one that is open.
    struct Corrections {
        double windowStart = 0.0;
        Vector3 inWindow = Vector3::Zero();  // earth frame
        double headingSquares = 0.0;
        double levelSquares = 0.0;
        double largest = 0.0;
        double largestTime = 0.0;
        int windows = 0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(windowStart, inWindow, headingSquares, levelSquares, largest, largestTime, windows);
        }
    };

    std::optional<Last> last_;
    double firstTime_ = 0.0;
    bool isFinite_ = true;
    Force force_;
    Corrections corrections_;
    double turned_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
