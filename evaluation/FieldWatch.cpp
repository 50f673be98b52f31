#include "evaluation/FieldWatch.h"

#include <Eigen/Cholesky>
#include <Eigen/LU>
#include <algorithm>
#include <cmath>

#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::RecordingIO {

namespace {

const double kWindow = 0.1;         // s
const double kFullRate = 0.5;       // rad/s, motion that counts fully
const double kAtRest = 0.05;        // weight of a rest
const double kLongestGap = 0.5;     // s
const double kShared = 20.0;        // windows of neighbouring times share their disturbance
const double kHardIronPrior = 1.0;  // s of motion

template <class Cells>
FieldEvidence::Spread spread(const Cells& cells, double centre) {
    return {cells.reach(centre, 0.5), cells.reach(centre, 0.75), cells.reach(centre, 0.9)};
}

}  // namespace

void FieldWatch::add(double t, const Quaternion& q, const Vector3& field) {
    if (!field.allFinite() || !q.allFinite()) return;
    if (window_.count == 0) window_.start = t;
    const Matrix3 rotation = OrientationInternal::quaternionToRotation(q);
    window_.rotation += rotation;
    window_.earth += rotation * field;
    window_.norm += field.norm();
    ++window_.count;
    window_.length = t - window_.start;
    if (window_.length >= kWindow || window_.length < 0.0) closeWindow();
}

void FieldWatch::closeWindow() {
    const double t = window_.start + window_.length;
    window_.rotation /= window_.count;
    window_.earth /= window_.count;
    window_.norm /= window_.count;
    const double step = last_ ? t - last_->time : 0.0;
    if (step > 0.0 && step < kLongestGap) {
        // |R1 - R2|^2 = 8 sin^2(angle / 2)
        const double turn = (window_.rotation - last_->rotation).norm() / std::sqrt(2.0);
        const double share = std::min(1.0, turn * turn / (step * step * kFullRate * kFullRate));
        motion_ += step * share;
        accumulate(step * std::min(1.0, kAtRest + share));
    }
    last_ = {t, window_.rotation};
    window_ = Window{};
}

void FieldWatch::accumulate(double weight) {
    const Vector3& m = window_.earth;
    const double norm = window_.norm;  // a wrong attitude does not change it
    const double level = std::hypot(m.x(), m.y());
    if (norm <= 0.0) return;
    const double dip = std::atan2(-m.z(), level);
    sums_.weight += weight;
    sums_.norm += weight * norm;
    if (firstNorm_ == 0.0) firstNorm_ = norm;
    norms_.add(std::log(norm / firstNorm_), weight);
    dips_.add(dip, weight);
    if (level > 0.0) {
        azimuths_.add(std::atan2(m.x(), m.y()), weight);
        sums_.east += weight * m.x() / level;
        sums_.north += weight * m.y() / level;
    }
    sums_.rotation += weight * window_.rotation;
    sums_.earth += weight * m;
    sums_.body += weight * window_.rotation.transpose() * m;
    sums_.squares += weight * m.squaredNorm();
}

FieldEvidence FieldWatch::evidence() const {
    FieldEvidence found;
    found.seconds = motion_;
    if (sums_.weight <= 0.0) return found;
    const double w = sums_.weight;
    found.norm = sums_.norm / w;
    found.normSpread = spread(norms_, norms_.median());
    found.dip = std::atan2(-sums_.earth.z(), std::hypot(sums_.earth.x(), sums_.earth.y()));
    found.dipSpread = spread(dips_, dips_.median());
    found.northSpread = spread(azimuths_, 0.0);
    found.azimuthSpread = spread(azimuths_, std::atan2(sums_.east, sums_.north));
    found.coverage = 1.0 - sums_.rotation.squaredNorm() / (3.0 * w * w);

    const Matrix3 a =
        (w + kHardIronPrior) * Matrix3::Identity() - sums_.rotation.transpose() * sums_.rotation / w;
    const Vector3 right = sums_.body - sums_.rotation.transpose() * sums_.earth / w;
    const Vector3 h = a.ldlt().solve(right);
    const auto scatter = [&](const Vector3& y) {
        const double squares = (sums_.squares - 2.0 * y.dot(sums_.body) + w * y.squaredNorm()) / w;
        return std::max(0.0, squares - ((sums_.earth - sums_.rotation * y) / w).squaredNorm());
    };
    found.hardIron = h;
    found.scatter = std::sqrt(scatter(Vector3::Zero())) / found.norm;
    found.scatterLeft = std::sqrt(scatter(h)) / found.norm;
    const double variance = kWindow * kShared * found.scatterLeft * found.scatterLeft / 3.0;
    found.hardIronDeviation = std::sqrt(variance * Matrix3(a.inverse()).diagonal().maxCoeff());
    return found;
}

}  // namespace Kavelin::RecordingIO
