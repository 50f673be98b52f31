#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace Kavelin::RecordingIO {

/// Gives lines the time at which they came. Lines that come at once, as a packet brings them, share the time since
/// the read before evenly: a sensor that sends ten rows a packet has measured them one after another. After a
/// silence they lie no further apart than usual.
class ArrivalClock {
public:
    /// A read has ended, with it these many lines.  @param now s, on any clock
    void beginRead(double now, std::size_t lines);

    /// The time of the next line of the read, in s since the first line that has one; empty for lines that came
    /// together with the first, and before it.
    std::optional<double> next();

private:
    double origin_ = 0.0, before_ = 0.0, now_ = 0.0;
    double usualStep_ = 0.0;  // s a line; 0: not known yet
    double step_ = 0.0;       // in this read
    std::size_t left_ = 0;    // lines of this read
    std::uint64_t reads_ = 0;
};

}  // namespace Kavelin::RecordingIO
