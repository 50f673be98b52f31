#include "orientation/integration/QuaternionIntegration.h"

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

Quaternion turnOf(const Vector3& rate, double dt) {
    const double norm = rate.norm();
    return fromEigen(Eigen::Quaterniond(Eigen::AngleAxisd(norm * dt, rate / norm)));
}

/// The second method: midpoint steps so small that their error is below rounding.
Quaternion fineSteps(const Quaternion& q, const Vector3& previous, const Vector3& current, double dt) {
    const int steps = 20000;
    Eigen::Quaterniond turned = toEigen(q);
    for (int i = 0; i < steps; ++i) {
        const Vector3 rate = previous + (current - previous) * ((i + 0.5) / steps);
        turned = turned * toEigen(turnOf(rate, dt / steps));
    }
    return fromEigen(turned.normalized());
}

TEST(QuaternionIntegration, TurnsByAConstantRateAsTheQuaternionExponential) {
    std::mt19937 random(4);
    std::normal_distribution<double> normal;
    for (int i = 0; i < 200; ++i) {
        const Quaternion q =
            Quaternion(normal(random), normal(random), normal(random), normal(random)).normalized();
        const Vector3 rate(3 * normal(random), normal(random), normal(random));
        const double dt = 0.3 * normal(random);  // of both signs
        const Quaternion expected = fromEigen(toEigen(q) * toEigen(turnOf(rate, dt)));
        EXPECT_THAT(integrateConstantRate(q, rate, dt), isNearMatrix(expected, 1e-14));
        // equal rates leave nothing of the correction, to the last bit
        EXPECT_EQ(integrateLinearRate(q, rate, rate, dt), integrateConstantRate(q, rate, dt));
    }
}

TEST(QuaternionIntegration, FollowsALinearRateToFourthOrder) {
    const Quaternion q = Quaternion(0.3, -0.5, 0.7, 0.1).normalized();
    const Vector3 previous(1.0, -2.0, 0.5), slope(-3.0, 4.0, 6.0);
    double last = 0;
    for (const double dt : {0.2, 0.1, 0.05}) {
        const Vector3 current = previous + slope * dt;
        const Quaternion exact = fineSteps(q, previous, current, dt);
        const double error = angleBetween(integrateLinearRate(q, previous, current, dt), exact);
        const double uncorrected =
            angleBetween(integrateConstantRate(q, 0.5 * (previous + current), dt), exact);
        EXPECT_LT(error, uncorrected / 20) << dt;
        if (last > 0) {
            EXPECT_NEAR(last / error, 32, 4) << dt;  // a step's error falls with dt^5
        }
        last = error;
    }
}

TEST(QuaternionIntegration, TakesTheSeriesUpToARateOfOneBillionth) {
    const Quaternion q(1, 0, 0, 0);
    const double dt = 1e9;  // long enough for the two forms to differ
    struct Row {
        const char* name;
        double rate;
        Quaternion expected;
    };
    const double above = std::nextafter(1e-9, 1.0);
    const Row rows[] = {{"at the bound", 1e-9, {1, 0.5, 0, 0}},
                        {"above it", above, {std::cos(0.5), std::sin(0.5), 0, 0}},
                        {"zero", 0.0, {1, 0, 0, 0}}};
    for (const Row& row : rows) {
        EXPECT_THAT(integrateConstantRate(q, Vector3(row.rate, 0, 0), dt), isNearMatrix(row.expected, 1e-15))
            << row.name;
    }
    // a norm that is not a number takes the series too: the elements without the rate stay numbers
    const Matrix4 transition = transitionMatrix(Vector3(kNaN, 0, 0), 0.01);
    EXPECT_EQ(transition.diagonal(), Eigen::Vector4d::Ones());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
