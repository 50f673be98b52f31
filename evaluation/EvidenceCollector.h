#pragma once

#include <cstdint>
#include <optional>

#include "evaluation/Evidence.h"
#include "evaluation/TurnMeter.h"

namespace Kavelin::RecordingIO {

/// What came in and out at one time. Sensor frame, m/s^2, rad/s, any unit of the field; a value that is not
/// finite counts as missing.
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
    /// @param isRelativeToStart the attitude is relative to the pose at the start, not to the vertical
    explicit EvidenceCollector(bool isRelativeToStart = false) : isRelativeToStart_(isRelativeToStart) {}

    /// @param sample its time not before that of the last one
    void add(const ResultSample& sample);
    Evidence evidence() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(timing_, rates_, isRelativeToStart_, hasStart_, start_, turnTick_, fieldTick_, estimateTick_,
                northTick_, acceleration_, rate_, field_, accelerationTurn_, rateTurn_, fieldTurn_,
                gravityFit_, fieldFit_, fieldInEarth_, norms_, estimate_, tiltSigma_, headingSigma_, rest_,
                disturbed_, bias_, hardIron_, hasBodyMagnet_);
    }

private:
    struct MeanSquare {
        double sum = 0.0;
        std::uint64_t count = 0;
        template <class Archive>
        void serialize(Archive& archive) {
            archive(sum, count);
        }
        void add(double value) { sum += value, ++count; }
        std::optional<double> mean() const {
            if (count == 0) return std::nullopt;
            return sum / static_cast<double>(count);
        }
    };

    /// Some watches need not see every sample.
    class Tick {
    public:
        bool isDue(double t) {
            if (hasLast_ && t - last_ < kStep) return false;
            hasLast_ = true;
            last_ = t;
            return true;
        }

        template <class Archive>
        void serialize(Archive& archive) {
            archive(hasLast_, last_);
        }

    private:
        static constexpr double kStep = 0.04;  // s
        bool hasLast_ = false;
        double last_ = 0.0;
    };

    void addTime(double t);
    void addSensors(const ResultSample& sample);
    void addClaims(const ResultSample& sample);
    void findStart(const ResultSample& sample);
    void addEstimate(const ResultSample& sample);

    struct Timing {
        std::uint64_t rows = 0;
        double first = 0.0, last = 0.0;  // s
        double usualStep = 0.0;
        double gapSeconds = 0.0;
        double longestGap = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(rows, first, last, usualStep, gapSeconds, longestGap);
        }
    } timing_;
    struct Rates {
        double time = 0.0;
        Vector3 last = Vector3::Zero();
        Vector3 angle = Vector3::Zero();  // integral of the rates, axis by axis

        template <class Archive>
        void serialize(Archive& archive) {
            archive(time, last, angle);
        }
    } rates_;

    bool isRelativeToStart_;
    bool hasStart_ = false;
    Quaternion start_{1.0, 0.0, 0.0, 0.0};

    Tick turnTick_, fieldTick_, estimateTick_, northTick_;
    SensorWatch acceleration_, rate_, field_;
    TurnMeter accelerationTurn_, rateTurn_, fieldTurn_;
    MotionFit gravityFit_, fieldFit_;
    FieldWatch fieldInEarth_;
    NormByDirection norms_;
    EstimateWatch estimate_;
    MeanSquare tiltSigma_, headingSigma_, rest_, disturbed_;
    std::optional<Vector3> bias_, hardIron_;
    bool hasBodyMagnet_ = false;
};

}  // namespace Kavelin::RecordingIO
