#include "calibration/inertial/AccelerometerFit.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "calibration/inertial/LevenbergMarquardt.h"
#include "calibration/inertial/RobustWeights.h"

namespace Kavelin::Calibration {

namespace {

constexpr double kLeastScale = 0.003;  // m/s^2; poses of real units fit no better, whatever their noise
constexpr std::size_t kLeftOverForOutliers = 6;
constexpr double kChecked = 0.05;  // of a residual that the others leave to a pose's own error

// Unknowns: offset (3), diagonal (3), then the elements (0,1), (0,2), (1,2).
AffineModel modelOf(const Eigen::VectorXd& x) {
    AffineModel model;
    model.offset = x.head<3>();
    model.matrix.diagonal() = x.segment<3>(3);
    if (x.size() > 6) {
        model.matrix(0, 1) = x[6];
        model.matrix(0, 2) = x[7];
        model.matrix(1, 2) = x[8];
    }
    return model;
}

/// Derivatives of the calibrated norm of `raw` by the unknowns.
Eigen::VectorXd derivatives(const AffineModel& model, const Eigen::Vector3d& raw, Eigen::Index unknowns) {
    const Eigen::Vector3d shifted = raw - model.offset;
    const Eigen::Vector3d direction = (model.matrix * shifted).normalized();
    Eigen::VectorXd d(unknowns);
    d.head<3>() = -model.matrix.transpose() * direction;
    d.segment<3>(3) = direction.cwiseProduct(shifted);
    if (unknowns > 6) {
        d[6] = direction[0] * shifted[1];
        d[7] = direction[0] * shifted[2];
        d[8] = direction[1] * shifted[2];
    }
    return d;
}

/// A fit at work: the poses, their weights, the unknowns.
class PoseFit {
public:
    PoseFit(const StillPoses& poses, Eigen::Index unknowns)
        : poses_(poses), weights_(poses.accelerations.size(), 1.0), x_(Eigen::VectorXd::Zero(unknowns)) {
        x_.segment<3>(3).setOnes();
    }

    NormalEquations solve() {
        return minimise(x_, [this](const Eigen::VectorXd& x) { return linearise(x); });
    }
    void weigh(double (*weightOf)(double residual, double scale)) {
        const std::vector<double> r = residuals();
        const double s = scale(r);
        for (std::size_t i = 0; i < r.size(); ++i) weights_[i] = weightOf(r[i], s);
    }
    std::vector<double> residuals() const {
        const AffineModel model = modelOf(x_);
        std::vector<double> r;
        for (const auto& raw : poses_.accelerations) r.push_back(model.apply(raw).norm() - poses_.gravity);
        return r;
    }
    double scale(const std::vector<double>& residuals) const {
        return robustScale(residuals, static_cast<std::size_t>(x_.size()),
                           std::max(kLeastScale, poses_.noise));
    }
    AffineModel model() const { return modelOf(x_); }
    double weight(std::size_t pose) const { return weights_[pose]; }

private:
    NormalEquations linearise(const Eigen::VectorXd& x) const {
        NormalEquations sums(x.size());
        const AffineModel model = modelOf(x);
        for (std::size_t i = 0; i < weights_.size(); ++i) {
            const Eigen::Vector3d& raw = poses_.accelerations[i];
            sums.add(derivatives(model, raw, x.size()), model.apply(raw).norm() - poses_.gravity,
                     weights_[i]);
        }
        return sums;
    }

