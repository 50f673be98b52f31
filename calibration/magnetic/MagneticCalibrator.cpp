#include "calibration/magnetic/MagneticCalibrator.h"

#include <fmt/format.h>

#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "calibration/magnetic/CorrectionChoice.h"
#include "calibration/magnetic/FieldFit.h"
#include "calibration/magnetic/FieldSamples.h"
#include "calibration/magnetic/GravityAlignment.h"
#include "calibration/magnetic/MagneticOpinion.h"
#include "calibration/model/RobustLoss.h"
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

/// Whether the data show a turn that is worth applying.
bool isShown(const GravityAlignment& found) {
    return found.deviation <= kGreatestTurnDeviation && found.turn > kSmallestTurn &&
           found.turn > kSignificant * found.deviation && found.scatterAfter <= kGreatestDipScatter &&
           found.scatterAfter < found.scatterBefore;
}

AlignmentSeen align(const std::vector<FieldSample>& samples, const FieldFit& fit,
                    const EllipsoidModel& model) {
    AlignmentSeen seen;
    std::vector<FieldAndUp> pairs;
    double all = 0.0, used = 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        all += fit.directionWeights[i];
        if (!samples[i].up || fit.isDisturbed[i]) continue;
        pairs.push_back({model.toSphere(samples[i].field), samples[i].up->normalized(),
                         kForcesPerField * fit.directionWeights[i]});
        used += fit.directionWeights[i];
    }
    if (fit.normal || pairs.size() < kFewestPairs || used < 0.1 * all) return seen;
    seen.found = alignWithGravity(pairs);
    seen.isApplied = isShown(*seen.found);
    return seen;
}

/// Median norm of what a model makes of the samples.
double strengthOf(const FieldFit& fit, const AffineModel& model, const std::vector<FieldSample>& samples) {
    std::vector<std::pair<double, double>> norms;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (!fit.isDisturbed[i])
            norms.emplace_back(model.apply(samples[i].field).norm(), fit.directionWeights[i]);
    }
    return weightedMedian(std::move(norms));
}

}  // namespace

MagneticCalibration calibrateField(const SensorRecording& recording, const MagneticSettings& settings) {
    check(recording, settings);
    const std::vector<FieldSample> samples = fieldSamples(recording, settings.mostSamples);
    const FieldFit fit = fitField(samples, settings);
    const CorrectionChoice choice = chooseCorrection(fit, samples);

    MagneticCalibration calibration;
    calibration.unit = settings.unit;
    calibration.samples = recording.field.size();
    calibration.coverage = fit.coverage;
    calibration.disturbed = fit.disturbedShare();
    calibration.offsetDeviation = fit.centreDeviation() * fit.norm.model.radius();
    calibration.residualBefore = choice.before;
    calibration.residualAfter = choice.after;

    const AlignmentSeen alignment = align(samples, fit, choice.model);
    Matrix3d turn = Matrix3d::Identity();
    if (alignment.found && alignment.found->scatterAfter <= kGreatestDipScatter)
        calibration.dip = alignment.found->dip;
    if (alignment.isApplied) turn = alignment.found->R_acc_mag;
    calibration.model.offset = choice.model.centre;
    calibration.model.matrix = turn * choice.model.shape * choice.model.radius();
    calibration.strength = strengthOf(fit, calibration.model, samples);
    calibration.opinion = opinionOf(calibration, fit, alignment, samples);
    if (choice.extent == CorrectionChoice::Extent::kNone) {
        calibration.opinion.remarks.push_back(
            "the samples prove neither hard nor soft iron: both are left as they are");
    } else if (choice.extent == CorrectionChoice::Extent::kHardIron && !fit.normal && !fit.isNearlySphere) {
        calibration.opinion.remarks.push_back(
            "the samples prove no soft iron: the hard iron alone is corrected");
    }
    return calibration;
}

}  // namespace Kavelin::Calibration
