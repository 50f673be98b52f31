// A plugin of somebody else, with one filter: every sample times a factor.

#include <Kavelin/Core/Plugin.h>
#include <Kavelin/Core/Version.h>
#include <Kavelin/Typed/FilterFactory.h>
#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/PluginExports.h>

#include <memory>

namespace {

using namespace Kavelin::Core;

class FilterTwice : public Filter {
public:
    static constexpr const char* kTypeName = "FilterTwice";
    explicit FilterTwice(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }

    void process() override {
        if (!in_.readNext()) return;
        out_.value() = factor_.get() * in_.value();
        out_.send(in_.lastTimeStamp());
    }

private:
    InputPin<Matrix> in_{"in", this};
    OutputPin<Matrix> out_{"out", this};
    ValueProperty<double> factor_{"factor", this, 2.0};
};

class TwicePlugin : public DefaultPlugin {
public:
    TwicePlugin() : DefaultPlugin("Twice", "1.0") {
        metaData_.description = "Doubles.";
        metaData_.hostVersion = kHostVersion;
        addFactory(std::make_unique<FilterFactory<FilterTwice>>(*this));
    }
};

}  // namespace

KAVELIN_EXPORT_PLUGIN(TwicePlugin)
