#include "evaluation/NormByDirection.h"

#include <Eigen/Cholesky>
#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

const double kStep = 0.1;    // rad between two samples
const double kPiece = 5.0;   // s
const double kRidge = 1e-3;  // keeps what was not seen at nothing

}  // namespace

void NormByDirection::add(double t, const Vector3& field, double turned) {
    if (turned - lastTurned_ < kStep) return;
    const double norm = field.norm();
    if (!std::isfinite(norm) || norm <= 0.0) return;
    lastTurned_ = turned;
    if (taken_++ == 0) unit_ = norm;
    const Vector3 u = field / norm;
    Unknowns row;
    row << 1.0, u, u.x() * u.x() - u.z() * u.z(), u.y() * u.y() - u.z() * u.z(), u.y() * u.z(), u.x() * u.z(),
        u.x() * u.y();
    const double value = std::log(norm / unit_);
    Sums& sums = halves_[static_cast<std::size_t>(std::fmod(std::abs(t), 2.0 * kPiece) < kPiece)];
    sums.normal.selfadjointView<Eigen::Lower>().rankUpdate(row);
    sums.right += value * row;
    sums.squares += value * value;
    sums.sum += value;
    sums.count += 1.0;
}

NormByDirection::Unknowns NormByDirection::Sums::fit() const {
    Normal full = normal.selfadjointView<Eigen::Lower>();
    full.diagonal().tail<kUnknowns - 1>().array() += kRidge * count;
    return full.ldlt().solve(right);
}

double NormByDirection::Sums::residual(const Unknowns& x) const {
    const Normal full = normal.selfadjointView<Eigen::Lower>();
    return squares - 2.0 * x.dot(right) + x.dot(full * x);
}

NormByDirectionEvidence NormByDirection::evidence() const {
    NormByDirectionEvidence found;
    found.turned = kStep * static_cast<double>(taken_);
    double count = 0.0, sum = 0.0, squares = 0.0, left = 0.0;
    for (const Sums& half : halves_) {
        count += half.count;
        sum += half.sum;
        squares += half.squares;
    }
    if (halves_[0].count < 2 * kUnknowns || halves_[1].count < 2 * kUnknowns) return found;
    for (const std::size_t i : {0u, 1u}) left += halves_[i].residual(halves_[1 - i].fit());
    const double mean = sum / count;
    const double variance = squares / count - mean * mean;
    if (!(variance > 0.0)) return found;
    found.deviation = std::sqrt(variance);
    found.explained = 1.0 - left / count / variance;
    return found;
}

}  // namespace Kavelin::RecordingIO
