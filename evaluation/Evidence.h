#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "evaluation/EstimateWatch.h"
#include "evaluation/FieldWatch.h"
#include "evaluation/MotionFit.h"
#include "evaluation/NormByDirection.h"
#include "evaluation/SensorWatch.h"

namespace Kavelin::RecordingIO {

/// What a recording and its orientation tell about the quality of that orientation:
/// plain numbers, to be judged.
struct Evidence {
    struct Sensor {
        std::uint64_t samples = 0;
        std::uint64_t unusable = 0;  ///< not finite
        double norm = 0.0;           ///< mean, m/s^2, rad/s or the field's unit
        double normDeviation = 0.0;  ///< standard deviation of that
        std::array<SensorWatch::Axis, 3> axes{};

        bool isThere() const { return samples > 0; }
        double clippedShare() const;  ///< of the worst axis
        double stuckShare() const;
    };

    double seconds = 0.0;
    double gapSeconds = 0.0;  ///< sum of the steps that are gaps
    double longestGap = 0.0;  ///< s
    Sensor acceleration, rate, field;
    MotionFitResult gravityFit;  ///< gyroscope against accelerometer
    MotionFitResult fieldFit;    ///< gyroscope against magnetometer
    FieldEvidence fieldInEarth;
    NormByDirectionEvidence normByDirection;
    EstimateEvidence estimate;

    std::optional<double> tiltSigma;     ///< rad, root mean square of what the estimator says of itself
    std::optional<double> headingSigma;  ///< rad
    std::optional<Vector3> bias;         ///< rad/s, the last that the estimator gave
    std::optional<Vector3> hardIron;     ///< the field's unit, likewise
    std::optional<double> restShare;     ///< of the rows with a flag
    std::optional<double> disturbedShare;
    bool hasBodyMagnet = false;  ///< a magnet on the sensor was found
};

}  // namespace Kavelin::RecordingIO
