#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/FlowManager.h>
#include <gtest/gtest.h>

#include <sstream>

#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "io/recording/Units.h"

namespace Kavelin::Cli {
namespace {

using RecordingIO::Quantity;

bool isUnit(const std::string& name) {
    for (const Quantity quantity :
         {Quantity::kTime, Quantity::kAcceleration, Quantity::kRate, Quantity::kField, Quantity::kAngle})
        if (RecordingIO::findUnit(quantity, name)) return true;
    return name.empty() || name == "Hz" || name.starts_with("unit of ");
}

// Pins, properties and the headers of recordings call a unit by one name.
TEST(PinVocabulary, UnitsOfPinsAndPropertiesAreThoseOfRecordings) {
    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    loadPlugins(context, {});
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    for (const std::string& type : plugins.getTypeNames()) {
        const Core::FilterPtr filter = plugins.createFilter(type, type);
        for (const Core::Pin* pin : filter->getPins()) {
            const std::string unit(pin->content().unit);
            EXPECT_TRUE(unit == "range" || isUnit(unit)) << pin->fullName() << ": " << unit;
        }
        for (const Core::AbstractProperty* property : filter->getPropertyBag().getProperties()) {
            std::string unit = property->describe().unit;
            unit = unit.substr(0, std::min(unit.find("/sqrt"), unit.find(" sqrt")));
            EXPECT_TRUE(isUnit(unit)) << type << ':' << property->getName() << ": " << unit;
        }
    }
}

}  // namespace
}  // namespace Kavelin::Cli
