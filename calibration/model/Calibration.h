#pragma once

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "calibration/model/AffineModel.h"

namespace Kavelin::Calibration {

/// How far a result can be trusted.
enum class Grade { kGood, kFair, kPoor };

/// What is said of a result: its grade and the reasons, one sentence each ("turn it upside down as well").
struct Opinion {
    Grade grade = Grade::kGood;
    std::vector<std::string> remarks;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(grade, remarks);
    }
};

/// Where a part of a calibration is from.
struct Origin {
    std::string recording;  ///< the file's name, without its folders
    std::string recorded;   ///< ISO 8601, when the recording was made; empty where its times do not tell
    std::string fileDate;   ///< ISO 8601, when its file was last changed; empty where it is no file
    std::string made;       ///< ISO 8601, when the calibration was made
    std::string program;    ///< "kavelin 1.3.1"

    template <class Archive>
    void serialize(Archive& archive) {
        archive(recording, recorded, fileDate, made, program);
    }
};

/// Hard and soft iron: of the field's vectors after it, all have the norm `strength`.
struct MagneticCalibration {
    Origin origin;
    AffineModel model;  ///< offset: hard iron; matrix: soft iron, and the turn into the accelerometer's frame
    std::string unit;   ///< of the field, its offset and its strength: "uT"; empty: not known
    double strength = 1.0;
    std::optional<double> dip;  ///< rad, of the field below the level
    double offsetDeviation =
        0.0;  ///< in `unit`: standard deviation of the offset in the direction known least
    double residualBefore = 0.0;  ///< RMS of the norm's deviation from its mean, as a share of the field
    double residualAfter = 0.0;   ///< the same of the calibrated field
    double coverage = 0.0;        ///< share of the directions seen, 0 to 1
    double disturbed = 0.0;       ///< share of the samples that were left out as disturbed, 0 to 1
    std::size_t samples = 0;
    Opinion opinion;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(origin, model, unit, strength, dip, offsetDeviation, residualBefore, residualAfter, coverage,
                disturbed, samples, opinion);
    }
};

/// What still poses tell of the accelerometer and, with the turns between them, of the gyroscope.
struct InertialCalibration {
    Origin origin;
    /// m/s^2; matrix: scale and non-orthogonality, upper triangular.
    std::optional<AffineModel> acceleration;
    bool hasCrossTerms = false;       ///< whether the poses gave the non-orthogonality; otherwise diagonal
    std::optional<AffineModel> rate;  ///< rad/s; offset: bias at rest; matrix: scale and misalignment
    bool isRateScaled = false;  ///< whether the turns gave the matrix of the rate; otherwise it is the unit
    double gravity = 9.80665;   ///< m/s^2, of the place
    double accelerationResidualBefore = 0.0;  ///< m/s^2, RMS of norm - gravity over the poses
    double accelerationResidualAfter = 0.0;
    double accelerationUncertainty = 0.0;  ///< m/s^2, of the calibrated norm in the least certain direction
    /// rad, RMS angle between gravity turned by the rates and the next pose's.
    double turnResidualBefore = 0.0;
    double turnResidualAfter = 0.0;
    double rateDrift = 0.0;  ///< rad/s, greatest change of an axis' rate at rest from one rest to another
    std::size_t poses = 0;   ///< that differ
    std::size_t turns = 0;   ///< used for the matrix of the rate
    Opinion opinion;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(origin, acceleration, hasCrossTerms, rate, isRateScaled, gravity, accelerationResidualBefore,
                accelerationResidualAfter, accelerationUncertainty, turnResidualBefore, turnResidualAfter,
                rateDrift, poses, turns, opinion);
    }
};

/// Figures of an Allan deviation, one an axis. A figure that the recording is too short to show is NaN.
struct NoiseFigures {
    Eigen::Vector3d whiteNoise = Eigen::Vector3d::Zero();       ///< sensor's unit / sqrt(Hz)
    Eigen::Vector3d biasInstability = Eigen::Vector3d::Zero();  ///< sensor's unit
    Eigen::Vector3d instabilityTime = Eigen::Vector3d::Zero();  ///< s, the averaging time of its minimum
    Eigen::Vector3d randomWalk = Eigen::Vector3d::Zero();       ///< sensor's unit / s * sqrt(s)

    template <class Archive>
    void serialize(Archive& archive) {
        archive(whiteNoise, biasInstability, instabilityTime, randomWalk);
    }
};

/// Noise of a unit at rest.
struct NoiseCalibration {
    Origin origin;
    double duration = 0.0;  ///< s
    std::optional<NoiseFigures> acceleration, rate, field;
    std::string fieldUnit;  ///< empty: not known
    Opinion opinion;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(origin, duration, acceleration, rate, field, fieldUnit, opinion);
    }
};

/// How the unit sits on its segment, whose z is the axis of a turn and whose y points up in a still pose, as near as it can.
struct MountCalibration {
    Origin origin;
    /// Turns a vector in the sensor's axes into the segment's.
    Eigen::Quaterniond q_segment_sensor = Eigen::Quaterniond::Identity();
    double poseBegin = 0.0, poseEnd = 0.0;  ///< s of the recording's time
    double turnBegin = 0.0, turnEnd = 0.0;  ///< s of the recording's time
    double turned = 0.0;                    ///< rad about the axis, there and back
    double across = 0.0;                    ///< share of the rate that is not about the axis, RMS, 0 to 1
    double hingeUncertainty = 0.0;          ///< rad, of the axis of the turn
    double hingeTilt = 0.0;  ///< rad, by which the axis is off the level in the pose, 0 to pi/2
    Opinion opinion;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(origin, q_segment_sensor, poseBegin, poseEnd, turnBegin, turnEnd, turned, across,
                hingeUncertainty, hingeTilt, opinion);
    }
};

/// All that is known of a unit; what is not known is absent.
struct Calibration {
    std::string schema;       ///< what a file names as its schema; empty: nothing
    std::string description;  ///< in a person's words; empty: none
    std::optional<MagneticCalibration> magnetic;
    std::optional<InertialCalibration> inertial;
    std::optional<NoiseCalibration> noise;
    std::optional<MountCalibration> mount;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(schema, description, magnetic, inertial, noise, mount);
    }
};

}  // namespace Kavelin::Calibration
