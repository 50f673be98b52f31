#include "cli/validate/SampleMaker.h"

#include <Kavelin/Typed/Contents.h>

#include <cmath>
#include <limits>

namespace Kavelin::Cli {

namespace {

using Core::Matrix;
using Core::PinShape;

constexpr PinShape kTried[] = {{1, 1}, {1, 3}, {1, 4}, {3, 3}, {3, 1},
                               {4, 1}, {3, 2}, {1, 2}, {2, 3}, {1, 6}};

Core::PinContent knownContent(const std::string& pin, const Core::PinContent& declared) {
    if (!declared.quantity.empty()) return declared;
    Core::PinContent content = declared;
    if (pin == "3a") content.quantity = Core::kAccelerationName;
    if (pin == "3g") content.quantity = Core::kRateName;
    if (pin == "3m") content.quantity = Core::kFieldName;
    if (!content.quantity.empty() && !content.shape.isFixed()) content.shape = {1, 3};
    return content;
}

/// In storage order; as many as it takes.
Matrix filled(PinShape shape, const double* values, Eigen::Index count) {
    Matrix sample(shape.rows, shape.cols);
    for (Eigen::Index i = 0; i < sample.size(); ++i) sample.data()[i] = values[i % count];
    return sample;
}

OrientationInternal::Matrix3 rotationOf(const RecordingIO::SimulatedRow& row) {
    return OrientationInternal::toEigen(row.attitude).toRotationMatrix();
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kHostile[] = {0.0,  -0.0,   1e-320,    -1e-160,    1e-7,
                               1.0,  -9.81,  30.0,      -1e3,       9e3,
                               1e99, -1e160, 1e308,     -1e308,     1e-3,
                               5.0,  -48.0,  kInfinity, -kInfinity, std::numeric_limits<double>::quiet_NaN()};
constexpr PinShape kOdd[] = {{0, 0}, {0, 3}, {3, 0}, {1, 1}, {1, 2}, {1, 3},    {3, 1},    {1, 4},
                             {4, 1}, {2, 2}, {3, 3}, {1, 9}, {4, 4}, {1, 1000}, {100, 100}};

}  // namespace

Fed describeFed(const std::string& pin, const Core::PinContent& content, bool isOptional) {
    Fed fed{pin, false, isOptional || content.isOptional, knownContent(pin, content), {}};
    fed.isKnown = !fed.content.quantity.empty();
    if (fed.content.shape.isFixed()) fed.shapes.push_back(fed.content.shape);
    for (const PinShape shape : kTried) {
        const bool fits = content.fits(shape) && shape != fed.content.shape;
        if (fits && (content.takes != nullptr || !fed.content.shape.isFixed())) fed.shapes.push_back(shape);
    }
    if (fed.shapes.empty()) fed.shapes.push_back({1, 1});
    return fed;
}

std::vector<RecordingIO::SimulatedRow> simulatedRows(double seconds, double rate, std::uint64_t seed) {
    RecordingIO::SimulationOptions options;
    options.seed = seed;
    options.seconds = seconds;
    options.rate = rate;
    options.firstRest = 1.0;
    RecordingIO::Simulator simulator(options);
    std::vector<RecordingIO::SimulatedRow> rows;
    for (RecordingIO::SimulatedRow row; simulator.next(row);) rows.push_back(row);
    return rows;
}

Matrix usualSample(const Fed& fed, const RecordingIO::SimulatedRow& row, PinShape shape) {
    const auto& quantity = fed.content.quantity;
    if (quantity == Core::kAccelerationName) return filled(shape, row.acceleration.data(), 3);
    if (quantity == Core::kRateName) return filled(shape, row.rate.data(), 3);
    if (quantity == Core::kFieldName) return filled(shape, row.field.data(), 3);
    const Matrix rotation = rotationOf(row);
    if (shape == PinShape{3, 3}) return rotation;
    if (shape == PinShape{3, 2}) return rotation.leftCols(2);
    if (quantity == Core::kOrientation && shape.rows * shape.cols == 4)
        return filled(shape, row.attitude.data(), 4);
    if (quantity == Core::kOrientation) return filled(shape, rotation.data(), 9);
    const bool isFlag = quantity == Core::kFlag.quantity;
    if (isFlag) return Matrix::Constant(shape.rows, shape.cols, std::fmod(row.t, 4.0) < 1.0 ? 1.0 : 0.0);
    const double numbers[] = {row.t, row.rate[0], row.rate[1], row.rate[2]};
    const bool isAngle = quantity == Core::kAngleName;
    return isAngle ? filled(shape, numbers + 1, 3) : filled(shape, numbers, 4);
}

Matrix hostileSample(PinShape usual, bool ofOddShapes, RecordingIO::Random& random) {
    const auto below = [&](std::size_t count) { return random.bits() % count; };
    const PinShape shape = ofOddShapes && below(3) == 0 ? kOdd[below(std::size(kOdd))] : usual;
    Matrix sample(shape.rows, shape.cols);
    for (Eigen::Index i = 0; i < sample.size(); ++i) sample.data()[i] = kHostile[below(std::size(kHostile))];
    return sample;
}

}  // namespace Kavelin::Cli
