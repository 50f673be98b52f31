// A filter whose instances share a sum, which sends more than its pin declares, and whose property forgets digits.
#include <cmath>

#include "OneFilterPlugin.h"

namespace {

using namespace Kavelin::Core;

class Rounded : public ValueProperty<double> {
public:
    Rounded(const std::string& name, PropertyBagOwner* owner) : ValueProperty<double>(name, owner, 1.0) {
        setForm(kPropertyForm<Rounded>);
    }
    void readExact(const std::string& text) {
        set(std::round(TextForm<double>::readExact(text) * 10.0) / 5.0);
    }
};

class FilterSharing : public Filter {
public:
    static constexpr const char* kTypeName = "FilterSharing";
    explicit FilterSharing(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!in_.readNext() || !in_.fits() || !in_.value().allFinite()) return;
        static double sum = 0.0;
        sum += in_.value()(0, 0) * factor_.get();
        out_.value()(0, 0) = sum;
        if (in_.lastTimeStamp() < 0.0) out_.value() = Matrix::Zero(2, 2);
        out_.send(in_.lastTimeStamp());
    }
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> in_{"3a", this, kAcceleration};
    OutputPin<Matrix> out_{"sum", this, kNumber};
    Rounded factor_{"factor", this};
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(OneFilterPlugin<FilterSharing>)
