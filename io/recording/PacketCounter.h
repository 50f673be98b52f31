#pragma once

#include <cstdint>
#include <optional>

namespace Kavelin::RecordingIO {

/// Follows a counter of packets that starts over at 2^16 or at 2^32.
class PacketCounter {
public:
    /// @param step what the counter grows by from one packet to the next; 0: it counts time, not packets
    explicit PacketCounter(double step) : step_(step) {}

    /// Takes the next value. A value smaller than the one before is one that started over, if it then lies
    /// less than half of the counter's range ahead.
    /// @return how far the counter has come since its first value; empty, taking nothing, where it ran
    /// backwards.
    std::optional<double> add(double value);

    /// Packets that are missing just before the value added last.
    std::uint64_t lost() const { return lost_; }

private:
    double step_;
    bool hasValue_ = false;
    double last_ = 0.0;
    double way_ = 0.0;
    std::uint64_t lost_ = 0;
};

}  // namespace Kavelin::RecordingIO
