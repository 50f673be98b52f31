#include "attitude/so3/ErrorCovariance.h"

#include <Eigen/Eigenvalues>

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal::SO3 {
namespace {

using namespace Tests;
using Eigen::Vector3d;
using Dense = Eigen::Matrix<double, kErrors, kErrors>;

Eigen::Matrix3d cross(const Vector3d& v) {
    Eigen::Matrix3d m;
    m << 0, -v.z(), v.y(), v.z(), 0, -v.x(), -v.y(), v.x(), 0;
    return m;
}

StepSums someStep() {
    StepSums step;
    step.duration = 0.04;
    step.turned = 0.04 * Eigen::AngleAxisd(1.1, Vector3d(1, -2, 3).normalized()).toRotationMatrix();
    step.force = {0.1, -0.2, 0.4};
    step.turning = {0.05, 0.03, -0.02};
    return step;
}

// The transition as one matrix, block by block as it is derived.
Dense denseTransition(const StepSums& step, double leak) {
    const Eigen::Matrix3d r = step.turned / step.duration, one = Eigen::Matrix3d::Identity();
    Dense f = Dense::Identity();
    f.block<3, 3>(kTurn, kBias) = -step.turned;
    for (int k = 0; k < kScaleTerms; ++k) {
        const int row[] = {0, 1, 2, 0, 0, 1}, column[] = {0, 1, 2, 1, 2, 2};
        Eigen::Matrix3d m = Eigen::Matrix3d::Zero();
        m(row[k], column[k]) = m(column[k], row[k]) = 1;
        f.block<3, 1>(kTurn, kScale + k) = r * m * step.turning;
    }
    f.block<3, 3>(kVelocity, kTurn) = -leak * cross(step.force);
    f.block<3, 3>(kVelocity, kAccBias) = -leak * step.turned;
    f.block<3, 3>(kVelocity, kVelocity) = leak * one;
    f.block<3, 3>(kPosition, kTurn) = -leak * step.duration / 2 * cross(step.force);
    f.block<3, 3>(kPosition, kAccBias) = -leak * step.duration / 2 * step.turned;
    f.block<3, 3>(kPosition, kVelocity) = leak * step.duration * one;
    f.block<3, 3>(kPosition, kPosition) = leak * one;
    return f;
}

// A covariance in which everything depends on everything, made by the class itself, and checked on the way
// against dense matrices and one textbook update after the other.
TEST(ErrorCovariance, DoesWhatDenseMatricesDo) {
    ErrorCovariance covariance;
    covariance.grow(0, kErrors, 0.3);
    Dense p = 0.3 * Dense::Identity();
    ErrorVector x = ErrorVector::Zero(), y = ErrorVector::Zero();
    const Vector3d slope(0.4, -1.3, 1);
    for (int i = 0; i < 20; ++i) {
        const Dense f = denseTransition(someStep(), 0.9);
        p = f * p * f.transpose();
        covariance.propagate(someStep(), 0.9);
        for (const int first : {kVelocity, kBias, kPosition}) {
            const Vector3d measured(0.1, -0.2, 0.3 + i);
            covariance.observe(first, measured, 0.01, x);
            for (int k = first; k < first + 3; ++k) {
                const ErrorVector gain = p.col(k) / (p(k, k) + 0.01);
                y += gain * (measured[k - first] - y[k]);
                p -= (gain * p.row(k)).eval();
            }
        }
        ErrorVector h = ErrorVector::Zero();
        h.segment<3>(kTurn) = slope;
        h[kDisturbance] = 1;
        const ErrorVector n = p * h;
        const double s = h.dot(n) + 0.02;
        ErrorVector gain = ErrorVector::Zero();
        for (const int k : {2, 3, 4, 5, 21}) gain[k] = n[k] / s;
        p -= (gain * n.transpose() + (n - s * gain) * gain.transpose()).eval();
        EXPECT_THAT(covariance.observeAzimuth(slope, 0.7, 0.02), isNearMatrix(gain * 0.7, 1e-9));
        covariance.scale(kDisturbance, 0.9);
        p.row(kDisturbance) *= 0.9;
        p.col(kDisturbance) *= 0.9;
        covariance.grow(0, kErrors, 0.1);
        p.diagonal().array() += 0.1;
    }
    EXPECT_THAT(covariance.matrix(), isNearMatrix(p, 1e-9));
    EXPECT_THAT(x, isNearMatrix(y, 1e-9));
    EXPECT_EQ(covariance.matrix(), covariance.matrix().transpose()) << "to the last bit";
    EXPECT_GT(Eigen::SelfAdjointEigenSolver<Dense>(p).eigenvalues()[0], 0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal::SO3
