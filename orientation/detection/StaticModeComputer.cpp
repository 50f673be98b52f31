#include "orientation/detection/StaticModeComputer.h"

#include <cmath>

#include "attitude/rotation/VectorLength.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr double kSmallestNorm = 0.01;        // in the sensor's unit; up to it there is no signal to compare
constexpr double kLargestDeviation = 0.7854;  // rad, the angle deviation that scores 0; pi / 4 to four digits

}  // namespace

std::optional<StaticModeScores> StaticModeComputer::score(const std::optional<Vector3>& acceleration,
                                                          const std::optional<Vector3>& field) {
    if (!acceleration && !field) return std::nullopt;
    StaticModeScores scores;
    if (acceleration) scores.acceleration = magnitudeScore(*acceleration, acceleration_);
    if (field) scores.field = magnitudeScore(*field, field_);
    if (acceleration && field) scores.angle = angleScore(*acceleration, *field);
    referenceRequested_ = false;
    return scores;
}

double StaticModeComputer::magnitudeScore(const Vector3& vector, Reference& reference) const {
    const double norm = lengthOf(vector);
    if (referenceRequested_) reference = {vector, norm};
    if (norm <= kSmallestNorm || reference.norm <= kSmallestNorm) return 0.0;
    if (norm <= reference.norm) return norm / reference.norm;
    return reference.norm / norm;
}

double StaticModeComputer::angleScore(const Vector3& acceleration, const Vector3& field) {
    if (referenceRequested_) {
        angle_ =
            std::acos(dotInOrder(field_.vector, acceleration_.vector) / acceleration_.norm / field_.norm);
    }
    const double angle =
        std::acos(dotInOrder(acceleration, field) / lengthOf(acceleration) / lengthOf(field));
    if (!angle_ && !std::isnan(angle)) return 0.0;
    double deviation = std::abs(angle - angle_.value_or(0.0));
    if (deviation > kLargestDeviation) deviation = kLargestDeviation;
    return (kLargestDeviation - deviation) / kLargestDeviation;
}

}  // namespace Kavelin::OrientationInternal
