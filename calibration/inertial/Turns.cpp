#include "calibration/inertial/Turns.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "calibration/rest/StillTimes.h"

namespace Kavelin::Calibration {

namespace {

constexpr double kLongestTurn = 30.0;   // s
constexpr double kSmallestTurn = 0.26;  // rad of gravity; less says nothing about a scale
constexpr double kSmallestAngle = 0.5;  // rad that the rates turn on the way, back and forth included

/// Puts the rates between the rests into the turn, in steps of about 10 ms; each has the mean rate of its
/// trapezes. A hand's axis does not move far in it.
/// @return false if the rates have a gap
bool takeRates(const SensorTrack& rate, double longestStep, Turn& turn) {
    constexpr double kStep = 0.008;  // s
    const auto begin = std::lower_bound(rate.times.begin(), rate.times.end(), turn.from);
    const auto end = std::upper_bound(begin, rate.times.end(), turn.to);
    if (end - begin < 3 || *begin - turn.from > longestStep || turn.to - *(end - 1) > longestStep) {
        return false;
    }
    const auto last = static_cast<std::size_t>(end - rate.times.begin()) - 1;
    Eigen::Vector3d angle = Eigen::Vector3d::Zero();
    double duration = 0.0;
    for (auto i = static_cast<std::size_t>(begin - rate.times.begin()); i < last; ++i) {
        const double step = rate.times[i + 1] - rate.times[i];
        if (step > longestStep) return false;
        angle += 0.5 * step * (rate.values[i] + rate.values[i + 1]);
        duration += step;
        if (duration < kStep && i + 1 < last) continue;
        turn.rates.push_back(angle / duration);
        turn.steps.push_back(duration);
        angle.setZero();
        duration = 0.0;
    }
    return true;
}

/// rad; how far the rates turn, all of it added up, without what turns at rest.
double angleOf(const Turn& turn) {
    double angle = 0.0;
    for (std::size_t i = 0; i < turn.rates.size(); ++i) {
        angle += (turn.rates[i] - turn.bias).norm() * turn.steps[i];
    }
    return angle;
}

}  // namespace

Turns findTurns(const SensorTrack& rate, const std::vector<Rest>& rests,
                const std::vector<Eigen::Vector3d>& up, const RestingRate& resting) {
    constexpr double kSeen = 0.5;                                     // of gravity's turn
    const double gap = std::max(0.03, 3.5 * medianStep(rate.times));  // two lost samples are bridged
    Turns turns;
    for (std::size_t i = 0; i + 1 < rests.size(); ++i) {
        Turn turn{.from = rests[i].to,
                  .to = rests[i + 1].from,
                  .up_before = up[i],
                  .up_after = up[i + 1],
                  .bias = resting.bias,
                  .rates = {},
                  .steps = {}};
        if (resting.isDrifting()) turn.bias = 0.5 * (rests[i].rate + rests[i + 1].rate);
        const double least = std::acos(std::clamp(up[i].dot(up[i + 1]), -1.0, 1.0));
        if (turn.to - turn.from > kLongestTurn) {
            ++turns.tooLong;
        } else if (!takeRates(rate, gap, turn)) {
            ++turns.withGaps;
        } else if (angleOf(turn) < kSeen * least) {
            ++turns.unseen;
        } else if (angleOf(turn) > kSmallestAngle || least > kSmallestTurn) {
            turns.usable.push_back(std::move(turn));
        }
    }
    return turns;
}

}  // namespace Kavelin::Calibration
