#include "orientation/QuaternionSmoother.h"

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

TEST(QuaternionSmoother, TakesTheNewestSampleAsTheBase) {
    // Deliberate: a steady turn therefore comes out without lag, and an identity history without change.
    QuaternionSmoother smoother;
    for (int i = 0; i < 20; ++i) {
        const double half = 0.05 * i;
        const Quaternion q(std::cos(half), 0, std::sin(half), 0);
        EXPECT_THAT(smoother.step(q), isNearMatrix(q, 1e-15)) << i;
    }
    QuaternionSmoother still;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(still.step(Quaternion(1, 0, 0, 0)), Quaternion(1, 0, 0, 0));
}

TEST(QuaternionSmoother, AmplifiesWhiteNoise) {
    // What follows from the newest sample as the base: to first order the output is the newest rotation
    // vector plus the kernel's mean minus the middle one, so more noise comes out than goes in.
    struct Row {
        std::vector<double> kernel;
        double gain;  // standard deviation out over in
    };
    const Row rows[] = {
        {{0.25, 0.5, 0.25}, std::sqrt(30.) / 4},
        {{1 / 16., 4 / 16., 6 / 16., 4 / 16., 1 / 16.}, std::sqrt(422.) / 16},
        {{1 / 64., 6 / 64., 15 / 64., 20 / 64., 15 / 64., 6 / 64., 1 / 64.}, std::sqrt(6684.) / 64}};
    for (const Row& row : rows) {
        std::mt19937 random(6);
        std::normal_distribution<double> normal(0.0, 1e-3);
        QuaternionSmoother smoother(row.kernel);
        double in = 0, out = 0;
        for (int i = 0; i < 30000; ++i) {
            const Quaternion q = Quaternion(1, normal(random), normal(random), normal(random)).normalized();
            in += q.tail<3>().squaredNorm();
            out += smoother.step(q).tail<3>().squaredNorm();
        }
        EXPECT_NEAR(std::sqrt(out / in), row.gain, 0.01 * row.gain) << row.kernel.size() << " coefficients";
    }
}

TEST(QuaternionSmoother, TakesAChangeOfSignForATurn) {
    // q and -q are one rotation, but the neighbour's logarithm is pi long: the output turns away and comes
    // back.
    QuaternionSmoother smoother;
    const Quaternion q(0.8, 0.6, 0, 0);
    std::vector<double> away;
    for (const int sign : {1, 1, 1, -1, -1, -1, -1}) {
        away.push_back(angleBetween(smoother.step(sign * q), q));
    }
    EXPECT_LT(away[2], 1e-12);
    // for exactly -1 the logarithm's vector part is zero, so a still unit comes through
    EXPECT_LT(away[3], 1e-12);

    QuaternionSmoother turning;
    double worst = 0;
    for (int i = 0; i < 12; ++i) {
        const double half = 1e-3 * i;
        const Quaternion turned(std::cos(half), std::sin(half), 0, 0);
        worst = std::max(worst, angleBetween(turning.step(i < 6 ? turned : -turned), turned));
    }
    EXPECT_NEAR(worst, std::numbers::pi / 2, 2e-3);
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
