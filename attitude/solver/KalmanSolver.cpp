#include "attitude/solver/KalmanSolver.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "attitude/solver/DiagonalNoiseSteps.h"

namespace Kavelin::OrientationInternal {

void KalmanSolver::Rows::allocate(int rows, int cols) {
    elements_.assign(static_cast<size_t>(rows) * static_cast<size_t>(cols), 0.0);
    pointers_.clear();
    for (int row = 0; row < rows; ++row) pointers_.push_back(elements_.data() + row * cols);
}

KalmanSolver::KalmanSolver(Problem* problem) : problem_(problem) {}

void KalmanSolver::init(int n, int m) {
    const int big = std::max(n, m);
    n_ = n;
    m_ = m;
    W_.allocate(big + n + 2, n + m);
    J_.allocate(big + 1, big);
    G_.allocate(big, big);
    zPred_.assign(static_cast<size_t>(m), 0.0);
    col_.assign(static_cast<size_t>(big + n), 0.0);
    d_.assign(static_cast<size_t>(big + n), 0.0);
}

void KalmanSolver::step(const KalmanStep& step) {
    if (step.started < 0) return;
    assert(step.n >= 1 && step.m >= 1 && step.n <= n_ && step.m <= m_);
    if (step.started == 0) {
        problem_->transition(step.x, step.n, 0, J_.get(), G_.get(), step.u);
        problem_->measurement(step.zref, 0, zPred_.data(), J_.get(), G_.get());
    }
    if (step.n == 4 && step.m == 6) return stepOfSize<4, 6>(step);
    predict(step);
    correct(step);
}

void KalmanSolver::predict(const KalmanStep& step) {
    const int status = problem_->transition(step.x, step.n, 2, J_.get(), G_.get(), step.u);
    triangularisePrediction(step, status);
}

void KalmanSolver::correct(const KalmanStep& step) {
    const int status = problem_->measurement(step.x, 2, zPred_.data(), J_.get(), G_.get());
    takeInnovation(step);
    triangulariseCorrection(step, status);
}

// The same two halves, each by the short way where its noise is diagonal.
template <int N, int M>
void KalmanSolver::stepOfSize(const KalmanStep& step) {
    int status = problem_->transition(step.x, N, 2, J_.get(), G_.get(), step.u);
    if (status == 0 && isDiagonal<N>(step.rootQ)) {
        predictDiagonal<N>(J_.get(), step.rootQ, step.S);
    } else {
        triangularisePrediction(step, status);
    }
    status = problem_->measurement(step.x, 2, zPred_.data(), J_.get(), G_.get());
    takeInnovation(step);
    if (status == 0 && isDiagonal<M>(step.rootR)) {
        correctDiagonal<N, M>(J_.get(), step.rootR, d_.data(), step.S, step.x);
    } else {
        triangulariseCorrection(step, status);
    }
}

void KalmanSolver::takeInnovation(const KalmanStep& step) {
    for (int k = 0; k < step.m; ++k) d_[static_cast<size_t>(k)] = step.z[k] - zPred_[static_cast<size_t>(k)];
    std::copy_n(d_.data(), step.m, step.innovation);
}

// S := R1, from the block of rootQ G^T above S F^T.
void KalmanSolver::triangularisePrediction(const KalmanStep& step, int status) {
    const int n = step.n;
    fillNoise(n, step.rootQ, status != 0);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < n; ++k) {
            double sum = 0.0;
            for (int j = 0; j < n; ++j) sum += step.S[i][j] * J_[k][j];
            W_[n + i][k] = sum;
        }
    }
    reflect(2 * n, n, n);
    for (int i = 0; i < n; ++i) std::copy_n(W_[i], n, step.S[i]);
}

// x and S, from the block of rootR G^T and 0 above S H^T and S.
void KalmanSolver::triangulariseCorrection(const KalmanStep& step, int status) {
    const int n = step.n;
    const int m = step.m;
    fillNoise(m, step.rootR, status != 0);
    for (int i = 0; i < m; ++i) std::fill_n(W_[i] + m, n, 0.0);
    for (int i = 0; i < n; ++i) {
        for (int k = 0; k < m; ++k) {
            double sum = 0.0;
            for (int j = 0; j < n; ++j) sum += step.S[i][j] * J_[k][j];
            W_[m + i][k] = sum;
        }
        std::copy_n(step.S[i], n, W_[m + i] + m);
    }
    reflect(m + n, m + n, m);
    moveState(step);
    for (int i = 0; i < n; ++i) std::copy_n(W_[m + i] + m, n, step.S[i]);
}

// The first `size` rows and columns of W: a noise root, times the transpose of the noise Jacobian
// where there is one.
void KalmanSolver::fillNoise(int size, const double* const* root, bool withJacobian) {
    for (int i = 0; i < size; ++i) {
        if (!withJacobian) {
            std::copy_n(root[i], size, W_[i]);
            continue;
        }
        for (int k = 0; k < size; ++k) {
            double sum = 0.0;
            for (int j = 0; j < size; ++j) sum += root[i][j] * G_[k][j];
            W_[i][k] = sum;
        }
    }
}

// Householder reflections of the first `pivots` columns of W, each from its diagonal element down. The sign
// of sigma is against that of the diagonal element, so that their difference loses no digits.
void KalmanSolver::reflect(int rows, int cols, int pivots) {
    double* const v = col_.data();
    for (int j = 0; j < pivots; ++j) {
        double squares = 0.0;
        for (int i = j; i < rows; ++i) {
            v[i] = W_[i][j];
            squares += v[i] * v[i];
        }
        if (squares == 0.0) continue;
        const double sigma = v[j] > 0.0 ? -std::sqrt(squares) : std::sqrt(squares);
        v[j] -= sigma;
        const double scale = 1.0 / (v[j] * sigma);
        W_[j][j] = sigma;
        for (int i = j + 1; i < rows; ++i) W_[i][j] = 0.0;
        for (int k = j + 1; k < cols; ++k) {
            double dot = 0.0;
            for (int i = j; i < rows; ++i) dot += v[i] * W_[i][k];
            dot *= scale;
            for (int i = j; i < rows; ++i) W_[i][k] += dot * v[i];
        }
    }
}

// x += V^T U^-T d, one component after the other: U y = the component's column of V, then y . d.
void KalmanSolver::moveState(const KalmanStep& step) {
    const int m = step.m;
    double* const y = col_.data();
    const double* const d = d_.data();
    for (int i = 0; i < step.n; ++i) {
        double dot = 0.0;
        for (int k = m - 1; k >= 0; --k) {
            double rest = W_[k][m + i];
            for (int j = k + 1; j < m; ++j) rest -= W_[k][j] * y[j];
            y[k] = rest / W_[k][k];
            dot += y[k] * d[k];
        }
        step.x[i] += dot;
    }
}

}  // namespace Kavelin::OrientationInternal
