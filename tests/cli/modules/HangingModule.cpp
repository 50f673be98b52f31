// A filter that waits for time to go on, and takes memory for each sample.
#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/FilterRegistry.h>
#include <Kavelin/Typed/PluginExports.h>

#include <atomic>

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

class HangingPlugin : public DefaultPlugin {
public:
    HangingPlugin() : DefaultPlugin("Hanging", "1.0") {
        static constexpr RegistryRow kRows[] = {row<FilterHanging>()};
        registerFilters(*this, kRows);
    }
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(HangingPlugin)
