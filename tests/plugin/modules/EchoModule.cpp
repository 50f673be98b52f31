// A module with one filter type that sends what it reads. Built twice, under two names, as two plugins.
#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/FilterRegistry.h>
#include <Kavelin/Typed/PluginExports.h>

namespace {

using namespace Kavelin::Core;

class FilterEcho : public Filter {
public:
    static constexpr const char* kTypeName = ECHO_TYPE;
    explicit FilterEcho(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!in_.readNext()) return;
        out_.value() = in_.value();
        out_.send(in_.lastTimeStamp() + 1);
    }
    std::string typeName() const override { return kTypeName; }

private:
    InputPin<Matrix> in_{"in", this};
    OutputPin<Matrix> out_{"out", this};
    RangeProperty<int> level_{"level", this, {.minimum = 0, .maximum = 3}};
};

class EchoPlugin : public DefaultPlugin {
public:
    EchoPlugin() : DefaultPlugin("Echo of " ECHO_TYPE, "1.0") {
        static constexpr RegistryRow kRows[] = {row<FilterEcho>()};
        registerFilters(*this, kRows);
    }
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(EchoPlugin)
