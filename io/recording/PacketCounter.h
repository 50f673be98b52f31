#pragma once

#include <cstdint>
#include <optional>

namespace Kavelin::RecordingIO {

/// Follows a counter of packets that starts over at 2^8, 2^16 or 2^32.
class PacketCounter {
public:
    /// @param step what the counter grows by from one packet to the next; 0: it counts time, not packets
    /// @param origin the value from which it is followed; none: the first
    explicit PacketCounter(double step, std::optional<double> origin = std::nullopt)
        : step_(step), hasOrigin_(origin.has_value()), last_(origin.value_or(0.0)) {}

    /// Takes the next value. A value smaller than the one before is one that started over, if it then lies
    /// less than half of the counter's range ahead, and less than 32 of a counter of a byte.
    /// @return how far the counter has come since its origin; empty, taking nothing, where it ran
    /// backwards.
    std::optional<double> add(double value);

    /// Packets that are missing just before the value added last.
    std::uint64_t lost() const { return lost_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(step_, hasOrigin_, hasValue_, last_, way_, lost_);
    }

private:
    double step_;
    bool hasOrigin_;
    bool hasValue_ = false;
    double last_;
    double way_ = 0.0;
    std::uint64_t lost_ = 0;
};

}  // namespace Kavelin::RecordingIO
