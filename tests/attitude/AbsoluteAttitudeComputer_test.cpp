#include "attitude/AbsoluteAttitudeComputer.h"

#include <cmath>
#include <limits>

#include "attitude/AngleConstants.h"
#include "attitude/QuaternionAlgebra.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"

namespace Kavelin::OrientationInternal {
namespace {

using Tests::isNearMatrix;
using Tests::isOrthonormal;
using Tests::isSameRotationAs;
using Tests::rotationCases;
using Computer = AbsoluteAttitudeComputer;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(AbsoluteAttitudeComputer, MatrixToQuaternionAgreesWithEigenOnEveryHardRotation) {
    for (const auto& c : rotationCases()) {
        SCOPED_TRACE(c.name);
        Quaternion q;
        ASSERT_TRUE(Computer::rotationToQuaternion(c.matrix(), q));
        EXPECT_THAT(q, Tests::hasUnitNorm());
        EXPECT_THAT(q, isSameRotationAs(c.matrix(), 1e-12));
        EXPECT_THAT(quaternionToRotation(q), isNearMatrix(c.matrix(), 1e-12));
        EXPECT_NEAR(Eigen::AngleAxisd(toEigen(q)).angle(), std::abs(Computer::unwrapAngle(c.angle, 0)), 1e-7);
    }
}

TEST(AbsoluteAttitudeComputer, AxisAngleAgreesWithEigenOnEveryHardRotation) {
    for (const auto& c : rotationCases()) {
        SCOPED_TRACE(c.name);
        const Matrix3 r = Computer::axisAngleToRotation(c.angle, c.axis);
        EXPECT_THAT(r, isOrthonormal(1e-14));
        EXPECT_THAT(r, isNearMatrix(c.matrix(), 1e-14));
    }
}

TEST(AbsoluteAttitudeComputer, QuaternionProductComposesLikeMatrices) {
    const auto cases = rotationCases();
    for (std::size_t i = 1; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        const Quaternion p = fromEigen(Eigen::Quaterniond(cases[i - 1].matrix()));
        const Quaternion q = fromEigen(Eigen::Quaterniond(cases[i].matrix()));
        const Eigen::Matrix3d pq = cases[i - 1].matrix() * cases[i].matrix();
        EXPECT_THAT(quaternionProduct(p, q), isSameRotationAs(pq, 1e-12));
    }
}

TEST(AbsoluteAttitudeComputer, QuaternionPropagationTurnsAboutTheRateInTheSensorFrame) {
    for (const auto& c : rotationCases()) {
        SCOPED_TRACE(c.name);
        const Quaternion start(0.5, -0.5, 0.5, 0.5);
        const double dt = 0.25;
        const Quaternion next = propagateQuaternion(start, c.axis * c.angle / dt, dt);
        const Eigen::Matrix3d expected = toEigen(start).toRotationMatrix() * c.matrix();
        EXPECT_THAT(next, isSameRotationAs(expected, 1e-12));
    }
}

// Branches of the matrix to quaternion conversion, told apart by the sign of the quaternion they give.
TEST(AbsoluteAttitudeComputer, MatrixToQuaternionTakesTheLargestDiagonalTermAndTheFirstOfEquals) {
    struct Row {
        const char* rule;
        Vector3 diagonal;
        Quaternion q;
    };
    const double half = std::sqrt(0.5);
    const Row rows[] = {
        {"half turn about x", {1, -1, -1}, {0, 1, 0, 0}},
        {"half turn about y", {-1, 1, -1}, {0, 0, 1, 0}},
        {"half turn about z", {-1, -1, 1}, {0, 0, 0, 1}},
        {"a trace of zero is not positive", {0, 0, 0}, {0, 0.5, 0, 0}},
        {"R00 = R11 takes x", {0, 0, -1}, {0, half, 0, 0}},
        {"R11 = R22 takes y", {-1, 0, 0}, {0, 0, half, 0}},
        {"R00 = R22 takes x", {0, -1, 0}, {0, half, 0, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.rule);
        Quaternion q = Quaternion::Constant(kNaN);
        EXPECT_TRUE(Computer::rotationToQuaternion(Matrix3(row.diagonal.asDiagonal()), q));
        EXPECT_THAT(q, isNearMatrix(row.q, 1e-15));
    }
}

TEST(AbsoluteAttitudeComputer, MatrixThatIsNotFiniteLeavesTheQuaternionAsItWas) {
    const double infinity = std::numeric_limits<double>::infinity();
    const Matrix3 rows[] = {Matrix3::Constant(kNaN), Matrix3::Constant(-infinity),
                            Matrix3(Vector3(0, kNaN, 0).asDiagonal())};
    for (const Matrix3& r : rows) {
        Quaternion q(1, 2, 3, 4);
        EXPECT_FALSE(Computer::rotationToQuaternion(r, q));
        EXPECT_EQ(q, Quaternion(1, 2, 3, 4));
    }
}

TEST(AbsoluteAttitudeComputer, EulerOrdersFollowTheTable) {
    const Vector3 e(0.3, -0.7, 1.9);
    const Eigen::Matrix3d x = Eigen::AngleAxisd(e[2], Vector3::UnitX()).matrix();
    const Eigen::Matrix3d y = Eigen::AngleAxisd(e[1], Vector3::UnitY()).matrix();
    const Eigen::Matrix3d z = Eigen::AngleAxisd(e[0], Vector3::UnitZ()).matrix();
    const Eigen::Matrix3d set[] = {x * y * z, x * z * y, z * y * x, y * x * z, z * x * y, y * z * x};
    const Eigen::Matrix3d clear[] = {z * y * x, y * z * x, x * y * z, z * x * y, y * x * z, x * z * y};
    for (unsigned order = 0; order < 6; ++order) {
        SCOPED_TRACE(order);
        Matrix3 r;
        Computer::eulerToRotation(order, true, e, r);
        EXPECT_THAT(r, isNearMatrix(set[order], 1e-15));
        Computer::eulerToRotation(order, false, e, r);
        EXPECT_THAT(r, isNearMatrix(clear[order], 1e-15));
    }
    Matrix3 untouched = Matrix3::Constant(7);
    Computer::eulerToRotation(6, true, e, untouched);
    Computer::eulerToRotation(~0U, false, e, untouched);
    EXPECT_EQ(untouched, Matrix3::Constant(7));
}

TEST(AbsoluteAttitudeComputer, FrameOfGravityAndFieldRecoversEveryHardRotation) {
    const Vector3 up(0, 0, 9.81);
    const Vector3 field(20, 0, -40);
    EXPECT_THAT(Computer::frameFromGravityAndField({0, 0, 9.81}, {0.2, 0, -0.4}),
                isNearMatrix(Matrix3::Identity(), 1e-15));
    for (const auto& c : rotationCases()) {
        SCOPED_TRACE(c.name);
        const Eigen::Matrix3d toSensor = c.matrix().transpose();
        const Matrix3 frame = Computer::frameFromGravityAndField(toSensor * up, toSensor * field);
        EXPECT_THAT(frame, isOrthonormal(1e-14));
        EXPECT_THAT(frame, isNearMatrix(c.matrix(), 1e-14));
    }
}

TEST(AbsoluteAttitudeComputer, ShortVectorsAreUsedAsTheyAre) {
    const Matrix3 parallel = Computer::frameFromGravityAndField({0, 0, 2}, {0, 0, -5});
    EXPECT_EQ(parallel, Matrix3(Vector3(0, 0, 1).asDiagonal()));
    EXPECT_EQ(Computer::frameFromGravityAndField({0, 0, 0}, {3, 0, 4}).row(2), Eigen::RowVector3d(0, 0, 0));
    const Vector3 atThreshold(6e-6, 8e-6, 0);
    ASSERT_EQ(atThreshold.squaredNorm(), kMinimumSquaredNorm);
    EXPECT_THAT(Computer::normalised(atThreshold), Tests::hasUnitNorm(1e-15));
    EXPECT_EQ(Computer::normalised({0.99e-5, 0, 0}), Vector3(0.99e-5, 0, 0));
    EXPECT_EQ(Computer::cosAngleBetween({0.5e-5, 0, 0}, {9, 0, 0}), 0.5e-5);
}

TEST(AbsoluteAttitudeComputer, PartialFrameTurnsTheFieldByTheGainsShareOfTheWay) {
    const Vector3 u(0.2, -0.3, 9.5);
    const Vector3 v(18, 4, -41);
    const double between = Computer::safeAcos(Computer::cosAngleBetween(u, v));
    for (const double gain : {0.0, 0.25, 0.5, 1.0}) {
        SCOPED_TRACE(gain);
        const Matrix3 frame = Computer::partialOrthogonalFrame(u, v, gain);
        EXPECT_THAT(frame, isOrthonormal(1e-14));
        const Vector3 turned = frame.row(0);
        EXPECT_NEAR(std::acos(turned.dot(u.normalized())), between + (kHalfPi - between) * gain, 1e-14);
        EXPECT_NEAR(turned.dot(u.cross(v).normalized()), 0, 1e-15) << "stays in the plane of u and v";
    }
    EXPECT_THAT(Computer::partialOrthogonalFrame(u, v, 1),
                isNearMatrix(Computer::frameFromGravityAndField(u, v), 1e-14));
}

TEST(AbsoluteAttitudeComputer, AnglesAtTheirEdges) {
    EXPECT_EQ(Computer::safeAcos(1.0000000001), 0.0);
    EXPECT_EQ(Computer::safeAcos(-1.5), kPi);
    EXPECT_EQ(Computer::safeAcos(0.0), std::acos(0.0));
    EXPECT_DOUBLE_EQ(Computer::unwrapAngle(0.1, 6.3), 0.1 + kTwoPi);
    EXPECT_EQ(Computer::unwrapAngle(kPi, 0), -kPi) << "half a turn away goes below the reference";
    EXPECT_EQ(Computer::unwrapAngle(-kPi, 0), -kPi);
    EXPECT_DOUBLE_EQ(Computer::unwrapAngle(1, -20), 1 - 3 * kTwoPi);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
