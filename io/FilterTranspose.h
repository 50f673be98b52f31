#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// Sends each sample transposed, with its time stamp: 1x3 rows as the 3x1 columns that some filters take, or
/// back. It makes an input of any name that a connection asks for, and with it an output of the same name.
class FilterTranspose : public OrientationInternal::Filter, public Core::WithoutState {
public:
    static constexpr const char* kTypeName = "FilterTranspose";

    explicit FilterTranspose(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    struct Lane {
        Lane(const std::string& name, FilterTranspose* owner)
            : in(name, owner, OrientationInternal::AnyTime{}), out(name, owner) {
            out.setHandsOn(in, true);
        }
        OrientationInternal::InputPin<Core::Matrix> in;
        OrientationInternal::OutputPin<Core::Matrix> out;
    };
    std::vector<std::unique_ptr<Lane>> lanes_;
};

}  // namespace Kavelin::RecordingIO