    const StillPoses& poses_;
    std::vector<double> weights_;
    Eigen::VectorXd x_;
};

/// The direction in which the calibrated norm is least certain.
void findLeastCertain(AccelerometerFit& fit, const Eigen::MatrixXd& covariance, double gravity) {
    constexpr int kDirections = 400;  // a spiral around the sphere: nine degrees apart
    const double goldenAngle = std::numbers::pi * (3.0 - std::sqrt(5.0));
    const Eigen::Matrix3d inverse = fit.model.matrix.inverse();
    for (int i = 0; i < kDirections; ++i) {
        const double z = 1.0 - (2.0 * i + 1.0) / kDirections;
        const double across = std::sqrt(1.0 - z * z);
        const Eigen::Vector3d up(across * std::cos(goldenAngle * i), across * std::sin(goldenAngle * i), z);
        const Eigen::Vector3d raw = gravity * inverse * up + fit.model.offset;
        const Eigen::VectorXd d = derivatives(fit.model, raw, covariance.rows());
        const double deviation = std::sqrt(std::max(0.0, d.dot(covariance * d)));
        if (deviation <= fit.uncertainty) continue;
        fit.uncertainty = deviation;
        fit.leastCertain = up;
    }
}

struct SquareMean {
    double sum = 0.0;
    std::size_t count = 0;
    void add(double value) {
        sum += value * value;
        ++count;
    }
    double root() const { return count == 0 ? 0.0 : std::sqrt(sum / static_cast<double>(count)); }
};

/// Residuals of the poses in use, also of each as the others predict it: r / (1 - leverage).
void judgeResiduals(AccelerometerFit& fit, const PoseFit& work, const StillPoses& poses,
                    const Eigen::MatrixXd& inverse) {
    const std::vector<double> residuals = work.residuals();
    SquareMean before, after, predicted;
    for (std::size_t i = 0; i < residuals.size(); ++i) {
        if (work.weight(i) < 0.05) {
            fit.leftOut.push_back(i);
            continue;
        }
        const Eigen::Vector3d& raw = poses.accelerations[i];
        const Eigen::VectorXd d = derivatives(fit.model, raw, inverse.rows());
        const double left = 1.0 - work.weight(i) * d.dot(inverse * d);
        before.add(raw.norm() - poses.gravity);
        after.add(residuals[i]);
        if (left < kChecked) {
            fit.unchecked.push_back(i);
        } else {
            predicted.add(residuals[i] / left);
        }
    }
    fit.residualBefore = before.root();
    fit.residualAfter = after.root();
    fit.residualPredicted = predicted.count > 0 ? predicted.root() : std::numeric_limits<double>::infinity();
}

}  // namespace

std::optional<AccelerometerFit> fitAccelerometer(const StillPoses& poses, AccelerometerFit::Terms terms) {
    constexpr double kLeastCondition = 1e-10;
    const std::size_t unknowns = AccelerometerFit::unknowns(terms);
    const std::size_t count = poses.accelerations.size();
    if (count < unknowns) return std::nullopt;
    PoseFit work(poses, static_cast<Eigen::Index>(unknowns));
    NormalEquations at = work.solve();
    for (int round = 0; count >= unknowns + kLeftOverForOutliers && round < 10; ++round) {
        work.weigh(round < 5 ? huberWeight : tukeyWeight);
        at = work.solve();
    }
    // In units in which all derivatives are about one: the elements of the matrix stand beside gravity.
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> eigen(at.information);
    if (!(eigen.eigenvalues()[0] > kLeastCondition * eigen.eigenvalues()[at.information.rows() - 1])) {
        return std::nullopt;
    }
    const Eigen::MatrixXd inverse =
        at.information.ldlt().solve(Eigen::MatrixXd::Identity(at.information.rows(), at.information.cols()));
    AccelerometerFit fit;
    fit.model = work.model();
    fit.terms = terms;
    judgeResiduals(fit, work, poses, inverse);
    const auto left = static_cast<double>(count - fit.leftOut.size()) - static_cast<double>(unknowns);
    const double ofResiduals =
        left > 0.0 ? fit.residualAfter * std::sqrt((left + static_cast<double>(unknowns)) / left) : 0.0;
    fit.deviation = std::max({kLeastScale, poses.noise, ofResiduals});
    findLeastCertain(fit, fit.deviation * fit.deviation * inverse, poses.gravity);
    return fit;
}

std::size_t countDifferent(const std::vector<Eigen::Vector3d>& directions, double angle) {
    std::vector<Eigen::Vector3d> different;
    const double cosine = std::cos(angle);
    for (const Eigen::Vector3d& direction : directions) {
        const Eigen::Vector3d unit = direction.normalized();
        const bool isNew = std::none_of(different.begin(), different.end(),
                                        [&](const Eigen::Vector3d& d) { return d.dot(unit) > cosine; });
        if (isNew) different.push_back(unit);
    }
    return different.size();
}

}  // namespace Kavelin::Calibration
