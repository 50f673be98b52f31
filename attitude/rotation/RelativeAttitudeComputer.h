#pragma once

#include "attitude/rotation/AbsoluteAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// Re-expresses rotations relative to a captured one. Before the first capture the reference is the identity
/// and is applied on the right. Never throws; one thread at a time.
class RelativeAttitudeComputer {
public:
    virtual ~RelativeAttitudeComputer() = default;

    /// Captures R0; from now on `compute` gives R R0^T (`onTheRight`) or R0^T R (else).
    void setReference(const Matrix3& r0, bool onTheRight) {
        reference_ = r0.transpose();
        onTheRight_ = onTheRight;
    }

    /// Computes `rotation` relative to the reference: the identity for the captured rotation itself.
    Matrix3 compute(const Matrix3& rotation) const {
        return onTheRight_ ? AbsoluteAttitudeComputer::multiply3x3(rotation, reference_)
                           : AbsoluteAttitudeComputer::multiply3x3(reference_, rotation);
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(reference_, onTheRight_);
    }

private:
    Matrix3 reference_ = Matrix3::Identity();  // the captured rotation, transposed
    bool onTheRight_ = true;
};

}  // namespace Kavelin::OrientationInternal
