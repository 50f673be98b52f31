#include "orientation/frames/ChangeOfBasisComputer.h"

#include <Eigen/LU>
#include <stdexcept>
#include <string>

namespace Kavelin::OrientationInternal {

ChangeOfBasisComputer::ChangeOfBasisComputer() { setGeneralBasis(Basis::Identity(3, 3)); }

void ChangeOfBasisComputer::setOrthonormalBasis(const Basis& basis) {
    if (basis.size() != 9) {
        throw std::invalid_argument("an orthonormal basis needs 9 elements, not " +
                                    std::to_string(basis.size()));
    }
    const Matrix3 square = firstNine(basis);
    basis_ = square;
    inverse_ = square.transpose();
}

bool ChangeOfBasisComputer::setGeneralBasis(const Basis& basis) {
    basis_ = basis;
    if (basis.rows() != basis.cols()) return false;
    if (basis.size() == 0) {  // the determinant of no rows is 1, and its inverse has no elements either
        inverse_ = basis;
        return true;
    }
    const Eigen::PartialPivLU<Basis> decomposition(basis);
    if (decomposition.determinant() == 0.0) return false;
    inverse_ = decomposition.inverse();
    return true;
}

bool ChangeOfBasisComputer::apply(const Matrix3& x, Basis& result) const {
    if (inverse_.rows() != 3 || inverse_.cols() != 3 || basis_.rows() != 3) return false;
    const Matrix3 left = firstNine(inverse_) * x;
    result.resize(3, basis_.cols());
    result.noalias() = left.lazyProduct(basis_);
    return true;
}

}  // namespace Kavelin::OrientationInternal
