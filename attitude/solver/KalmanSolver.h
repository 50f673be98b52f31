#pragma once

#include <vector>

#include "attitude/solver/Problem.h"

namespace Kavelin::OrientationInternal {

/// What one step of the solver works on. The caller owns every array; a matrix is an array of row pointers.
struct KalmanStep {
    int n = 0;                             // state dimension
    int m = 0;                             // measurement dimension
    double* x = nullptr;                   // state, n values; updated in place
    double* const* S = nullptr;            // n x n, P = S^T S; updated in place
    const double* const* rootQ = nullptr;  // n x n, Q = rootQ^T rootQ
    const double* const* rootR = nullptr;  // m x m, R = rootR^T rootR
    const double* z = nullptr;             // measurement, m values
    const double* zref = nullptr;          // references, m values; read when `started` is 0
    const double* const* u = nullptr;      // input, handed to the model as it is
    int started = 1;                       // 0: the model takes its references first; below 0: do nothing
    double* innovation = nullptr;          // receives z minus the predicted measurement, m values
};

/// Extended Kalman filter in square-root form for any `Problem`. It keeps workspace only: state and factor
/// stay with the caller, so a step can be replayed from plain values.
/// Covariances are never formed, nor inverted.
///
/// Prediction. With F the transition's Jacobian and T an orthogonal matrix (Householder reflections),
///
///         [ rootQ G^T ]   [ R1 ]
///       T [           ] = [    ]     hence  R1^T R1 = F P F^T + G Q G^T ,   S := R1 upper triangular,
///         [  S F^T    ]   [ 0  ]
///
/// for T keeps every product of two columns. G is left out when the model's status is 0.
///
/// Correction. With H the measurement's Jacobian and T reflecting the first m columns only,
///
///         [ rootR G^T   0 ]   [ U   V  ]           U^T U   = H P H^T + R
///       T [               ] = [        ]   hence   U^T V   = H P
///         [   S H^T     S ]   [ 0   S+ ]           S+^T S+ = P - V^T V
///
/// and with K = P H^T (H P H^T + R)^-1 = V^T U^-T the state moves by K d = V^T U^-T d for the innovation d:
/// one triangular system for each state component. Signs of the rows of [U V] cancel in it, so that any sign
/// convention of the reflections gives the same state and the same S+^T S+.
///
/// Steps of 4 states with 6 measurements and diagonal noise roots take a path with sizes known to the
/// compiler (`DiagonalNoiseSteps.h`); the two agree to rounding.
///
/// Nothing is guarded: a zero on the diagonal of U makes the state not finite, and the caller decides what to
/// do. One thread at a time. Source: Kaminski, Bryson & Schmidt, IEEE Trans. Automatic Control 16(6), 1971;
/// Householder, J. ACM 5(4), 1958.
class KalmanSolver {
public:
    /// Binds the solver to a model, which must outlive it. Allocates nothing.
    explicit KalmanSolver(Problem* problem);

    /// Sets the dimensions and allocates the workspace, all zero; releases what was allocated before.
    void init(int n, int m);

    /// Runs one prediction and one correction. Never allocates, never throws. Deliberate: nothing is checked
    /// in a release build; dimensions below 1, or larger than those of `init`, are undefined behaviour.
    void step(const KalmanStep& step);

private:
    // A zeroed matrix with an array of pointers to its rows.
    class Rows {
    public:
        void allocate(int rows, int cols);
        double* const* get() const { return pointers_.data(); }
        double* operator[](int row) const { return pointers_[static_cast<size_t>(row)]; }

    private:
        std::vector<double> elements_;
        std::vector<double*> pointers_;
    };

    void predict(const KalmanStep& step);
    void correct(const KalmanStep& step);
    template <int N, int M>
    void stepOfSize(const KalmanStep& step);
    void triangularisePrediction(const KalmanStep& step, int status);
    void triangulariseCorrection(const KalmanStep& step, int status);
    void reflect(int rows, int cols, int pivots);
    void fillNoise(int size, const double* const* root, bool withJacobian);
    void takeInnovation(const KalmanStep& step);
    void moveState(const KalmanStep& step);

    Problem* problem_;
    int n_ = 0;
    int m_ = 0;
    Rows W_;                     // big + n + 2 rows of n + m: the block that is triangularised
    Rows J_;                     // big + 1 rows of big: F, then H
    Rows G_;                     // big x big: a noise Jacobian
    std::vector<double> zPred_;  // m
    std::vector<double> col_;    // big + n: reflection vector, then one column of U^-1 V
    std::vector<double> d_;      // big + n: innovation
};

}  // namespace Kavelin::OrientationInternal
