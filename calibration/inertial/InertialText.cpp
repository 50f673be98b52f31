#include "calibration/inertial/InertialText.h"

#include <fmt/format.h>

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/inertial/InertialFit.h"

namespace Kavelin::Calibration {

namespace {

using OrientationInternal::kDegreesToRadians;

constexpr const char* kHowTo =
    "put it down on each of its six sides, and tilted between them, and leave it still for 3 seconds each";

double degrees(double angle) { return angle / kDegreesToRadians; }

/// "1 pose", "3 poses"
std::string counted(std::size_t count, const char* noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string holdIt(const Eigen::Vector3d* missing) {
    return missing ? fmt::format("hold it with {} up as well", nearestAxes(*missing)) : std::string(kHowTo);
}

}  // namespace

std::string nearestAxes(const Eigen::Vector3d& direction) {
    constexpr double kPart = 0.4;  // sine of 24 degrees: nearer to the axes' plane counts as in it
    std::string axes;
    int count = 0;
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        if (std::abs(direction[axis]) < kPart * direction.norm()) continue;
        axes +=
            fmt::format("{}{}{}", count == 0 ? "" : " and ", direction[axis] < 0.0 ? '-' : '+', "xyz"[axis]);
        ++count;
    }
    return count > 1 ? "the middle of " + axes : axes;
}

std::string noSensors() { return "the recording has neither accelerations nor rates"; }

std::string tooShort(std::size_t samples, double duration) {
    return fmt::format("{} in {:.3g} s are too few: {}", counted(samples, "sample"), duration, kHowTo);
}

std::string neverStill(const SensorRecording& recording) {
    const SensorTrack& track = recording.acceleration.isEmpty() ? recording.rate : recording.acceleration;
    return fmt::format("the unit is never still for 2 seconds in the {:.0f} s of the recording: {}",
                       track.duration(), kHowTo);
}

std::string tooFewPoses(std::size_t rests, std::size_t poses) {
    return fmt::format(
        "{} found, in {} (they count as different from {:.0f} degrees on); {} are needed for offset and "
        "scale, {} with the non-orthogonality: {}",
        counted(rests, "rest"), counted(poses, "pose"), degrees(kPoseAngle), kPosesForScale,
        kPosesForCrossTerms, kHowTo);
}

std::string posesTooAlike(std::size_t rests, const Eigen::Vector3d* missing) {
    return fmt::format("the {} are too alike to tell offset from scale: {}", counted(rests, "pose"),
                       holdIt(missing));
}

std::string posesDisagree(double deviation) {
    return fmt::format(
        "the poses do not agree on gravity by {:.2g} m/s^2 whatever the calibration: put the unit down "
        "instead of holding it, and in more poses",
        deviation);
}

std::string notGravity(double mean, double gravity) {
    return fmt::format(
        "the accelerations at rest are {:.3g} m/s^2 on average, gravity is {:.4g}: give their unit (header "
        "or --map), or record gravity as well",
        mean, gravity);
}

std::string implausible(const AffineModel& model) {
    return fmt::format(
        "the poses ask for an offset of {:.2g} m/s^2 and a scale of {:.2g} to {:.2g}, which no accelerometer "
        "has: the unit was not still, or its samples are not in one unit",
        model.offset.norm(), model.matrix.diagonal().minCoeff(), model.matrix.diagonal().maxCoeff());
}

std::string noCrossTerms(std::size_t poses, const Eigen::Vector3d* missing) {
    if (poses < kPosesForCrossTerms) {
        return fmt::format(
            "offset and scale only: held in {} that differ, the non-orthogonality needs {}: tilt it between "
            "its sides as well",
            counted(poses, "pose"), kPosesForCrossTerms);
    }
    return fmt::format("offset and scale only: the {} do not show the non-orthogonality: {}",
                       counted(poses, "pose"),
                       missing ? holdIt(missing) : "tilt it between its sides as well");
}

std::string poseLeftOut(const Rest& rest) {
    return fmt::format("the rest from {:.1f} to {:.1f} s does not fit the others and was left out", rest.from,
                       rest.to);
}

std::string poseUnchecked(const Rest& rest) {
    return fmt::format("no other rest checks that from {:.1f} to {:.1f} s: hold it with {} up once more",
                       rest.from, rest.to, nearestAxes(rest.acceleration));
}

std::string tooManyLeftOut(std::size_t leftOut, std::size_t rests) {
    return fmt::format("{} of {} rests do not fit the others: put the unit down instead of holding it",
                       leftOut, rests);
}

std::string notChecked(std::size_t rests, std::size_t needed) {
    return fmt::format("{} leave too little over to check the accelerometer's fit: {} would",
                       counted(rests, "rest"), needed);
}

std::string uncertain(double uncertainty, const Eigen::Vector3d& direction) {
    return fmt::format(
        "with {0} up the accelerometer is uncertain by {1:.2g} m/s^2: hold it with {0} up as well",
        nearestAxes(direction), uncertainty);
}

std::string unsteady(double residual) {
    return fmt::format(
        "a pose predicted from the others is off by {:.2g} m/s^2 (RMS): put the unit down "
        "instead of holding it",
        residual);
}

std::string noBetter(double residual) {
    return fmt::format(
        "gravity is right within {:.2g} m/s^2 without calibration, which these poses cannot improve for "
        "certain",
        residual);
}

std::string biasAlone(const SensorRecording& recording) {
    if (recording.acceleration.isEmpty()) {
        return "without accelerations the gyroscope's bias is all that is known";
    }
    return fmt::format(
        "the gyroscope's bias alone: held in one pose; the accelerometer needs {} that differ: {}",
        kPosesForCrossTerms, kHowTo);
}

std::string rateIsConstant() { return "all rates are the same number: is the gyroscope switched off?"; }

std::string rateDrifts(double drift) {
    return fmt::format(
        "the rate at rest changes by {:.2g} degrees/s during the recording: let the unit warm up",
        degrees(drift));
}

std::string turnsLeftOut(std::size_t count) {
    return fmt::format("{} left out: the rates have gaps or do not show it, or it took more than 30 s",
                       counted(count, "turn"));
}

std::string otherTurns(double residual) {
    return fmt::format(
        "the rates turn gravity {:.0f} degrees (RMS) away from the next pose: gyroscope and accelerometer "
        "differ in their axes, or the rates have another unit",
        degrees(residual));
}

std::string rateUncertain(double uncertainty, const Eigen::Vector3d& axis) {
    return fmt::format("the gyroscope's scale and axes are uncertain by {:.1f} %: turn it more about {}",
                       100.0 * uncertainty, nearestAxes(axis));
}

std::string rateNotScaled(std::size_t turns, const Eigen::Vector3d& axis) {
    return fmt::format(
        "the gyroscope's bias only: {} between the rests do not show scale and misalignment: turn it by at "
        "least 90 degrees between the poses, about each axis{}",
        counted(turns, "turn"),
        turns < 5 ? std::string() : fmt::format(", and more about {}", nearestAxes(axis)));
}

}  // namespace Kavelin::Calibration
