#include "orientation/FilterAngleDG.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <optional>
#include <string>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

namespace {

/// Reads an attitude as a quaternion of unit norm; nothing for another shape or what has no direction.
std::optional<Quaternion> attitudeOf(const Matrix& sample) {
    Quaternion q = Quaternion::Zero();
    if (sample.rows() == 3 && sample.cols() == 3) {
        if (!AbsoluteAttitudeComputer::rotationToQuaternion(firstNine(sample), q)) return std::nullopt;
    } else if (sample.rows() == 1 && sample.cols() == 4) {
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

/// Whether both hold a sample and these belong together; what nothing goes with is passed over.
bool FilterAngleDG::fetchPair() {
    for (;;) {
        switch (matcher_.next(d_, g_)) {
            case Core::StampMatcher::Next::kNone:
                return false;
            case Core::StampMatcher::Next::kPair:
                return true;
            case Core::StampMatcher::Next::kFirst:
                d_.passOver();
                break;
            case Core::StampMatcher::Next::kSecond:
                g_.passOver();
                break;
        }
    }
}

void FilterAngleDG::process() {
    if (!fetchPair()) return;
    d_.consume();
    g_.consume();
    const auto q_earth_d = attitudeOf(d_.value());
    const auto q_earth_g = attitudeOf(g_.value());
    if (!q_earth_d || !q_earth_g) return;

    const AngleDG joint = computer_.compute(*q_earth_d, *q_earth_g);
    const double t = std::max(d_.lastTimeStamp(), g_.lastTimeStamp());
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
