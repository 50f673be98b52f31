#include "calibration/magnetic/NormRefinement.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <Eigen/Geometry>
#include <Eigen/LU>
#include <cmath>
#include <utility>

#include "calibration/model/RobustLoss.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;
/// Centre; shape xx, yy, yz, xz, xy less those of the unit matrix, with zz such that the trace stays 3; radius.
/// As the trace is fixed, residuals are lengths in the field's space: a large radius does not make them small.
using Unknowns = Eigen::Matrix<double, 9, 1>;
using Normal = Eigen::Matrix<double, 9, 9>;

const int kHuberRounds = 8;
const int kRounds = 24;
const int kStepsPerRound = 1;
const double kSmallestScatter = 0.002;  // below, a sensor's resolution and not its noise
const double kCertain = 1e9;
const double kEnough = 1e-5;  // change of the unknowns that ends the iterations

Matrix3d shapeOf(const Unknowns& x) {
    Matrix3d shape;
    shape << 1.0 + x[3], x[7], x[6], x[7], 1.0 + x[4], x[5], x[6], x[5], 1.0 - x[3] - x[4];
    return shape;
}

Unknowns unknownsOf(const Vector3d& centre, const Matrix3d& shape) {
    const double radius = 3.0 / shape.trace();
    const Matrix3d s = radius * shape;
    Unknowns x;
    x << centre, s(0, 0) - 1.0, s(1, 1) - 1.0, s(1, 2), s(0, 2), s(0, 1), radius;
    return x;
}

/// Root mean square distance of the points from a centre.
double extent(const std::vector<Vector3d>& points, const std::vector<double>& weights,
              const Vector3d& centre) {
    double squares = 0.0, sum = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        squares += weights[i] * (points[i] - centre).squaredNorm();
        sum += weights[i];
    }
    return std::sqrt(squares / sum);
}

Vector3d meanOf(const std::vector<Vector3d>& points, const std::vector<double>& weights) {
    Vector3d mean = Vector3d::Zero();
    double sum = 0.0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        mean += weights[i] * points[i];
        sum += weights[i];
    }
    return mean / sum;
}

/// The problem with the extent of the points as the unit, about their mean.
class Problem {
public:
    Problem(const std::vector<Vector3d>& points, const std::vector<double>& weights,
            const EllipsoidModel& start, const EllipsoidPrior& prior)
        : weights_(weights), origin_(meanOf(points, weights)), unit_(extent(points, weights, origin_)) {
        points_.reserve(points.size());
        for (const Vector3d& point : points) points_.push_back((point - origin_) / unit_);
        x_ = unknownsOf((start.centre - origin_) / unit_, start.shape * unit_);
        expected_.setZero();
        expected_.head<3>() = -origin_ / unit_;
        const double soft = 1.0 / (prior.softIronDeviation * prior.softIronDeviation);
        information_.setZero();
        information_.diagonal().head<3>().setConstant(1.0 /
                                                      (prior.hardIronDeviation * prior.hardIronDeviation));
        information_.block<2, 2>(3, 3) << 2.0 * soft, soft, soft, 2.0 * soft;
        information_.diagonal().segment<3>(5).setConstant(2.0 * soft);
        if (prior.normal) holdNormal(*prior.normal);
    }

    /// Robust deviation of the residuals, as a share of the radius.
    double scatter() const {
        std::vector<std::pair<double, double>> sizes;
        sizes.reserve(points_.size());
        const Matrix3d shape = shapeOf(x_);
        for (std::size_t i = 0; i < points_.size(); ++i)
            sizes.emplace_back(std::abs(residual(x_, shape, points_[i])), weights_[i]);
        return std::max(kSmallestScatter,
                        deviationOfMedian(weightedMedian(std::move(sizes))) / std::abs(x_[8]));
    }
    double radius() const { return std::abs(x_[8]); }

    template <class Loss>
    double cost(const Unknowns& x, double sigma) const {
        const Matrix3d shape = shapeOf(x);
        double sum = 0.0;
        for (std::size_t i = 0; i < points_.size(); ++i)
            sum += weights_[i] * Loss::loss(residual(x, shape, points_[i]) / sigma);
        const Unknowns away = x - expected_;
        return sum + 0.5 * away.dot(information_ * away);
    }

