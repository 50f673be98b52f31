#include "calibration/magnetic/FieldFit.h"

#include <fmt/format.h>

#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "calibration/magnetic/EllipsoidFit.h"
#include "calibration/magnetic/GyroscopeCheck.h"
#include "calibration/magnetic/RobustSphere.h"
#include "calibration/model/RobustLoss.h"
#include "calibration/model/Unsuitable.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

const int kRounds = 3;
const double kSamplesPerPatch = 4.0;  // independent ones: a place's own field is the same in all its samples
const double kUnknownCentre = 0.1;    // radii; a centre known no better is not known
const double kNearlySphere = 0.03;    // deviation of a soft iron that the samples do not show
const double kLongestElongation = 4.0;             // no soft iron is as strong
const double kGreatestScatter = 0.12;              // of the norm after a fit
const double kGreatestRing = 1.5;                  // of a circle's radius by the extent of its points
const double kThinnestBand = 0.15;                 // of the extent
const double kThinnestCap = 0.1;                   // of the extent
const double kSteady = 0.97, kNearlyLevel = 0.85;  // cosines
const double kThickestPlane = 0.3;                 // radii
const double kLeastAroundPlane = 0.6;              // of the full turn
const std::size_t kSectors = 36;
const double kContradicted = 0.1;  // a weight of the gyroscope

using Points = std::vector<Vector3d>;

/// A fit in progress: which points, and what they weigh.
class Fitting {
public:
    /// @param normal of a plane through 0 in which all points lie
    Fitting(const std::vector<FieldSample>& samples, Points points, std::optional<Vector3d> normal,
            const MagneticSettings& settings)
        : settings_(settings),
          points_(std::move(points)),
          normal_(std::move(normal)),
          patches_(settings.patches),
          gyroscope_(samples, settings.comparisonTime) {}

    /// @return nothing where there is not even a circle
    std::optional<FieldFit> best(double softIronDeviation) const {
        const std::optional<EllipsoidModel> rough = fitSphere(points_, Weights(points_.size(), 1.0));
        if (!rough) return std::nullopt;
        const std::optional<RobustSphere> sphere = fitRobustSphere(points_, balance(*rough));
        if (!sphere) return std::nullopt;
        std::vector<std::optional<EllipsoidModel>> starts{fitSphere(points_, sphere->inliers)};
        if (!normal_) starts.push_back(fitEllipsoid(points_, sphere->inliers));
        std::optional<FieldFit> best;
        for (const auto& start : starts) {
            if (!start) continue;
            FieldFit fit = refine(*start, sphere->inliers, softIronDeviation);
            if (!best || fit.norm.cost < best->norm.cost) best = std::move(fit);
        }
        return best;
    }

private:
    using Weights = std::vector<double>;

    FieldFit refine(const EllipsoidModel& start, const Weights& inliers, double softIronDeviation) const {
        FieldFit fit;
        fit.norm.model = start;
        Weights agreement;
        for (const double weight : inliers) agreement.push_back(weight > 0.0 ? 1.0 : 0.0);
        for (int round = 0; round < kRounds; ++round) {
            fit.directionWeights = balance(fit.norm.model);
            Weights weights = fit.directionWeights;
            for (std::size_t i = 0; i < weights.size(); ++i) weights[i] *= agreement[i];
            fit.norm = refineNorm(points_, weights, fit.norm.model, round == 0,
                                  {softIronDeviation, settings_.hardIronDeviation, normal_});
            agreement = gyroscope_.weights(fit.norm.model);
        }
        count(fit, agreement);
        return fit;
    }

    /// Weights of even directions; their sum is the number of independent samples.
    Weights balance(const EllipsoidModel& model) const {
        std::vector<std::size_t> patch;
        DirectionCounts counts(patches_.size());
        for (const Vector3d& point : points_) {
            patch.push_back(patches_.of(model.toSphere(point)));
            counts.counts[patch.back()] += 1.0;
        }
        counts.findUsual();
        Weights weights;
        double sum = 0.0;
        for (const std::size_t p : patch) {
            weights.push_back(counts.weightIn(p));
            sum += weights.back();
        }
        const double worth = std::min(kSamplesPerPatch * static_cast<double>(counts.seen()),
                                      static_cast<double>(points_.size()));
        for (double& weight : weights) weight *= worth / sum;
        return weights;
    }

