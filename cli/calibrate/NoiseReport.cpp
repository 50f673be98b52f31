#include "cli/calibrate/NoiseReport.h"

#include <fmt/format.h>

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/so3/SO3Settings.h"
#include "calibration/noise/NoiseText.h"
#include "cli/Picture.h"
#include "cli/calibrate/OpinionText.h"

namespace Kavelin::Cli {

namespace {

using Calibration::durationText;
using Calibration::NoiseFigures;
using Calibration::NoiseStudy;
using Calibration::SensorNoise;
using OrientationInternal::kRadiansToDegrees;

/// How a sensor is shown.
struct Shown {
    const char* name;
    std::string unit;
    double factor;  ///< from the unit of the figures
    const NoiseFigures& figures;
    const SensorNoise& noise;
};

std::vector<Shown> shownOf(const NoiseStudy& study) {
    const Calibration::NoiseCalibration& found = study.calibration;
    std::vector<Shown> all;
    const auto show = [&all](const char* name, const std::string& unit, double factor, const auto& figures,
                             const auto& noise) {
        if (figures) all.push_back({name, unit, factor, *figures, *noise});
    };
    show("accelerometer", "m/s^2", 1.0, found.acceleration, study.acceleration);
    show("gyroscope", "degrees/s", kRadiansToDegrees, found.rate, study.rate);
    show("magnetometer", found.fieldUnit.empty() ? "unit of the field" : found.fieldUnit, 1.0, found.field,
         study.field);
    return all;
}

std::string figure(double value) { return std::isnan(value) ? "not seen" : fmt::format("{:.3g}", value); }

std::string instability(double value, double time) {
    return std::isnan(value) ? "not seen" : fmt::format("{:.3g} at {}", value, durationText(time));
}

std::string figuresText(const Shown& shown) {
    std::string text = fmt::format("{}, {}\n  {:<5}{:<24}{:<24}{}\n", shown.name, shown.unit, "axis",
                                   "white noise /sqrt(Hz)", "bias instability", "random walk /sqrt(s)");
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
        const NoiseFigures& f = shown.figures;
        text += fmt::format("  {:<5}{:<24}{:<24}{}\n", "xyz"[axis], figure(shown.factor * f.whiteNoise[axis]),
                            instability(shown.factor * f.biasInstability[axis], f.instabilityTime[axis]),
                            figure(shown.factor * f.randomWalk[axis]));
    }
    return text;
}

/// RMS over the axes; NaN where one is.
double overAxes(const Eigen::Vector3d& figures) { return figures.norm() / std::sqrt(3.0); }

/// A property that takes a figure. Its default was found on motion and covers more than the sensor: it is never lowered.
std::string propertyText(const char* property, const char* unit, double measured, double standard) {
    if (std::isnan(measured)) return fmt::format("  {}: not known\n", property);
    if (measured > standard) return fmt::format("  --set \"{}={:.3g}\"  ({})\n", property, measured, unit);
    return fmt::format("  {}: keep {:g} {}; the sensor's own is {:.3g}\n", property, standard, unit,
                       measured);
}

std::string propertiesText(const Calibration::NoiseCalibration& found) {
    const OrientationInternal::SO3::Settings standard;
    std::string text;
    if (found.rate) {
        text += propertyText("Gyroscope noise", "rad/s/sqrt(Hz)", overAxes(found.rate->whiteNoise),
                             standard.gyroscopeNoise);
        text +=
            propertyText("Bias drift", "rad/s/sqrt(s)", overAxes(found.rate->randomWalk), standard.biasDrift);
    }
    if (found.acceleration) {
        text += propertyText("Accelerometer noise", "m/s^2/sqrt(Hz)",
                             overAxes(found.acceleration->whiteNoise), standard.accelerometerNoise);
    }
    if (!text.empty()) text = "properties of FilterSO3Attitude\n" + text;
    if (!found.rate || !found.rate->whiteNoise.allFinite()) return text;
    const double white = overAxes(found.rate->whiteNoise);
    return text + fmt::format(
                      "settings file of FilterAGMAttitude_v8\n  **Qd: not below {:.3g}; it is the "
                      "gyroscope's white noise squared, / 4, in 1/s\n",
                      white * white / 4.0);
}

/// One panel: points seen, lines fitted. Units of a person.
std::string panel(const Shown& shown, std::size_t number) {
    std::string text = fmt::format("$noise{} << EOD\n", number);
    for (const Calibration::AllanPoint& point : shown.noise.points) {
        text += fmt::format("{:.9g}", point.time);
        for (Eigen::Index axis = 0; axis < 3; ++axis) {
            const double deviation = shown.factor * point.deviation[axis];
            const double fitted =
                shown.factor * shown.noise.models[static_cast<std::size_t>(axis)].deviation(point.time);
            text += deviation > 0.0 && fitted > 0.0 ? fmt::format(" {:.6g} {:.6g}", deviation, fitted)
                                                    : " nan nan";
        }
        text += "\n";
    }
    text += fmt::format("EOD\nset ylabel {}\nplot ",
                        Picture::quoted(std::string(shown.name) + ", " + shown.unit));
    for (int axis = 0; axis < 3; ++axis) {
        text += fmt::format(
            "{0}$noise{1} using 1:{2} with points pt 7 ps 0.4 lc {3} title '{4}', $noise{1} using 1:{5} with "
            "lines lc {3} notitle",
            axis == 0 ? "" : ", ", number, 2 + 2 * axis, axis + 1, "xyz"[axis], 3 + 2 * axis);
    }
    return text + "\n";
}

CalibrationResult makeNoise(const CalibrationInput& input, const CalibrateOptions&) {
    NoiseStudy study = Calibration::calibrateNoise(input.sensors);
    study.calibration.fieldUnit = input.fieldUnit;
    CalibrationResult result;
    result.found.noise = study.calibration;
    result.report = noiseReport(study);
    result.drawing = noisePlot(study);
    return result;
}

}  // namespace

std::string noiseReport(const NoiseStudy& study) {
    std::string text = fmt::format("still for {}, from {:.1f} to {:.1f} s\n",
                                   durationText(study.calibration.duration), study.from, study.to);
    for (const Shown& shown : shownOf(study)) text += figuresText(shown);
    return text + propertiesText(study.calibration) + opinionText(study.calibration.opinion);
}

CalibrationResult::Drawing noisePlot(const NoiseStudy& study) {
    const std::vector<Shown> all = shownOf(study);
    const int panels = static_cast<int>(all.size());
    std::string text = fmt::format(
        "set datafile missing 'nan'\nset grid\nset logscale xy\nset format y '%.0e'\nset key outside right "
        "top\nset lmargin 12\n"
        "set multiplot layout {},1 title 'Allan deviation (points) and the noise fitted to it (lines)' "
        "noenhanced\n",
        panels);
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i + 1 == all.size()) text += "set xlabel 'averaging time, s'\n";
        text += panel(all[i], i);
    }
    return {.height = 100 + 280 * panels, .script = text + "unset multiplot\n"};
}

CalibrationKind noiseKind() {
    return {.name = "noise",
            .title = "Noise of a unit that lies still, by its Allan deviation",
            .canDraw = true,
            .addOptions = nullptr,
            .make = makeNoise};
}

}  // namespace Kavelin::Cli
