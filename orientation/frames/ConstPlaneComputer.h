#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Measures the angle of a vector within a plane, from a reference direction in that plane. Starts with the
/// normal x and the in-plane axes y (the reference) and z. Never throws; one thread at a time.
class ConstPlaneComputer {
public:
    virtual ~ConstPlaneComputer() = default;

    /// Takes the plane of the given normal, with the projection of `vector` as its reference direction.
    /// @param normal any length but zero.  @param vector any unit, same frame.
    /// Degenerate: a zero normal, or a vector parallel to it, makes the axes NaN and every later angle too.
    void setPlane(const Vector3& normal, const Vector3& vector);

    /// Keeps the normal and takes the projection of `vector` as the new reference direction.
    void resetReference(const Vector3& vector) { setPlane(normal_, vector); }

    /// Computes the angle, rad in [-pi, pi], that turns the projection of `vector` back onto the reference:
    /// minus the right-handed angle from the reference to the projection, -0.0 for the reference itself.
    /// Degenerate: NaN for a vector parallel to the normal.
    double angle(const Vector3& vector) const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(normal_, firstAxis_, secondAxis_);
    }

private:
    Vector3 normal_ = Vector3::UnitX();
    Vector3 firstAxis_ = Vector3::UnitY();
    Vector3 secondAxis_ = Vector3::UnitZ();  // normal x first
};

}  // namespace Kavelin::OrientationInternal
