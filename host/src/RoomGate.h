#pragma once

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace Kavelin::Core {

struct Layout;

/// Where sources wait for room in the buffers of other layouts.
class RoomGate {
public:
    static RoomGate& instance();

    /// Waits until some layout has worked off a round, or for a short while.
    /// @param waiting the layout of the calling thread  @param reader the one that is to make room
    /// @return false, without a wait, where layouts wait for room in a circle, which none of them would leave.
    bool waitBriefly(const Layout& waiting, const Layout& reader);
    void open();
    /// Opens it if a source waits; otherwise only reads an atomic.
    void openIfWanted() {
        if (waiting_.load(std::memory_order_relaxed) > 0) open();
    }

private:
    struct Wait {
        const Layout* waiting;
        const Layout* reader;
    };
    bool isCircle(const Layout& from) const;

    std::atomic<int> waiting_{0};
    std::mutex mutex_;  // of the next two
    std::condition_variable opened_;
    std::vector<Wait> waits_;  // under way
};

}  // namespace Kavelin::Core
