#include "attitude/solver/KalmanSolver.h"

#include <Eigen/Dense>

#include "attitude/agm/ProblemAGM.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Column = Eigen::VectorXd;

void copyTo(double* const* rows, const Matrix& matrix) {
    for (int i = 0; i < matrix.rows(); ++i) {
        for (int k = 0; k < matrix.cols(); ++k) rows[i][k] = matrix(i, k);
    }
}

/// x := F x, h = H x, with noise Jacobians or without.
class LinearProblem : public Problem {
public:
    LinearProblem(Matrix F, Matrix H) : F_(std::move(F)), H_(std::move(H)) {}
    Matrix initialState() const override { return {}; }
    Matrix initialCovariance() const override { return {}; }
    Matrix auxVector1() const override { return {}; }
    Matrix auxVector2() const override { return {}; }
    Matrix auxVector3() const override { return {}; }
    bool readSettings(const std::string&, bool) override { return false; }

    int transition(double* x, int, int mode, double* const* F, double* const* G,
                   const double* const*) override {
        calls += "t" + std::to_string(mode);
        if (mode < 1) return 0;
        Eigen::Map<Column> state(x, F_.rows());
        state = (F_ * state).eval();
        copyTo(F, F_);
        copyTo(G, processG);
        return processG.size() > 0 ? 1 : 0;
    }

    int measurement(const double* v, int mode, double* h, double* const* H, double* const* G) override {
        calls += "m" + std::to_string(mode);
        if (mode == 0) reference = v[0];
        if (mode < 1) return 0;
        Eigen::Map<Column>(h, H_.rows()) = H_ * Eigen::Map<const Column>(v, H_.cols());
        copyTo(H, H_);
        copyTo(G, measurementG);
        return measurementG.size() > 0 ? -1 : 0;  // any status but 0 counts
    }

    const Matrix& F() const { return F_; }
    const Matrix& H() const { return H_; }
    Matrix processG, measurementG;  // empty: status 0
    std::string calls;
    double reference = 0.0;

private:
    Matrix F_, H_;
};

/// One case of a linear problem: plain values in, and the solver's answer to them.
struct Case {
    Matrix F, H, S, rootQ, rootR, processG, measurementG;
    Column x, z;
};

struct Answer {
    Column x;
    Matrix P, S;
    Column innovation;
};

std::vector<double*> rowsOf(Matrix& matrix) {
    std::vector<double*> rows;
    for (int i = 0; i < matrix.rows(); ++i) rows.push_back(matrix.row(i).data());
    return rows;
}

Answer solve(Case c, int started = 1, LinearProblem* observed = nullptr) {
    LinearProblem problem(c.F, c.H);
    problem.processG = c.processG;
    problem.measurementG = c.measurementG;
    LinearProblem& model = observed != nullptr ? *observed : problem;
    KalmanSolver solver(&model);
    const int n = static_cast<int>(c.x.size());
    const int m = static_cast<int>(c.z.size());
    solver.init(n, m);
    const auto S = rowsOf(c.S), rootQ = rowsOf(c.rootQ), rootR = rowsOf(c.rootR);
    const Column zref = Column::Constant(m, 7.0);
    Column innovation = Column::Constant(m, 99.0);
    solver.step({.n = n,
                 .m = m,
                 .x = c.x.data(),
                 .S = S.data(),
                 .rootQ = rootQ.data(),
                 .rootR = rootR.data(),
                 .z = c.z.data(),
                 .zref = zref.data(),
                 .u = nullptr,
                 .started = started,
                 .innovation = innovation.data()});
    return {c.x, c.S.transpose() * c.S, c.S, innovation};
}

/// The same step by covariances, the gain from an inverse.
Answer solveNaively(const Case& c) {
    const Matrix rootQ = c.processG.size() > 0 ? Matrix(c.rootQ * c.processG.transpose()) : c.rootQ;
    const Matrix rootR = c.measurementG.size() > 0 ? Matrix(c.rootR * c.measurementG.transpose()) : c.rootR;
    const Column x = c.F * c.x;
    const Matrix P = c.F * c.S.transpose() * c.S * c.F.transpose() + rootQ.transpose() * rootQ;
    const Matrix innovationCovariance = c.H * P * c.H.transpose() + rootR.transpose() * rootR;
    const Matrix K = P * c.H.transpose() * innovationCovariance.inverse();
    const Column innovation = c.z - c.H * x;
    return {x + K * innovation, P - K * c.H * P, {}, innovation};
}

class Randomly {
public:
    explicit Randomly(unsigned seed) : engine_(seed) {}
    Matrix matrix(int rows, int cols) {
        return Matrix::NullaryExpr(rows, cols, [this] { return normal_(engine_); });
    }
    Matrix diagonal(int size) { return matrix(size, 1).col(0).asDiagonal().toDenseMatrix(); }
    Case linear(int n, int m) {
        return {matrix(n, n), matrix(m, n), matrix(n, n).triangularView<Eigen::Upper>(),
                diagonal(n),  diagonal(m),  {},
                {},           matrix(n, 1), matrix(m, 1)};
    }

private:
    std::mt19937 engine_;
    std::normal_distribution<double> normal_;
};

