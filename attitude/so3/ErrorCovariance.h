#pragma once

#include <Eigen/Core>

#include "attitude/rotation/SymmetricState.h"
#include "attitude/so3/NominalState.h"
#include "attitude/so3/StepSums.h"

namespace Kavelin::OrientationInternal::SO3 {

/// Covariance of the errors (see ErrorIndex), kept exactly symmetric.
///
/// The transition changes nine of the 22 errors only, and no operation here forms a dense 22x22 product.
/// Never throws, never allocates. [layout thread]
class ErrorCovariance {
public:
    using Matrix = Eigen::Matrix<double, kErrors, kErrors>;

    const Matrix& matrix() const { return p_; }
    double variance(int i) const { return p_(i, i); }
    /// Mean variance of three errors that begin at `first`.
    double meanVariance(int first) const {
        return (p_(first, first) + p_(first + 1, first + 1) + p_(first + 2, first + 2)) / 3.0;
    }

    /// Adds to the variance of `count` errors from `first` on.
    void grow(int first, int count, double variance) {
        for (int i = first; i < first + count; ++i) p_(i, i) += variance;
    }
    /// Makes one error independent of all others, with this variance.
    void isolate(int i, double variance) {
        p_.col(i).setZero();
        p_.row(i).setZero();
        p_(i, i) = variance;
    }
    /// Multiplies one error by `factor`.
    void scale(int i, double factor) {
        p_.col(i) *= factor;
        p_.row(i) *= factor;
    }
    /// Ties the heading's error to the tilt's: heading = slope * (tilt about North), and opposite to the
    /// disturbance, after a field was taken for north.
    void tieHeading(double slope, double disturbance, double further);

    /// S6: carries the errors over one covariance step whose sums are given. @param leak what is left of
    /// velocity and position.
    void propagate(const StepSums& step, double leak);

    /// Three scalar measurements of the errors from `first` on, of equal variance, one after the other.
    /// @param x errors found so far, corrected here. @param y measured errors.
    void observe(int first, const Eigen::Vector3d& y, double variance, ErrorVector& x);

    /// S14: one measurement of the azimuth of the field.
    /// @param h its derivatives by the turn's three parts; by the disturbance it is 1.
    /// @param residual rad. @return the correction: of heading, gyroscope bias and disturbance, nothing else.
    ErrorVector observeAzimuth(const Eigen::Vector3d& h, double residual, double variance);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeSymmetric(archive, p_);
    }

private:
    Matrix p_ = Matrix::Zero();
};

}  // namespace Kavelin::OrientationInternal::SO3
