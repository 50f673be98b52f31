#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace Kavelin::Soak {

/// Ends the program when nothing was done for some time: prints the stacks of all threads, and exits with status 3.
class Watchdog {
public:
    explicit Watchdog(std::chrono::seconds patience);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// Something was done.  [any thread]
    void pat() { pats_.fetch_add(1, std::memory_order_relaxed); }

private:
    void run();

    const std::chrono::seconds patience_;
    std::atomic<std::uint64_t> pats_{0};
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ends_ = false;
    std::thread thread_;
};

/// Prints the stack of every thread of this process to standard error, one after another.
void printAllStacks();

}  // namespace Kavelin::Soak
