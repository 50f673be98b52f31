#include "calibration/noise/NoiseModel.h"

#include <Eigen/QR>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace Kavelin::Calibration {

namespace {

constexpr int kParts = 4;
constexpr double kFlickerVariance = 2.0 * std::numbers::ln2 / std::numbers::pi;  // of B = 1; 0.664 squared
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

Eigen::Vector4d unitParts(double time) {
    return {3.0 / (time * time), 1.0 / time, kFlickerVariance, time / 3.0};
}

struct Solution {
    Eigen::Vector4d squares = Eigen::Vector4d::Zero();
    double cost = 0.0;
};

/// Least squares in which no unknown is below zero: the best of all subsets of `allowed` (bits) whose own
/// solution is not.
Solution solveNotNegative(const Eigen::MatrixXd& a, const Eigen::VectorXd& b, int allowed) {
    Solution best{Eigen::Vector4d::Zero(), b.squaredNorm()};
    for (int subset = 1; subset <= allowed; ++subset) {
        if ((subset & allowed) != subset) continue;
        Eigen::MatrixXd columns(a.rows(), std::popcount(static_cast<unsigned>(subset)));
        Eigen::Index used = 0;
        for (int part = 0; part < kParts; ++part) {
            if (subset >> part & 1) columns.col(used++) = a.col(part);
        }
        const Eigen::VectorXd x = columns.colPivHouseholderQr().solve(b);
        const double cost = (b - columns * x).squaredNorm();
        if (x.minCoeff() < 0.0 || !(cost < best.cost)) continue;
        best.cost = cost;
        used = 0;
        for (int part = 0; part < kParts; ++part) best.squares[part] = subset >> part & 1 ? x[used++] : 0.0;
    }
    return best;
}

struct Measured {
    double time, variance, weight;
};

/// s; where the fit begins. A sensor's filter, and values that were interpolated, take noise from short times:
/// the deviation then rises first. One that rises over half of the times is a walk's.
double firstTime(const std::vector<AllanPoint>& points, Eigen::Index axis) {
    constexpr double kSamples = 4.5;
    constexpr double kBeyondRise = 2.0;
    std::size_t top = 0;
    while (top + 1 < points.size() && points[top + 1].deviation[axis] > points[top].deviation[axis]) ++top;
    const bool isFiltered = top > 0 && 2 * top < points.size();
    return std::max(kSamples * points.front().time, isFiltered ? kBeyondRise * points[top].time : 0.0);
}

std::vector<Measured> measuredOf(const std::vector<AllanPoint>& points, Eigen::Index axis) {
    constexpr double kModelError = 0.05;  // relative, of the variance: real noise is no sum of the four
    std::vector<Measured> measured;
    if (points.empty()) return measured;
    const double first = firstTime(points, axis);
    for (const AllanPoint& point : points) {
        const double variance = point.deviation[axis] * point.deviation[axis];
        if (point.time < first || !(variance > 0.0)) continue;
        measured.push_back(
            {point.time, variance, 1.0 / std::sqrt(2.0 / point.freedom + kModelError * kModelError)});
    }
    return measured;
}

/// Relative errors of the variances as equations for the parts, in which all columns have norm 1.
struct Equations {
    Eigen::MatrixXd a;
    Eigen::VectorXd b, norms;
};

/// @param squares of the model, which the errors are relative to; none: to the measured variances
Equations equationsOf(const std::vector<Measured>& measured, const Eigen::Vector4d& squares) {
    const auto count = static_cast<Eigen::Index>(measured.size());
    Equations equations{Eigen::MatrixXd(count, kParts), Eigen::VectorXd(count), {}};
    for (Eigen::Index i = 0; i < count; ++i) {
        const Measured& m = measured[static_cast<std::size_t>(i)];
        const Eigen::Vector4d parts = unitParts(m.time);
        const double variance = squares.dot(parts);
        const double scale = m.weight / (variance > 0.0 ? variance : m.variance);
        equations.a.row(i) = scale * parts.transpose();
        equations.b[i] = scale * m.variance;
    }
    equations.norms = equations.a.colwise().norm().transpose();
    equations.a = equations.a * equations.norms.cwiseInverse().asDiagonal();
    return equations;
}

Eigen::Vector4d fitParts(const std::vector<Measured>& measured, int allowed) {
    constexpr int kRounds = 8;  // the error is relative to the model, which the rounds find
    Eigen::Vector4d squares = Eigen::Vector4d::Zero();
    for (int round = 0; round < kRounds; ++round) {
        const Equations equations = equationsOf(measured, squares);
        squares = solveNotNegative(equations.a, equations.b, allowed).squares.cwiseQuotient(equations.norms);
    }
    return squares;
}

/// A part, and by how much the squares grow without it.
struct Spare {
    int part;
    double growth;
};

/// The part, other than white noise, that can be done without most easily.
Spare leastNeeded(const std::vector<Measured>& measured, const Eigen::Vector4d& squares, int allowed) {
    const Equations equations = equationsOf(measured, squares);
    const double cost = solveNotNegative(equations.a, equations.b, allowed).cost;
    Spare least{0, std::numeric_limits<double>::infinity()};
    for (const int part : {0, 2, 3}) {
        if (!(allowed >> part & 1)) continue;
        const double growth = solveNotNegative(equations.a, equations.b, allowed & ~(1 << part)).cost - cost;
        if (growth < least.growth) least = {part, growth};
    }
    return least;
}

}  // namespace

