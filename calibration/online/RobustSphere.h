#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <optional>
#include <span>

namespace Kavelin::Calibration {

/// A sphere through points, as far as they determine one.
struct Sphere {
    Eigen::Vector3d centre;
    double radius = 0.0;
    double deviation = 0.0;  ///< standard deviation of the centre in the direction known least
    double residual = 0.0;   ///< RMS distance of the points from it, outliers suppressed

    double distance(const Eigen::Vector3d& point) const { return (point - centre).norm() - radius; }
};

/// Fits a sphere by robust least squares; `scratch` takes as many numbers as there are points.
/// @return nothing for points that lie in a plane, and for fewer than 10. Never throws; no call to the heap.
std::optional<Sphere> robustSphere(std::span<const Eigen::Vector3d> points, std::span<double> scratch);

}  // namespace Kavelin::Calibration
