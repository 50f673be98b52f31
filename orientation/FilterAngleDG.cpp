#include "orientation/FilterAngleDG.h"

#include <Poco/Exception.h>

#include <optional>
#include <string>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

namespace {

/// Reads an attitude as a quaternion of unit norm; empty if its norm is too small.
std::optional<Quaternion> attitudeOf(const Matrix& sample) {
    Quaternion q = Quaternion::Zero();
    if (sample.size() == 9) {
        if (!AbsoluteAttitudeComputer::rotationToQuaternion(firstNine(sample), q)) return std::nullopt;
    } else {
        q = Quaternion::Map(sample.data());
    }
    const double norm = q.norm();
    if (!(norm >= AngleDGComputer::kSmallestAxis) || !std::isfinite(norm)) return std::nullopt;
    return q / norm;
}

}  // namespace

FilterAngleDG::FilterAngleDG(const std::string& name) : Filter(name, true) {}

void FilterAngleDG::onAxis(const Matrix& axis) {
    if (axis.rows() != 1 || axis.cols() != 3) {
        throw Poco::DataFormatException("The axis needs to be 1x3, not " + std::to_string(axis.rows()) + "x" +
                                        std::to_string(axis.cols()));
    }
    const double length = axis.norm();
    if (!(length >= AngleDGComputer::kSmallestAxis) || !std::isfinite(length)) {
        throw Poco::DataFormatException(
            "The axis needs a direction: finite elements and a length of at least 1e-5");
    }
    computer_.setAxis(firstThree(axis));
}

void FilterAngleDG::process() {
    if (matcher_.take(d_, g_) != Core::StampMatcher::Taken::kPair) return;
    if (!allFit(d_, g_)) return;
    const auto q_earth_d = attitudeOf(d_.value());
    const auto q_earth_g = attitudeOf(g_.value());
    if (!q_earth_d || !q_earth_g) return;

    const AngleDG joint = computer_.compute(*q_earth_d, *q_earth_g);
    const double t = newestStamp(d_, g_);
    angle_.value()(0, 0) = joint.angle;
    twist_.value()(0, 0) = joint.twist;
    swing_.value()(0, 0) = joint.swing;
    relative_.value() = joint.relative.transpose();
    angle_.send(t);
    twist_.send(t);
    swing_.send(t);
    relative_.send(t);
}

}  // namespace Kavelin::OrientationInternal
