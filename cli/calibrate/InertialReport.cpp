#include "cli/calibrate/InertialReport.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/inertial/InertialFit.h"
#include "cli/CommandContext.h"
#include "cli/calibrate/OpinionText.h"

namespace Kavelin::Cli {

namespace {

using Calibration::AffineModel;
using Calibration::InertialCalibration;
using OrientationInternal::kRadiansToDegrees;

/// A number to so many digits after the point; none is "-0".
std::string fixed(double value, int digits) {
    const double unit = std::pow(10.0, -digits);
    return fmt::format("{:.{}f}", std::round(value / unit) * unit + 0.0, digits);
}

std::string three(const Eigen::Vector3d& v, int digits) {
    return fixed(v[0], digits) + ", " + fixed(v[1], digits) + ", " + fixed(v[2], digits);
}

std::string factors(const AffineModel& model) { return "scale " + three(model.matrix.diagonal(), 4); }

std::string accelerometerText(const InertialCalibration& found) {
    if (!found.acceleration) return "accelerometer: not calibrated\n";
    const AffineModel& model = *found.acceleration;
    std::string text = fmt::format("accelerometer: {} poses that differ, gravity {:.5f} m/s^2\n", found.poses,
                                   found.gravity);
    text += "  offset " + three(model.offset, 3) + " m/s^2; " + factors(model) + "; axes ";
    if (found.hasCrossTerms) {
        const Eigen::Vector3d cross(model.matrix(0, 1), model.matrix(0, 2), model.matrix(1, 2));
        text += "off by " + three(kRadiansToDegrees * cross, 2) + " degrees (xy, xz, yz)\n";
    } else {
        text += "taken as orthogonal\n";
    }
    return text + fmt::format(
                      "  norm off from gravity by {:.3g} m/s^2 before, {:.3g} after (RMS over the poses); "
                      "uncertain by {:.2g} at most\n",
                      found.accelerationResidualBefore, found.accelerationResidualAfter,
                      found.accelerationUncertainty);
}

std::string turnText(const InertialCalibration& found) {
    if (found.turns == 0) return {};
    return fmt::format(
        "  gravity turned by the rates is off by {:.3g} degrees before, {:.3g} after (RMS over {} turns)\n",
        kRadiansToDegrees * found.turnResidualBefore, kRadiansToDegrees * found.turnResidualAfter,
        found.turns);
}

std::string gyroscopeText(const InertialCalibration& found) {
    if (!found.rate) return "gyroscope: not calibrated\n";
    const AffineModel& model = *found.rate;
    std::string text = "gyroscope: bias " + three(kRadiansToDegrees * model.offset, 3) + " degrees/s";
    if (found.rateDrift > 0.0)
        text += fmt::format(", changed by {:.2g} between rests", kRadiansToDegrees * found.rateDrift);
    text += "; ";
    if (found.isRateScaled) {
        Eigen::Matrix3d off = model.matrix;
        off.diagonal().setZero();
        text += factors(model) + fmt::format("; axes off by {:.2g} degrees at most\n",
                                             kRadiansToDegrees * off.cwiseAbs().maxCoeff());
    } else {
        text += "scale and axes not known\n";
    }
    return text + turnText(found);
}

CalibrationResult makeInertial(const CalibrationInput& input, const CalibrateOptions& options) {
    Calibration::InertialSettings settings;
    if (std::isnan(options.gravity)) throw UsageError("--gravity: a number is expected, in m/s^2");
    settings.gravity = options.gravity;
    CalibrationResult result;
    result.found.inertial = Calibration::calibrateInertial(input.sensors, settings);
    result.report = inertialReport(*result.found.inertial);
    return result;
}

void addInertialOptions(CLI::App& command, CalibrateOptions& options) {
    command.add_option("--gravity", options.gravity, "Of the place: 9.780 at the equator, 9.832 at a pole")
        ->type_name("M/S^2")
        ->check(CLI::Range(9.7, 9.9).description(""))
        ->capture_default_str();
}

}  // namespace

std::string inertialReport(const InertialCalibration& found) {
    return accelerometerText(found) + gyroscopeText(found) + opinionText(found.opinion);
}

CalibrationKind inertialKind() {
    return {.name = "imu",
            .title = "Accelerometer and gyroscope, from still poses and the turns between them",
            .canDraw = false,
            .addOptions = addInertialOptions,
            .make = makeInertial};
}

}  // namespace Kavelin::Cli