constexpr int kSizes[][2] = {{1, 1}, {1, 4}, {3, 2}, {4, 6}, {4, 3}, {6, 4}, {5, 5}, {2, 7}, {9, 3}};

void expectClose(const Answer& a, const Answer& b, double tolerance) {
    EXPECT_LT((a.x - b.x).cwiseAbs().maxCoeff(), tolerance * (1 + b.x.cwiseAbs().maxCoeff()));
    EXPECT_LT((a.P - b.P).cwiseAbs().maxCoeff(), tolerance * (1 + b.P.cwiseAbs().maxCoeff()));
    EXPECT_EQ(a.innovation.size(), b.innovation.size());
    EXPECT_LT((a.innovation - b.innovation).cwiseAbs().maxCoeff(), tolerance);
}

TEST(KalmanSolver, agreesWithACovarianceFilter) {
    for (const auto& [n, m] : kSizes) {
        for (unsigned seed = 1; seed <= 8; ++seed) {
            SCOPED_TRACE(testing::Message() << n << " states, " << m << " measurements, seed " << seed);
            Randomly random(seed);
            Case c = random.linear(n, m);
            expectClose(solve(c), solveNaively(c), 1e-10);
            for (Matrix Case::*noise : {&Case::processG, &Case::measurementG}) {
                Case other = c;  // a noise Jacobian counts with diagonal roots as well
                other.*noise =
                    random.matrix(noise == &Case::processG ? n : m, noise == &Case::processG ? n : m);
                expectClose(solve(other), solveNaively(other), 1e-10);
            }
            c.rootQ = random.matrix(n, n);
            c.S = random.matrix(n, n);  // any factor of P will do
            expectClose(solve(c), solveNaively(c), 1e-10);
            c.rootR = random.matrix(m, m);
            expectClose(solve(c), solveNaively(c), 1e-10);
            c.processG = random.matrix(n, n);
            expectClose(solve(c), solveNaively(c), 1e-10);
            c.measurementG = random.matrix(m, m);
            expectClose(solve(c), solveNaively(c), 1e-10);
        }
    }
}

// A noise root a hair from diagonal takes the general path: the two must agree to rounding.
TEST(KalmanSolver, shortPathAgreesWithTheGeneralOne) {
    constexpr double kHair = 1e-200;
    for (unsigned seed = 1; seed <= 50; ++seed) {
        SCOPED_TRACE(seed);
        Randomly random(seed);
        Case c = random.linear(4, 6);
        if (seed % 2 == 0) c.S = random.matrix(4, 4);
        if (seed % 3 == 0) c.rootR(1, 1) = 0.0;
        if (seed % 5 == 0) c.rootQ.setZero();
        if (seed % 7 == 0) c.S *= 1e-12;  // the prior is far surer than the sensors
        if (seed % 11 == 0 && seed % 3 != 0) c.H *= 1e-160;
        Case general = c;
        general.rootQ(0, 1) = general.rootR(1, 0) = kHair;
        expectClose(solve(c), solve(general), 1e-13);
    }
}

TEST(KalmanSolver, anyElementOffTheDiagonalTakesTheGeneralPath) {
    for (int element = 0; element < 36; ++element) {
        Case c = Randomly(3).linear(4, 6);
        c.rootR(element / 6, element % 6) += 0.5;
        if (element < 16) c.rootQ(element / 4, element % 4) += 0.5;
        expectClose(solve(c), solveNaively(c), 1e-10);
    }
}

TEST(KalmanSolver, withoutNoise) {
    for (const double offDiagonal : {0.0, 1e-300}) {  // the short path and the general one
        Case c = Randomly(8).linear(4, 6);
        c.S.setZero();
        c.rootQ.setZero();
        c.rootQ(0, 1) = offDiagonal;
        EXPECT_LT(solve(c).S.norm(), 1e-200);
        EXPECT_LT((solve(c).x - c.F * c.x).norm(), 1e-200);
        // Deliberate: nothing guards a singular innovation covariance; the owner of the state sees that it
        // is not finite.
        c = Randomly(6).linear(4, 6);
        c.H.setZero();
        c.rootR.setZero();
        c.rootR(2, 3) = offDiagonal;
        EXPECT_TRUE(solve(c).x.hasNaN());
    }
}

TEST(KalmanSolver, startedFlag) {
    Randomly random(2);
    const Case c = random.linear(3, 2);
    const struct {
        int started;
        const char* calls;
        double reference;
    } rows[] = {{-1, "", 0.0}, {0, "t0m0t2m2", 7.0}, {1, "t2m2", 0.0}, {5, "t2m2", 0.0}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.started);
        LinearProblem problem(c.F, c.H);
        const Answer answer = solve(c, row.started, &problem);
        EXPECT_EQ(problem.calls, row.calls);
        EXPECT_EQ(problem.reference, row.reference);
        if (row.started < 0) {
            EXPECT_EQ(answer.x, c.x);
            EXPECT_EQ(answer.S, c.S);
            EXPECT_EQ(answer.innovation, Column::Constant(2, 99.0));
        }
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
