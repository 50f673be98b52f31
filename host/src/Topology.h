#pragma once

#include <mutex>

namespace Kavelin::Core {

/// Guards who is connected to whom and who is in which layout, while a layout reads it to plan its rounds.
/// While it is held, only the mutexes by which layouts sleep are taken.
std::mutex& topologyMutex();

}  // namespace Kavelin::Core
