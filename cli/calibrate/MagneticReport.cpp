#include "cli/calibrate/MagneticReport.h"

#include <fmt/format.h>

#include <Eigen/Geometry>
#include <Eigen/SVD>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/magnetic/MagneticCalibrator.h"
#include "cli/calibrate/OpinionText.h"

namespace Kavelin::Cli {

using Calibration::MagneticCalibration;
using Eigen::Matrix3d;
using Eigen::Vector3d;
using OrientationInternal::kRadiansToDegrees;

namespace {

const std::size_t kMostDrawn = 2000;
const int kHeight = 800;  // pixels

/// The ellipsoid's semi-axes by their mean, the longest first, and the turn into the accelerometer's frame.
std::string axesLines(const Matrix3d& matrix) {
    const Eigen::JacobiSVD<Matrix3d> parts(matrix, Eigen::ComputeFullU | Eigen::ComputeFullV);
    std::string text;
    for (int i = 2; i >= 0; --i) {
        Vector3d axis = parts.matrixV().col(i);
        Eigen::Index largest = 0;
        axis.cwiseAbs().maxCoeff(&largest);
        if (axis[largest] < 0.0) axis = -axis;
        axis = ((100.0 * axis).array().round() / 100.0 + 0.0).matrix();  // no -0.00
        text += fmt::format("{}{:.3f} along ({:.2f}, {:.2f}, {:.2f})", i == 2 ? "soft iron: axes " : ", ",
                            1.0 / parts.singularValues()[i], axis.x(), axis.y(), axis.z());
    }
    text += "\n";
    const Eigen::AngleAxisd turn(Matrix3d(parts.matrixU() * parts.matrixV().transpose()));
    if (std::abs(turn.angle()) > 1e-6) {
        text += fmt::format("turned by {:.1f} degrees into the accelerometer's frame\n",
                            kRadiansToDegrees * std::abs(turn.angle()));
    }
    return text;
}

}  // namespace

std::string magneticReport(const MagneticCalibration& found) {
    const std::string unit = found.unit.empty() ? "" : " " + found.unit;
    const Vector3d& offset = found.model.offset;
    std::string text = fmt::format("{} samples of the field, {:.2g} % of them disturbed\n", found.samples,
                                   100.0 * found.disturbed);
    text += fmt::format("norm: {:.4g}{}; it varied by {:.2f} %, calibrated by {:.2f} %\n", found.strength,
                        unit, 100.0 * found.residualBefore, 100.0 * found.residualAfter);
    text += fmt::format("hard iron: ({:.2f}, {:.2f}, {:.2f}){}, known to {:.2g}{}\n", offset.x(), offset.y(),
                        offset.z(), unit, found.offsetDeviation, unit);
    text += axesLines(found.model.matrix);
    if (found.dip) text += fmt::format("dip: {:.1f} degrees\n", kRadiansToDegrees * *found.dip);
    text += fmt::format("directions seen: {:.0f} % of the sphere\n", 100.0 * found.coverage);
    return text + opinionText(found.opinion);
}

CalibrationResult::Drawing magneticPlot(const Calibration::SensorTrack& field,
                                        const MagneticCalibration& found) {
    std::string text = "set grid\nset key outside right top\nset lmargin 9\nset rmargin 20\n$field << EOD\n";
    const std::size_t stride = field.size() / kMostDrawn + 1;
    for (std::size_t i = 0; i < field.size(); i += stride) {
        const Vector3d after = found.model.apply(field.values[i]);
        const double norm = after.norm();
        text += fmt::format("{:.6g} {:.6g} {:.6g} {:.6g} {:.6g}\n", field.times[i] - field.times.front(),
                            field.values[i].norm(), norm,
                            kRadiansToDegrees * std::atan2(after.y(), after.x()), after.z() / norm);
    }
    const std::string unit = found.unit.empty() ? "its own unit" : found.unit;
    text +=
        "EOD\nset multiplot layout 2,1\n"
        "set title 'directions of the field in the sensor frame'\n"
        "set xlabel 'azimuth, degrees'\nset xrange [-180:180]\nset xtics 45\n"
        "set ylabel 'elevation, degrees'\nset yrange [-1:1]\n"
        "set ytics ('-90' -1, '-60' -0.866, '-30' -0.5, '0' 0, '30' 0.5, '60' 0.866, '90' 1)\n"
        "plot $field using 4:5 with points pt 7 ps 0.25 title 'seen'\n"
        "set title 'norm of the field'\nset xlabel 's'\nset xrange [*:*]\nset xtics autofreq\n" +
        fmt::format("set ylabel '{}'\nset yrange [0:*]\nset ytics autofreq\n", unit) +
        "plot $field using 1:2 with lines title 'before', '' using 1:3 with lines lw 1.5 title 'after'\n"
        "unset multiplot\n";
    return {.height = kHeight, .script = text};
}

namespace {

CalibrationResult makeMagnetic(const CalibrationInput& input, const CalibrateOptions& options) {
    Calibration::MagneticSettings settings;
    settings.unit = input.fieldUnit;
    CalibrationResult result;
    const MagneticCalibration found = calibrateField(input.sensors, settings);
    result.found.magnetic = found;
    result.report = magneticReport(found);
    if (!options.plot.empty()) result.drawing = magneticPlot(input.sensors.field, found);
    return result;
}

}  // namespace

CalibrationKind magneticKind() {
    return {.name = "mag",
            .title = "Hard and soft iron, from a turn through all directions",
            .canDraw = true,
            .addOptions = nullptr,
            .make = makeMagnetic};
}

}  // namespace Kavelin::Cli
