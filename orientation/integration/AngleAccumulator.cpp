#include "orientation/integration/AngleAccumulator.h"

#include <cmath>
#include <limits>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

void AngleAccumulator::advance(std::span<const double> angles, std::span<double> cumul,
                               std::span<double> turns) {
    if (angles.size() != tracks_.size()) tracks_.assign(angles.size(), Track{});
    for (std::size_t i = 0; i < angles.size(); ++i) {
        Track& track = tracks_[i];
        if (!std::isfinite(angles[i])) {
            track = {};
            cumul[i] = turns[i] = std::numeric_limits<double>::quiet_NaN();
            continue;
        }
        track.last = track.started ? AbsoluteAttitudeComputer::unwrapAngle(angles[i], track.last) : angles[i];
        if (!track.started) track.first = track.last;
        track.started = true;
        cumul[i] = track.last;
        turns[i] = std::trunc((track.last - track.first) / kTwoPi);
    }
}

}  // namespace Kavelin::OrientationInternal
