#include "evaluation/MotionFit.h"

#include <Eigen/Cholesky>
#include <Eigen/Geometry>
#include <Eigen/LU>
#include <algorithm>
#include <array>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::kDegreesToRadians;

const double kBlock = 0.04;       // s
const double kLongestStep = 0.2;  // s; beyond it nothing is known of the motion in between
const double kBand = 0.5;         // s; motion slower than this counts less
const double kTurn = 1.0;         // rad; over longer turns small errors of v and w pile up
const double kSmooth = 0.1;       // s; motion faster than this counts less
const double kBetween = 0.2;      // s from one equation to the next
const double kNormTime = 20.0;    // s, averaging time of the usual norm
const double kNormLimit = 0.05;   // relative deviation of the norm at which an equation counts half
// Equations of neighbouring times share their noise: this many count as one.
const double kShared = 4.0;
const double kBiasPrior = 0.2;    // rad/s
const double kOffsetPrior = 0.5;  // of the vector's norm

using Six = Eigen::Matrix<double, 6, 1>;
using SixBySix = Eigen::Matrix<double, 6, 6>;

/// Calls `take` with each matrix of the 48 that swap and negate axes.
template <class Take>
void forEachAxes(const Take& take) {
    std::array<int, 3> order = {0, 1, 2};
    do {
        for (int signs = 0; signs < 8; ++signs) {
            Matrix3 axes = Matrix3::Zero();
            for (int row = 0; row < 3; ++row) {
                axes(row, order[static_cast<std::size_t>(row)]) = (signs >> row & 1) ? -1.0 : 1.0;
            }
            take(axes);
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace

void MotionFit::addRate(double t, const Vector3& rate) {
    if (!rate.allFinite()) return;
    const double step = rateTime_ ? t - *rateTime_ : 0.0;
    if (step > kLongestStep) {  // what happened in between is not known
        last_.reset();
        block_ = Block{};
    } else if (step > 0.0) {
        angle_ += 0.5 * step * (rate_ + rate);
    }
    rateTime_ = t;
    rate_ = rate;
}

void MotionFit::addVector(double t, const Vector3& vector) {
    if (!vector.allFinite() || !rateTime_) return;
    if (block_.count > 0 && t - blockStart_ >= kBlock) closeBlock();
    if (block_.count == 0) blockStart_ = t;
    block_.t += t - blockStart_;
    block_.angle += angle_;
    block_.vector += vector;
    ++block_.count;
}

void MotionFit::closeBlock() {
    Block mean = block_;
    mean.t = blockStart_ + block_.t / block_.count;
    mean.angle /= block_.count;
    mean.vector /= block_.count;
    block_ = Block{};
    if (last_ && mean.t - last_->t < kLongestStep) {
        advance(*last_, mean);
    } else {
        band_.design.setZero();
        band_.smoothDesign.setZero();
        band_.change.setZero();
        band_.smoothChange.setZero();
        band_.sinceLast = 0.0;
    }
    last_ = mean;
}

void MotionFit::advance(const Block& from, const Block& to) {
    const double step = to.t - from.t;
    if (step <= 0.0) return;
    const Vector3 raw = 0.5 * (from.vector + to.vector);
    normTime_ = std::min(normTime_ + step, kNormTime);
    norm_ += step / normTime_ * (raw.norm() - norm_);
    if (norm_ <= 0.0) return;
    const Vector3 v = raw / norm_;
    const Vector3 turn = to.angle - from.angle;

    const double keep = std::exp(-step / kBand - turn.norm() / kTurn);
    band_.change = keep * band_.change + (to.vector - from.vector) / norm_;
    band_.design *= keep;
    for (int j = 0; j < 3; ++j) {
        const Vector3 axis = Vector3::Unit(j);
        const Vector3 moved = v.cross(axis);
        for (int k = 0; k < 3; ++k) band_.design.col(3 * k + j) += turn[k] * moved;
        band_.design.col(9 + j) -= step * moved;
        band_.design.col(12 + j) -= axis.cross(turn);
    }
    const double gain = step / (kSmooth + step);
    band_.smoothDesign += gain * (band_.design - band_.smoothDesign);
    band_.smoothChange += gain * (band_.change - band_.smoothChange);
    const double off = v.norm() - 1.0;
    band_.deviation += std::min(1.0, step / kBand) * (off * off - band_.deviation);
    band_.sinceLast += step;
    if (band_.sinceLast >= kBetween) accumulate();
}

void MotionFit::accumulate() {
    const double weight = band_.sinceLast / (1.0 + band_.deviation / (kNormLimit * kNormLimit));
    // Lazy: the general product of large matrices costs more than these small ones.
    sums_.normal += weight * band_.smoothDesign.transpose().lazyProduct(band_.smoothDesign);
    sums_.right += weight * band_.smoothDesign.transpose().lazyProduct(band_.smoothChange);
    sums_.squares += weight * band_.smoothChange.squaredNorm();
    sums_.weight += weight;
    sums_.seconds += band_.sinceLast;
    band_.sinceLast = 0.0;
}

/// Residual sum of squares for the rates' matrix `m`, and the best bias and offset.
double MotionFit::cost(const Matrix3& m) const {
    Eigen::Matrix<double, 9, 1> x;
    for (int k = 0; k < 3; ++k) x.segment<3>(3 * k) = m.col(k);
    SixBySix a = sums_.normal.bottomRightCorner<6, 6>();
    const double noise = sums_.squares / 3.0 + 1e-12;
    a.diagonal().head<3>().array() += noise / (sums_.weight + 1e-12) / (kBiasPrior * kBiasPrior);
    a.diagonal().tail<3>().array() += noise / (sums_.weight + 1e-12) / (kOffsetPrior * kOffsetPrior);
    const Six g = sums_.right.tail<6>() - sums_.normal.bottomLeftCorner<6, 9>() * x;
    const double fixed =
        sums_.squares - 2.0 * x.dot(sums_.right.head<9>()) + x.dot(sums_.normal.topLeftCorner<9, 9>() * x);
    return std::max(0.0, fixed - g.dot(a.ldlt().solve(g)));
}

void MotionFit::solveOffsets(MotionFitResult& result) const {
    Eigen::Matrix<double, 9, 1> identity;
    identity << 1, 0, 0, 0, 1, 0, 0, 0, 1;
    const double left = cost(Matrix3::Identity());
    const double variance = kBetween * kShared * left / (3.0 * sums_.weight) + 1e-9;
    SixBySix a = sums_.normal.bottomRightCorner<6, 6>() / variance;
    a.diagonal().head<3>().array() += 1.0 / (kBiasPrior * kBiasPrior);
    a.diagonal().tail<3>().array() += 1.0 / (kOffsetPrior * kOffsetPrior);
    const Six g = (sums_.right.tail<6>() - sums_.normal.bottomLeftCorner<6, 9>() * identity) / variance;
    const Six x = a.ldlt().solve(g);
    const SixBySix inverse = a.inverse();
    result.bias = x.head<3>();
    result.offset = x.tail<3>();
    for (int axis = 0; axis < 3; ++axis) {
        result.biasDeviation[axis] = std::sqrt(inverse(axis, axis));
        result.offsetDeviation[axis] = std::sqrt(inverse(3 + axis, 3 + axis));
    }
}

void MotionFit::findAxes(MotionFitResult& result) const {
    double best = cost(Matrix3::Identity());
    forEachAxes([&](const Matrix3& axes) {
        for (const double scale : {1.0, kDegreesToRadians, 1.0 / kDegreesToRadians}) {
            const double left = cost(scale * axes);
            if (left >= best) continue;
            best = left;
            result.axes = axes;
            result.scale = scale;
        }
    });
    // The cost is a parabola over the scale: its least from three points.
    const double s = result.scale;
    const double low = cost(0.5 * s * result.axes);
    const double middle = cost(s * result.axes);
    const double high = cost(1.5 * s * result.axes);
    const double curvature = low - 2.0 * middle + high;
    if (curvature > 0.0) result.scale = s * (1.0 + 0.25 * (low - high) / curvature);
    result.bestExplained = 1.0 - cost(result.scale * result.axes) / cost(Matrix3::Zero());
}

MotionFitResult MotionFit::result() const {
    MotionFitResult result;
    result.seconds = sums_.seconds;
    result.norm = norm_;
    const double nothing = cost(Matrix3::Zero());
    if (sums_.weight <= 0.0 || nothing <= 0.0) return result;
    result.explained = 1.0 - cost(Matrix3::Identity()) / nothing;
    findAxes(result);
    solveOffsets(result);
    return result;
}

}  // namespace Kavelin::RecordingIO