    template <class Loss>
    void linearise(double sigma) {
        normal_ = information_;
        gradient_ = information_ * (x_ - expected_);
        const Matrix3d shape = shapeOf(x_);
        for (std::size_t i = 0; i < points_.size(); ++i) {
            const Vector3d d = points_[i] - x_.head<3>();
            const Vector3d s = shape * d;
            const double norm = s.norm();
            if (norm <= 0.0) continue;
            const Vector3d u = s / norm;
            Unknowns row;
            row << -shape * u, u[0] * d[0] - u[2] * d[2], u[1] * d[1] - u[2] * d[2],
                u[1] * d[2] + u[2] * d[1], u[0] * d[2] + u[2] * d[0], u[0] * d[1] + u[1] * d[0], -1.0;
            const double deviations = (norm - x_[8]) / sigma;
            const double weight = weights_[i] * Loss::weight(deviations);
            gradient_ += weight * deviations / sigma * row;
            normal_.selfadjointView<Eigen::Lower>().rankUpdate(row, weight / (sigma * sigma));
        }
        normal_ = normal_.selfadjointView<Eigen::Lower>();
    }

    /// One damped step.  @return its length
    template <class Loss>
    double step(double sigma) {
        linearise<Loss>(sigma);
        const double before = cost<Loss>(x_, sigma);
        for (int attempt = 0; attempt < 8; ++attempt) {
            Normal damped = normal_;
            damped.diagonal() *= 1.0 + damping_;
            const Unknowns change = damped.ldlt().solve(-gradient_);
            const Unknowns next = x_ + change;
            if (change.allFinite() && cost<Loss>(next, sigma) <= before) {
                x_ = next;
                damping_ *= 0.1;
                return change.norm();
            }
            damping_ = std::max(1e-4, 10.0 * damping_);
        }
        return 0.0;
    }

    NormFit result() {
        const double sigma = scatter() * radius();
        linearise<TukeyLoss>(sigma);
        NormFit fit;
        fit.model = {origin_ + unit_ * x_.head<3>(), shapeOf(x_) / (unit_ * x_[8])};
        fit.scatter = scatter();
        fit.cost = cost<TukeyLoss>(x_, sigma) + weightSum() * std::log(sigma);
        const double ratio = unit_ / fit.model.radius();
        fit.centreCovariance = ratio * ratio * Normal(normal_.inverse()).topLeftCorner<3, 3>();
        return fit;
    }

private:
    /// Across a plane that all points lie in, the shape stays 1 and the centre 0. Left free, both would make the
    /// residuals small without making them even: a centre off the plane sees them at an angle.
    void holdNormal(const Vector3d& n) {
        information_.topLeftCorner<3, 3>() += kCertain * n * n.transpose();
        for (const Vector3d& e : {n, Vector3d(n.unitOrthogonal()), Vector3d(n.cross(n.unitOrthogonal()))}) {
            Unknowns row = Unknowns::Zero();  // of e . (shape - 1) n
            row.segment<5>(3) << e[0] * n[0] - e[2] * n[2], e[1] * n[1] - e[2] * n[2],
                e[1] * n[2] + e[2] * n[1], e[0] * n[2] + e[2] * n[0], e[0] * n[1] + e[1] * n[0];
            information_ += kCertain * row * row.transpose();
        }
    }
    static double residual(const Unknowns& x, const Matrix3d& shape, const Vector3d& point) {
        return (shape * (point - x.head<3>())).norm() - x[8];
    }
    double weightSum() const {
        double sum = 0.0;
        for (const double weight : weights_) sum += weight;
        return sum;
    }

    std::vector<Vector3d> points_;
    const std::vector<double>& weights_;
    Vector3d origin_;
    double unit_;
    Unknowns x_, expected_, gradient_;
    Normal information_, normal_;
    double damping_ = 1e-3;
};

}  // namespace

double NormFit::centreDeviation() const {
    const Vector3d values =
        Eigen::SelfAdjointEigenSolver<Matrix3d>(centreCovariance, Eigen::EigenvaluesOnly).eigenvalues();
    return std::sqrt(std::max(0.0, values[2]));
}

NormFit refineNorm(const std::vector<Vector3d>& points, const std::vector<double>& weights,
                   const EllipsoidModel& start, bool isRough, const EllipsoidPrior& prior) {
    const int huberRounds = isRough ? kHuberRounds : 0;
    Problem problem(points, weights, start, prior);
    for (int round = 0; round < kRounds; ++round) {
        const double sigma = problem.scatter() * problem.radius();
        double change = 0.0;
        for (int i = 0; i < kStepsPerRound; ++i) {
            change = round < huberRounds ? problem.step<HuberLoss>(sigma) : problem.step<TukeyLoss>(sigma);
        }
        if (round > huberRounds && change < kEnough) break;
    }
    return problem.result();
}

}  // namespace Kavelin::Calibration
