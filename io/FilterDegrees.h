#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// Converts angles from radians to degrees. It makes an input of any name that a connection asks for, and
/// with it an output of the same name; samples of any shape, each element converted, stamps as they come.
class FilterDegrees : public OrientationInternal::Filter, public Core::WithoutState {
public:
    static constexpr const char* kTypeName = "FilterDegrees";

    explicit FilterDegrees(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    struct Lane {
        Lane(const std::string& name, FilterDegrees* owner)
            : in(name, owner, Core::PinContent{.quantity = Core::kAngleName, .unit = Core::kRadians},
                 OrientationInternal::AnyTime{}),
              out(name, owner, Core::PinContent{.quantity = Core::kAngleName, .unit = Core::kDegrees}) {}
        OrientationInternal::InputPin<Core::Matrix> in;
        OrientationInternal::OutputPin<Core::Matrix> out;
    };

    std::vector<std::unique_ptr<Lane>> lanes_;
};

}  // namespace Kavelin::RecordingIO
