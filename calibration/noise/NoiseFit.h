#pragma once

#include <array>
#include <optional>
#include <vector>

#include "calibration/model/Calibration.h"
#include "calibration/model/SensorRecording.h"
#include "calibration/noise/AllanDeviation.h"
#include "calibration/noise/NoiseModel.h"

namespace Kavelin::Calibration {

/// The Allan deviation of a sensor and what was fitted to each axis.
struct SensorNoise {
    std::vector<AllanPoint> points;
    std::array<NoiseModel, 3> models;
};

/// A noise calibration, with the curves that it was read from.
struct NoiseStudy {
    NoiseCalibration calibration;
    double from = 0.0, to = 0.0;  ///< s, the still stretch
    std::optional<SensorNoise> acceleration, rate, field;
};

/// s; less of stillness shows no noise but that of single samples.
inline constexpr double kShortestStillness = 20.0;

/// Noise of each sensor in the longest stretch in which the unit lies still. The origin, and the field's unit,
/// are left empty.
/// Raises Unsuitable without samples, for a unit that is not still for kShortestStillness, and for
/// sensors whose samples come at no steady rate or with gaps closer than that.
NoiseStudy calibrateNoise(const SensorRecording& recording);

}  // namespace Kavelin::Calibration
