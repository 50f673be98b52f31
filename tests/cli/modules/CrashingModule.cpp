// A filter that believes every sample to have an element.
#include <cstdio>
#include <cstdlib>

#include "OneFilterPlugin.h"

namespace {

using namespace Kavelin::Core;

class FilterCrashing : public Filter {
public:
    static constexpr const char* kTypeName = "FilterCrashing";
    explicit FilterCrashing(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!in_.readNext()) return;
        if (in_.value().size() == 0) {
            std::fputs("an empty sample\n", stderr);
            std::abort();  // a read beyond the end would not end every build alike
        }
        out_.value()(0, 0) = in_.value().data()[0];
        out_.send(in_.lastTimeStamp());
    }
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> in_{"in", this};
    OutputPin<Matrix> out_{"out", this, kNumber};
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(OneFilterPlugin<FilterCrashing>)
