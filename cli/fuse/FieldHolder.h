#pragma once

#include <Kavelin/Typed/FilterKit.h>

namespace Kavelin::Cli {

/// Passes accelerations on, each with the newest field, from the first field on: for a score that takes both,
/// and a reference of both at its first call, where the magnetometer is slower. In and out "3a" and "3m"; the
/// field is stamped like the acceleration.
class FieldHolder : public OrientationInternal::Filter {
public:
    explicit FieldHolder(const std::string& name) : Filter(name, true) {}

    void process() override {
        while (field_.readNext()) fieldOut_.value() = field_.value();
        if (!acceleration_.readNext() || !field_.hasValue()) return;
        accelerationOut_.value() = acceleration_.value();
        accelerationOut_.send(acceleration_.lastTimeStamp());
        fieldOut_.send(acceleration_.lastTimeStamp());
    }
    std::string typeName() const override { return "FieldHolder"; }

private:
    using Matrix = OrientationInternal::Matrix;
    OrientationInternal::InputPin<Matrix> acceleration_{"3a", this};
    OrientationInternal::InputPin<Matrix> field_{"3m", this, OrientationInternal::AnyTime{}};
    OrientationInternal::OutputPin<Matrix> accelerationOut_{"3a", this};
    OrientationInternal::OutputPin<Matrix> fieldOut_{"3m", this};
};

}  // namespace Kavelin::Cli
