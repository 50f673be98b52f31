#include "attitude/agm/ProblemAGM_v8.h"

#include <Eigen/Geometry>

#include "support/Estimators.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Vector6d = Eigen::Matrix<double, 6, 1>;

// A Jacobian as the model fills it.
template <int R>
struct Rows {
    double elements[R][4] = {};
    double* pointers[R];
    Rows() {
        for (int i = 0; i < R; ++i) pointers[i] = elements[i];
    }
};

Vector6d predicted(ProblemAGM_v8& problem, const Eigen::Vector4d& q) {
    Vector6d h;
    problem.measurement(q.data(), 1, h.data(), nullptr, nullptr);
    return h;
}

TEST(ProblemAGM_v8, PredictsBothSensorsAndTheirDerivative) {
    std::mt19937 engine(1);
    std::normal_distribution<double> normal;
    for (int k = 0; k < 20; ++k) {
        Eigen::Vector4d q;
        Vector6d reference, h;
        for (double& x : q) x = normal(engine);
        for (double& x : reference) x = normal(engine);
        q.normalize();
        ProblemAGM_v8 problem;
        problem.measurement(reference.data(), 0, nullptr, nullptr, nullptr);
        Rows<6> H;
        problem.measurement(q.data(), 2, h.data(), H.pointers, nullptr);
        const Eigen::Matrix3d A = toEigen(q).toRotationMatrix().transpose();
        EXPECT_LT((h.head<3>() - A * reference.head<3>()).norm(), 1e-14) << "no sign is changed";
        EXPECT_LT((h.tail<3>() - A * reference.tail<3>()).norm(), 1e-14);
        for (int i = 0; i < 4; ++i) {
            const Eigen::Vector4d step = 1e-5 * Eigen::Vector4d::Unit(i);
            const Vector6d slope = (predicted(problem, q + step) - predicted(problem, q - step)) / 2e-5;
            for (int r = 0; r < 6; ++r) EXPECT_NEAR(H.elements[r][i], slope[r], 1e-9);
        }
    }
}

TEST(ProblemAGM_v8, ASensorLeftOutHasNoRows) {
    const Vector6d reference = (Vector6d() << 1, 2, 3, 4, 5, 6).finished();
    const Eigen::Vector4d q = Eigen::Vector4d(1, 2, 3, 4).normalized();
    ProblemAGM_v8 problem;
    problem.measurement(reference.data(), 0, nullptr, nullptr, nullptr);
    for (const bool acc : {true, false}) {
        problem.measureWith(acc, !acc);
        Vector6d h;
        Rows<6> H;
        for (auto& row : H.elements) std::fill_n(row, 4, 7.0);
        problem.measurement(q.data(), 2, h.data(), H.pointers, nullptr);
        const int out = acc ? 3 : 0;
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(h[out + i], 0.0);
            for (int k = 0; k < 4; ++k) EXPECT_EQ(H.elements[out + i][k], 0.0);
            EXPECT_NE(h[3 - out + i], 0.0);
        }
    }
}

TEST(ProblemAGM_v8, TransitionIsItsOwnJacobian) {
    for (const double rate : {0.0, 1e-9, 0.5, 40.0, 2000.0}) {
        const double dt = 0.01;
        const Eigen::Vector3d w = rate * Eigen::Vector3d(0.6, -0.64, 0.48);
        const Eigen::Vector4d q = Eigen::Vector4d(0.3, -0.1, 0.8, 0.5).normalized();
        Eigen::Vector4d x = q;
        Rows<4> F;
        const double* const u[2] = {&dt, w.data()};
        ProblemAGM_v8 problem;
        problem.transition(x.data(), 4, 2, F.pointers, nullptr, u);
        const Eigen::Quaterniond turned =
            toEigen(q) * Eigen::Quaterniond(Eigen::AngleAxisd(rate * dt, Eigen::Vector3d(0.6, -0.64, 0.48)));
        EXPECT_LT((x - fromEigen(turned)).norm(), 1e-14) << rate;
        const Eigen::Map<Eigen::Matrix<double, 4, 4, Eigen::RowMajor>> Phi(&F.elements[0][0]);
        EXPECT_LT((Phi * q - x).norm(), 1e-14) << rate;
        EXPECT_LT((Phi * Phi.transpose() - Eigen::Matrix4d::Identity()).norm(), 1e-14) << rate;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
