#include "calibration/inertial/InertialFit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/inertial/AccelerometerFit.h"
#include "calibration/inertial/GyroscopeFit.h"
#include "calibration/inertial/InertialText.h"
#include "calibration/model/Unsuitable.h"

namespace Kavelin::Calibration {

namespace {

using Terms = AccelerometerFit::Terms;

constexpr double kShortestRecording = 2.0;     // s
constexpr double kGreatestUncertainty = 0.15;  // m/s^2; a fit that is less certain is none
constexpr double kGoodUncertainty = 0.05;      // m/s^2
constexpr double kGoodResidual = 0.05;         // m/s^2, of poses that are predicted from the others
constexpr double kGreatestScale = 0.2;         // no accelerometer is that far off
constexpr double kGreatestOffset = 3.0;        // m/s^2
constexpr double kStillShare = 0.9;            // of a recording that is meant to lie still
constexpr double kSurelyScaled = 0.01;         // of the gyroscope's matrix
constexpr double kWellScaled = 0.005;
constexpr double kGreatestRateScale = 0.3;
constexpr double kWrongTurn = 0.5;  // rad; turns that are farther off are not those of this accelerometer

void lower(Opinion& opinion, Grade grade, std::string remark) {
    opinion.grade = std::max(opinion.grade, grade);
    opinion.remarks.push_back(std::move(remark));
}

StillPoses posesOf(const std::vector<Rest>& rests, double gravity) {
    StillPoses poses;
    poses.gravity = gravity;
    for (const Rest& rest : rests) {
        poses.accelerations.push_back(rest.acceleration);
        const double noise =
            rest.accelerationNoise /
            std::sqrt(static_cast<double>(std::max<std::size_t>(rest.accelerationSamples, 1)));
        poses.noise = std::max(poses.noise, noise);
    }
    return poses;
}

void refuseWrongUnit(const StillPoses& poses) {
    double sum = 0.0;
    for (const auto& acceleration : poses.accelerations) sum += acceleration.norm();
    const double mean = sum / static_cast<double>(poses.accelerations.size());
    if (std::abs(mean / poses.gravity - 1.0) > kGreatestScale)
        throw Unsuitable(notGravity(mean, poses.gravity));
}

bool isPlausible(const AffineModel& model) {
    return (model.matrix - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff() <= kGreatestScale &&
           model.offset.norm() <= kGreatestOffset;
}

bool suffices(const std::optional<AccelerometerFit>& fit) {
    return fit && fit->uncertainty <= kGreatestUncertainty && isPlausible(fit->model);
}

void judgeAccelerometer(const AccelerometerFit& fit, const std::vector<Rest>& rests, Opinion& opinion) {
    constexpr std::size_t kSpare = 3;
    constexpr double kGain = 2.0;  // with less, what is left may well be more than what was there
    const std::size_t used = rests.size() - fit.leftOut.size();
    const std::size_t needed = AccelerometerFit::unknowns(fit.terms) + kSpare;
    for (const std::size_t i : fit.leftOut) opinion.remarks.push_back(poseLeftOut(rests[i]));
    if (fit.leftOut.size() * 5 > rests.size()) {
        lower(opinion, Grade::kPoor, tooManyLeftOut(fit.leftOut.size(), rests.size()));
    }
    if (fit.uncertainty > kGoodUncertainty) {
        lower(opinion, Grade::kFair, uncertain(fit.uncertainty, fit.leastCertain));
    }
    if (used < needed) {
        lower(opinion, Grade::kFair, notChecked(used, needed));
        return;
    }
    for (const std::size_t i : fit.unchecked) lower(opinion, Grade::kFair, poseUnchecked(rests[i]));
    if (fit.residualPredicted > kGoodResidual) {
        const bool isUseless = fit.residualAfter > kGreatestUncertainty;
        lower(opinion, isUseless ? Grade::kPoor : Grade::kFair, unsteady(fit.residualPredicted));
    }
    if (kGain * std::max(fit.residualPredicted, fit.uncertainty) >= fit.residualBefore) {
        lower(opinion, Grade::kFair, noBetter(fit.residualBefore));
    }
}

/// Why poses do not suffice: their errors are too great, or their directions too few.
std::string whyNot(const std::optional<AccelerometerFit>& fit, std::size_t rests) {
    constexpr double kStill = 0.03;  // m/s^2, of poses on a table
    if (!fit) return posesTooAlike(rests, nullptr);
    if (!isPlausible(fit->model)) return implausible(fit->model);
    const bool isSpread = fit->uncertainty * kStill <= kGreatestUncertainty * fit->deviation;
    return isSpread ? posesDisagree(fit->deviation) : posesTooAlike(rests, &fit->leastCertain);
}

/// The fit with the most unknowns that the poses determine.
AccelerometerFit accelerometerFrom(const std::vector<Rest>& rests, const StillPoses& poses,
                                   InertialCalibration& result) {
    if (result.poses < kPosesForScale) throw Unsuitable(tooFewPoses(rests.size(), result.poses));
    refuseWrongUnit(poses);
    std::optional<AccelerometerFit> full;
    if (result.poses >= kPosesForCrossTerms) full = fitAccelerometer(poses, Terms::kScaleAndCross);
    if (suffices(full)) return *full;
    const std::optional<AccelerometerFit> reduced = fitAccelerometer(poses, Terms::kScale);
    if (!suffices(reduced)) throw Unsuitable(whyNot(full ? full : reduced, rests.size()));
    lower(result.opinion, Grade::kFair, noCrossTerms(result.poses, full ? &full->leastCertain : nullptr));
    return *reduced;
}

void calibrateAcceleration(const std::vector<Rest>& rests, const InertialSettings& settings,
                           InertialCalibration& result) {
    const AccelerometerFit fit = accelerometerFrom(rests, posesOf(rests, settings.gravity), result);
    result.acceleration = fit.model;
    result.hasCrossTerms = fit.terms == Terms::kScaleAndCross;
    result.accelerationResidualBefore = fit.residualBefore;
    result.accelerationResidualAfter = fit.residualAfter;
    result.accelerationUncertainty = fit.uncertainty;
    judgeAccelerometer(fit, rests, result.opinion);
}

std::vector<Eigen::Vector3d> directionsOf(const std::vector<Rest>& rests, const AffineModel& model) {
    std::vector<Eigen::Vector3d> up;
    for (const Rest& rest : rests) up.push_back(model.apply(rest.acceleration).normalized());
    return up;
}

/// Scale and misalignment, where the turns show them.
void scaleRate(const SensorRecording& recording, const std::vector<Rest>& rests,
               InertialCalibration& result) {
    const Turns turns =
        findTurns(recording.rate, rests, directionsOf(rests, *result.acceleration), restingRateOf(rests));
    const std::size_t unusable = turns.withGaps + turns.unseen + turns.tooLong;
    if (unusable > 0) result.opinion.remarks.push_back(turnsLeftOut(unusable));
    const GyroscopeFit fit = fitGyroscope(turns.usable, result.accelerationUncertainty / result.gravity);
    result.turns = turns.usable.size();
    result.turnResidualBefore = fit.residualRaw;
    result.turnResidualAfter = fit.residualBias;
    if (fit.residualBias > kWrongTurn && turns.usable.size() > 2) {
        lower(result.opinion, Grade::kPoor, otherTurns(fit.residualBias));
        return;
    }
    const double farthest = (fit.matrix - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff();
    if (!(fit.uncertainty <= kSurelyScaled) || farthest > kGreatestRateScale ||
        fit.residualAfter > fit.residualBias) {
        lower(result.opinion, Grade::kFair, rateNotScaled(turns.usable.size(), fit.leastTurned));
        return;
    }
    if (fit.uncertainty > kWellScaled) {
        lower(result.opinion, Grade::kFair, rateUncertain(fit.uncertainty, fit.leastTurned));
    }
    result.rate->matrix = fit.matrix;
    result.isRateScaled = true;
    result.turnResidualAfter = fit.residualAfter;
}

bool isConstant(const SensorTrack& track) {
    return std::all_of(track.values.begin(), track.values.end(),
                       [&](const Eigen::Vector3d& value) { return value == track.values.front(); });
}

/// The bias at rest, of a gyroscope that is switched on.
void calibrateRate(const SensorTrack& rate, const std::vector<Rest>& rests, InertialCalibration& result) {
    if (!rate.isEmpty() && isConstant(rate)) {
        lower(result.opinion, Grade::kFair, rateIsConstant());
        return;
    }
    const RestingRate resting = restingRateOf(rests);
    if (resting.samples == 0) return;
    result.rate.emplace();
    result.rate->offset = resting.bias;
    result.rateDrift = resting.drift;
    if (resting.isDrifting()) lower(result.opinion, Grade::kFair, rateDrifts(resting.drift));
}

void refuseWithoutData(const SensorRecording& recording) {
    if (recording.acceleration.isEmpty() && recording.rate.isEmpty()) throw Unsuitable(noSensors());
    const SensorTrack& track = recording.acceleration.isEmpty() ? recording.rate : recording.acceleration;
    if (track.duration() < kShortestRecording) throw Unsuitable(tooShort(track.size(), track.duration()));
}

/// Whether the unit was meant to lie still: it then shows the gyroscope's bias and nothing else.
bool isOnePose(const SensorRecording& recording, const std::vector<Rest>& rests, std::size_t poses,
               const RestSettings& settings) {
    return recording.acceleration.isEmpty() ||
           (poses == 1 && stillTime(rests, settings) > kStillShare * recording.acceleration.duration());
}

}  // namespace

InertialCalibration calibrateInertial(const SensorRecording& recording, const InertialSettings& settings) {
    refuseWithoutData(recording);
    const std::vector<Rest> rests = findRests(recording, settings.rests);
    if (rests.empty()) throw Unsuitable(neverStill(recording));
    InertialCalibration result;
    result.gravity = settings.gravity;
    if (!recording.acceleration.isEmpty()) {
        result.poses = countDifferent(posesOf(rests, settings.gravity).accelerations, kPoseAngle);
    }
    calibrateRate(recording.rate, rests, result);
    if (recording.acceleration.isEmpty() && !result.rate) throw Unsuitable(rateIsConstant());
    if (result.rate && isOnePose(recording, rests, result.poses, settings.rests)) {
        lower(result.opinion, Grade::kFair, biasAlone(recording));
        return result;
    }
    calibrateAcceleration(rests, settings, result);
    if (result.rate) scaleRate(recording, rests, result);
    return result;
}

}  // namespace Kavelin::Calibration
