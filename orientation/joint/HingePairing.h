#pragma once

#include <optional>
#include <vector>

#include "orientation/joint/HingeAxis.h"

namespace Kavelin::OrientationInternal {

/// How the axis found in one unit and the axis found in the other go together.
struct HingePairing {
    bool isOpposite = false;  ///< the axis of G points the other way
    /// Whether the motion told so; if not, a half turn of G's heading would explain it as well.
    bool isCertain = false;
    /// rad; turns the attitudes of G about the vertical so that both axes have one heading, on average.
    double heading = 0.0;
    double drift = 0.0;         ///< rad; by how much that changes over the motion
    double disagreement = 0.0;  ///< rad, RMS angle between the axes then, in the earth frame
    double across = 0.0;        ///< share of the relative rate that is not about the axis, 0 to 1

    static constexpr double kGreatestDisagreement = 0.5;  // rad
    static constexpr double kGreatestAcross = 0.5;
    bool fits() const { return disagreement <= kGreatestDisagreement && across <= kGreatestAcross; }
};

/// What is known besides the samples.
struct PairingHints {
    bool hasCommonHeading =
        false;  ///< both attitudes are in one earth frame, up to disturbances of the field
    std::optional<bool> isOpposite;  ///< for the case that nothing else tells
};

/// Pairs the signs of the two axes by the attitudes: of one axis, both units must give one direction in
/// the earth, and the units must turn against each other about it. In a common earth frame the first decides.
/// Where the heading of each is its own, it decides for an axis that is not level, and the second for a limb
/// that also turns about the level direction at right angles to the axis. Otherwise nothing can tell: turns
/// about the axis and about the vertical look the same with G's heading turned by 180 degrees.
HingePairing pairHingeAxes(const std::vector<JointSample>& samples, const HingeAxis& hinge,
                           const Vector3& bias_d, const Vector3& bias_g, const PairingHints& hints);

/// rad; the turn about the vertical that brings the heading of `from` to that of `to`; both earth frame.
/// Degenerate: 0 for a vertical one.
double headingBetween(const Vector3& from, const Vector3& to);

/// A turn about the vertical.  @param angle rad
Quaternion headingTurn(double angle);

}  // namespace Kavelin::OrientationInternal
