// Saved properties, once restored, must give a filter that sends the same.
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/FlowManager.h>

#include "support/FilterDrive.h"
#include "support/PinSamples.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

constexpr int kTrialsPerType = 40;

class Choice {
public:
    explicit Choice(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t count) { return engine_() % count; }
    template <class List>
    std::string of(const List& list) {
        return std::data(list)[below(std::size(list))];
    }

private:
    std::mt19937 engine_;
};

/// A text for a property of the type: some are taken, some are refused.
std::string textFor(const std::string& type, const AbstractProperty& property, Choice& choice) {
    static const char* const kNumbers[] = {"0", "1", "2", "0.3", "0.75", "5", "12", "-2", "1e9", "much"};
    static const char* const kMatrices[] = {"1 3 0.2 0.6 0.2", "1 3 0 1 0", "1 5 1 2 3 2 1", "1 2 1 1",
                                            "0 0"};
    const std::string folder = std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/";
    const PropertyDescription description = property.describe();
    if (description.kind == "file name") return folder + (choice.below(3) ? type.substr(6) : "none") + ".par";
    if (description.kind == "matrix") return choice.of(kMatrices);
    if (description.kind == "enum" && choice.below(4) > 0) return choice.of(description.labels);
    return choice.of(kNumbers);
}

void writeAtRandom(const std::string& type, Filter& filter, Choice& choice) {
    const auto& properties = filter.getPropertyBag().getProperties();
    for (std::size_t writes = properties.empty() ? 0 : choice.below(8); writes > 0; --writes) {
        AbstractProperty& property = *properties[choice.below(properties.size())];
        if (property.hasValue()) outcome([&] { property.deSerialize(textFor(type, property, choice)); });
    }
}

std::map<std::string, std::string> shown(const Filter& filter) {
    std::map<std::string, std::string> values;
    for (const AbstractProperty* property : filter.getPropertyBag().getProperties()) {
        if (property->hasValue()) values[property->getName()] = property->exactText();
    }
    return values;
}

/// All that a filter sends and raises over a motion, every bit of it.
std::string sentBy(Filter& filter, const std::vector<MotionSample>& samples) {
    // Deliberate: "Absolute Reference" counts from the next "Ref" on, also when it is restored.
    if (filter.typeName() == "FilterAGMTriad_gyro")
        dynamic_cast<CommandProperty&>(filter.getPropertyBag().get("Ref")).activate();
    DrivenFilter drive;
    drive.attach(filter);
    std::string all;
    for (const MotionSample& s : samples) {
        std::size_t pin = 0;
        for (const AbstractInputPin* input : filter.getInputPins()) {
            const Matrix sample = sampleFor(*input, s, false);
            if (sample.size() > 0) drive.send(pin, s.t, sample);
            ++pin;
        }
        int sent = 0;
        all += outcome([&] { sent = drive.process(); }) + std::to_string(sent);
        for (std::size_t output = 0; sent > 0 && output < filter.getOutputPins().size(); ++output) {
            if (!drive.hasReceived(output)) continue;
            const Matrix& value = drive.received(output);
            all.append(reinterpret_cast<const char*>(value.data()),
                       sizeof(double) * static_cast<std::size_t>(value.size()));
        }
    }
    return all;
}

TEST(SavedValues, ARestoredFilterShowsAndSendsTheSame) {
    PluginManager& plugins = FlowManager::instance().getPluginManager();
    plugins.load("KavelinPluginOrientationInternal");
    const auto samples = recordDisturbed({.frequency = 25, .duration = 6});
    for (const std::string& type : plugins.getTypeNames()) {
        for (unsigned seed = 1; seed <= kTrialsPerType; ++seed) {
            Choice choice(seed);
            const FilterPtr ran = plugins.createFilter(type, "ran");
            writeAtRandom(type, *ran, choice);
            const PropertyBag::SavedValues saved = ran->getPropertyBag().save();
            const FilterPtr fresh = plugins.createFilter(type, "fresh");
            fresh->getPropertyBag().restore(saved);
            ASSERT_EQ(shown(*fresh), shown(*ran)) << type << ", seed " << seed;
            ASSERT_TRUE(sentBy(*fresh, samples) == sentBy(*ran, samples)) << type << ", seed " << seed;

            const FilterPtr used = plugins.createFilter(type, "used");
            writeAtRandom(type, *used, choice);
            outcome([&] { used->getPropertyBag().restore(saved); });  // a default file may not be there
            for (const auto& [name, text] : shown(*ran)) {
                if (name == "Settings File Name") continue;
                ASSERT_EQ(shown(*used)[name], text) << type << ", " << name << ", seed " << seed;
            }
        }
    }
    plugins.unloadAll();
}

}  // namespace
}  // namespace Kavelin::Core
