#include "calibration/magnetic/MagneticOpinion.h"

#include <fmt/format.h>

#include <Eigen/SVD>
#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;

const double kGoodCoverage = 0.7, kFairCoverage = 0.3;
const double kSphereCoverage = 0.5;                         // without soft iron
const double kGoodDeviation = 0.02, kFairDeviation = 0.05;  // of the offset, in norms of the field
const double kGoodResidual = 0.04, kFairResidual = 0.08;
const double kGoodDisturbed = 0.25, kFairDisturbed = 0.4;
const double kUsualStretch = 1.8;  // longest by shortest axis
const double kFairAroundPlane = 0.9;
const double kShownTurn = 0.02;           // rad, deviation of a turn that was looked for
const double kGreatestDipScatter = 0.15;  // rad
const double kSide = 0.64;                // cosine of 50 degrees
const double kSideSeen = 0.4;             // share of the patches about a side
const double kDegrees = 180.0 / std::numbers::pi;

const std::array<const char*, 6> kSides{"+x", "-x", "+y", "-y", "+z", "-z"};

Vector3d sideOf(std::size_t i) {
    return (i % 2 == 0 ? 1.0 : -1.0) * Vector3d::Unit(static_cast<Eigen::Index>(i / 2));
}

std::string percent(double share) { return fmt::format("{:.2g} %", 100.0 * share); }

/// The grade grows worse with each remark.
class Remarks {
public:
    void add(Grade grade, std::string text) {
        opinion_.grade = std::max(opinion_.grade, grade);
        opinion_.remarks.push_back(std::move(text));
    }
    /// With the grade of a figure that should be small.
    void addIfAbove(double value, double good, double fair, const std::string& text) {
        if (value > good) add(value > fair ? Grade::kPoor : Grade::kFair, text);
    }
    Opinion take() { return std::move(opinion_); }

private:
    Opinion opinion_;
};

/// Sides that the field was hardly seen along.
std::vector<std::string> missingSides(const FieldFit& fit) {
    const DirectionPatches patches(fit.isSeen.size());
    std::vector<std::string> missing;
    for (std::size_t side = 0; side < kSides.size(); ++side) {
        double there = 0.0, seen = 0.0;
        for (std::size_t i = 0; i < patches.size(); ++i) {
            if (patches.centre(i).dot(sideOf(side)) < kSide) continue;
            there += 1.0;
            if (fit.isSeen[i]) seen += 1.0;
        }
        if (seen < kSideSeen * there) missing.emplace_back(kSides[side]);
    }
    return missing;
}

/// Whether the side that was mostly up never was down, as the accelerometer tells.
bool wasNeverUpsideDown(const std::vector<FieldSample>& samples) {
    std::array<std::size_t, 6> counts{};
    for (const FieldSample& sample : samples) {
        if (!sample.up) continue;
        Eigen::Index axis = 0;
        sample.up->cwiseAbs().maxCoeff(&axis);
        ++counts[static_cast<std::size_t>(2 * axis) + ((*sample.up)[axis] < 0.0 ? 1 : 0)];
    }
    const auto most =
        static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) - counts.begin());
    return counts[most] > 0 && counts[most ^ 1] == 0;
}

/// How to move the unit to see what is missing.
std::string missingText(const FieldFit& fit, const std::optional<double>& dip,
                        const std::vector<FieldSample>& samples) {
    const std::vector<std::string> sides = missingSides(fit);
    std::string text;
    if (!sides.empty() && wasNeverUpsideDown(samples)) text = "turn it upside down as well; ";
    if (sides.empty()) return text + "turn it through more directions, slowly, each side up and down once";
    const std::string axes = fmt::format("{}", fmt::join(sides, ", "));
    if (dip && std::abs(*dip) > 0.35)
        return fmt::format("{}point {} {} and turn it about the vertical there", text, axes,
                           *dip > 0.0 ? "down" : "up");
    return fmt::format("{}point {} along the field (north, and down north of the equator)", text, axes);
}

