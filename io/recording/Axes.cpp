#include "io/recording/Axes.h"

#include <Poco/Exception.h>

#include <Eigen/Geometry>
#include <vector>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const AxisChoice kAsTheyAre;

[[noreturn]] void refuse(std::string_view entry, const std::string& why) {
    throw Poco::DataFormatException(
        "the axes '" + std::string(trimmed(entry)) + "' " + why +
        "; expected are three of x, y, z, each with or without a minus, such as y,-x,z, "
        "or 3m = y,-x,z for one sensor");
}

Eigen::Matrix3d matrixOf(const AxisChoice& choice) {
    Eigen::Matrix3d matrix = Eigen::Matrix3d::Zero();
    for (Eigen::Index i = 0; i < 3; ++i) {
        const auto k = static_cast<std::size_t>(i);
        matrix(i, static_cast<Eigen::Index>(choice.from[k])) = choice.sign[k];
    }
    return matrix;
}

AxisChoice parseAxis(std::string_view entry, std::string_view text) {
    AxisChoice choice;
    if (equalsIgnoringCase(trimmed(text), "inverted")) {
        choice.sign = {-1.0, -1.0, -1.0};
        choice.isInverted = true;
        return choice;
    }
    const std::vector<std::string> axes = splitCells(text, ',');
    if (axes.size() != 3) refuse(entry, "do not name three axes");
    for (std::size_t i = 0; i < 3; ++i) {
        std::string axis = lowered(axes[i]);
        if (axis.starts_with('-') || axis.starts_with('+')) {
            choice.sign[i] = axis[0] == '-' ? -1.0 : 1.0;
            axis = trimmed(std::string_view(axis).substr(1));
        }
        if (axis.size() != 1 || axis[0] < 'x' || axis[0] > 'z') refuse(entry, "hold '" + axes[i] + "'");
        choice.from[i] = static_cast<std::size_t>(axis[0] - 'x');
    }
    const double determinant = matrixOf(choice).determinant();
    if (determinant == 0.0) refuse(entry, "name one axis twice");
    if (determinant < 0.0) {
        refuse(entry,
               "are left-handed: no turn of a unit makes them. Change the sign of one axis; where an "
               "accelerometer "
               "shows gravity and not the specific force (-9.81 along an axis that points up), write 3a = "
               "inverted");
    }
    return choice;
}

}  // namespace

AxisChoice AxesChoice::of(const std::string& pin) const {
    const auto own = ofPin.find(pin);
    if (own == ofPin.end()) return all;
    AxisChoice choice = all;
    for (std::size_t i = 0; i < 3; ++i) {
        choice.from[i] = own->second.from[all.from[i]];
        choice.sign[i] = all.sign[i] * own->second.sign[all.from[i]];
    }
    return choice;
}

AxesChoice parseAxes(std::string_view text) {
    AxesChoice axes;
    for (const std::string& entry : splitCells(text, ';')) {
        if (trimmed(entry).empty()) continue;
        const std::size_t equals = entry.find('=');
        if (equals == std::string::npos) {
            if (axes.all != kAsTheyAre) refuse(entry, "come a second time");
            axes.all = parseAxis(entry, entry);
            if (axes.all.isInverted) refuse(entry, "invert every sensor: say which, as in 3a = inverted");
            continue;
        }
        const std::string pin(trimmed(std::string_view(entry).substr(0, equals)));
        if (pin != "3a" && pin != "3g" && pin != "3m") refuse(entry, "are not of 3a, 3g or 3m");
        axes.ofPin[pin] = parseAxis(entry, std::string_view(entry).substr(equals + 1));
    }
    return axes;
}

std::array<double, 4> turnOf(const AxisChoice& choice) {
    // new = M old, so that the matrix from new to old coordinates is the transpose.
    const Eigen::Quaterniond q(Eigen::Matrix3d(matrixOf(choice).transpose()));
    return {q.w(), q.x(), q.y(), q.z()};
}

}  // namespace Kavelin::RecordingIO
