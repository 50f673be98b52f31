#include "bench/support/Comparison.h"

#include "attitude/RotationTypes.h"

namespace Kavelin::Bench {

Alignment appliedAlignment(const Recording& recording, Alignment alignment) {
    return alignment == Alignment::kNone && !recording.headingKnown ? Alignment::kHeading : alignment;
}

ErrorFigures compareWithTruth(const Recording& recording, const std::vector<Estimate>& estimates,
                              Alignment alignment) {
    using OrientationInternal::fromEigen;
    RecordingIO::AttitudeErrors errors(appliedAlignment(recording, alignment));
    std::size_t next = 0;
    for (const TruePose& truth : recording.truth) {
        while (next < estimates.size() && estimates[next].t < truth.t) ++next;
        if (next == estimates.size()) break;
        const Estimate& after = estimates[next];
        if (after.t > truth.t && next == 0) continue;
        const Estimate& before = after.t > truth.t ? estimates[next - 1] : after;
        const double share = after.t > before.t ? (truth.t - before.t) / (after.t - before.t) : 0.0;
        errors.add(fromEigen(before.attitude.slerp(share, after.attitude)), fromEigen(truth.attitude),
                   recording.counts(truth.t));
    }
    return errors.figures();
}

}  // namespace Kavelin::Bench