    void count(FieldFit& fit, const Weights& agreement) const {
        DirectionCounts counts(patches_.size());
        const double bound = TukeyLoss::kBound * fit.norm.scatter;
        for (std::size_t i = 0; i < points_.size(); ++i) {
            const bool isDisturbed =
                std::abs(fit.norm.residual(points_[i])) > bound || agreement[i] < kContradicted;
            fit.isDisturbed.push_back(isDisturbed);
            if (!isDisturbed) counts.counts[patches_.of(fit.norm.model.toSphere(points_[i]))] += 1.0;
        }
        fit.coverage = counts.coverage();
        for (const double seen : counts.counts) fit.isSeen.push_back(seen > 0.0);
    }

    const MagneticSettings& settings_;
    Points points_;
    std::optional<Vector3d> normal_;
    DirectionPatches patches_;
    GyroscopeCheck gyroscope_;
};

struct Plane {
    Vector3d normal = Vector3d::UnitZ();
    double extent = 0.0;     ///< the field's unit: RMS distance from the middle
    double thickness = 0.0;  ///< the field's unit: robust deviation of the distances
};

/// The plane through the points, by principal components reweighted by Tukey's loss.
Plane planeThrough(const Points& points) {
    Plane plane;
    std::vector<double> weights(points.size(), 1.0);
    for (int round = 0; round < 5; ++round) {
        Vector3d mean = Vector3d::Zero();
        Matrix3d squares = Matrix3d::Zero();
        double sum = 0.0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            mean += weights[i] * points[i];
            sum += weights[i];
        }
        mean /= sum;
        for (std::size_t i = 0; i < points.size(); ++i)
            squares += weights[i] * (points[i] - mean) * (points[i] - mean).transpose();
        plane.normal = Eigen::SelfAdjointEigenSolver<Matrix3d>(squares).eigenvectors().col(0);
        std::vector<std::pair<double, double>> distances;
        for (const Vector3d& point : points)
            distances.emplace_back(std::abs(plane.normal.dot(point - mean)), 1.0);
        plane.extent = std::sqrt(squares.trace() / sum);
        plane.thickness = deviationOfMedian(weightedMedian(distances));
        const double scale = std::max(plane.thickness, 1e-12 * plane.extent);
        for (std::size_t i = 0; i < points.size(); ++i)
            weights[i] = TukeyLoss::weight(distances[i].first / scale);
    }
    return plane;
}

/// The plane across the vertical, where the unit turned about that: what a heading needs is level. A soft iron
/// tilts the plane of the samples against it.
void makeLevel(Plane& plane, const std::vector<FieldSample>& samples) {
    Vector3d up = Vector3d::Zero();
    double count = 0.0;
    for (const FieldSample& sample : samples) {
        if (!sample.up) continue;
        up += sample.up->normalized();
        count += 1.0;
    }
    if (count == 0.0 || up.norm() < kSteady * count) return;
    up.normalize();
    if (std::abs(up.dot(plane.normal)) > kNearlyLevel) plane.normal = up;
}

double shareAround(const FieldFit& fit, const Points& points) {
    std::vector<bool> seen(kSectors, false);
    const Vector3d x = fit.normal->unitOrthogonal();
    const Vector3d y = fit.normal->cross(x);
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (fit.isDisturbed[i]) continue;
        const Vector3d field = fit.norm.model.toSphere(points[i]);
        const double turns = std::atan2(y.dot(field), x.dot(field)) / (2.0 * std::numbers::pi) + 0.5;
        seen[std::min(kSectors - 1, static_cast<std::size_t>(turns * static_cast<double>(kSectors)))] = true;
    }
    return static_cast<double>(std::count(seen.begin(), seen.end(), true)) / static_cast<double>(kSectors);
}

