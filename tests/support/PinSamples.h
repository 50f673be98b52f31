#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <map>
#include <string>

#include "support/DisturbedMotion.h"

namespace Kavelin::Tests {

/// What a filter sees of a motion on a pin; nothing on the pins that ask for a restart or a lock.
inline Core::Matrix sampleFor(const std::string& pin, const MotionSample& s, bool columns) {
    using Core::Matrix;
    static const std::map<std::string, Matrix (*)(const MotionSample&)> kPins = {
        {"3a", [](const MotionSample& x) -> Matrix { return x.acc.transpose(); }},
        {"3m", [](const MotionSample& x) -> Matrix { return x.field.transpose(); }},
        {"3g", [](const MotionSample& x) -> Matrix { return x.rate.transpose(); }},
        {"angle", [](const MotionSample& x) -> Matrix { return Matrix::Constant(1, 1, x.rate[0]); }},
        {"quaternion", [](const MotionSample& x) -> Matrix { return x.truth.wxyz().transpose(); }},
        {"rotation", [](const MotionSample& x) -> Matrix { return x.truth.R_earth_sensor; }}};
    static const std::map<std::string, const char*> kKinds = {{"inMag", "3m"},
                                                              {"omega", "3g"},
                                                              {"omega_t", "3g"},
                                                              {"angles", "3g"},
                                                              {"yaw", "angle"},
                                                              {"pitch", "angle"},
                                                              {"roll", "angle"},
                                                              {"in", "quaternion"},
                                                              {"attitude", "quaternion"},
                                                              {"reference", "quaternion"},
                                                              {"quat_0", "quaternion"},
                                                              {"D", "quaternion"},
                                                              {"quat_t-1", "quaternion"},
                                                              {"G", "rotation"},
                                                              {"rel", "rotation"},
                                                              {"attitude xsens", "rotation"},
                                                              {"input matrix", "rotation"},
                                                              {"Change-Of-Basis", "rotation"}};
    const auto kind = kKinds.find(pin);
    const auto make = kPins.find(kind == kKinds.end() ? pin : kind->second);
    if (make == kPins.end()) return {};
    const Matrix sample = make->second(s);
    if (pin == "Change-Of-Basis" && columns) return sample.leftCols(2);
    return columns && sample.rows() == 1 ? sample.transpose() : sample;
}

}  // namespace Kavelin::Tests
