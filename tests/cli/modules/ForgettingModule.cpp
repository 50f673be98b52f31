// A filter whose state lacks one of the two numbers that it keeps.
#include "OneFilterPlugin.h"

namespace {

using namespace Kavelin::Core;

class FilterForgetting : public Filter, public WithState<FilterForgetting> {
public:
    static constexpr const char* kTypeName = "FilterForgetting";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterForgetting(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!takeTogether(acc_, rate_) || !allFit(acc_, rate_)) return;
        sum_ += acc_.value()(0, 0);
        ++count_;
        out_.value()(0, 0) = sum_ / count_;
        out_.send(acc_.lastTimeStamp());
    }
    std::string typeName() const override { return kTypeName; }
    template <class Archive>
    void serialize(Archive& archive) {
        archive(sum_);
    }

private:
    InputPin<Matrix> acc_{"3a", this, kAcceleration};
    InputPin<Matrix> rate_{"3g", this, kRate};
    OutputPin<Matrix> out_{"mean", this, kNumber};
    double sum_ = 0.0, count_ = 0.0;
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(OneFilterPlugin<FilterForgetting>)
