#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Squared norm from which on a vector is normalised. A shorter one is used as it is:
/// neither scaled nor rejected.
inline constexpr double kMinimumSquaredNorm = 1e-10;

/// Rotation and vector operations that the attitude filters share. Stateless, knows no pins; never allocates,
/// never throws. [any thread]
class AbsoluteAttitudeComputer {
public:
    virtual ~AbsoluteAttitudeComputer() = default;

    /// Computes 1 / sqrt(x): infinite for 0, NaN for a negative x.
    static double invSqrt(double x);

    /// Divides `v` by its norm when its squared norm is at least kMinimumSquaredNorm,
    /// else returns it unchanged.
    static Vector3 normalised(const Vector3& v);

    /// Computes the cosine of the angle between two vectors of any length and one frame.
    /// A vector too short to be normalised enters the dot product with its own length.
    static double cosAngleBetween(const Vector3& u, const Vector3& v);

    /// Computes the arc cosine with its argument held to [-1, 1], so rounding never makes it not a number.
    /// @return rad, in [0, pi]; NaN for NaN.
    static double safeAcos(double x);

    /// Shifts `angle` by whole turns to the value nearest to `reference`, both rad.
    /// Exactly half a turn away, the value below the reference is taken: unwrapAngle(pi, 0) is -pi.
    static double unwrapAngle(double angle, double reference);

    /// Builds the earth frame of one gravity and one field measurement, gravity being trusted (TRIAD).
    /// @param acc   upward vector at rest, sensor frame, any unit.
    /// @param field magnetic field, sensor frame, any unit.
    /// @return R_earth_sensor with rows north (horizontal part of the field), west (up x north) and up, as
    /// sensor coordinates. Degenerate: a zero vector or a field parallel to gravity gives zero rows, not an
    /// error. Source: Black, AIAA Journal 2(7), 1964; Shuster & Oh, J. Guidance and Control 4(1), 1981.
    static Matrix3 frameFromGravityAndField(const Vector3& acc, const Vector3& field);

    /// Builds a frame of two vectors after turning `v`, in their common plane, the fraction `gain` of the way
    /// towards being orthogonal to `u`; `u` gives the normal of the turn and is otherwise left alone.
    /// @param gain 0 leaves v where it is, 1 makes it exactly orthogonal to u.
    /// @return rows: turned v, n = u x v, turned v x n; all of unit length. With gain 1 and (acc, field) the
    /// frame is that of frameFromGravityAndField. Degenerate: parallel vectors give a zero row n.
    static Matrix3 partialOrthogonalFrame(const Vector3& u, const Vector3& v, double gain);

    /// Converts a rotation matrix to its unit quaternion.
    /// @param q receives w, x, y, z; left as it was when the result is false.
    /// @return false when the divisor is not positive, which only a matrix with a NaN or an infinity shows.
    /// Source: Shoemake, Animating Rotation with Quaternion Curves, SIGGRAPH 1985.
    [[nodiscard]] static bool rotationToQuaternion(const Matrix3& rotation, Quaternion& q);

    /// Computes the right-handed turn by `angle` (rad) about `axis`.
    /// @param axis unit norm is assumed, not enforced: another length gives a matrix that does not rotate.
    /// Source: Rodrigues, J. de Mathematiques 5, 1840.
    static Matrix3 axisAngleToRotation(double angle, const Vector3& axis);

    /// Computes A * B, each element summed from left to right.
    static Matrix3 multiply3x3(const Matrix3& a, const Matrix3& b);

    /// Builds a rotation of three elementary turns: angles[0] about z, angles[1] about y,
    /// angles[2] about x, rad.
    ///
    /// | order | flag set | flag clear |        XYZ means Rx Ry Rz, the z turn being applied first.
    /// |-------|----------|------------|
    /// | 0     | XYZ      | ZYX        |
    /// | 1     | XZY      | YZX        |
    /// | 2     | ZYX      | XYZ        |
    /// | 3     | YXZ      | ZXY        |
    /// | 4     | ZXY      | YXZ        |
    /// | 5     | YZX      | XZY        |
    ///
    /// Deliberate: each order has a twin with the flag's sense inverted, so saved settings of either kind
    /// keep their meaning. @param rotation receives the matrix; an order of 6 or more leaves it untouched.
    static void eulerToRotation(unsigned order, bool flag, const Vector3& angles, Matrix3& rotation);
};

}  // namespace Kavelin::OrientationInternal
