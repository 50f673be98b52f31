#pragma once

#include <optional>
#include <vector>

#include "orientation/joint/HingePairing.h"
#include "orientation/joint/StillPose.h"

namespace Kavelin::OrientationInternal {

/// How the attitude of a unit becomes that of its segment:
/// q_earth_segment = turn about the vertical by `heading` * q_earth_sensor * q_sensor_segment.
struct SegmentAlignment {
    Quaternion q_sensor_segment{1, 0, 0, 0};
    double heading = 0.0;  ///< rad
};

struct JointAlignment {
    SegmentAlignment d, g;
    bool isLevel = true;  ///< the hinge is level enough in the pose for y to follow from gravity
};

/// The poses of both units in one interval.
struct JointPose {
    StillPose d, g;
};

/// A hinge with its axis in the frames of both units, pointing the same way.
struct PairedHinge {
    Vector3 d, g;
    double heading = 0.0;  ///< rad, see HingePairing
};

/// Aligns both units with their segments so that the joint's angles are zero in the pose.
///
/// With a hinge, the segment's z lies along it and y points up in the pose, at right angles to z; where the
/// hinge is within 20 degrees of the vertical there, y is the unit's own axis farthest from it instead. The
/// heading of G is turned so that in the pose both axes have one heading or, for a hinge near the vertical,
/// as over all the motion. Without a hinge, the segments take the axes of unit D in the pose and no heading
/// is turned.
JointAlignment alignJoint(const JointPose& pose, const std::optional<PairedHinge>& hinge);

/// The same without a pose: z along the hinge, y the unit's own axis farthest from it. The angles are zero
/// nowhere in particular.
JointAlignment alignJoint(const PairedHinge& hinge);

/// Lets the hinge point so that flexion is positive: as the joint is bent on average, seen from the pose.
/// A joint that bends both ways alike, and one without a pose, gets the direction in which the greatest
/// element of the axis in D is positive.
PairedHinge towardsFlexion(const PairedHinge& hinge, const std::vector<JointSample>& samples,
                           const std::optional<JointPose>& pose);

}  // namespace Kavelin::OrientationInternal
