#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal {

/// Averages the three sensors over the time in which an estimator starts, and says whether the unit lay still
/// then. Only samples that are measurements count (see SampleLimits.h), each sensor by itself. Sensor frame,
/// m/s^2, rad/s, any unit of the field. Never throws, never allocates. [layout thread]
class StartAverages {
public:
    void add(const Eigen::Vector3d& acc, const Eigen::Vector3d& field, const Eigen::Vector3d& rate);

    bool hasAcceleration() const { return acc_.count > 0; }
    bool hasField() const { return field_.count > 0; }

    Eigen::Vector3d acceleration() const { return acc_.mean(); }  ///< zero without a sample
    Eigen::Vector3d field() const { return field_.mean(); }       ///< zero without a sample
    Eigen::Vector3d rate() const { return rate_.mean(); }         ///< zero without a sample; at rest the bias

    /// Mean strength of the field, which a turning unit does not average away; 0 without a sample.
    double fieldStrength() const { return field_.count > 0 ? strength_ / field_.count : 0.0; }
    /// rad, mean angle of the field above the plane normal to the acceleration; 0 without a pair of samples.
    double fieldElevation() const { return pairs_ > 0 ? elevation_ / pairs_ : 0.0; }

    /// Tells whether accelerations and rates scattered as little, and rates stayed as small, as those of a
    /// unit at rest do. False while either is missing.
    bool atRest() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(acc_, field_, rate_, strength_, elevation_, pairs_);
    }

private:
    struct Moments {
        double count = 0;
        Eigen::Vector3d origin = Eigen::Vector3d::Zero();  // the first sample; what follows is taken from it
        Eigen::Vector3d sum = Eigen::Vector3d::Zero();
        Eigen::Vector3d squares = Eigen::Vector3d::Zero();

        void add(const Eigen::Vector3d& sample);
        Eigen::Vector3d mean() const;
        double deviation() const;  // root of the sum of the axes' variances

        template <class Archive>
        void serialize(Archive& archive) {
            archive(count, origin, sum, squares);
        }
    };

    Moments acc_, field_, rate_;
    double strength_ = 0.0;
    double elevation_ = 0.0;
    double pairs_ = 0.0;
};

}  // namespace Kavelin::OrientationInternal
