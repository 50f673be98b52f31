#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>

namespace Kavelin::Core {

/// Where sources wait for room in the buffers of other layouts.
class RoomGate {
public:
    static RoomGate& instance();

    /// Waits until some layout has worked off a round, or for a short while.
    void waitBriefly();
    void open();
    /// Opens it if a source waits; otherwise only reads an atomic.
    void openIfWanted() {
        if (waiting_.load(std::memory_order_relaxed) > 0) open();
    }

private:
    std::atomic<int> waiting_{0};
    std::mutex mutex_;
    std::condition_variable opened_;
};

}  // namespace Kavelin::Core
