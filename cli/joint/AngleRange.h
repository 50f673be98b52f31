#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <cstdint>
#include <limits>
#include <string>

namespace Kavelin::Cli {

/// Watches the angles of a joint for the summary: their ranges, in the unit in which they come.
class AngleRange : public OrientationInternal::Filter {
public:
    explicit AngleRange(const std::string& name) : Filter(name, true) {}

    void process() override {  // [layout thread]
        for (Lane* lane : {&angle_, &flexion_, &swing_}) lane->takeAll();
    }
    std::string typeName() const override { return "AngleRange"; }

    struct Lane {
        Lane(const char* name, AngleRange* owner) : pin(name, owner, OrientationInternal::AnyTime{}) {}
        void takeAll() {
            while (pin.readNext()) {
                const double value = pin.value()(0);
                smallest = std::min(smallest, value);
                greatest = std::max(greatest, value);
                ++count;
            }
        }
        OrientationInternal::InputPin<Core::Matrix> pin;
        double smallest = std::numeric_limits<double>::infinity();
        double greatest = -std::numeric_limits<double>::infinity();
        std::uint64_t count = 0;
    };
    const Lane& angle() const { return angle_; }
    const Lane& flexion() const { return flexion_; }
    const Lane& swing() const { return swing_; }

private:
    Lane angle_{"angle", this};
    Lane flexion_{"flexion", this};
    Lane swing_{"swing", this};
};

}  // namespace Kavelin::Cli
