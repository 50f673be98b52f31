#pragma once

#include <mutex>
#include <vector>

namespace Kavelin::Core {

/// Guards who is connected to whom and who is in which layout, while a layout reads it to plan its rounds.
/// While it is held, only the mutexes by which layouts sleep are taken.
std::mutex& topologyMutex();

class LayoutManager;

/// The layouts whose thread runs; guarded by the topology mutex.
std::vector<LayoutManager*>& runningLayouts();

}  // namespace Kavelin::Core
