#pragma once

// Prediction and correction of `KalmanSolver` for sizes known to the compiler and diagonal noise roots.
//
// With a diagonal noise root r, the pivot row of column j still holds r_j alone when its turn comes: no
// reflection before touched it. The reflection vector is (r_j - sigma, a), with a the N elements of column j
// in the rows A below (the rows of S) and sigma^2 = r_j^2 + a.a. With d = a^T A,
//
//     pivot row:   sigma, then d / sigma           (row j of R1, or of [U V]; its sign is free)
//     rows below:  A -= (1 - |r_j| / sigma) p ,    p = a d / a.a
//
// where p is what of A lies along a.//
// so no reflection runs over more than N + 1 rows, and none over columns that are done. Nor are the rows of
// [U V] needed for the state: solving U^T y = e from the top, with e what is left of the innovation, gives
// y_j = e_j / sigma_j; what it takes from the innovations to come, and what it adds to the state, are
// multiples of d,
//
//     [e, -dx] -= (e_j / sigma_j^2) d .
//
// Each reflection depends on the previous one, so latency dominates the cost. In this form only a product and
// a sum come between the root and the next column, (A - p) + p |r_j| / sigma; the divisions by sigma^2 and
// a.a run in parallel with the root. Where a.a is far below r_j^2 the factor of p has few digits left,
// but as |p| <=
// |A| that is rounding of A.

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace Kavelin::OrientationInternal {

namespace Reflections {

// Two neighbours of a row, worked on together.
using Pair = double __attribute__((vector_size(16)));
using Bits = std::uint64_t __attribute__((vector_size(16)));

inline Pair both(double value) { return Pair{value, value}; }

// Calls f with 0, 1, ... Count - 1 as constants, so that elements of local arrays can live in registers.
template <int Count, class F>
inline void unrolled(F f) {
    [&f]<int... I>(std::integer_sequence<int, I...>) { (f(std::integral_constant<int, I>()), ...); }
    (std::make_integer_sequence<int, Count>());
}

// N rows of an even number of columns.
template <int N, int Cols>
struct Block {
    static constexpr int kPairs = Cols / 2;
    Pair rows[N][kPairs];

    template <int Col>
    double at(int row) const {
        return rows[row][Col / 2][Col % 2];
    }
};

// A column that is reflected: its elements, each twice, and the figures of its reflection.
template <int N>
struct Reflection {
    Pair a[N];
    double sigma;
    double inverse;       // 1 / sigma^2
    double inverseBelow;  // 1 / a.a; 1 where a is zero, and so is d
    double kept;          // |r| / sigma: how much of the rows' part along a stays
    bool isNothing;       // pivot and column are zero: no reflection

    void measure(double pivot, double below) {
        constexpr double kLeast = std::numeric_limits<double>::min();  // anything less has no finite inverse
        const double squares = pivot * pivot + below;
        const Pair inverses = both(1.0) / Pair{squares, below < kLeast ? 1.0 : below};
        inverse = inverses[0];
        inverseBelow = inverses[1];
        sigma = std::sqrt(squares);
        isNothing = squares < kLeast;
        kept = isNothing ? 0.0 : std::abs(pivot) * inverse * sigma;
    }
};

// d = a^T A of one pair of columns.
template <int N, int Cols>
inline Pair product(const Pair* a, const Block<N, Cols>& A, int pair) {
    static_assert(N == 4, "the sum is written out in two halves, which need not wait for each other");
    return (a[0] * A.rows[0][pair] + a[1] * A.rows[1][pair]) +
           (a[2] * A.rows[2][pair] + a[3] * A.rows[3][pair]);
}

// Takes column J of A as the one to reflect, with d of every pair of columns that is not done.
template <int J, int N, int Cols>
inline Reflection<N> begin(const Block<N, Cols>& A, double pivot, Pair* d) {
    Reflection<N> reflection;
    unrolled<N>([&](auto i) { reflection.a[i] = both(A.template at<J>(i)); });
    unrolled<Cols / 2 - J / 2>([&](auto k) { d[J / 2 + k] = product(reflection.a, A, J / 2 + k); });
    reflection.measure(pivot, d[J / 2][J % 2]);
    return reflection;
}

// Reflects every pair of columns that is not done; first the one that the next reflection needs.
template <int J, int N, int Cols>
inline void end(const Reflection<N>& reflection, const Pair* d, Block<N, Cols>& A) {
    constexpr int kFirst = (J + 1) / 2;
    if constexpr (kFirst < Cols / 2) {
        const Pair share = both(reflection.inverseBelow) * d[kFirst];
        unrolled<N>([&](auto i) {
            const Pair along = reflection.a[i] * share;
            A.rows[i][kFirst] = (A.rows[i][kFirst] - along) + along * both(reflection.kept);
        });
        const Pair beta = both((1.0 - reflection.kept) * reflection.inverseBelow);
        unrolled<Cols / 2 - kFirst - 1>([&](auto k) {
            const Pair w = beta * d[kFirst + 1 + k];
            unrolled<N>([&](auto i) { A.rows[i][kFirst + 1 + k] -= reflection.a[i] * w; });
        });
    }
}

// The product of S, N x N, upper triangular or not, with the transpose of a Cols x N matrix of these rows.
template <int N, int Cols, bool Triangular, int BlockCols>
inline void multiplyTransposed(const double* const* S, const double* const* matrix,
                               Block<N, BlockCols>& result) {
    Pair columns[N][Cols / 2];
    unrolled<N>([&](auto j) {
        unrolled<Cols / 2>([&](auto k) { columns[j][k] = Pair{matrix[2 * k][j], matrix[2 * k + 1][j]}; });
    });
    unrolled<N>([&](auto i) {
        constexpr int kFirst = Triangular ? decltype(i)::value : 0;
        unrolled<Cols / 2>([&](auto k) {
            Pair sum = both(S[i][kFirst]) * columns[kFirst][k];
            unrolled<N - kFirst - 1>(
                [&](auto j) { sum += both(S[i][kFirst + 1 + j]) * columns[kFirst + 1 + j][k]; });
            result.rows[i][k] = sum;
        });
    });
}

}  // namespace Reflections

/// Says whether all elements off the diagonal of a Size x Size matrix of these rows are plain zeros.
template <int Size>
[[gnu::flatten]] bool isDiagonal(const double* const* rows) {
    using namespace Reflections;
    Bits any = {};
    std::uint64_t neighbours = 0;
    unrolled<Size>([&](auto i) {
        unrolled<Size / 2>([&](auto k) {
            if constexpr (k == i / 2) {  // loaded alone: the diagonal element may just have been written
                neighbours |= std::bit_cast<std::uint64_t>(rows[i][i ^ 1]);
            } else {
                Bits bits;
                std::memcpy(&bits, rows[i] + 2 * k, sizeof bits);
                any |= bits;
            }
        });
    });
    return (any[0] | any[1] | neighbours) == 0;
}

/// S := R1 of the block of rootQ above S F^T, rootQ being diagonal. Any S comes in,
/// an upper triangular one goes out.
template <int N>
[[gnu::flatten]] void predictDiagonal(const double* const* F, const double* const* rootQ, double* const* S) {
    using namespace Reflections;
    Block<N, N> A;
    multiplyTransposed<N, N, false>(S, F, A);
    unrolled<N>([&](auto j) {
        Pair d[N / 2];
        const auto reflection = begin<j>(A, rootQ[j][j], d);
        const double inverse = reflection.isNothing ? 0.0 : reflection.sigma * reflection.inverse;
        end<j>(reflection, d, A);
        unrolled<N>([&](auto k) {
            S[j][k] = k < j ? 0.0 : k == j ? reflection.sigma : d[k / 2][k % 2] * inverse;
        });
    });
}

/// Corrects x and S by the innovation, rootR being diagonal and S upper triangular;
/// what is below is not read.
template <int N, int M>
[[gnu::flatten]] void correctDiagonal(const double* const* H, const double* const* rootR,
                                      const double* innovation, double* const* S, double* x) {
    using namespace Reflections;
    constexpr int kPairs = (M + N) / 2;
    Block<N, M + N> A;
    multiplyTransposed<N, M, true>(S, H, A);
    unrolled<N>([&](auto i) {
        unrolled<N / 2>([&](auto k) {
            A.rows[i][M / 2 + k] = Pair{2 * k < i ? 0.0 : S[i][2 * k], 2 * k + 1 < i ? 0.0 : S[i][2 * k + 1]};
        });
    });
    Pair change[kPairs];
    unrolled<kPairs>([&](auto k) {
        change[k] = k < M / 2 ? Pair{innovation[2 * k], innovation[2 * k + 1]} : both(0.0);
    });
    unrolled<M>([&](auto j) {
        Pair d[kPairs];
        const auto reflection = begin<j>(A, rootR[j][j], d);
        end<j>(reflection, d, A);
        const Pair share = both(change[j / 2][j % 2] * reflection.inverse);
        unrolled<kPairs - j / 2>([&](auto k) { change[j / 2 + k] -= share * d[j / 2 + k]; });
    });
    unrolled<N>([&](auto i) {
        x[i] -= change[(M + i) / 2][(M + i) % 2];
        unrolled<N>([&](auto k) { S[i][k] = A.rows[i][(M + k) / 2][(M + k) % 2]; });
    });
}

}  // namespace Kavelin::OrientationInternal
