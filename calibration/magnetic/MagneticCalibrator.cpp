#include "calibration/magnetic/MagneticCalibrator.h"

#include <fmt/format.h>

#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "calibration/magnetic/FieldFit.h"
#include "calibration/magnetic/FieldSamples.h"
#include "calibration/magnetic/GravityAlignment.h"
#include "calibration/magnetic/MagneticOpinion.h"
#include "calibration/model/Unsuitable.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

const char* const kHowToMove =
    "turn the unit about all three axes, each side up and down once, in 30 to 60 s";
const double kGreatestTurnDeviation = 0.02;  // rad; a turn known no better is not applied
const double kSmallestTurn = 0.02;           // rad; below it is the accelerometer's own error
const double kSignificant = 3.0;             // deviations; a smaller turn may be none
const double kForcesPerField = 0.1;          // independent samples: a hand's acceleration lasts
const double kGreatestDipScatter = 0.15;     // rad
const std::size_t kFewestPairs = 50;
const double kWorthwhile = 0.95;  // of the residual before: what does not get below is noise

void check(const SensorRecording& recording, const MagneticSettings& settings) {
    const SensorTrack& field = recording.field;
    if (field.isEmpty() && field.leftOut == 0)
        throw Unsuitable("the recording has no magnetometer: columns such as mx, my, mz are needed");
    if (field.isEmpty()) {
        throw Unsuitable(
            fmt::format("none of the {} samples of the magnetometer is a usable number", field.leftOut));
    }
    if (field.size() < settings.fewestSamples) {
        throw Unsuitable(fmt::format("the recording has {} usable samples of the field; {} are needed: {}",
                                     field.size(), settings.fewestSamples, kHowToMove));
    }
    const MotionSeen motion = motionSeen(recording);
    if (motion.isKnown && !motion.hasTurned)
        throw Unsuitable(fmt::format("the unit hardly turned: {}", kHowToMove));
    const bool isStuck = std::all_of(field.values.begin(), field.values.end(),
                                     [&](const Vector3d& value) { return value == field.values.front(); });
    if (isStuck) {
        throw Unsuitable(fmt::format("the magnetometer shows one and the same value throughout: {}",
                                     motion.isKnown ? "it is stuck, as the unit turned" : kHowToMove));
    }
}

/// RMS deviation of the norm of vectors from its mean, as a share of the mean, with all directions even.
template <class Vector>
double residualOf(const FieldFit& fit, const Vector& vector) {
    double weight = 0.0, sum = 0.0, squares = 0.0;
    for (std::size_t i = 0; i < fit.isDisturbed.size(); ++i) {
        if (fit.isDisturbed[i]) continue;
        const double w = fit.directionWeights[i];
        const double norm = vector(i).norm();
        weight += w;
        sum += w * norm;
        squares += w * norm * norm;
    }
    const double mean = sum / weight;
    return std::sqrt(std::max(0.0, squares / weight - mean * mean)) / mean;
}

/// Whether the data show a turn that is worth applying.
bool isShown(const GravityAlignment& found) {
    return found.deviation <= kGreatestTurnDeviation && found.turn > kSmallestTurn &&
           found.turn > kSignificant * found.deviation && found.scatterAfter <= kGreatestDipScatter &&
           found.scatterAfter < found.scatterBefore;
}

AlignmentSeen align(const std::vector<FieldSample>& samples, const FieldFit& fit) {
    AlignmentSeen seen;
    std::vector<FieldAndUp> pairs;
    double all = 0.0, used = 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        all += fit.directionWeights[i];
        if (!samples[i].up || fit.isDisturbed[i]) continue;
        pairs.push_back({fit.norm.model.toSphere(samples[i].field), samples[i].up->normalized(),
                         kForcesPerField * fit.directionWeights[i]});
        used += fit.directionWeights[i];
    }
    if (fit.normal || pairs.size() < kFewestPairs || used < 0.1 * all) return seen;
    seen.found = alignWithGravity(pairs);
    seen.isApplied = isShown(*seen.found);
    return seen;
}

/// Norm of the calibrated field: the radius; with an axis left as it is, the median of what comes out.
double strengthOf(const FieldFit& fit, const AffineModel& model, const std::vector<FieldSample>& samples) {
    if (!fit.normal) return fit.norm.model.radius() * std::cbrt(model.matrix.determinant());
    std::vector<double> norms;
    for (const FieldSample& sample : samples) norms.push_back(model.apply(sample.field).norm());
    const auto middle = norms.begin() + static_cast<std::ptrdiff_t>(norms.size() / 2);
    std::nth_element(norms.begin(), middle, norms.end());
    return *middle;
}

}  // namespace

MagneticCalibration calibrateField(const SensorRecording& recording, const MagneticSettings& settings) {
    check(recording, settings);
    const std::vector<FieldSample> samples = fieldSamples(recording, settings.mostSamples);
    const FieldFit fit = fitField(samples, settings);
    const EllipsoidModel& ellipsoid = fit.norm.model;

    MagneticCalibration calibration;
    calibration.unit = settings.unit;
    calibration.samples = recording.field.size();
    calibration.coverage = fit.coverage;
    calibration.disturbed = fit.disturbedShare();
    calibration.offsetDeviation = fit.centreDeviation() * ellipsoid.radius();
    calibration.residualBefore = residualOf(fit, [&](std::size_t i) { return fit.part(samples[i].field); });
    calibration.residualAfter =
        residualOf(fit, [&](std::size_t i) { return ellipsoid.toSphere(fit.part(samples[i].field)); });

    const AlignmentSeen alignment = align(samples, fit);
    Matrix3d turn = Matrix3d::Identity();
    if (alignment.found && alignment.found->scatterAfter <= kGreatestDipScatter)
        calibration.dip = alignment.found->dip;
    if (alignment.isApplied) turn = alignment.found->R_acc_mag;
    const bool isWorthwhile = calibration.residualAfter < kWorthwhile * calibration.residualBefore;
    if (isWorthwhile) calibration.model.offset = ellipsoid.centre;
    calibration.model.matrix =
        turn * (isWorthwhile ? Matrix3d(ellipsoid.shape * ellipsoid.radius()) : Matrix3d::Identity());
    calibration.strength = strengthOf(fit, calibration.model, samples);
    calibration.opinion = opinionOf(calibration, fit, alignment, samples);
    if (!isWorthwhile) {
        calibration.residualAfter = calibration.residualBefore;
        calibration.opinion.remarks.push_back(
            "the norm is as even without a correction: hard and soft iron are left as they are");
    }
    return calibration;
}

}  // namespace Kavelin::Calibration
