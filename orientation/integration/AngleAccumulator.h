#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace Kavelin::OrientationInternal {

/// Accumulates angles with any wrapping: each continues from its own last value by less than half a turn.
class AngleAccumulator {
public:
    /// Starts every angle again with its next value.
    void reset() { tracks_.clear(); }

    /// Takes the next value of each angle (rad).
    /// Another number of angles than before starts all of them again.
    ///
    /// A value that is not finite gives NaN twice and starts that angle again; the first value after a start
    /// is taken as it stands. A step of exactly half a turn counts downwards.
    /// @param cumul receives the accumulated angles, rad. @param turns receives the whole turns since the
    /// start, cut off towards zero. Both as many as `angles`. Allocates only when their number grows.
    void advance(std::span<const double> angles, std::span<double> cumul, std::span<double> turns);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(tracks_);
    }

private:
    struct Track {
        bool started = false;
        double first = 0.0;
        double last = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(started, first, last);
        }
    };
    std::vector<Track> tracks_;
};

}  // namespace Kavelin::OrientationInternal
