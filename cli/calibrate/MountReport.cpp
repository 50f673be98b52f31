#include "cli/calibrate/MountReport.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <optional>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/mount/MountFit.h"
#include "cli/JsonForms.h"
#include "cli/TimeInterval.h"
#include "cli/calibrate/OpinionText.h"
#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;

namespace {

std::string numbers(const Eigen::Quaterniond& q) {
    return fmt::format("{} {} {} {}", numberText(q.w()), numberText(q.x()), numberText(q.y()),
                       numberText(q.z()));
}

/// An axis of the segment, in those of the sensor.
std::string axisText(const Eigen::Matrix3d& R_segment_sensor, int row) {
    return fmt::format("{:7.4f} {:7.4f} {:7.4f}", R_segment_sensor(row, 0), R_segment_sensor(row, 1),
                       R_segment_sensor(row, 2));
}

/// As a pin takes it from a script: rows; the columns are the segment's axes.
std::string basisText(const Eigen::Matrix3d& R_sensor_segment) {
    std::string text;
    appendMatrix(text, R_sensor_segment);
    return text;
}

void addMountOptions(CLI::App& command, CalibrateOptions& options) {
    const auto add = [&command](const char* name, std::string& value, const char* text) {
        command.add_option(name, value, text)->type_name("A..B")->check([](const std::string& given) {
            return given.empty() ? "an interval is expected: A..B" : "";
        });
    };
    add("--pose", options.pose,
        "Interval, in s of the recording's time, in which the segment is held still: its y points up there; "
        "without it the first rest");
    add("--turn", options.turn,
        "Interval in which the segment turns about one axis, its z; without it what follows the pose");
}

CalibrationResult calibrateMounting(const CalibrationInput& input, const CalibrateOptions& options) {
    const auto interval = [](const char* option, const std::string& text) {
        if (text.empty()) return std::optional<Calibration::Interval>();
        const TimeInterval given = timeInterval(option, text);
        return std::optional(Calibration::Interval{given.begin, given.end});
    };
    CalibrationResult result;
    result.found.mount = Calibration::calibrateMount(
        input.sensors, {interval("--pose", options.pose), interval("--turn", options.turn)});
    result.report = mountReport(*result.found.mount);
    return result;
}

}  // namespace

std::string mountReport(const Calibration::MountCalibration& mount) {
    const Eigen::Matrix3d R_segment_sensor = mount.q_segment_sensor.toRotationMatrix();
    return fmt::format(
               "pose {:.2f}..{:.2f} s; turn {:.2f}..{:.2f} s, {:.0f} degrees there and back, {:.1f} % of the "
               "rate not "
               "about its axis\n",
               mount.poseBegin, mount.poseEnd, mount.turnBegin, mount.turnEnd,
               mount.turned * kRadiansToDegrees, 100.0 * mount.across) +
           fmt::format(
               "the segment's axes in the sensor's, x, y, z each:\n  x {}\n  y {}  up in the pose\n  z {}  "
               "axis of "
               "the turn, positive for a bend out of the pose\n",
               axisText(R_segment_sensor, 0), axisText(R_segment_sensor, 1), axisText(R_segment_sensor, 2)) +
           fmt::format(
               "the axis is known to {:.2f} degrees; it is {:.1f} degrees off the level in the pose\n",
               mount.hingeUncertainty * kRadiansToDegrees, mount.hingeTilt * kRadiansToDegrees) +
           fmt::format("sensor to segment (w x y z): {}\nFilterSegment, property \"Mounting\": 1 4 {}\n",
                       numbers(mount.q_segment_sensor), numbers(mount.q_segment_sensor.conjugate())) +
           fmt::format("FilterChangeOfBasis, pin \"Change-Of-Basis\": {}\n",
                       basisText(R_segment_sensor.transpose())) +
           opinionText(mount.opinion);
}

CalibrationKind mountKind() {
    return {.name = "mount",
            .title = "How the unit sits on a segment: hold it still, then turn it about one axis, some times",
            .canDraw = false,
            .addOptions = addMountOptions,
            .make = calibrateMounting};
}

}  // namespace Kavelin::Cli
