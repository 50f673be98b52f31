#include "attitude/agm/ProblemAGM.h"

#include <Eigen/Dense>

#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Matrix4d;
using Eigen::Vector3d;
using Eigen::Vector4d;
using Vector6d = Eigen::Matrix<double, 6, 1>;

template <int Rows>
struct Buffer {
    Eigen::Matrix<double, Rows, 4, Eigen::RowMajor> elements = decltype(elements)::Constant(-99.0);
    double* rows[Rows];
    Buffer() {
        for (int i = 0; i < Rows; ++i) rows[i] = elements.row(i).data();
    }
    Buffer(const Buffer&) = delete;
};

struct Moved {
    Vector4d x;
    Matrix4d F;
};

Moved move(ProblemAGM& problem, Vector4d x, double dt, const Vector3d& rate, int mode = 2,
           double heldInF = 0.0) {
    Buffer<4> F;
    F.elements = heldInF * Matrix4d::Identity();
    const double* u[2] = {&dt, rate.data()};
    EXPECT_EQ(problem.transition(x.data(), 4, mode, F.rows, nullptr, u), 0);
    return {x, F.elements};
}

Matrix4d rateMatrix(const Vector3d& w) {
    Matrix4d omega;
    omega << 0, -w.x(), -w.y(), -w.z(), w.x(), 0, w.z(), -w.y(), w.y(), -w.z(), 0, w.x(), w.z(), w.y(),
        -w.x(), 0;
    return omega;
}

Vector6d predict(ProblemAGM& problem, const Vector4d& q) {
    Vector6d h;
    problem.measurement(q.data(), 1, h.data(), nullptr, nullptr);
    return h;
}

// Against the exponential's series, which needs no branch, from far below the limit 2^-27 of the half angle
// to a turn.
TEST(ProblemAGM, transitionAgreesWithTheSeriesOnBothSidesOfTheSmallAngle) {
    const Vector3d axis = Vector3d(1, -2, 0.5).normalized();
    const Vector4d q = Vector4d(0.1, -0.4, 0.2, 0.7).normalized();
    for (const double theta : {0.0, 1e-12, 0.999 * 0x1p-27, 1.001 * 0x1p-27, 1e-6, 0.01, 1.0, 3.0}) {
        SCOPED_TRACE(theta);
        const double dt = 0.01;
        const Matrix4d exponent = rateMatrix(theta * axis);
        Matrix4d phi = Matrix4d::Identity(), term = Matrix4d::Identity();
        for (int k = 1; k < 40; ++k) phi += term = (term * exponent / k).eval();
        ProblemAGM problem;
        const Moved moved = move(problem, q, dt, 2 * theta / dt * axis);
        EXPECT_LT((moved.x - phi * q).norm(), 4e-15);
        EXPECT_NEAR(moved.x.norm(), 1.0, 1e-15);
        EXPECT_LT((moved.F - (Matrix4d::Identity() + exponent)).norm(), 4e-15)
            << "to first order, whatever the angle";
    }
}

// Deliberate: time that runs backwards has a theta below the limit,
// so the first-order matrix moves the state.
TEST(ProblemAGM, transitionBackwardsIsOfFirstOrder) {
    ProblemAGM problem;
    const Moved moved = move(problem, {1, 0, 0, 0}, -1.0, {2, 0, 0});
    EXPECT_TRUE(moved.x.isApprox(Vector4d(1, -1, 0, 0).normalized(), 1e-15));
}

TEST(ProblemAGM, transitionModes) {
    ProblemAGM problem;
    const Vector4d q(0.6, 0, 0.8, 0);
    for (const int mode : {-1, 0}) {
        const Moved moved = move(problem, q, 1.0, {1, 0, 0}, mode, 5.0);
        EXPECT_EQ(moved.x, q);
        EXPECT_EQ(moved.F, Matrix4d(5.0 * Matrix4d::Identity()));
    }
    const Moved moved = move(problem, q, 1.0, {1, 0, 0}, 1, 5.0);
    EXPECT_EQ(moved.F, Matrix4d(5.0 * Matrix4d::Identity()));
    EXPECT_EQ(moved.x, move(problem, q, 1.0, {1, 0, 0}, 2).x);
    // Deliberate: in mode 1 a small angle moves by what the caller's buffer last held.
    EXPECT_TRUE(move(problem, q, 1.0, {0, 0, 0}, 1, 5.0).x.isApprox(q, 1e-15));
    EXPECT_TRUE(move(problem, q, 1.0, {0, 0, 0}, 1, 0.0).x.hasNaN());
}

// Deliberate: the model negates the accelerometer's reference, and that one only.
TEST(ProblemAGM, measurementTakesReferences) {
    ProblemAGM problem;
    const Vector6d reference{0, 0, 9.81, 20, 1, -40};
    EXPECT_EQ(problem.measurement(reference.data(), 0, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(predict(problem, {1, 0, 0, 0}), (Vector6d{0, 0, -9.81, 20, 1, -40}));
    EXPECT_EQ(problem.measurement(nullptr, -1, nullptr, nullptr, nullptr), 0);
}

TEST(ProblemAGM, measurementJacobianAgreesWithDifferences) {
    std::mt19937 engine(4);
    std::normal_distribution<double> normal;
    for (int trial = 0; trial < 20; ++trial) {
        ProblemAGM problem;
        const Vector6d reference = Vector6d::NullaryExpr([&] { return 10 * normal(engine); });
        problem.measurement(reference.data(), 0, nullptr, nullptr, nullptr);
        const Vector4d q = Vector4d::NullaryExpr([&] { return normal(engine); });  // of any length
        Buffer<6> H;
        Vector6d h;
        problem.measurement(q.data(), 2, h.data(), H.rows, nullptr);
        EXPECT_EQ(h, predict(problem, q));
        for (int k = 0; k < 4; ++k) {
            const Vector4d step = 1e-5 * Vector4d::Unit(k);
            const Vector6d difference = (predict(problem, q + step) - predict(problem, q - step)) / 2e-5;
            EXPECT_LT((H.elements.col(k) - difference).norm(), 1e-7) << "column " << k;
        }
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
