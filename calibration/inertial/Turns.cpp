#include "calibration/inertial/Turns.h"

#include <algorithm>

#include "calibration/inertial/StillTimes.h"

namespace Kavelin::Calibration {

namespace {

constexpr double kLongestTurn = 30.0;   // s
constexpr double kSmallestTurn = 0.26;  // rad of gravity; less says nothing about a scale
constexpr double kSmallestAngle = 0.5;  // rad that the rates turn on the way, back and forth included

/// Puts the rates between the rests into the turn, each step with the mean of its two ends.
/// @return false if the rates have a gap
bool takeRates(const SensorTrack& rate, double longestStep, Turn& turn) {
    const auto begin = std::lower_bound(rate.times.begin(), rate.times.end(), turn.from);
    const auto end = std::upper_bound(begin, rate.times.end(), turn.to);
    if (end - begin < 3 || *begin - turn.from > longestStep || turn.to - *(end - 1) > longestStep)
        return false;
    auto i = static_cast<std::size_t>(begin - rate.times.begin());
    const auto last = static_cast<std::size_t>(end - rate.times.begin()) - 1;
    for (; i < last; ++i) {
        const double step = rate.times[i + 1] - rate.times[i];
        if (step > longestStep) return false;
        turn.rates.push_back(0.5 * (rate.values[i] + rate.values[i + 1]));
        turn.steps.push_back(step);
    }
    return true;
}

/// rad; how far the rates turn, all of it added up, without what turns at rest.
double angleOf(const Turn& turn, const Eigen::Vector3d& bias) {
    double angle = 0.0;
    for (std::size_t i = 0; i < turn.rates.size(); ++i)
        angle += (turn.rates[i] - bias).norm() * turn.steps[i];
    return angle;
}

}  // namespace

Turns findTurns(const SensorTrack& rate, const std::vector<Rest>& rests,
                const std::vector<Eigen::Vector3d>& up) {
    const double gap = std::max(0.03, 3.5 * medianStep(rate.times));  // two lost samples are bridged
    Turns turns;
    for (std::size_t i = 0; i + 1 < rests.size(); ++i) {
        Turn turn;
        turn.from = rests[i].to;
        turn.to = rests[i + 1].from;
        turn.up_before = up[i];
        turn.up_after = up[i + 1];
        if (turn.to - turn.from > kLongestTurn) {
            ++turns.tooLong;
        } else if (!takeRates(rate, gap, turn)) {
            ++turns.withGaps;
        } else if (angleOf(turn, rests[i].rate) > kSmallestAngle ||
                   turn.up_before.dot(turn.up_after) < std::cos(kSmallestTurn)) {
            turns.usable.push_back(std::move(turn));
        }
    }
    return turns;
}

}  // namespace Kavelin::Calibration
