#include "bench/support/Comparison.h"

#include <numbers>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::Bench {

std::vector<Pair> pairUp(const Recording& recording, const std::vector<Estimate>& estimates) {
    std::vector<Pair> pairs;
    std::size_t next = 0;
    for (const TruePose& truth : recording.truth) {
        while (next < estimates.size() && estimates[next].t < truth.t) ++next;
        if (next == estimates.size()) break;
        const Estimate& after = estimates[next];
        if (after.t > truth.t && next == 0) continue;
        const Estimate& before = after.t > truth.t ? estimates[next - 1] : after;
        const double share = after.t > before.t ? (truth.t - before.t) / (after.t - before.t) : 0.0;
        pairs.push_back({truth.t, before.attitude.slerp(share, after.attitude), truth.attitude});
    }
    return pairs;
}

ErrorFigures errorsOf(const Recording& recording, const std::vector<Pair>& pairs, Alignment alignment) {
    using OrientationInternal::fromEigen;
    RecordingIO::AttitudeErrors errors(alignment);
    for (const Pair& pair : pairs) {
        errors.add(fromEigen(pair.estimate), fromEigen(pair.truth), recording.counts(pair.t));
    }
    return errors.figures();
}

double lastTimeAstray(const std::vector<Pair>& pairs, Alignment alignment) {
    constexpr double kAstray = 3.0 * std::numbers::pi / 180.0;
    if (pairs.empty()) return 0.0;
    Eigen::Quaterniond before = Eigen::Quaterniond::Identity();
    if (alignment == Alignment::kStart) before = pairs[0].truth * pairs[0].estimate.conjugate();
    double last = 0.0;
    for (const Pair& pair : pairs) {
        if (!((before * pair.estimate).angularDistance(pair.truth) < kAstray)) last = pair.t;
    }
    return last;
}

Alignment appliedAlignment(const Recording& recording, Alignment alignment) {
    return alignment == Alignment::kNone && !recording.headingKnown ? Alignment::kHeading : alignment;
}

}  // namespace Kavelin::Bench
