#include "bench/support/OrientationError.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::Bench {

namespace {

struct Pair {
    double t;
    Eigen::Quaterniond estimate;
    Eigen::Quaterniond truth;
};

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

// The turn about the vertical, put before the estimates, that brings the errors' scalar parts nearest to one:
// the principal axis of the 2x2 moment matrix of (w, -z).
Eigen::Quaterniond bestHeading(const std::vector<Eigen::Quaterniond>& errors) {
    double ww = 0.0;
    double zz = 0.0;
    double wz = 0.0;
    for (const Eigen::Quaterniond& q : errors) {
        ww += q.w() * q.w();
        zz += q.z() * q.z();
        wz -= q.w() * q.z();
    }
    const double half = 0.5 * std::atan2(2.0 * wz, ww - zz);
    return {std::cos(half), 0.0, 0.0, std::sin(half)};
}

double degrees(double radians) { return radians * 180.0 / std::acos(-1.0); }

ErrorFigures rootMeanSquares(const std::vector<Eigen::Quaterniond>& errors) {
    ErrorFigures sum;
    for (const Eigen::Quaterniond& q : errors) {
        const double tilt = std::min(1.0, std::hypot(q.w(), q.z()));
        sum.total += std::pow(2.0 * std::acos(std::min(1.0, std::abs(q.w()))), 2);
        sum.heading += std::pow(2.0 * std::atan2(std::abs(q.z()), std::abs(q.w())), 2);
        sum.inclination += std::pow(2.0 * std::acos(tilt), 2);
    }
    const auto n = static_cast<double>(std::max<std::size_t>(errors.size(), 1));
    return {degrees(std::sqrt(sum.total / n)), degrees(std::sqrt(sum.heading / n)),
            degrees(std::sqrt(sum.inclination / n)), errors.size()};
}

}  // namespace

ErrorFigures compareWithTruth(const Recording& recording, const std::vector<Estimate>& estimates,
                              Alignment alignment) {
    const std::vector<Pair> pairs = pairUp(recording, estimates);
    Eigen::Quaterniond before = Eigen::Quaterniond::Identity();
    if (alignment == Alignment::StartPose && !pairs.empty()) {
        before = pairs.front().truth * pairs.front().estimate.conjugate();
    }
    std::vector<Eigen::Quaterniond> errors;
    for (const Pair& pair : pairs) {
        if (recording.counts(pair.t)) errors.push_back(before * pair.estimate * pair.truth.conjugate());
    }
    if (alignment == Alignment::Heading || (alignment == Alignment::None && !recording.headingKnown)) {
        const Eigen::Quaterniond turn = bestHeading(errors);
        for (Eigen::Quaterniond& q : errors) q = turn * q;
    }
    return rootMeanSquares(errors);
}

}  // namespace Kavelin::Bench
