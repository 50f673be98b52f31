#pragma once

#include <array>
#include <cstddef>

namespace Kavelin::OrientationInternal {

/// Gives or takes a symmetric matrix, for a snapshot: by its lower triangle, which tells the upper one to the bit.
template <class Archive, class Square>
void serializeSymmetric(Archive& archive, Square& matrix) {
    constexpr int kRows = Square::RowsAtCompileTime;
    static_assert(kRows == Square::ColsAtCompileTime && kRows > 0);
    std::array<double, static_cast<std::size_t>(kRows * (kRows + 1) / 2)> lower;
    double* next = lower.data();
    for (int col = 0; col < kRows; ++col) {
        for (int row = col; row < kRows; ++row) *next++ = matrix(row, col);
    }
    archive(lower);
    next = lower.data();
    for (int col = 0; col < kRows; ++col) {
        for (int row = col; row < kRows; ++row) matrix(row, col) = matrix(col, row) = *next++;
    }
}

}  // namespace Kavelin::OrientationInternal
