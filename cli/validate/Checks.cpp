#include "cli/validate/Checks.h"

namespace Kavelin::Cli {

std::span<const Check> allChecks() {
    static constexpr Check kChecks[] = {
        {"load", "the plugin is loaded and unloaded 100 times and leaves nothing behind", true, checkLoad},
        {"factory", "factory and instance agree on type and name", false, checkFactory},
        {"description",
         "pins and properties have names, shapes, units, bounds and labels that fit each other", false,
         checkDescription},
        {"defaults", "every new instance reports the same defaults, whatever was done to others", false,
         checkDefaults},
        {"text", "what a property writes as text, it reads back", false, checkText},
        {"writes", "random, extreme and wrong-type writes are taken or refused as a whole", false,
         checkWrites},
        {"data", "samples that are not finite, huge, empty or of the wrong shape, at odd rates", false,
         checkData},
        {"time", "time that stands still, goes back, jumps or is not a number", false, checkTime},
        {"connections", "connections made and ended in any order, with every kind of buffer", false,
         checkConnections},
        {"destruction", "an instance is destroyed in every state", false, checkDestruction},
        {"state", "saved and restored properties read the same and give the same outputs", false, checkState},
        {"snapshot", "an instance that takes the snapshot of another goes on as that one, bit for bit", false,
         checkSnapshot},
        {"instances", "two instances give the same bits and do not touch each other", false, checkInstances},
        {"threads", "properties written from two threads while samples are processed", false, checkThreads},
        {"heap", "no call of the heap for a sample, with every kind of buffer", false, checkHeap},
    };
    return kChecks;
}

}  // namespace Kavelin::Cli
