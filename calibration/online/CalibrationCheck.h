#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <string>

#include "calibration/model/AffineModel.h"
#include "calibration/online/NormTally.h"

namespace Kavelin::Calibration {

// Whether calibrated samples look as they should: whether the file is that of the unit, and the units are those of the
// recording. Each takes a sample before and after its calibration, and says what is wrong in one sentence, or nothing.

/// The field's norm is that of the place, and scatters no more than before.
class FieldCheck {
public:
    FieldCheck() = default;
    /// @param strength of the calibrated field; not a number: not known
    FieldCheck(const AffineModel& model, double strength);
    void add(const Eigen::Vector3d& before, const Eigen::Vector3d& after);
    std::string fault() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(strength_, usual_, far_, before_, after_);
    }

private:
    double strength_ = 0.0;
    double usual_ = 0.0;  // norm of the field as it comes, over all directions
    std::size_t far_ = 0;
    NormTally before_, after_;
};

/// Samples by blocks of half a second, and of ten samples at least, of which those at rest count.
class RestBlocks {
public:
    /// @param least scatter of a unit in motion, in the sensor's unit, and as a share of the block's mean
    RestBlocks(double least, double leastShare) : least_(least), leastShare_(leastShare) {}
    /// @param t s; of blocks that a step back in time interrupts, nothing counts
    void add(double t, const Eigen::Vector3d& before, const Eigen::Vector3d& after);
    /// Norms of the blocks' means, of blocks at rest.
    const NormTally& before() const { return restBefore_; }
    const NormTally& after() const { return restAfter_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(before_, after_, squares_, begin_, size_, restBefore_, restAfter_);
    }

private:
    void close();

    static constexpr std::size_t kFewestSamples = 10;
    static constexpr double kLength = 0.5;  // s
    double least_, leastShare_;
    Eigen::Vector3d before_ = Eigen::Vector3d::Zero(), after_ = Eigen::Vector3d::Zero();  // sums of the block
    double squares_ = 0.0;
    double begin_ = 0.0;  // s
    std::size_t size_ = 0;
    NormTally restBefore_, restAfter_;
};

/// At rest, the norm of the acceleration is that of gravity.
class AccelerationCheck {
public:
    AccelerationCheck() = default;
    /// @param gravity m/s^2
    explicit AccelerationCheck(double gravity) : gravity_(gravity) {}
    void add(double t, const Eigen::Vector3d& before, const Eigen::Vector3d& after) {
        blocks_.add(t, before, after);
    }
    std::string fault() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(gravity_, blocks_);
    }

private:
    double gravity_ = 0.0;
    RestBlocks blocks_{0.0, 0.02};
};

/// At rest, the rate is no farther from zero than before.
class RateCheck {
public:
    void add(double t, const Eigen::Vector3d& before, const Eigen::Vector3d& after) {
        blocks_.add(t, before, after);
    }
    std::string fault() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(blocks_);
    }

private:
    RestBlocks blocks_{0.01, 0.0};
};

}  // namespace Kavelin::Calibration
