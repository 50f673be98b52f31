#include "calibration/rest/RestFinder.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Kavelin::Calibration {

namespace {

constexpr double kGreatestDrift = 0.5;  // m/s^2, between the halves of a rest: the mean keeps its norm
constexpr double kSamePose = 0.3;       // m/s^2, less than two degrees

struct SampleRange {
    std::size_t begin, end;
    std::size_t size() const { return end - begin; }
};

SampleRange samplesBetween(const SensorTrack& track, const Interval& interval) {
    const auto begin = std::lower_bound(track.times.begin(), track.times.end(), interval.from);
    const auto end = std::upper_bound(begin, track.times.end(), interval.to);
    return {static_cast<std::size_t>(begin - track.times.begin()),
            static_cast<std::size_t>(end - track.times.begin())};
}

Eigen::Vector3d meanOf(const SensorTrack& track, const SampleRange& range) {
    Eigen::Vector3d sum = Eigen::Vector3d::Zero();
    for (std::size_t i = range.begin; i < range.end; ++i) sum += track.values[i] - track.values[range.begin];
    if (range.size() == 0) return sum;
    return track.values[range.begin] + sum / static_cast<double>(range.size());
}

double noiseAround(const Eigen::Vector3d& mean, const SensorTrack& track, const SampleRange& range) {
    double squares = 0.0;
    for (std::size_t i = range.begin; i < range.end; ++i) squares += (track.values[i] - mean).squaredNorm();
    return range.size() > 1 ? std::sqrt(squares / (3.0 * static_cast<double>(range.size() - 1))) : 0.0;
}

Rest restOf(const SensorRecording& recording, const Interval& interval) {
    Rest rest;
    rest.from = interval.from;
    rest.to = interval.to;
    rest.duration = interval.to - interval.from;
    const SampleRange acc = samplesBetween(recording.acceleration, interval);
    const SampleRange rate = samplesBetween(recording.rate, interval);
    rest.acceleration = meanOf(recording.acceleration, acc);
    rest.accelerationNoise = noiseAround(rest.acceleration, recording.acceleration, acc);
    rest.rate = meanOf(recording.rate, rate);
    rest.accelerationSamples = acc.size();
    rest.rateSamples = rate.size();
    return rest;
}

bool drifts(const SensorTrack& track, const Rest& rest) {
    const SampleRange all = samplesBetween(track, {rest.from, rest.to});
    const std::size_t middle = all.begin + all.size() / 2;
    const Eigen::Vector3d change = meanOf(track, {middle, all.end}) - meanOf(track, {all.begin, middle});
    const double ofMeans = 2.0 * rest.accelerationNoise / std::sqrt(static_cast<double>(all.size() + 1));
    return change.norm() > kGreatestDrift + 4.0 * ofMeans;
}

Eigen::Vector3d weighted(const Eigen::Vector3d& one, std::size_t n, const Eigen::Vector3d& other,
                         std::size_t m) {
    return n + m == 0
               ? one
               : (static_cast<double>(n) * one + static_cast<double>(m) * other) / static_cast<double>(n + m);
}

/// Whether only a knock parts the two.
bool areOnePose(const Rest& before, const Rest& after, double longestKnock) {
    return after.from - before.to < longestKnock &&
           (after.acceleration - before.acceleration).norm() < kSamePose;
}

void join(Rest& rest, const Rest& next) {
    rest.acceleration =
        weighted(rest.acceleration, rest.accelerationSamples, next.acceleration, next.accelerationSamples);
    rest.rate = weighted(rest.rate, rest.rateSamples, next.rate, next.rateSamples);
    rest.accelerationNoise = std::max(rest.accelerationNoise, next.accelerationNoise);
    rest.accelerationSamples += next.accelerationSamples;
    rest.rateSamples += next.rateSamples;
    rest.duration += next.duration;
    rest.to = next.to;
}

}  // namespace

std::vector<Rest> findRests(const SensorRecording& recording, const RestSettings& settings) {
    std::vector<Interval> still = findStillTimes(recording.acceleration, settings.acceleration);
    if (recording.acceleration.isEmpty()) {
        still = findStillTimes(recording.rate, settings.rate);
    } else if (!recording.rate.isEmpty()) {
        still = common(still, findStillTimes(recording.rate, settings.rate));
    }
    std::vector<Rest> rests;
    for (const Interval& interval : still) {
        const double trim = settings.trimmed * (interval.to - interval.from);
        const Rest rest = restOf(recording, {interval.from + trim, interval.to - trim});
        if (drifts(recording.acceleration, rest)) continue;
        if (!rests.empty() && areOnePose(rests.back(), rest, settings.longestKnock)) {
            join(rests.back(), rest);
        } else {
            rests.push_back(rest);
        }
    }
    std::erase_if(rests, [&](const Rest& rest) { return rest.duration < settings.shortest; });
    return rests;
}

double stillTime(const std::vector<Rest>& rests, const RestSettings& settings) {
    double sum = 0.0;
    for (const Rest& rest : rests) sum += rest.duration / (1.0 - 2.0 * settings.trimmed);
    return sum;
}

}  // namespace Kavelin::Calibration
