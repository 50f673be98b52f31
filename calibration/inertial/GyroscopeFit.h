#pragma once

#include <Eigen/Core>

#include "calibration/inertial/Turns.h"

namespace Kavelin::Calibration {

/// Scale and misalignment of a gyroscope as turns between still poses show them, and how far to trust them.
struct GyroscopeFit {
    Eigen::Matrix3d matrix = Eigen::Matrix3d::Identity();
    double residualRaw = 0.0;  ///< rad, RMS angle between gravity turned by the raw rates and the next pose's
    double residualBias = 0.0;   ///< the same without the bias
    double residualAfter = 0.0;  ///< the same with bias and matrix
    double uncertainty = 0.0;    ///< of the matrix, standard deviation in its least certain direction
    Eigen::Vector3d leastTurned = Eigen::Vector3d::UnitX();  ///< axis of turns that is missing most
};

/// Finds the matrix with which the rates turn gravity from each pose to the next.
///
/// Levenberg-Marquardt on the differences of the directions, robust (Huber): Tedaldi, Pretto, Menegatti
/// 2014, eq. 13 to 15 (see StillTimes.h). Differs: the rate of each step is turned by the exact exponential,
/// and derivatives are carried along. Never throws; without turns the matrix is the unit, the
/// uncertainty infinite.
/// @param leastAngle rad, uncertainty of the directions of gravity
GyroscopeFit fitGyroscope(const std::vector<Turn>& turns, double leastAngle);

}  // namespace Kavelin::Calibration
