#include "evaluation/AttitudeErrors.h"

#include "attitude/rotation/QuaternionAlgebra.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using OrientationInternal::quaternionProduct;

const double kDegree = M_PI / 180.0;

Quaternion about(double x, double y, double z, double degrees) {
    const double half = 0.5 * degrees * kDegree;
    return {std::cos(half), std::sin(half) * x, std::sin(half) * y, std::sin(half) * z};
}

Quaternion randomQuaternion(std::mt19937& random) {
    std::normal_distribution<double> normal;
    return Quaternion(normal(random), normal(random), normal(random), normal(random)).normalized();
}

TEST(AttitudeErrors, splitsTurnAndTilt) {
    const struct {
        const char* rule;
        Quaternion error;
        double total, heading, inclination;
    } rows[] = {
        {"none", {1, 0, 0, 0}, 0, 0, 0},
        {"turn about the vertical", about(0, 0, 1, 20), 20, 20, 0},
        {"tilt", about(0.6, 0.8, 0, 5), 5, 0, 5},
        {"the other sign of the same rotation", -about(0, 0, 1, -20), 20, 20, 0},
        {"a tiny one", about(0, 0, 1, 1e-6), 1e-6, 1e-6, 0},
    };
    std::mt19937 random(2);
    for (const auto& row : rows) {
        AttitudeErrors errors(Alignment::kNone);
        for (int i = 0; i < 10; ++i) {
            const Quaternion truth = randomQuaternion(random);
            errors.add(quaternionProduct(row.error, truth), 1.00001 * truth);
        }
        const ErrorFigures figures = errors.figures();
        EXPECT_NEAR(figures.total, row.total, 1e-9 + 1e-6 * row.total) << row.rule;
        EXPECT_NEAR(figures.heading, row.heading, 1e-9 + 1e-6 * row.heading) << row.rule;
        EXPECT_NEAR(figures.inclination, row.inclination, 1e-9) << row.rule;
        EXPECT_EQ(figures.count, 10u);
    }
}

TEST(AttitudeErrors, takesOutTheHeadingThatFitsBest) {
    std::mt19937 random(3);
    for (const double offset : {0.0, 90.0, 179.9, -120.0}) {
        AttitudeErrors errors(Alignment::kHeading);
        for (int i = 0; i < 1000; ++i) {
            const Quaternion truth = randomQuaternion(random);
            const Quaternion error =
                quaternionProduct(about(0, 0, 1, offset + (i % 2 ? 3 : -3)), about(1, 0, 0, 4));
            errors.add(quaternionProduct(error, truth), truth);
        }
        const ErrorFigures figures = errors.figures();
        EXPECT_NEAR(figures.heading, 3.0, 1e-9) << offset;
        EXPECT_NEAR(figures.inclination, 4.0, 1e-9) << offset;
        EXPECT_NEAR(figures.total, 5.0, 0.01) << offset;
    }
}

TEST(AttitudeErrors, takesOutTheRotationOfTheFirstPairEvenOutsideTheCountedTime) {
    std::mt19937 random(4);
    const Quaternion start = randomQuaternion(random);
    AttitudeErrors errors(Alignment::kStart);
    const auto estimate = [&start](const Quaternion& truth) { return quaternionProduct(start, truth); };
    const Quaternion first = randomQuaternion(random);
    errors.add(estimate(first), first, false);
    for (int i = 0; i < 5; ++i) {
        const Quaternion truth = randomQuaternion(random);
        errors.add(estimate(quaternionProduct(about(0, 0, 1, 2), truth)), truth);
    }
    EXPECT_NEAR(errors.figures().total, 2.0, 1e-9);
    EXPECT_EQ(errors.figures().count, 5u);
}

TEST(AttitudeErrors, leavesOutWhatIsNoOrientation) {
    AttitudeErrors errors(Alignment::kNone);
    const Quaternion one(1, 0, 0, 0);
    errors.add({std::nan(""), 0, 0, 0}, one);
    errors.add(one, {std::nan(""), 0, 0, 0});
    errors.add(one, {0, 0, 0, 0});
    EXPECT_EQ(errors.figures().count, 0u);
    EXPECT_EQ(errors.figures().total, 0.0);
}

TEST(AttitudeErrors, keepsItsMemoryBoundedOverLongRecordings) {
    AttitudeErrors errors(Alignment::kHeading);
    const Quaternion truth(1, 0, 0, 0);
    const std::uint64_t count = 3'000'000;
    for (std::uint64_t i = 0; i < count; ++i) {
        // The error changes half way: both halves must weigh the same in the figure.
        errors.add(about(0, 0, 1, i < count / 2 ? 10 : 12), truth);
    }
    EXPECT_EQ(errors.figures().count, count);
    EXPECT_NEAR(errors.figures().heading, 1.0, 1e-3);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
