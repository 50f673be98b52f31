#pragma once

#include <cstddef>
#include <vector>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// What both units of a joint, D and G, say at one time.
struct JointSample {
    Quaternion q_earth_d{1, 0, 0, 0};  ///< unit norm
    Quaternion q_earth_g{1, 0, 0, 0};
    Vector3 rate_d = Vector3::Zero();  ///< rad/s, each in its unit's own frame
    Vector3 rate_g = Vector3::Zero();
};

/// Keeps samples of a recording of any length in constant memory: those in motion, evenly thinned. When there
/// is no more room every other one goes, and from then on half as many are kept.
class JointSamples {
public:
    static constexpr std::size_t kCapacity = 4096;
    /// rad/s; below that in both units a sample says nothing about an axis: noise and what is left of a bias.
    static constexpr double kSlowest = 0.3;

    void add(const JointSample& sample) {
        if (!(sample.rate_d.norm() > kSlowest) && !(sample.rate_g.norm() > kSlowest)) return;
        if (seen_++ % stride_ != 0) return;
        samples_.push_back(sample);
        if (samples_.size() == kCapacity) thin();
    }

    const std::vector<JointSample>& kept() const { return samples_; }

private:
    void thin() {
        for (std::size_t i = 0; 2 * i < kCapacity; ++i) samples_[i] = samples_[2 * i];
        samples_.resize(kCapacity / 2);
        stride_ *= 2;
    }

    std::vector<JointSample> samples_;
    std::size_t seen_ = 0;
    std::size_t stride_ = 1;
};

}  // namespace Kavelin::OrientationInternal
