#include "orientation/detection/OrientationQualityComputer.h"

#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(OrientationQualityComputer, JudgesANormByItsRelativeErrorEqualityIncluded) {
    struct Row {
        std::string name;
        double reference, current, verdict;
    };
    const Row rows[] = {{"the reference itself", 10, 10, 1.0},
                        {"at the tolerance", 10, 11, 1.0},
                        {"beyond it", 10, 11.1, 0.0},
                        {"at the tolerance below", 10, 9, 1.0},
                        {"below it", 10, 8.9, 0.0},
                        {"the zero reference itself", 0, 0, 0.0},
                        {"against a zero reference", 0, 1, 0.0},
                        {"not a number", 10, kNaN, 0.0},
                        {"against a reference that is not a number", kNaN, 10, 0.0},
                        {"infinite against infinite", kInfinity, kInfinity, 0.0}};
    for (const Row& row : rows) {
        OrientationQualityComputer computer;
        computer.judgeAcceleration(Vector3(0, row.reference, 0), 0.1);
        computer.judgeField(Vector3(row.reference, 0, 0), 0.1);
        EXPECT_EQ(computer.judgeAcceleration(Vector3(0, 0, row.current), 0.1), row.verdict) << row.name;
        EXPECT_EQ(computer.judgeField(Vector3(0, row.current, 0), 0.1), row.verdict) << row.name;
    }
    OrientationQualityComputer first;
    EXPECT_EQ(first.judgeAcceleration(Vector3(3, 4, 0), 0.0), 1.0);  // becomes the reference
}

TEST(OrientationQualityComputer, RenewsEachReferenceOnItsOwn) {
    OrientationQualityComputer computer;
    computer.judgeAcceleration(Vector3(0, 0, 10), 0.1);
    computer.judgeField(Vector3(40, 0, 0), 0.1);
    computer.requestReference();
    EXPECT_EQ(computer.judgeAcceleration(Vector3(0, 0, 20), 0.1), 1.0);
    EXPECT_EQ(computer.judgeAcceleration(Vector3(0, 0, 10), 0.1), 0.0);
    EXPECT_EQ(computer.judgeField(Vector3(80, 0, 0), 0.1), 1.0);  // its request stood until a field came
    EXPECT_EQ(computer.judgeField(Vector3(40, 0, 0), 0.1), 0.0);
}

TEST(OrientationQualityComputer, CallsARateSaturatedStrictlyAboveTheLimitOnAnyAxis) {
    for (int axis = 0; axis < 3; ++axis) {
        const Vector3 limit = 1120 * Vector3::Unit(axis);
        for (const double sign : {1.0, -1.0}) {
            EXPECT_EQ(OrientationQualityComputer::judgeRate(sign * limit, 1120), 1.0) << axis;
            EXPECT_EQ(OrientationQualityComputer::judgeRate(sign * 1.001 * limit, 1120), 0.0) << axis;
        }
    }
    EXPECT_EQ(OrientationQualityComputer::judgeRate({kNaN, 2000, 0}, 1120), 0.0);
    EXPECT_EQ(OrientationQualityComputer::judgeRate(Vector3::Constant(kNaN), 1120), 1.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
