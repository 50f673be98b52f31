#pragma once

#include <atomic>
#include <cstdint>

namespace Kavelin::Core {

/// Lets a thread sleep until something may have changed since its last look.
/// All functions may be called from any thread.
class Bell {
public:
    /// To be read before looking whether there is something to do.
    std::uint32_t rings() const { return rings_.load(); }
    void ring() {
        rings_.fetch_add(1);
        rings_.notify_all();
    }
    /// Returns when it has been rung since `seen` was read.
    void await(std::uint32_t seen) const {
        // With recordings, the next round is usually a few microseconds away: too near to sleep.
        for (int look = 0; look < kLooks; ++look) {
            if (rings_.load() != seen) return;
        }
        rings_.wait(seen);
    }

private:
    static constexpr int kLooks = 2000;
    std::atomic<std::uint32_t> rings_{0};
};

}  // namespace Kavelin::Core
