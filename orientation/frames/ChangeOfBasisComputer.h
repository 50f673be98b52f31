#pragma once

#include <Eigen/Core>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Expresses 3x3 matrices in another basis: Q X P, where P is the basis and Q stands for its inverse. Starts
/// with the 3x3 identity for both.
class ChangeOfBasisComputer {
public:
    /// Row-major, any shape.
    using Basis = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

    ChangeOfBasisComputer();
    virtual ~ChangeOfBasisComputer() = default;

    /// Takes a basis of 9 elements, read row by row as 3x3, with its transpose as its inverse.
    /// Deliberate: orthonormality is not checked; a scaling is "inverted" by transposing it.
    /// @throws std::invalid_argument when the basis does not have 9 elements; nothing is changed then.
    void setOrthonormalBasis(const Basis& basis);

    /// Takes a basis of any shape, with its inverse where it has one.
    /// @return false for a basis that is not square or whose determinant is 0.0: its inverse is then left as
    /// it was, the basis is taken all the same.
    bool setGeneralBasis(const Basis& basis);

    /// Computes Q X P into `result`, of 3 rows and as many columns as the basis has.
    /// @return false, with `result` untouched, when Q is not 3x3 or P does not have 3 rows: the product does
    /// not exist then. Allocates only when `result` changes its size.
    [[nodiscard]] bool apply(const Matrix3& x, Basis& result) const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(basis_, inverse_);
    }

private:
    Basis basis_;    // P
    Basis inverse_;  // Q
};

}  // namespace Kavelin::OrientationInternal
