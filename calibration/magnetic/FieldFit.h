#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <vector>

#include "calibration/magnetic/DirectionPatches.h"
#include "calibration/magnetic/FieldSamples.h"
#include "calibration/magnetic/MagneticSettings.h"
#include "calibration/magnetic/NormRefinement.h"

namespace Kavelin::Calibration {

/// What the samples of the field say of hard and soft iron.
struct FieldFit {
    NormFit norm;
    std::vector<double> directionWeights;  ///< one a sample: all directions together count evenly
    std::vector<bool> isDisturbed;         ///< one a sample
    /// The normal of the plane in which the samples lie, unit norm: a unit turned about one axis. The model then
    /// holds in the plane, leaves the third axis as it is, and `norm` is about the part in the plane.
    std::optional<Eigen::Vector3d> normal;
    bool isNearlySphere = false;  ///< the soft iron is left as it is: the samples show the hard iron alone
    double coverage = 0.0;        ///< share of the sphere's patches that undisturbed samples point at
    double aroundPlane = 0.0;     ///< share of the full turn seen in the plane; 0 without a plane
    std::vector<bool> isSeen;     ///< one a patch

    /// The part of a raw vector that was fitted.
    Eigen::Vector3d part(const Eigen::Vector3d& raw) const;
    double disturbedShare() const;
    /// Radii; of the centre, or its part in the plane, in the direction known least.
    double centreDeviation() const;
};

/// Fits an ellipsoid; where the samples do not determine one, a sphere; where not even that, an ellipse in the
/// plane that they span. Each patch of directions counts evenly, so that a long rest does not outweigh a turn.
/// @throws Unsuitable where they determine neither
FieldFit fitField(const std::vector<FieldSample>& samples, const MagneticSettings& settings);

}  // namespace Kavelin::Calibration
