#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// Passes 1x3 rows on as 3x1 columns, for the filters that want those; input and output pins have the same
/// names.
class ColumnTurner : public OrientationInternal::Filter {
public:
    ColumnTurner(const std::string& name, const std::vector<std::string>& pins) : Filter(name, true) {
        for (const std::string& pin : pins) lanes_.push_back(std::make_unique<Lane>(pin, this));
    }

    void process() override {
        for (const auto& lane : lanes_) {
            if (!lane->in.readNext()) continue;
            lane->out.value() = lane->in.value().transpose();
            lane->out.send(lane->in.lastTimeStamp());
        }
    }
    std::string typeName() const override { return "ColumnTurner"; }

private:
    struct Lane {
        Lane(const std::string& pin, Filter* owner)
            : in(pin, owner, OrientationInternal::AnyTime{}), out(pin, owner) {}
        OrientationInternal::InputPin<OrientationInternal::Matrix> in;
        OrientationInternal::OutputPin<OrientationInternal::Matrix> out;
    };
    std::vector<std::unique_ptr<Lane>> lanes_;
};

}  // namespace Kavelin::Cli
