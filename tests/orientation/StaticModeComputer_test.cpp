#include "orientation/detection/StaticModeComputer.h"

#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

const Vector3 kDown(0, 0, 10);
const Vector3 kNorth(20, 0, 0);

/// Equal, or both not a number.
void expectScore(double actual, double expected, const std::string& what) {
    if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(actual)) << what << ": " << actual;
    } else {
        EXPECT_NEAR(actual, expected, 1e-15) << what;
    }
}

TEST(StaticModeComputer, ScoresAMagnitudeByItsRatioToTheReference) {
    struct Row {
        std::string name;
        Vector3 reference, current;
        double score;
    };
    const Row rows[] = {{"the reference itself", {0, 6, 8}, {0, 6, 8}, 1.0},
                        {"twice the reference, another direction", {0, 0, 10}, {20, 0, 0}, 0.5},
                        {"half the reference", {0, 0, 10}, {0, -5, 0}, 0.5},
                        {"current norm at the bound", {0, 0, 10}, {0, 0, 0.01}, 0.0},
                        {"current norm above the bound", {0, 0, 10}, {0, 0, 0.02}, 0.002},
                        {"reference norm at the bound", {0, 0, 0.01}, {0, 0, 10}, 0.0},
                        {"current not a number", {0, 0, 10}, {kNaN, 0, 0}, kNaN},
                        {"reference not a number", {kNaN, 0, 0}, {0, 0, 10}, kNaN},
                        {"infinite against a number", {0, 0, 10}, {kInfinity, 0, 0}, 0.0},
                        {"infinite against infinite", {0, 0, kInfinity}, {kInfinity, 0, 0}, kNaN}};
    for (const Row& row : rows) {
        StaticModeComputer computer;
        computer.score(row.reference, row.reference);
        const auto scores = computer.score(row.current, std::nullopt);
        expectScore(scores->acceleration, row.score, row.name);
        EXPECT_EQ(scores->field, 0.0) << row.name << ": a vector that did not come";
        expectScore(computer.score(std::nullopt, row.current)->field, row.score, row.name + " (field)");
    }
}

TEST(StaticModeComputer, ScoresTheAngleByItsDeviationFromTheReferenceAngle) {
    struct Row {
        std::string name;
        double angle;  // rad, of the field from the acceleration's axis
        double score;
    };
    // the reference angle is 1 rad
    const Row rows[] = {{"none", 1.0, 1.0},
                        {"half of the largest", 1.0 + 0.3927, 0.5},
                        {"on the other side", 1.0 - 0.3927, 0.5},
                        {"the largest", 1.0 + 0.7854, 0.0},
                        {"beyond", 2.5, 0.0}};
    const auto fieldAt = [](double angle) { return Vector3(40 * std::sin(angle), 0, 40 * std::cos(angle)); };
    for (const Row& row : rows) {
        StaticModeComputer computer;
        EXPECT_EQ(computer.score(kDown, fieldAt(1.0))->angle, 1.0);
        EXPECT_NEAR(computer.score(kDown, fieldAt(row.angle))->angle, row.score, 1e-12) << row.name;
    }
    StaticModeComputer computer;
    computer.score(kDown, kNorth);
    EXPECT_TRUE(std::isnan(computer.score(Vector3(0, 0, 0), kNorth)->angle));  // no direction
    // the cosine is not clamped: this vector against itself gives 1 + 2e-16
    const Vector3 skew(0, 0, 0.1);
    EXPECT_TRUE(std::isnan(computer.score(skew, skew)->angle));
    EXPECT_NEAR(computer.score(kDown, Vector3(0, 0, 5))->angle, 0.0, 1e-15);  // while this gives 1 exactly
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
