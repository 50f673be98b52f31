// Once it runs, no filter of the plugin may call the heap for a sample.
#include <Kavelin/Core/FlowManager.h>

#include "support/FilterDrive.h"
#include "support/HeapCalls.h"
#include "support/PinSamples.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

/// Heap calls over the second half of a motion with every fault, all buffers' rings filled before.
std::size_t heapCallsOf(const std::string& type, const char* property, const std::string& text, bool columns,
                        const std::vector<const char*>& demandedPins = {}) {
    auto samples = recordDisturbed({.duration = 20, .magnetFrom = 12, .magnetTo = 14});
    for (MotionSample& s : samples) {
        if (s.t > 16 && s.t < 17) s.field.setConstant(kNaN);
        if (s.t > 17 && s.t < 18) s.acc.setConstant(kNaN);
    }
    DrivenFilter drive;
    const FilterPtr filter = FlowManager::instance().getPluginManager().createFilter(type, "driven");
    for (const char* pin : demandedPins) filter->getInputPin(pin);
    drive.attach(*filter);
    if (*property != '\0') drive.set(property, text.c_str());
    const std::string settings =
        std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/" + type.substr(6) + ".par";
    if (filter->getPropertyBag().find("Settings File Name") != nullptr)
        drive.set("Settings File Name", settings.c_str());
    std::vector<std::vector<Matrix>> inputs(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        for (const AbstractInputPin* pin : filter->getInputPins())
            inputs[i].push_back(sampleFor(*pin, samples[i], columns));
    }
    std::size_t before = 0;
    int sent = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i == samples.size() / 2) before = heapCalls.load();
        for (std::size_t pin = 0; pin < inputs[i].size(); ++pin) {
            if (inputs[i][pin].size() > 0) drive.send(pin, samples[i].t, inputs[i][pin]);
        }
        sent += drive.process();
    }
    EXPECT_GT(sent, 2000) << type;
    EXPECT_GT(before, 0u);
    return heapCalls.load() - before;
}

TEST(SteadyState, NoFilterCallsTheHeap) {
    if (!KAVELIN_HEAP_CALLS_COUNTED) GTEST_SKIP() << "skipped: the sanitizer owns the heap";
    PluginManager& plugins = FlowManager::instance().getPluginManager();
    plugins.load("KavelinPluginOrientationInternal");
    const std::vector<std::string> types = plugins.getTypeNames();
    struct Variant {
        const char *type, *property, *text;
    };
    const Variant variants[] = {{"FilterAttitude", "Mode", "dynamic yaw"},
                                {"FilterAttitude", "Mode", "dynamic horizontal"},
                                {"FilterAttitude", "Mode", "static with coef"},
                                {"FilterOrientationIntegration", "order", "1"},
                                {"FilterQuaternionFilter", "alphas", "1 5 1 2 3 2 1"}};
    for (const Variant& v : variants) EXPECT_EQ(heapCallsOf(v.type, v.property, v.text, false), 0u) << v.text;
    EXPECT_EQ(heapCallsOf("FilterChangeOfBasis", "", "", true), 0u);
    for (const std::string& type : types) {
        if (type == "FilterConvergenceTime") continue;  // its recording grows with every sample
        EXPECT_EQ(heapCallsOf(type, "", "", false), 0u) << type;
    }
    plugins.load("KavelinPluginRecordingIO");
    const std::vector<const char*> sensors{"3a", "3m", "3g"};
    EXPECT_EQ(heapCallsOf("FilterTranspose", "", "", false, sensors), 0u);
    EXPECT_EQ(heapCallsOf("FilterSampleHold", "Clock", "3g", false, sensors), 0u);
    EXPECT_EQ(heapCallsOf("FilterAttitudeForm", "", "", false), 0u);
    EXPECT_EQ(heapCallsOf("FilterAttitudeErrors", "Alignment", "heading", false), 0u);
    plugins.load("KavelinPluginCalibration");
    EXPECT_EQ(heapCallsOf("FilterCalibration", "Learned Offset", "1 3 1 2 3", false, sensors), 0u);
    plugins.unloadAll();
}

}  // namespace
}  // namespace Kavelin::Core
