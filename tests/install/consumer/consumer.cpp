// A program of somebody else: loads the installed plugin, drives one filter, prints what it sends.

#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Typed/FilterKit.h>

#include <cstdio>

using namespace Kavelin::Core;

int main() {
    PluginManager& plugins = FlowManager::instance().getPluginManager();
    plugins.load("KavelinPluginOrientationInternal");
    const FilterPtr compass = plugins.createFilter("FilterCompass", "compass");

    OutputPin<Matrix> field("field", nullptr, Matrix::Zero(1, 3));
    InputPin<Matrix> angles("angles", nullptr);
    field.attachInput(compass->getInputPin("inMag"), true);
    compass->getOutputPin("out").attachInput(angles, true);

    field.value() << 0.0, 1.0, 0.0;
    field.send(0.5);
    compass->processOnce();
    if (!angles.readNext()) return 1;
    std::printf("t %g heading %.4f\n", angles.lastTimeStamp(), angles.value()(0, 0));
    compass->getOutputPin("out").detachInput(angles, false);
    field.detachInput(compass->getInputPin("inMag"), false);
    return 0;
}
