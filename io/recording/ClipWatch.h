#pragma once

#include <Eigen/Core>
#include <array>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Notices a gyroscope that is driven beyond its range: one axis stands still at the greatest rate so far
/// while another moves on. A heuristic of ours.
class ClipWatch {
public:
    /// @param rate rad/s
    void add(const Eigen::Vector3d& rate);

    /// rad/s; where the rates end. 0 while nothing was clipped.
    double level() const { return level_; }
    /// Samples at that rate.
    std::uint64_t clipped() const { return clipped_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(hasLast_, last_, greatest_, run_, level_, clipped_);
    }

private:
    bool hasLast_ = false;
    Eigen::Vector3d last_ = Eigen::Vector3d::Zero();
    double greatest_ = 0.0;
    std::array<int, 3> run_{1, 1, 1};  // equal samples in a row, by axis
    double level_ = 0.0;
    std::uint64_t clipped_ = 0;
};

}  // namespace Kavelin::RecordingIO
