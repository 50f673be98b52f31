#include "calibration/magnetic/GyroscopeCheck.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <utility>

#include "calibration/model/RobustLoss.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Matrix3d;
using Eigen::Vector3d;

const double kLongestTime = 1.0;       // s
const double kSmallestScatter = 0.01;  // share of the field
const double kLatency = 0.02;          // s, by which the sensors' times may differ
const double kMedianOfNorm = 1.538;    // of a normal vector of three components, in their deviations
const int kRounds = 3;

Matrix3d crossProductOf(const Vector3d& v) {
    Matrix3d m;
    m << 0.0, -v.z(), v.y(), v.z(), 0.0, -v.x(), -v.y(), v.x(), 0.0;
    return m;
}

}  // namespace

GyroscopeCheck::GyroscopeCheck(const std::vector<FieldSample>& samples, double time) : samples_(samples) {
    std::size_t to = 0;
    for (std::size_t from = 0; from < samples.size(); ++from) {
        const FieldSample& first = samples[from];
        to = std::max(to, from + 1);
        while (to < samples.size() && samples[to].t < first.t + time) ++to;
        if (to == samples.size()) break;
        const FieldSample& second = samples[to];
        if (first.stretch == FieldSample::kNoStretch || first.stretch != second.stretch) continue;
        if (second.t - first.t > kLongestTime) continue;
        const Eigen::Quaterniond turn = second.attitude.conjugate() * first.attitude;
        const double span = second.t - first.t;
        const double allowed = std::hypot(kSmallestScatter, kLatency * (second.turned - first.turned) / span);
        pairs_.push_back({from, to, turn.toRotationMatrix(), span, allowed});
    }
}

std::vector<double> GyroscopeCheck::weights(const EllipsoidModel& model) const {
    if (pairs_.empty()) return std::vector<double>(samples_.size(), 1.0);
    std::vector<Vector3d> differences, fields;
    for (const Pair& pair : pairs_) {
        fields.push_back(model.toSphere(samples_[pair.to].field));
        differences.push_back(fields.back() - pair.turn * model.toSphere(samples_[pair.from].field));
    }
    // With a bias b, the field turned by b over the time too much: difference = time * b x field.
    Vector3d bias = Vector3d::Zero();
    double sigma = 0.0;
    const auto residual = [&](std::size_t i) {
        const Vector3d difference = differences[i] - pairs_[i].time * bias.cross(fields[i]);
        return difference.norm() / pairs_[i].allowed;
    };
    for (int round = 0; round < kRounds; ++round) {
        std::vector<std::pair<double, double>> sizes;
        for (std::size_t i = 0; i < pairs_.size(); ++i) sizes.emplace_back(residual(i), 1.0);
        sigma = std::max(1.0, weightedMedian(std::move(sizes)) / kMedianOfNorm);
        Matrix3d normal = 1e-9 * Matrix3d::Identity();
        Vector3d right = Vector3d::Zero();
        for (std::size_t i = 0; i < pairs_.size(); ++i) {
            const Matrix3d row = -pairs_[i].time * crossProductOf(fields[i]);
            const double weight = TukeyLoss::weight(residual(i) / sigma);
            normal += weight * row.transpose() * row;
            right += weight * row.transpose() * differences[i];
        }
        bias = normal.ldlt().solve(right);
    }
    std::vector<double> ofPairs;
    for (std::size_t i = 0; i < pairs_.size(); ++i) ofPairs.push_back(TukeyLoss::weight(residual(i) / sigma));
    return betterSide(ofPairs);
}

std::vector<double> GyroscopeCheck::betterSide(const std::vector<double>& ofPairs) const {
    std::vector<double> best(samples_.size(), -1.0);
    for (std::size_t i = 0; i < pairs_.size(); ++i) {
        for (const std::size_t sample : {pairs_[i].from, pairs_[i].to})
            best[sample] = std::max(best[sample], ofPairs[i]);
    }
    for (double& weight : best) {
        if (weight < 0.0) weight = 1.0;
    }
    return best;
}

}  // namespace Kavelin::Calibration
