#include "orientation/integration/QuaternionSmoother.h"

#include <deque>

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Quaterniond;

Quaternion randomUnit(std::mt19937& random) {
    std::normal_distribution<double> normal;
    return Quaternion(normal(random), normal(random), normal(random), normal(random)).normalized();
}

/// The definition, with the weights applied to the whole history at each sample and Eigen's quaternions.
Quaternion plainSmoothing(const std::deque<Quaternion>& history, const std::vector<double>& kernel) {
    Eigen::Vector4d sum = Eigen::Vector4d::Zero();
    for (std::size_t i = 0; i + 1 < kernel.size(); ++i) {
        double weight = 0;
        for (std::size_t j = 0; j < kernel.size(); ++j) {
            if (i < kernel.size() / 2 && j <= i) weight -= kernel[j];
            if (i >= kernel.size() / 2 && j > i) weight += kernel[j];
        }
        const Quaterniond turn = toEigen(history[i]).inverse() * toEigen(history[i + 1]);
        const double angle = std::acos(turn.w() / turn.norm());
        sum[0] += weight * std::log(turn.norm());
        sum.tail<3>() += weight * (angle / turn.vec().norm()) * turn.vec();
    }
    const Vector3 u = sum.tail<3>();
    const Vector3 v = std::sin(u.norm()) * u.normalized();
    const Quaterniond correction(std::cos(u.norm()), v.x(), v.y(), v.z());
    return std::exp(sum[0]) * fromEigen(toEigen(history.back()) * correction);
}

TEST(QuaternionSmoother, FollowsItsDefinitionForRandomKernelsAndNorms) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-0.5, 1.0), norm(0.5, 2.0);
    for (const std::size_t size : {3U, 5U, 7U, 21U}) {
        std::vector<double> kernel(size);
        for (double& alpha : kernel) alpha = uniform(random);
        QuaternionSmoother smoother(kernel);
        std::deque<Quaternion> history;
        for (std::size_t i = 0; i < 3 * size; ++i) {
            const Quaternion q = norm(random) * randomUnit(random);
            history.push_back(q);
            if (history.size() > size) history.pop_front();
            const Quaternion out = smoother.step(q);
            if (history.size() < size) {
                ASSERT_EQ(out, q) << "the history fills: " << i << " of " << size;
            } else {
                const Quaternion expected = plainSmoothing(history, kernel);
                ASSERT_THAT(out, isNearMatrix(expected, 1e-11 * (1 + expected.norm())))
                    << i << " of " << size;
            }
        }
    }
}

TEST(QuaternionSmoother, LeavesASteadyTurnAndAnUnmovedUnitAsTheyAre) {
    // Deliberate: the newest sample is the base, so a steady turn comes out without lag. q and -q are one
    // rotation, and no turn lies between them.
    QuaternionSmoother turning, still;
    for (int i = 0; i < 20; ++i) {
        const double half = 0.05 * i;
        const Quaternion q(std::cos(half), 0, std::sin(half), 0);
        EXPECT_THAT(turning.step(q), isNearMatrix(q, 1e-15)) << i;
        const Quaternion sameAgain = (i < 10 ? 1 : -1) * Quaternion(0.8, 0.6, 0, 0);
        EXPECT_THAT(still.step(sameAgain), isNearMatrix(sameAgain, 1e-15)) << i;
    }
}

TEST(QuaternionLogarithm, UndoesTheExponentialBelowHalfATurn) {
    for (const Eigen::Vector4d& log :
         {Eigen::Vector4d(0, 0, 0, 0), Eigen::Vector4d(0.7, 0, 0, 0), Eigen::Vector4d(-0.3, 1, -2, 0.5)}) {
        EXPECT_THAT(quaternionLogarithm(quaternionExponential(log)), isNearMatrix(log, 1e-14));
    }
    EXPECT_EQ(quaternionLogarithm(Quaternion(-1, 0, 0, 0)),
              Quaternion(0, 0, 0, 0));  // no vector part to scale
    EXPECT_TRUE(quaternionInverse(Quaternion(0, 0, 0, 0)).array().isNaN().any());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
