#pragma once

#include <cstddef>
#include <string>

namespace Kavelin::Calibration {

/// How a magnetometer is calibrated. The defaults suit a unit turned by hand.
struct MagneticSettings {
    std::string unit;                 ///< of the field: "uT"; empty: not known
    std::size_t patches = 80;         ///< equal patches of the sphere of directions
    std::size_t mostSamples = 4000;   ///< used; a longer recording is thinned evenly
    std::size_t fewestSamples = 50;   ///< below, the recording is refused
    double comparisonTime = 0.25;     ///< s, over which the gyroscope tells how the field must have changed
    double softIronDeviation = 0.3;   ///< prior standard deviation of the soft iron's terms, as shares
    double hardIronDeviation = 10.0;  ///< prior standard deviation of the hard iron, in norms of the field
};

}  // namespace Kavelin::Calibration
