#include "calibration/magnetic/CorrectionChoice.h"

#include <Eigen/SVD>
#include <algorithm>
#include <cmath>
#include <utility>

#include "calibration/magnetic/NormRefinement.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
using Extent = CorrectionChoice::Extent;

const double kCentre = 3.0, kShape = 5.0;  // unknowns
const double kNoSoftIron = 1e-3;           // prior deviation of its terms
const double kShapeCoverage = 0.7;         // of the directions: shows any shape
const double kMostStretch = 1.6;           // longest by shortest axis, with fewer directions
const double kMostLeft = 0.7;    // of the variance: what is corrected is no trifle beside what is left
const double kLeastProof = 0.1;  // of the variance; it proves any correction

/// Whether the shape is one that the directions seen can show: noise flattens an ellipsoid towards the side that was not
/// seen, which no residual tells.
bool isBelievable(const FieldFit& fit) {
    if (fit.normal || fit.coverage >= kShapeCoverage) return true;
    const Vector3d sizes = Eigen::JacobiSVD<Matrix3d>(fit.norm.model.shape).singularValues();
    return sizes.maxCoeff() < kMostStretch * sizes.minCoeff();
}

/// Whether a correction makes the norms more even than its unknowns do by chance.
bool isProved(double before, double after, double unknowns, double patches) {
    const double byChance = 1.0 - (unknowns + 3.0 * std::sqrt(2.0 * unknowns)) / patches;
    return after * after < std::clamp(byChance, kLeastProof, kMostLeft) * before * before;
}

/// The samples that count, and their weights.
struct Undisturbed {
    std::vector<Vector3d> points;
    std::vector<double> weights;

    Undisturbed(const FieldFit& fit, const std::vector<FieldSample>& samples) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            if (fit.isDisturbed[i]) continue;
            points.push_back(fit.part(samples[i].field));
            weights.push_back(fit.directionWeights[i]);
        }
    }

    /// RMS deviation of the raw norm from its mean, as a share of the field's radius: the mean itself may be that of
    /// a hard iron many times the field.
    double rawResidual(double radius) const { return deviation({}).first / radius; }
    /// The same of the norm that a model gives, as a share of its mean.
    double residual(const EllipsoidModel& model) const {
        const auto [deviated, mean] = deviation(model);
        return deviated / mean;
    }

private:
    /// RMS deviation from the mean, and the mean.
    std::pair<double, double> deviation(const EllipsoidModel& model) const {
        double weight = 0.0, sum = 0.0, squares = 0.0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const double norm = model.toSphere(points[i]).norm();
            weight += weights[i];
            sum += weights[i] * norm;
            squares += weights[i] * norm * norm;
        }
        const double mean = sum / weight;
        return {std::sqrt(std::max(0.0, squares / weight - mean * mean)), mean};
    }
};

}  // namespace

CorrectionChoice chooseCorrection(const FieldFit& fit, const std::vector<FieldSample>& samples) {
    const Undisturbed seen(fit, samples);
    const EllipsoidModel& full = fit.norm.model;
    const auto patches = static_cast<double>(std::count(fit.isSeen.begin(), fit.isSeen.end(), true));
    CorrectionChoice choice;
    choice.before = seen.rawResidual(full.radius());
    const double both = seen.residual(full);
    double hardIron = both;
    EllipsoidModel sphere = full;
    if (!fit.normal && !fit.isNearlySphere) {
        sphere.shape = Matrix3d::Identity() / full.radius();
        EllipsoidPrior prior;
        prior.softIronDeviation = kNoSoftIron;
        sphere = refineNorm(seen.points, seen.weights, sphere, false, prior).model;
        hardIron = seen.residual(sphere);
    }
    const bool isSoftIron = isBelievable(fit) && both < hardIron && isProved(hardIron, both, kShape, patches);
    if (isSoftIron && isProved(choice.before, both, kCentre + kShape, patches)) {
        choice.extent = Extent::kBoth;
        choice.model = full;
        choice.after = both;
    } else if (!isSoftIron && isProved(choice.before, hardIron, kCentre, patches)) {
        choice.extent = Extent::kHardIron;
        choice.model = sphere;
        choice.after = hardIron;
    } else {
        choice.after = choice.before;
    }
    return choice;
}

}  // namespace Kavelin::Calibration