void judgeDirections(Remarks& remarks, const MagneticCalibration& calibration, const FieldFit& fit,
                     const std::vector<FieldSample>& samples) {
    if (fit.normal) {
        remarks.add(
            fit.aroundPlane >= kFairAroundPlane ? Grade::kFair : Grade::kPoor,
            fmt::format("the unit turned about one axis only ({:.2f}, {:.2f}, {:.2f}): the two axes "
                        "across it are calibrated, as seen in {:.0f} % of a turn; along it nothing is "
                        "corrected: turn it about the other axes as well",
                        fit.normal->x(), fit.normal->y(), fit.normal->z(), 100.0 * fit.aroundPlane));
        return;
    }
    if (fit.isNearlySphere) {
        remarks.add(Grade::kFair,
                    "the hard iron is corrected, the soft iron is not: the directions seen do not "
                    "show it");
    }
    if (calibration.coverage >= kGoodCoverage) return;
    remarks.add(calibration.coverage < kFairCoverage ? Grade::kPoor : Grade::kFair,
                fmt::format("{:.0f} % of the directions were seen: {}", 100.0 * calibration.coverage,
                            missingText(fit, calibration.dip, samples)));
}

/// A fit that follows a disturbance stretches the field.
void judgeStretch(Remarks& remarks, const MagneticCalibration& calibration) {
    const Vector3d sizes = Eigen::JacobiSVD<Eigen::Matrix3d>(calibration.model.matrix).singularValues();
    const double stretch = sizes.maxCoeff() / sizes.minCoeff();
    if (stretch < kUsualStretch) return;
    remarks.add(
        calibration.residualAfter > kGoodResidual ? Grade::kPoor : Grade::kFair,
        fmt::format(
            "the soft iron stretches the field by a factor of {:.1f}, which iron on a unit hardly does: "
            "record once more, away from magnets",
            stretch));
}

void judgeAlignment(Remarks& remarks, const FieldFit& fit, const AlignmentSeen& alignment) {
    if (fit.normal) return;
    if (!alignment.found) {
        remarks.add(Grade::kGood,
                    "the frame of the magnetometer is taken as the accelerometer's: there is no "
                    "accelerometer at rest or in slow motion that shows the dip");
        return;
    }
    const GravityAlignment& found = *alignment.found;
    if (found.scatterAfter > kGreatestDipScatter) {
        remarks.add(Grade::kFair, fmt::format("the angle between field and gravity changes by {:.0f} degrees "
                                              "even when calibrated: check that the magnetometer's axes are "
                                              "those of the accelerometer, or turn it more slowly",
                                              kDegrees * found.scatterAfter));
    } else if (!alignment.isApplied && found.deviation > kShownTurn) {
        remarks.add(
            Grade::kGood,
            fmt::format("the frame of the magnetometer is taken as the accelerometer's: the dip shows a "
                        "turn between them to {:.1f} degrees only; slow motion or rests show more",
                        kDegrees * found.deviation));
    } else if (alignment.isApplied && found.turn > 0.35) {
        remarks.add(Grade::kFair, fmt::format("the magnetometer is turned by {:.0f} degrees against the "
                                              "accelerometer: check its axes",
                                              kDegrees * found.turn));
    }
}

}  // namespace

Opinion opinionOf(const MagneticCalibration& calibration, const FieldFit& fit, const AlignmentSeen& alignment,
                  const std::vector<FieldSample>& samples) {
    Remarks remarks;
    judgeDirections(remarks, calibration, fit, samples);
    remarks.addIfAbove(fit.centreDeviation(), kGoodDeviation, kFairDeviation,
                       fmt::format("the hard iron is known to {} of the field only: turn it through more "
                                   "directions",
                                   percent(fit.centreDeviation())));
    remarks.addIfAbove(calibration.residualAfter, kGoodResidual, kFairResidual,
                       fmt::format("the norm still varies by {}: record away from iron, magnets and currents",
                                   percent(calibration.residualAfter)));
    remarks.addIfAbove(calibration.disturbed, kGoodDisturbed, kFairDisturbed,
                       fmt::format("{} of the samples are disturbed: record away from iron, magnets and "
                                   "currents",
                                   percent(calibration.disturbed)));
    judgeStretch(remarks, calibration);
    judgeAlignment(remarks, fit, alignment);
    return remarks.take();
}

}  // namespace Kavelin::Calibration
