#include "RoomGate.h"

#include <chrono>

namespace Kavelin::Core {

RoomGate& RoomGate::instance() {
    static RoomGate gate;
    return gate;
}

void RoomGate::waitBriefly() {
    std::unique_lock lock(mutex_);
    waiting_.fetch_add(1);
    // Bounded, so that missing an opening just before costs only a moment.
    opened_.wait_for(lock, std::chrono::milliseconds(1));
    waiting_.fetch_sub(1);
}

void RoomGate::open() {
    std::lock_guard lock(mutex_);
    opened_.notify_all();
}

}  // namespace Kavelin::Core
