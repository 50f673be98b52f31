#include "calibration/inertial/RestingRate.h"

#include <limits>

namespace Kavelin::Calibration {

RestingRate restingRateOf(const std::vector<Rest>& rests) {
    RestingRate resting;
    Eigen::Vector3d least = Eigen::Vector3d::Constant(std::numeric_limits<double>::infinity());
    Eigen::Vector3d greatest = -least;
    for (const Rest& rest : rests) {
        if (rest.rateSamples == 0) continue;
        resting.bias += static_cast<double>(rest.rateSamples) * rest.rate;
        resting.samples += rest.rateSamples;
        least = least.cwiseMin(rest.rate);
        greatest = greatest.cwiseMax(rest.rate);
    }
    if (resting.samples == 0) return resting;
    resting.bias /= static_cast<double>(resting.samples);
    resting.drift = (greatest - least).maxCoeff();
    return resting;
}

}  // namespace Kavelin::Calibration
