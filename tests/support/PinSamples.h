#pragma once

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Typed/Contents.h>
#include <Kavelin/Typed/Matrix.h>

#include <map>
#include <string>

#include "support/DisturbedMotion.h"

namespace Kavelin::Tests {

/// What a pin carries, as it declares it; where it does not say what, its name tells.
inline Core::PinContent contentFor(const Core::AbstractInputPin& pin) {
    static const std::map<std::string, Core::PinContent> kByName = {{"3a", Core::kAcceleration},
                                                                    {"3m", Core::kField},
                                                                    {"3g", Core::kRate},
                                                                    {"input matrix", Core::kRotation},
                                                                    {"Change-Of-Basis", Core::kRotation}};
    const auto known = kByName.find(pin.getName());
    return pin.content().quantity.empty() && known != kByName.end() ? known->second : pin.content();
}

/// What a filter sees of a motion on a pin: nothing on one of which is not known what it takes, as one that
/// asks for a restart or a lock.
inline Core::Matrix sampleFor(const Core::AbstractInputPin& pin, const MotionSample& s, bool columns) {
    using Core::Matrix;
    const Core::PinContent content = contentFor(pin);
    const bool isColumn = columns || (content.shape.rows > 1 && content.shape.cols == 1);
    const auto arranged = [isColumn](const Eigen::VectorXd& v) {
        return isColumn ? Matrix(v) : Matrix(v.transpose());
    };
    if (content.quantity == Core::kAccelerationName) return arranged(s.acc);
    if (content.quantity == Core::kFieldName) return arranged(s.field);
    if (content.quantity == Core::kRateName) return arranged(s.rate);
    if (content.quantity == Core::kAngleName)
        return content.shape.isFixed() ? Matrix::Constant(1, 1, s.rate[0]) : arranged(s.rate);
    if (content.quantity != Core::kOrientation) return {};
    if (content.shape != Core::kRotation.shape && pin.getName() != "G") return arranged(s.truth.wxyz());
    const Matrix rotation = s.truth.R_earth_sensor;
    return columns && pin.getName() == "Change-Of-Basis" ? Matrix(rotation.leftCols(2)) : rotation;
}

}  // namespace Kavelin::Tests
