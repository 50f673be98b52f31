#pragma once

#include <Eigen/Cholesky>
#include <Eigen/Core>
#include <algorithm>
#include <limits>

namespace Kavelin::Calibration {

/// A sum of squares about one point: J^T W J, -J^T W r and r^T W r.
struct NormalEquations {
    explicit NormalEquations(Eigen::Index unknowns)
        : information(Eigen::MatrixXd::Zero(unknowns, unknowns)), slope(Eigen::VectorXd::Zero(unknowns)) {}

    /// One residual, with its derivatives by the unknowns.
    template <typename Derivatives>
    void add(const Derivatives& derivatives, double residual, double weight) {
        information.noalias() += weight * derivatives * derivatives.transpose();
        slope.noalias() -= (weight * residual) * derivatives;
        cost += weight * residual * residual;
    }

    Eigen::MatrixXd information;
    Eigen::VectorXd slope;
    double cost = 0.0;
};

/// Minimises a sum of squares. Levenberg, Quarterly of Applied Mathematics 2(2), 1944; Marquardt, J. SIAM
/// 11(2), 1963: the damping is relative to the diagonal. Never throws.
/// @param x where to begin; the least found is left here.
/// @param linearise returns the NormalEquations at a point.
/// @return the normal equations at the least found
template <typename Linearise>
NormalEquations minimise(Eigen::VectorXd& x, Linearise linearise) {
    constexpr int kMostSteps = 40;
    constexpr double kSmallestGain =
        1e-9;  // share of the cost; with quadratic convergence, the next is rounding
    NormalEquations at = linearise(x);
    double damping = 1e-6;
    for (int step = 0; step < kMostSteps && damping < 1e12; ++step) {
        Eigen::MatrixXd damped = at.information;
        damped.diagonal() += damping * at.information.diagonal();
        damped.diagonal().array() += std::numeric_limits<double>::min();
        const Eigen::VectorXd next = x + damped.ldlt().solve(at.slope);
        const NormalEquations there = linearise(next);
        if (!(there.cost <= at.cost)) {
            damping = std::max(damping * 10.0, 1e-4);
            continue;
        }
        const bool isDone = at.cost - there.cost <= kSmallestGain * at.cost;
        x = next;
        at = there;
        if (isDone) break;
        damping *= 0.1;
    }
    return at;
}

}  // namespace Kavelin::Calibration
