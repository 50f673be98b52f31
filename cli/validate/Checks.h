#pragma once

#include <span>

namespace Kavelin::Cli {

class Subject;

/// One check.
struct Check {
    const char* name;
    const char* title;  ///< what it does or proves, for --help
    bool ofPlugin;      ///< once for a plugin; else for each of its types
    /// @throws Fault, Skip; anything else is a fault too.
    void (*run)(Subject& subject);
};

/// All checks, in the order in which they are run and shown.
std::span<const Check> allChecks();

// A file each.
void checkLoad(Subject& subject);
void checkFactory(Subject& subject);
void checkDescription(Subject& subject);
void checkDefaults(Subject& subject);
void checkText(Subject& subject);
void checkWrites(Subject& subject);
void checkData(Subject& subject);
void checkTime(Subject& subject);
void checkConnections(Subject& subject);
void checkDestruction(Subject& subject);
void checkState(Subject& subject);
void checkSnapshot(Subject& subject);
void checkInstances(Subject& subject);
void checkThreads(Subject& subject);
void checkHeap(Subject& subject);

}  // namespace Kavelin::Cli
