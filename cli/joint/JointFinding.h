#pragma once

#include <optional>
#include <string>

#include "cli/joint/JointOptions.h"
#include "cli/joint/JointSurvey.h"
#include "orientation/joint/JointAlignment.h"

namespace Kavelin::Cli {

/// What the first pass over the recordings found.
struct JointFinding {
    std::optional<OrientationInternal::JointPose> pose;
    OrientationInternal::HingeAxis axis;  ///< valid with a hinge
    OrientationInternal::HingePairing pairing;
    std::optional<OrientationInternal::PairedHinge> hinge;
    OrientationInternal::JointAlignment alignment;
};

/// What is asked for.
struct JointWishes {
    std::optional<TimeInterval> pose;
    bool hinge = false;
    bool alike = false;             ///< both units are mounted alike
    bool hasCommonHeading = false;  ///< both attitudes are in one earth frame
};

/// Concludes from the survey.
/// @throws UsageError, with what was seen and what to do, where the pose is not still or the motion does not
/// tell the hinge
JointFinding findJoint(const JointSurvey& survey, const JointWishes& wishes, const JointUnits& units);

/// Some lines for a person: pose, axis in both units with its quality, what is zero and what is positive.
std::string findingText(const JointFinding& finding, const JointWishes& wishes, const JointUnits& units);

}  // namespace Kavelin::Cli
