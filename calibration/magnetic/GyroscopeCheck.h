#pragma once

#include <Eigen/Core>
#include <vector>

#include "calibration/magnetic/EllipsoidModel.h"
#include "calibration/magnetic/FieldSamples.h"

namespace Kavelin::Calibration {

/// Tells a disturbed place from a wrong calibration by the gyroscope.
///
/// An undisturbed field turns in the sensor frame as the gyroscope says. A wrong calibration contradicts it
/// whenever the unit turns; what contradicts it much more than usual, after a fit, is a field that changed from
/// place to place. The gyroscope's bias, constant, is found along. A heuristic of ours.  Never throws.
class GyroscopeCheck {
public:
    /// @param samples must outlive it  @param time s, over which turns are compared
    GyroscopeCheck(const std::vector<FieldSample>& samples, double time);

    /// Weights of Tukey's kind, 0 to 1, one a sample: how well its change agrees with the gyroscope, to the
    /// better of both sides. All 1 without a gyroscope.
    std::vector<double> weights(const EllipsoidModel& model) const;

private:
    struct Pair {
        std::size_t from, to;
        Eigen::Matrix3d turn;  ///< takes the field at `from` to that at `to`
        double time;           ///< s
        double allowed;        ///< share of the field: what the sensors' times and scales let differ
    };

    /// Of the weights of a sample's pairs the greater; 1 without a pair.
    std::vector<double> betterSide(const std::vector<double>& ofPairs) const;

    const std::vector<FieldSample>& samples_;
    std::vector<Pair> pairs_;
};

}  // namespace Kavelin::Calibration
