#pragma once

#include <Eigen/Core>
#include <vector>

namespace Kavelin::Calibration {

/// A field on the unit sphere and up, both in the sensor frame, at one time.
struct FieldAndUp {
    Eigen::Vector3d field;  ///< calibrated but for a turn, about unit norm
    Eigen::Vector3d up;     ///< unit norm
    double weight = 1.0;
};

/// The turn from the magnetometer's frame to the accelerometer's, and the dip.
struct GravityAlignment {
    Eigen::Matrix3d R_acc_mag = Eigen::Matrix3d::Identity();
    double dip = 0.0;            ///< rad, of the field below the level
    double deviation = 0.0;      ///< rad, standard deviation of the turn about the axis known least
    double scatterBefore = 0.0;  ///< rad, robust, of the angle between field and level
    double scatterAfter = 0.0;
    double turn = 0.0;  ///< rad, the angle of R_acc_mag
};

/// Finds the turn that makes the angle between field and gravity constant, by robust least squares of
/// up . R field = -sin(dip) over the turn and the dip.  The norm does not show this turn: a symmetric soft iron
/// is only one of the many that make the norms even.  Source: Kok & Schoen, "Magnetometer calibration using
/// inertial sensors", IEEE Sensors Journal 16(14), 2016, of which this is the last step alone.
/// @param pairs weights: their sum the number of independent samples that they are worth.  Never throws.
GravityAlignment alignWithGravity(const std::vector<FieldAndUp>& pairs);

}  // namespace Kavelin::Calibration
