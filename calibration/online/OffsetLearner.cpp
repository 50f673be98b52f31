#include "calibration/online/OffsetLearner.h"

#include <algorithm>
#include <bitset>
#include <cmath>

#include "calibration/online/RobustSphere.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;

constexpr std::size_t kNodesBetweenLooks = 16;
constexpr double kGrowth = 1.25;
constexpr double kFirstNear = 0.02;  // of the median norm
constexpr double kNearTheSphere =
    0.3;  // of the radius; what is farther from it shows no direction of the field

}  // namespace

void OffsetLearner::start() {
    size_ = 0;
    samples_ = 0;
    newNodes_ = 0;
    near_ = 0.0;
}

bool OffsetLearner::add(const Vector3d& sample) {
    ++samples_;
    if (joinNear({sample, 1.0}, size_)) return false;
    while (size_ == kCapacity) makeRoom();
    nodes_[size_++] = {sample, 1.0};
    if (++newNodes_ < kNodesBetweenLooks) return false;
    newNodes_ = 0;
    return true;
}

/// Takes a node into the first of `count` that is near.
bool OffsetLearner::joinNear(const Node& node, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        Node& other = nodes_[i];
        if ((other.mean - node.mean).squaredNorm() > near_ * near_) continue;
        const double sum = other.samples + node.samples;
        other.mean += (node.mean - other.mean) * (node.samples / sum);
        other.samples = sum;
        return true;
    }
    return false;
}

void OffsetLearner::makeRoom() {
    std::array<double, kCapacity> norms;
    for (std::size_t i = 0; i < size_; ++i) norms[i] = nodes_[i].mean.norm();
    std::nth_element(norms.begin(), norms.begin() + kCapacity / 2, norms.end());
    near_ = std::max(kGrowth * near_, kFirstNear * norms[kCapacity / 2]);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < size_; ++i) {
        const Node node = nodes_[i];
        if (!joinNear(node, kept)) nodes_[kept++] = node;
    }
    size_ = kept;
}

std::optional<LearnedOffset> OffsetLearner::result() const {
    std::array<Vector3d, kCapacity> points;
    std::array<double, kCapacity> scratch;
    for (std::size_t i = 0; i < size_; ++i) points[i] = nodes_[i].mean;
    const std::optional<Sphere> sphere = robustSphere(std::span(points).first(size_), scratch);
    if (!sphere) return std::nullopt;
    std::bitset<OffsetLearner::kPatches> seen;
    for (std::size_t i = 0; i < size_; ++i) {
        if (std::abs(sphere->distance(points[i])) < kNearTheSphere * sphere->radius)
            seen.set(patches_.of(points[i] - sphere->centre));
    }
    return LearnedOffset{sphere->centre, sphere->radius, sphere->deviation, sphere->residual / sphere->radius,
                         static_cast<double>(seen.count()) / static_cast<double>(kPatches)};
}

}  // namespace Kavelin::Calibration