Eigen::Vector4d NoiseModel::parts(double time) const {
    const Eigen::Vector4d squares(quantisation * quantisation, white * white, flicker * flicker, walk * walk);
    return squares.cwiseProduct(unitParts(time));
}

double NoiseModel::deviation(double time) const { return std::sqrt(parts(time).sum()); }

NoiseModel fitNoise(const std::vector<AllanPoint>& points, Eigen::Index axis) {
    constexpr double kEvidence = 27.0;  // three deviations, squared; three neighbouring points say the same
    const std::vector<Measured> measured = measuredOf(points, axis);
    if (measured.size() < kParts) return {};
    int allowed = (1 << kParts) - 1;
    Eigen::Vector4d squares = fitParts(measured, allowed);
    for (int left = kParts; left > 1 && squares.sum() > 0.0; --left) {
        const Spare spare = leastNeeded(measured, squares, allowed);
        if (spare.growth > kEvidence) break;
        allowed &= ~(1 << spare.part);
        squares = fitParts(measured, allowed);
    }
    if (!(squares.sum() > 0.0)) return {};
    return {.quantisation = std::sqrt(squares[0]),
            .white = std::sqrt(squares[1]),
            .flicker = std::sqrt(squares[2]),
            .walk = std::sqrt(squares[3])};
}

AxisNoise readNoise(const NoiseModel& model, const std::vector<AllanPoint>& points) {
    constexpr double kHalf = 0.5;
    constexpr double kShortestForBias =
        5.0;  // s; what shows before is the sensor's filter, or its resolution
    AxisNoise noise{kNone, kNone, kNone, kNone};
    if (points.empty()) return noise;
    double least = std::numeric_limits<double>::infinity();
    double leastAt = 0.0;
    for (const AllanPoint& point : points) {
        const Eigen::Vector4d parts = model.parts(point.time);
        if (parts[1] > kHalf * parts.sum()) noise.white = model.white;
        if (!(parts.sum() < least)) continue;
        least = parts.sum();
        leastAt = point.time;
    }
    if (points.back().time < kShortestForBias) return noise;
    const Eigen::Vector4d end = model.parts(points.back().time);
    if (end[3] > kHalf * end.sum()) noise.walk = model.walk;
    const bool stillFalls = leastAt == points.back().time && end[2] < kHalf * end.sum();
    if (stillFalls || !(least > 0.0)) return noise;
    noise.instability = std::sqrt(least / kFlickerVariance);
    noise.instabilityTime = leastAt;
    return noise;
}

}  // namespace Kavelin::Calibration
