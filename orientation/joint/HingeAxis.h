#pragma once

#include <cstddef>
#include <vector>

#include "orientation/joint/JointSamples.h"

namespace Kavelin::OrientationInternal {

/// The axis of a hinge in the frames of both units, as the rates alone give it, and how far to trust it.
struct HingeAxis {
    Vector3 d = Vector3::UnitZ();  ///< unit norm; the signs of d and g are independent of each other
    Vector3 g = Vector3::UnitZ();

    std::size_t samples = 0;     ///< in motion
    double rate = 0.0;           ///< rad/s, RMS of the faster unit's rate
    double residual = 0.0;       ///< rad/s, RMS of |rate_d x d| - |rate_g x g|, outliers suppressed
    double slope = 0.0;          ///< rad/s: RMS change of the residual per rad, in the direction of the least
    double slopeShareOfD = 0.0;  ///< how much of that direction is a turn of the axis in D, 0 to 1
    double rival = 0.0;          ///< RMS residual of the next best, different pair of axes; infinity: none

    static constexpr std::size_t kFewestSamples = 100;
    static constexpr double kSmallestSlope = 0.1;     // rad/s
    static constexpr double kGreatestResidual = 0.3;  // share of the rate

    enum class Weakness { kNone, kNoMotion, kUndetermined, kNotAHinge };
    Weakness weakness() const;
    /// rad; standard deviation of the axis in the direction in which it is determined least.
    double sigma() const;
};

/// Finds the axis of a hinge from the rates of two units on its two sides.
///
/// Across the axis both units turn equally fast: |rate_d x d| = |rate_g x g| at all times. The sum of squared
/// differences is minimised over both axes by damped Gauss-Newton steps, from several starts, the last steps
/// with weights that suppress outliers (Cauchy). Seel, Schauer, Raisch, "Joint axis and position estimation
/// from inertial measurement data by exploiting kinematic constraints", IEEE CCA, 2012. Fast motion counts
/// more than slow by itself, as the differences grow with the rate. Degenerate, and told by weakness(): too
/// little motion; one unit at rest, or both in one rigid motion (a slope of zero); units on no hinge.
/// @param bias_d, bias_g rad/s, subtracted from the rates
HingeAxis findHingeAxis(const std::vector<JointSample>& samples, const Vector3& bias_d,
                        const Vector3& bias_g);

}  // namespace Kavelin::OrientationInternal
