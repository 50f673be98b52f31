#pragma once

#include <Eigen/Geometry>
#include <filesystem>
#include <string>
#include <vector>

#include "io/formats/ReferenceTrack.h"

namespace Kavelin::Bench {

/// One row of a recording: t in s, specific force in m/s^2, rate in rad/s, field in uT,
/// all in the sensor frame.
struct Sample {
    double t;
    Eigen::Vector3d acc;
    Eigen::Vector3d rate;
    Eigen::Vector3d field;
};

/// Where the unit really was: sensor to earth (East, North, Up). The recording's own clock, not its rows.
struct TruePose {
    double t;
    Eigen::Quaterniond attitude;
};

struct Recording {
    std::string name;
    std::vector<Sample> samples;
    std::vector<TruePose> truth;      ///< rows without a reference are left out
    RecordingIO::Intervals movement;  ///< where errors count
    double countFrom = 0.0;           ///< s; and from when on
    bool headingKnown = true;         ///< false: the reference's heading is arbitrary

    bool counts(double t) const { return t >= countFrom && movement.contains(t); }
};

/// Reads a folder that holds `recording.csv` (with `movement.csv`), or `imu.csv` and `reference.csv`.
/// Throws Poco::Exception or std::runtime_error, with the file and line, for what cannot be read.
Recording loadRecording(const std::filesystem::path& folder);

/// Every folder of `root` that holds a recording with a reference, by name.
std::vector<std::filesystem::path> findRecordings(const std::filesystem::path& root);

}  // namespace Kavelin::Bench
