#pragma once

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <optional>
#include <stdexcept>

#include "calibration/magnetic/DirectionPatches.h"

namespace Kavelin::Calibration {

/// What was learned of a magnetometer's offset.
struct LearnedOffset {
    Eigen::Vector3d offset = Eigen::Vector3d::Zero();  ///< centre of the sphere, in the field's unit
    double radius = 0.0;                               ///< the field's unit
    double deviation = 0.0;  ///< the field's unit, standard deviation of the offset where it is known least
    double residual = 0.0;   ///< RMS of the norm's deviation from the radius, as a share of it
    double coverage = 0.0;   ///< share of the equal patches of the sphere of directions that were seen
};

/// Learns the offset of a magnetometer from its samples while the unit is turned: the centre of the sphere on which they
/// lie. In constant memory, and without a call to the heap.
///
/// Samples near each other are averaged into one node, so that a pose held for long counts no more than one passed
/// through; when there is no more room, near means farther. The sphere is fitted to the nodes by least squares of
/// |m|^2 = 2 c.m + d (Coope, "Circle fitting by linear and nonlinear least squares", J. Optimization Theory and
/// Applications 76(2), 1993), with weights that suppress outliers (Cauchy), as near iron leaves them.
class OffsetLearner {
public:
    static constexpr std::size_t kCapacity = 512;
    static constexpr std::size_t kPatches = 80;

    void start();
    /// @param sample finite, soft iron corrected where it is known
    /// @return whether the picture has changed enough to look at `result` again
    bool add(const Eigen::Vector3d& sample);
    std::size_t samples() const { return samples_; }
    /// The offset as the samples so far give it; nothing where they determine none.
    std::optional<LearnedOffset> result() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(size_, near_, samples_, newNodes_);
        if (size_ > kCapacity) throw std::length_error("more nodes than there is room for");
        for (std::size_t i = 0; i < size_; ++i) archive(nodes_[i].mean, nodes_[i].samples);
    }

private:
    struct Node {
        Eigen::Vector3d mean;
        double samples;
    };

    bool joinNear(const Node& node, std::size_t count);
    void makeRoom();

    const DirectionPatches patches_{kPatches};
    std::array<Node, kCapacity> nodes_;
    std::size_t size_ = 0;
    double near_ = 0.0;  // the field's unit
    std::size_t samples_ = 0;
    std::size_t newNodes_ = 0;  // since the picture was last said to have changed
};

}  // namespace Kavelin::Calibration
