#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// The rotation from one unit to another, and its parts about and across an axis.
struct AngleDG {
    double angle = 0.0;               // rad, the whole rotation, 0 to pi
    double twist = 0.0;               // rad, about the axis, in [-pi, pi)
    double swing = 0.0;               // rad, what remains, 0 to pi
    Quaternion relative{1, 0, 0, 0};  // w, x, y, z; w is not negative
};

/// Computes the angle between two units, D and G: a joint angle with its swing-twist decomposition.
///
/// relative = conj(q_earth_D) q_earth_G conj(r0) = swing * twist, the twist being about the axis, the swing
/// about an axis at right angles to it. r0 is the identity until a reference is asked for. Degenerate: at a
/// swing of pi every twist fits; 0 is returned.
class AngleDGComputer {
public:
    /// Length below which a vector has no direction.
    static constexpr double kSmallestAxis = 1e-5;

    virtual ~AngleDGComputer() = default;

    /// @param axis frame of D, any length of at least kSmallestAxis; not checked.
    void setAxis(const Vector3& axis) { axis_ = axis.normalized(); }

    /// Makes the relative rotation of the next pair the zero of all angles.
    void requestReference() { referenceRequested_ = true; }

    /// @param q_earth_d, q_earth_g unit norm, either sign; the same earth frame.  Never throws.
    AngleDG compute(const Quaternion& q_earth_d, const Quaternion& q_earth_g);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(axis_, referenceRequested_, reference_);
    }

private:
    Vector3 axis_{0, 0, 1};
    bool referenceRequested_ = false;
    Quaternion reference_{1, 0, 0, 0};
};

}  // namespace Kavelin::OrientationInternal
