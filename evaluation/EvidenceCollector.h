#pragma once

#include <cstdint>
#include <optional>

#include "evaluation/Evidence.h"
#include "evaluation/TurnMeter.h"

namespace Kavelin::RecordingIO {

/// What came in and out at one time. Sensor frame, m/s^2, rad/s, any unit of the field; not finite is not
/// there.
struct ResultSample {
    double t = 0.0;  ///< s
    std::optional<Vector3> acceleration{}, rate{}, field{};
    std::optional<Quaternion> attitude{};               ///< w, x, y, z, sensor to earth (z up)
    std::optional<Vector3> bias{};                      ///< rad/s
    std::optional<Vector3> hardIron{};                  ///< the field's unit
    std::optional<double> tiltSigma{}, headingSigma{};  ///< rad
    std::optional<bool> isAtRest{}, isDisturbed{}, hasBodyMagnet{};
};

/// Turns a recording and its result, row by row, into evidence. Constant memory.  Never throws.
class EvidenceCollector {
public:
    /// @param sample its time not before that of the last one
    void add(const ResultSample& sample);
    Evidence evidence() const;

private:
    struct MeanSquare {
        double sum = 0.0;
        std::uint64_t count = 0;
        void add(double value) { sum += value, ++count; }
        std::optional<double> mean() const {
            if (count == 0) return std::nullopt;
            return sum / static_cast<double>(count);
        }
    };

    void addTime(double t);
    void addSensors(const ResultSample& sample);
    void addEstimate(const ResultSample& sample);

    std::uint64_t rows_ = 0;
    double firstTime_ = 0.0;
    double lastTime_ = 0.0;
    double usualStep_ = 0.0;
    double gapSeconds_ = 0.0;
    double longestGap_ = 0.0;

    SensorWatch acceleration_, rate_, field_;
    TurnMeter accelerationTurn_, rateTurn_, fieldTurn_;
    MotionFit gravityFit_, fieldFit_;
    FieldWatch fieldInEarth_;
    EstimateWatch estimate_;
    MeanSquare tiltSigma_, headingSigma_, rest_, disturbed_;
    std::optional<Vector3> bias_, hardIron_;
    bool hasBodyMagnet_ = false;
};

}  // namespace Kavelin::RecordingIO