/// The normal keeps its scale, and the offset along it stays as it is.
void leaveNormalAlone(EllipsoidModel& model, const Vector3d& normal) {
    const Matrix3d out = normal * normal.transpose();
    const Matrix3d in = Matrix3d::Identity() - out;
    const Matrix3d inPlane =
        Eigen::SelfAdjointEigenSolver<Matrix3d>(in * model.shape * model.shape * in + out).operatorSqrt() -
        out;
    const double scale = std::sqrt(std::abs((inPlane + out).determinant()));  // one over the radius
    model.shape = inPlane + scale * out;
    model.centre = in * model.centre;
}

[[noreturn]] void refuse(const std::string& seen) {
    throw Unsuitable(seen + ": turn it about all three axes, each side up and down once, in 30 to 60 s");
}

/// Whether an ellipse goes around the points, and not past them.
bool isRing(const FieldFit& fit, const Plane& plane) {
    const double radius = fit.norm.model.radius();
    return fit.norm.scatter <= kGreatestScatter && radius < kGreatestRing * plane.extent &&
           kGreatestRing * radius > plane.extent && plane.thickness < kThickestPlane * radius;
}

FieldFit fitPlane(const std::vector<FieldSample>& samples, const Points& points, const Plane& plane,
                  const MagneticSettings& settings) {
    Points flat;
    for (const Vector3d& point : points) flat.push_back(point - plane.normal * plane.normal.dot(point));
    std::optional<FieldFit> fit =
        Fitting(samples, flat, plane.normal, settings).best(settings.softIronDeviation);
    if (!fit) refuse("the field did not turn in the sensor's frame");
    fit->normal = plane.normal;
    leaveNormalAlone(fit->norm.model, plane.normal);
    if (!isRing(*fit, plane)) {
        refuse(
            "the field's values lie neither around a sphere nor around a circle, so the unit turned too "
            "little, or was close to iron");
    }
    fit->aroundPlane = shareAround(*fit, flat);
    if (fit->aroundPlane < kLeastAroundPlane || fit->centreDeviation() > kUnknownCentre) {
        refuse(
            fmt::format("the unit turned through {:.0f} degrees about one axis, which does not show the "
                        "middle of the field's values",
                        360.0 * fit->aroundPlane));
    }
    return *fit;
}

bool isKnown(const FieldFit& fit) {
    return fit.norm.scatter <= kGreatestScatter && fit.norm.centreDeviation() <= kUnknownCentre &&
           fit.norm.model.elongation() <= kLongestElongation;
}

}  // namespace

Vector3d FieldFit::part(const Vector3d& raw) const {
    return normal ? Vector3d(raw - *normal * normal->dot(raw)) : raw;
}

double FieldFit::disturbedShare() const {
    if (isDisturbed.empty()) return 0.0;
    return static_cast<double>(std::count(isDisturbed.begin(), isDisturbed.end(), true)) /
           static_cast<double>(isDisturbed.size());
}

double FieldFit::centreDeviation() const {
    if (!normal) return norm.centreDeviation();
    NormFit inPlane = norm;
    const Matrix3d in = Matrix3d::Identity() - *normal * normal->transpose();
    inPlane.centreCovariance = in * norm.centreCovariance * in;
    return inPlane.centreDeviation();
}

FieldFit fitField(const std::vector<FieldSample>& samples, const MagneticSettings& settings) {
    Points points;
    for (const FieldSample& sample : samples) points.push_back(sample.field);
    const Fitting fitting(samples, points, std::nullopt, settings);
    std::optional<FieldFit> fit = fitting.best(settings.softIronDeviation);
    Plane plane = planeThrough(points);
    // In a thin band the noise across it passes for its curvature, and no residual tells.
    const bool isBand = plane.thickness < kThinnestBand * plane.extent;
    if (fit && isKnown(*fit) && !isBand) return *fit;
    if (plane.thickness > kThinnestCap * plane.extent) fit = fitting.best(kNearlySphere);
    if (!fit || !isKnown(*fit) || isBand) {
        makeLevel(plane, samples);
        return fitPlane(samples, points, plane, settings);
    }
    fit->isNearlySphere = true;
    return *fit;
}

}  // namespace Kavelin::Calibration
