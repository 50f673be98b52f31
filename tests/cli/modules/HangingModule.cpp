// A filter that waits for time to go on, and takes memory for each sample.
#include <atomic>

#include "OneFilterPlugin.h"

namespace {

using namespace Kavelin::Core;

class FilterHanging : public Filter {
public:
    static constexpr const char* kTypeName = "FilterHanging";
    explicit FilterHanging(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!rate_.readNext() || !rate_.fits()) return;
        const std::atomic<double> t{rate_.lastTimeStamp()};
        while (t < last_) {  // the time of a sample that lies before the last one never comes
        }
        last_ = t;
        out_.value() = Matrix(rate_.value() * rate_.value().transpose());
        out_.send(last_);
    }
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> rate_{"3g", this, kRate};
    OutputPin<Matrix> out_{"square", this, kNumber};
    double last_ = 0.0;
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(OneFilterPlugin<FilterHanging>)
