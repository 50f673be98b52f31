#pragma once

#include <array>
#include <limits>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Matrix3;
using OrientationInternal::Vector3;

/// The faults of one sensor, in the order in which they take effect.
struct SensorFault {
    enum class Axis { kAlive, kDead, kStuck };

    double range =
        std::numeric_limits<double>::infinity();  ///< greatest size of an axis' value that it shows
    std::array<Axis, 3> axes{};  ///< dead: shows 0; stuck: shows its value at the time of the failure
    /// What leaves the sensor as x, y, z: rows with one 1 or -1 each.
    Matrix3 mounting = Matrix3::Identity();
    double factor = 1.0;  ///< from the unit of the simulation to the one written
};

/// Faults of a unit and its surroundings. They take no random numbers: with and without them, a seed gives
/// the same motion and the same noise. The truth stays true.
struct FaultOptions {
    Vector3 gyroOffset = Vector3::Zero();  ///< rad/s
    Vector3 gyroScale = Vector3::Zero();   ///< share by which each axis' rate is too large
    Matrix3 softIron = Matrix3::Identity();
    Vector3 hardIron = Vector3::Zero();  ///< uT, sensor frame, after the soft iron
    Vector3 magnet = Vector3::Zero();    ///< uT, earth frame (East, North, Up), while it is there
    double magnetFrom = 0.0;             ///< s
    double magnetTo = std::numeric_limits<double>::infinity();
    double failFrom = 0.0;   ///< s, when axes die or get stuck
    double gap = 0.0;        ///< s, length of each gap; 0: none
    double gapEvery = 10.0;  ///< s from the end of a gap to the next
    SensorFault acceleration, rate, field;

    /// Whether a row at that time falls into a gap.
    bool isInGap(double t) const;
};

/// A unit's three values of a row: m/s^2, rad/s, uT.
struct SensorValues {
    Vector3 acceleration, rate, field;
};

/// Turns what flawless sensors show into what these show.
class SensorFaults {
public:
    /// Raises Poco::InvalidArgumentException for an impossible range, gap or number.
    explicit SensorFaults(const FaultOptions& options);

    /// Errors proportional to what is measured, and offsets: before the noise. The magnet comes on top of the
    /// earth's field and needs the attitude: `magnetAt` says what to add there.
    void distort(SensorValues& values) const;
    /// uT, earth frame.
    Vector3 magnetAt(double t) const;
    /// The faults after the noise: range, failed axes, mounting, unit. @param t s, not decreasing.
    void cut(double t, SensorValues& values);

    const FaultOptions& options() const { return options_; }

private:
    FaultOptions options_;
    bool hasFailed_ = false;
    SensorValues stuck_;
};

}  // namespace Kavelin::RecordingIO
