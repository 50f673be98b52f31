#include "attitude/so3/ErrorCovariance.h"

#include <cmath>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr int kMoving = 9;  // errors that the transition changes
using Panel = Eigen::Matrix<double, kErrors, kMoving>;
using Trio = Eigen::Matrix<double, kErrors, 3>;

// d(turn)/d(scale) of one step, a column for each scale term.
Eigen::Matrix<double, 3, kScaleTerms> scaleToTurn(const StepSums& step) {
    const Eigen::Matrix3d r = step.turned / step.duration;
    const Eigen::Vector3d& w = step.turning;
    Eigen::Matrix<double, 3, kScaleTerms> g;
    g.col(0) = r.col(0) * w.x();
    g.col(1) = r.col(1) * w.y();
    g.col(2) = r.col(2) * w.z();
    g.col(3) = r.col(0) * w.y() + r.col(1) * w.x();
    g.col(4) = r.col(0) * w.z() + r.col(2) * w.x();
    g.col(5) = r.col(1) * w.z() + r.col(2) * w.y();
    return g;
}

// Applies the nine rows of the transition that differ from the identity to the rows of an operand that are
// given as columns: turn, bias, velocity, position, accelerometer bias and scale of it.
struct Transition {
    explicit Transition(const StepSums& step, double leak_)
        : duration(step.duration),
          leak(leak_),
          turned(step.turned),
          force(step.force),
          g(scaleToTurn(step)) {}

    // The new turn, velocity and position, as columns; `p` has a column for each error.
    template <class Operand, class Result>
    void apply(const Operand& p, Result& out) const {
        const auto turn = p.template middleCols<3>(kTurn);
        const auto velocity = p.template middleCols<3>(kVelocity);
        const auto position = p.template middleCols<3>(kPosition);
        out.template middleCols<3>(0) = turn - p.template middleCols<3>(kBias) * turned.transpose() +
                                        p.template middleCols<kScaleTerms>(kScale) * g.transpose();
        // What the errors of tilt and accelerometer bias add to the velocity, with the sign turned.
        auto lost = out.template middleCols<3>(3);
        lost = p.template middleCols<3>(kAccBias) * turned.transpose();
        lost.col(0) += force.y() * turn.col(2) - force.z() * turn.col(1);
        lost.col(1) += force.z() * turn.col(0) - force.x() * turn.col(2);
        lost.col(2) += force.x() * turn.col(1) - force.y() * turn.col(0);
        out.template middleCols<3>(6) = leak * (position + duration * velocity - 0.5 * duration * lost);
        lost = (leak * (velocity - lost)).eval();
    }

    double duration;
    double leak;
    Eigen::Matrix3d turned;
    Eigen::Vector3d force;
    Eigen::Matrix<double, 3, kScaleTerms> g;
};

// Positions of the nine in the error vector.
constexpr int kMovingIndex[kMoving] = {kTurn,         kTurn + 1, kTurn + 2,     kVelocity,    kVelocity + 1,
                                       kVelocity + 2, kPosition, kPosition + 1, kPosition + 2};

// What the field may correct directly; the rest follows through the covariance.
constexpr int kByField[] = {kTurnUp, kBias, kBias + 1, kBias + 2, kDisturbance};

}  // namespace

void ErrorCovariance::tieHeading(double slope, double disturbance, double further) {
    isolate(kTurnUp, 0.0);
    isolate(kDisturbance, disturbance);
    const ErrorVector row = slope * p_.col(kTurn + 1);
    p_.col(kTurnUp) = row;
    p_.row(kTurnUp) = row;
    p_(kTurnUp, kTurnUp) = slope * slope * p_(kTurn + 1, kTurn + 1) + disturbance + further;
    p_(kTurnUp, kDisturbance) = p_(kDisturbance, kTurnUp) = -disturbance;
}

void ErrorCovariance::propagate(const StepSums& step, double leak) {
    const Transition transition(step, leak);
    Panel moved;  // P F^T, the columns that change
    transition.apply(p_, moved);
    const Eigen::Matrix<double, kMoving, kErrors> rows = moved.transpose();
    Eigen::Matrix<double, kMoving, kMoving> corner;  // F P F^T where both change
    transition.apply(rows, corner);
    for (int j = 0; j < kMoving; ++j) {
        p_.col(kMovingIndex[j]) = moved.col(j);
        p_.row(kMovingIndex[j]) = moved.col(j);
    }
    for (int j = 0; j < kMoving; ++j) {
        for (int i = 0; i <= j; ++i) {
            p_(kMovingIndex[i], kMovingIndex[j]) = p_(kMovingIndex[j], kMovingIndex[i]) = corner(i, j);
        }
    }
}

// The three updates of P are gathered and done in one pass. Each is P - h h^T with h = P_i / sqrt(P_ii + r):
// products that commute keep P symmetric to the last bit.
void ErrorCovariance::observe(int first, const Eigen::Vector3d& y, double variance, ErrorVector& x) {
    Trio h;
    for (int k = 0; k < 3; ++k) {
        const int i = first + k;
        ErrorVector column = p_.col(i);
        for (int m = 0; m < k; ++m) column -= h.col(m) * h(i, m);
        const double root = std::sqrt(column[i] + variance);
        h.col(k) = column / root;
        x += h.col(k) * ((y[k] - x[i]) / root);
    }
    for (int j = 0; j < kErrors; ++j) {
        p_.col(j) -= h.col(0) * h(j, 0) + h.col(1) * h(j, 1) + h.col(2) * h(j, 2);
    }
}

ErrorVector ErrorCovariance::observeAzimuth(const Eigen::Vector3d& h, double residual, double variance) {
    const ErrorVector n = p_.middleCols<3>(kTurn) * h + p_.col(kDisturbance);
    const double s = h.dot(n.segment<3>(kTurn)) + n[kDisturbance] + variance;
    // P - K n^T - (n - s K) K^T, for a gain K that is n / s in some errors and 0 in the others: P changes by
    // n n^T / s in the rows and columns of the former, and not at all elsewhere.
    ErrorVector gain = ErrorVector::Zero();
    for (const int i : kByField) {
        gain[i] = n[i] / s;
        for (int j = 0; j < kErrors; ++j) {
            const bool wasDone = gain[j] != 0.0 && j != i;  // with the row of the other
            if (!wasDone) p_(i, j) = p_(j, i) = p_(i, j) - n[i] * n[j] / s;
        }
    }
    return gain * residual;
}

}  // namespace Kavelin::OrientationInternal::SO3
