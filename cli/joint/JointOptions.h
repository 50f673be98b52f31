#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// What the user wrote.
struct JointOptions {
    std::string joint = {};  ///< "thigh:shank"; empty: no joint
    std::string pose = {};   ///< "1..3"; empty: none
    bool hinge = false;
    bool alike = false;  ///< both units are mounted alike
    std::vector<std::string> recordings = {};

    /// Whether one of them is given: --pose and --hinge need --joint.
    bool isAsked() const { return !joint.empty() || !pose.empty() || hinge || alike; }
};

/// One of the two units of a joint: its name, and the recording that holds it.
struct JointUnit {
    std::string name;
    std::string recording;
    std::string sensor;  ///< of a recording that holds several; empty: it holds this one alone
};
using JointUnits = std::array<JointUnit, 2>;  ///< D, the proximal one, and G

/// Reads "thigh:shank": with one recording, two sensors in it, or two recordings in a folder; with two, their file names without folder and
/// ending, or the names of their folders, in either order.  @throws UsageError
JointUnits jointUnits(const std::string& joint, const std::vector<std::string>& recordings);

}  // namespace Kavelin::Cli
