#pragma once

// Prediction and correction of `KalmanSolver` for sizes known to the compiler and diagonal noise roots.
//
// With a diagonal noise root r, the pivot row of column j still holds r_j alone when its turn comes: no
// reflection before touched it. The reflection vector is (r_j - sigma, a), with a the N elements of column j
// in the rows A below (the rows of S) and sigma^2 = r_j^2 + a.a. With d = a^T A,
//
//     pivot row:   d / sigma              (row j of R1, or of [U V]; its sign is free)
//     rows below:  A -= beta a d ,        beta = 1 / (sigma^2 + |r_j| sigma)
//
// so no reflection runs over more than N + 1 rows, and none over columns that are done. Nor are the rows of
// [U V] needed for the state: solving U^T y = e from the top, with e what is left of the innovation, gives
// y_j = e_j / sigma_j; what it takes from the innovations to come, and what it adds to the state, are
// multiples of d,
//
//     [e, -dx] -= (e_j / sigma_j^2) d .

#include <Eigen/Core>
#include <cmath>
#include <utility>

namespace Kavelin::OrientationInternal {

/// Says whether all elements off the diagonal of a Size x Size matrix of these rows are zero (a not-a-number
/// is not).
template <int Size>
bool isDiagonal(const double* const* rows) {
    bool zero = true;
    for (int i = 0; i < Size; ++i) {
        for (int k = 0; k < Size; ++k) {
            if (i != k) zero &= rows[i][k] == 0.0;
        }
    }
    return zero;
}

namespace Reflections {

template <int Cols>
using Row = Eigen::Matrix<double, 1, Cols>;

// The transpose of the Rows x Cols matrix of these rows, a row vector for each of its columns.
template <int Rows, int Cols>
void transpose(const double* const* matrix, Row<Rows>* columns) {
    for (int j = 0; j < Cols; ++j) {
        for (int i = 0; i < Rows; ++i) columns[j](i) = matrix[i][j];
    }
}

// Columns that a reflection of column J still works on: from J on, or from J - 1 where that keeps pairs
// together.
template <int Cols, int J>
constexpr int kActive = Cols - (J & ~1);

// d = a^T A over the active columns, a being column J of A. d(J) is the squared length of a.
template <int N, int Cols, int J>
Row<kActive<Cols, J>> products(const Row<Cols>* A) {
    constexpr int kWidth = kActive<Cols, J>;
    Row<kWidth> d = A[0](J) * A[0].template tail<kWidth>();
    for (int i = 1; i < N; ++i) d += A[i](J) * A[i].template tail<kWidth>();
    return d;
}

// A -= beta a d over the active columns. Column J is done with, and left as it comes out.
template <int N, int Cols, int J>
void reflectBelow(double beta, const Row<kActive<Cols, J>>& d, Row<Cols>* A) {
    for (int i = 0; i < N; ++i) A[i].template tail<kActive<Cols, J>>() -= (beta * A[i](J)) * d;
}

// Scale of the reflection of (pivot, a), |a|^2 given; 0, for no reflection, where both are zero.
inline double scale(double pivot, double squares, double sigma) {
    return squares == 0.0 ? 0.0 : 1.0 / (squares + std::abs(pivot) * sigma);
}

template <int N, int J>
void predictColumn(double pivot, Row<N>* A, double* const* S) {
    const Row<kActive<N, J>> d = products<N, N, J>(A);
    const double squares = pivot * pivot + d(J & 1);
    const double sigma = std::sqrt(squares);
    const double inverse = squares == 0.0 ? 0.0 : 1.0 / sigma;
    for (int k = 0; k < J; ++k) S[J][k] = 0.0;
    S[J][J] = sigma;
    for (int k = J + 1; k < N; ++k) S[J][k] = d(k - (J & ~1)) * inverse;
    reflectBelow<N, N, J>(scale(pivot, squares, sigma), d, A);
}

template <int N, int M, int J>
void correctColumn(double pivot, Row<M + N>* A, Row<M + N>& change) {
    constexpr int kWidth = kActive<M + N, J>;
    const Row<kWidth> d = products<N, M + N, J>(A);
    const double squares = pivot * pivot + d(J & 1);
    const double sigma = std::sqrt(squares);
    const double share = change(J) / squares;
    reflectBelow<N, M + N, J>(scale(pivot, squares, sigma), d, A);
    change.template tail<kWidth>() -= share * d;
}

template <int N, int... J>
void predictColumns(const double* const* rootQ, Row<N>* A, double* const* S,
                    std::integer_sequence<int, J...>) {
    (predictColumn<N, J>(rootQ[J][J], A, S), ...);
}

template <int N, int M, int... J>
void correctColumns(const double* const* rootR, Row<M + N>* A, Row<M + N>& change,
                    std::integer_sequence<int, J...>) {
    (correctColumn<N, M, J>(rootR[J][J], A, change), ...);
}

}  // namespace Reflections

/// S := R1 of the block of rootQ above S F^T, rootQ being diagonal. Any S comes in, an upper triangular one
/// goes out.
template <int N>
void predictDiagonal(const double* const* F, const double* const* rootQ, double* const* S) {
    using Row = Reflections::Row<N>;
    Row columnsOfF[N];
    Reflections::transpose<N, N>(F, columnsOfF);
    Row A[N];
    for (int i = 0; i < N; ++i) {
        A[i] = S[i][0] * columnsOfF[0];
        for (int j = 1; j < N; ++j) A[i] += S[i][j] * columnsOfF[j];
    }
    Reflections::predictColumns<N>(rootQ, A, S, std::make_integer_sequence<int, N>());
}

/// Corrects x and S by the innovation, rootR being diagonal and S upper triangular; what is below is not
/// read.
template <int N, int M>
void correctDiagonal(const double* const* H, const double* const* rootR, const double* innovation,
                     double* const* S, double* x) {
    using Row = Reflections::Row<M + N>;
    Reflections::Row<M> columnsOfH[N];
    Reflections::transpose<M, N>(H, columnsOfH);
    Row A[N];
    for (int i = 0; i < N; ++i) {
        Reflections::Row<M> row = S[i][i] * columnsOfH[i];
        for (int j = i + 1; j < N; ++j) row += S[i][j] * columnsOfH[j];
        A[i].template head<M>() = row;
        for (int j = 0; j < i; ++j) A[i](M + j) = 0.0;
        for (int j = i; j < N; ++j) A[i](M + j) = S[i][j];
    }
    Row change = Row::Zero();
    change.template head<M>() = Eigen::Map<const Reflections::Row<M>>(innovation);
    Reflections::correctColumns<N, M>(rootR, A, change, std::make_integer_sequence<int, M>());
    for (int i = 0; i < N; ++i) {
        x[i] -= change(M + i);
        for (int j = 0; j < N; ++j) S[i][j] = A[i](M + j);
    }
}

}  // namespace Kavelin::OrientationInternal
