#include "attitude/rotation/AbsoluteAttitudeComputer.h"

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/ExponentialMap.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Computer = AbsoluteAttitudeComputer;

// Eigen's own classes are the second method.
TEST(AbsoluteAttitudeComputer, AgreesWithEigenOnEveryHardRotation) {
    const Quaternion start(0.5, -0.5, 0.5, 0.5);
    for (const auto& c : rotationCases()) {
        SCOPED_TRACE(c.name);
        const Eigen::Matrix3d r = c.matrix();
        EXPECT_THAT(Computer::axisAngleToRotation(c.angle, c.axis), isNearMatrix(r, 1e-14));
        Quaternion q;
        ASSERT_TRUE(Computer::rotationToQuaternion(r, q));
        EXPECT_THAT(q, isSameRotationAs(r, 1e-12));
        EXPECT_THAT(quaternionToRotation(q), isNearMatrix(r, 1e-12));
        EXPECT_THAT(quaternionProduct(start, q), isSameRotationAs(toEigen(start).matrix() * r, 1e-12));
        EXPECT_THAT(rotate(start, c.axis), isNearMatrix(toEigen(start) * c.axis, 1e-14));
        const Quaternion turn = fromEigen(quaternionFromRotationVector(c.axis * c.angle));
        EXPECT_THAT(turn, isSameRotationAs(r, 1e-12));
        EXPECT_THAT(fromEigen(quaternionFromRotationVector(rotationVectorFromQuaternion(turn))),
                    isSameRotationAs(r, 1e-12));
        EXPECT_LE(rotationVectorFromQuaternion(turn).norm(), kPi + 1e-12);
        const Matrix3 frame = Computer::frameFromGravityAndField(r.transpose() * Vector3(0, 0, 9.81),
                                                                 r.transpose() * Vector3(20, 0, -40));
        EXPECT_THAT(frame, isNearMatrix(r, 1e-14));
        EXPECT_THAT(frame, isOrthonormal(1e-14));
    }
}

TEST(AbsoluteAttitudeComputer, MatrixToQuaternionTakesTheLargestDiagonalTermAndTheFirstOfEquals) {
    struct Row {
        const char* rule;
        Vector3 diagonal;
        Quaternion q;
    };
    const double half = std::sqrt(0.5);
    const Row rows[] = {
        {"half turn about x", {1, -1, -1}, {0, 1, 0, 0}},
        {"half turn about z", {-1, -1, 1}, {0, 0, 0, 1}},
        {"a trace of zero is not positive", {0, 0, 0}, {0, 0.5, 0, 0}},
        {"R00 = R11 takes x", {0, 0, -1}, {0, half, 0, 0}},
        {"R11 = R22 takes y", {-1, 0, 0}, {0, 0, half, 0}},
        {"R00 = R22 takes x", {0, -1, 0}, {0, half, 0, 0}},
    };
    for (const Row& row : rows) {
        Quaternion q;
        EXPECT_TRUE(Computer::rotationToQuaternion(Matrix3(row.diagonal.asDiagonal()), q)) << row.rule;
        EXPECT_THAT(q, isNearMatrix(row.q, 1e-15)) << row.rule;
    }
    Quaternion q(1, 2, 3, 4);
    EXPECT_FALSE(Computer::rotationToQuaternion(Matrix3::Constant(std::nan("")), q));
    EXPECT_EQ(q, Quaternion(1, 2, 3, 4)) << "left as it was";
}

TEST(AbsoluteAttitudeComputer, EulerOrdersFollowTheTable) {
    const Vector3 e(0.3, -0.7, 1.9);
    const Eigen::Matrix3d x = Eigen::AngleAxisd(e[2], Vector3::UnitX()).matrix();
    const Eigen::Matrix3d y = Eigen::AngleAxisd(e[1], Vector3::UnitY()).matrix();
    const Eigen::Matrix3d z = Eigen::AngleAxisd(e[0], Vector3::UnitZ()).matrix();
    const Eigen::Matrix3d set[] = {x * y * z, x * z * y, z * y * x, y * x * z, z * x * y, y * z * x};
    const Eigen::Matrix3d clear[] = {z * y * x, y * z * x, x * y * z, z * x * y, y * x * z, x * z * y};
    Matrix3 r;
    for (unsigned order = 0; order < 6; ++order) {
        Computer::eulerToRotation(order, true, e, r);
        EXPECT_THAT(r, isNearMatrix(set[order], 1e-15)) << order;
        Computer::eulerToRotation(order, false, e, r);
        EXPECT_THAT(r, isNearMatrix(clear[order], 1e-15)) << order;
    }
    r.setConstant(7);
    Computer::eulerToRotation(6, true, e, r);
    EXPECT_EQ(r, Matrix3::Constant(7));
}

TEST(AbsoluteAttitudeComputer, PartialFrameTurnsTheFieldByTheGainsShareOfTheWay) {
    const Vector3 u(0.2, -0.3, 9.5), v(18, 4, -41);
    const double between = Computer::safeAcos(Computer::cosAngleBetween(u, v));
    for (const double gain : {0.0, 0.25, 1.0}) {
        const Matrix3 frame = Computer::partialOrthogonalFrame(u, v, gain);
        EXPECT_THAT(frame, isOrthonormal(1e-14));
        const Vector3 turned = frame.row(0);
        EXPECT_NEAR(std::acos(turned.dot(u.normalized())), between + (kHalfPi - between) * gain, 1e-14);
        EXPECT_NEAR(turned.dot(u.cross(v).normalized()), 0, 1e-15) << "stays in the plane of u and v";
    }
    EXPECT_THAT(Computer::partialOrthogonalFrame(u, v, 1),
                isNearMatrix(Computer::frameFromGravityAndField(u, v), 1e-14));
}

TEST(AbsoluteAttitudeComputer, ShortVectorsAndAnglesAtTheirEdges) {
    const Vector3 atThreshold(6e-6, 8e-6, 0);
    ASSERT_EQ(atThreshold.squaredNorm(), kMinimumSquaredNorm);
    EXPECT_THAT(Computer::normalised(atThreshold), hasUnitNorm(1e-15));
    EXPECT_EQ(Computer::normalised({0.99e-5, 0, 0}), Vector3(0.99e-5, 0, 0)) << "used as it is";
    EXPECT_EQ(Computer::cosAngleBetween({0.5e-5, 0, 0}, {9, 0, 0}), 0.5e-5);
    EXPECT_EQ(Computer::safeAcos(1.0000000001), 0.0);
    EXPECT_EQ(Computer::safeAcos(-1.5), kPi);
    volatile double one = 1.0;
    EXPECT_EQ(kPi, 4.0 * std::atan(one)) << "the same bits as the definition";
    EXPECT_DOUBLE_EQ(Computer::unwrapAngle(0.1, 6.3), 0.1 + kTwoPi);
    EXPECT_EQ(Computer::unwrapAngle(kPi, 0), -kPi) << "half a turn away goes below the reference";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
