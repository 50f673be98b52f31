#include "calibration/noise/NoiseFit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "calibration/model/Unsuitable.h"
#include "calibration/noise/NoiseText.h"
#include "calibration/noise/RegularStretch.h"
#include "calibration/rest/RestFinder.h"

namespace Kavelin::Calibration {

namespace {

/// When the unit lies still, and how long the recording is.
struct Stillness {
    std::vector<Interval> intervals;
    Interval all;
};

Stillness stillnessOf(const SensorRecording& recording) {
    RestSettings settings;
    settings.rate.isAlike = false;  // the bias may walk for an hour
    constexpr StillnessLimits kOfField{.least = 0.0, .greatest = std::numeric_limits<double>::infinity()};
    Stillness stillness;
    const bool isFieldAlone = recording.acceleration.isEmpty() && recording.rate.isEmpty();
    bool isFirst = true;
    const auto take = [&](const SensorTrack& track, const StillnessLimits& limits) {
        if (track.isEmpty()) return;
        const std::vector<Interval> still = findStillTimes(track, limits);
        const Interval all{track.times.front(), track.times.back()};
        stillness.intervals = isFirst ? still : common(stillness.intervals, still);
        stillness.all =
            isFirst ? all
                    : Interval{std::min(stillness.all.from, all.from), std::max(stillness.all.to, all.to)};
        isFirst = false;
    };
    take(recording.acceleration, settings.acceleration);
    take(recording.rate, settings.rate);
    if (isFieldAlone) take(recording.field, kOfField);
    return stillness;
}

Interval longestOf(const std::vector<Interval>& intervals) {
    Interval longest;
    for (const Interval& interval : intervals) {
        if (interval.to - interval.from > longest.to - longest.from) longest = interval;
    }
    return longest;
}

SensorNoise studyOf(const RegularSamples& samples) {
    SensorNoise noise;
    noise.points = allanDeviation(samples);
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        noise.models[static_cast<std::size_t>(axis)] = fitNoise(noise.points, axis);
    }
    return noise;
}

NoiseFigures figuresOf(const SensorNoise& noise) {
    NoiseFigures figures;
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        const AxisNoise shown = readNoise(noise.models[static_cast<std::size_t>(axis)], noise.points);
        figures.whiteNoise[axis] = shown.white;
        figures.biasInstability[axis] = shown.instability;
        figures.instabilityTime[axis] = shown.instabilityTime;
        figures.randomWalk[axis] = shown.walk;
    }
    return figures;
}

bool showsNoise(const std::optional<NoiseFigures>& figures) {
    return figures && !figures->whiteNoise.array().isNaN().all();
}

/// What is said of a sensor's figures, and the grade for it.
void judge(const char* sensor, const NoiseFigures& figures, double longest, Opinion& opinion) {
    if (!figures.whiteNoise.allFinite()) {
        opinion.grade = std::max(opinion.grade, Grade::kFair);
        opinion.remarks.push_back(noWhiteNoise(sensor, figures.whiteNoise));
    }
    if (figures.whiteNoise.array().isNaN().all()) return;
    if (!figures.biasInstability.allFinite()) opinion.grade = std::max(opinion.grade, Grade::kFair);
    if (figures.biasInstability.allFinite() && figures.randomWalk.allFinite()) return;
    opinion.remarks.push_back(notShown(sensor, figures.biasInstability, figures.randomWalk, longest));
}

/// Studies one sensor in the still stretch, or says why not.
/// @return why not; empty: it was studied, or is not there
std::string study(const char* sensor, const SensorTrack& track, const Interval& still,
                  std::optional<SensorNoise>& noise, std::optional<NoiseFigures>& figures, Opinion& opinion) {
    constexpr double kIrregularAtMost = 0.1;
    if (track.isEmpty()) return {};
    const RegularStretch stretch = longestRegularStretch(track, still);
    if (stretch.duration < kShortestStillness) return tooManyGaps(sensor, stretch.duration);
    if (stretch.irregular > kIrregularAtMost) return irregularSteps(sensor, stretch.irregular);
    if (stretch.duration < 0.95 * (still.to - still.from))
        opinion.remarks.push_back(gaps(sensor, stretch.duration));
    noise = studyOf(stretch.samples);
    figures = figuresOf(*noise);
    judge(sensor, *figures, noise->points.back().time, opinion);
    return {};
}

}  // namespace

NoiseStudy calibrateNoise(const SensorRecording& recording) {
    const Stillness stillness = stillnessOf(recording);
    if (stillness.all.to <= stillness.all.from) throw Unsuitable(noSamples());
    const Interval still = longestOf(stillness.intervals);
    const double length = stillness.all.to - stillness.all.from;
    if (still.to - still.from < kShortestStillness) {
        throw Unsuitable(notStill(stillness.intervals, still, stillness.all));
    }
    NoiseStudy result;
    NoiseCalibration& found = result.calibration;
    result.from = still.from;
    result.to = still.to;
    found.duration = still.to - still.from;
    if (found.duration < 0.98 * length - 2.0) found.opinion.remarks.push_back(partUsed(still, stillness.all));
    std::string faults;
    for (const std::string& fault :
         {study("accelerometer", recording.acceleration, still, result.acceleration, found.acceleration,
                found.opinion),
          study("gyroscope", recording.rate, still, result.rate, found.rate, found.opinion),
          study("magnetometer", recording.field, still, result.field, found.field, found.opinion)}) {
        if (fault.empty()) continue;
        faults += (faults.empty() ? "" : "; ") + fault;
        found.opinion.grade = std::max(found.opinion.grade, Grade::kFair);
        found.opinion.remarks.push_back(fault);
    }
    if (!found.acceleration && !found.rate && !found.field) throw Unsuitable(faults);
    if (!showsNoise(found.acceleration) && !showsNoise(found.rate) && !showsNoise(found.field)) {
        throw Unsuitable(nothingChanges());
    }
    return result;
}

}  // namespace Kavelin::Calibration
