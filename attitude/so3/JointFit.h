#pragma once

#include <Eigen/Core>
#include <optional>

#include "attitude/so3/FieldRecords.h"

namespace Kavelin::OrientationInternal::SO3 {

/// S13: fits the earth's field and the hard iron jointly to everything seen so far: a linear least-squares
/// problem of which only the sums are kept. Fields relative to the strength of the first. Never throws.
class JointFit {
public:
    struct Result {
        Eigen::Vector3d hardIron;  ///< sensor frame
        Eigen::Vector3d field;     ///< earth frame
        double residual;           ///< mean square
    };

    /// Takes one window; its field as measured, hard iron left in.
    void add(const FieldSeen& seen);
    /// @return a fit that is much better than the present hard iron, if there is one.
    std::optional<Result> solve(const Eigen::Vector3d& hardIron) const;
    /// Begins again at the next window: what was in force has changed.
    void restart() { evidence_ = 0.0; }
    void turn(const TurnAboutUp& turn) {
        turned_ = turn * turned_;
        earthSum_ = turn * earthSum_;
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(evidence_, turned_, earthSum_, bodySum_, squares_);
    }

private:
    double residual(const Eigen::Vector3d& hardIron) const;

    double evidence_ = 0.0;                               // s of motion
    Eigen::Matrix3d turned_ = Eigen::Matrix3d::Zero();    // sums over the evidence: attitudes,
    Eigen::Vector3d earthSum_ = Eigen::Vector3d::Zero();  // fields in the earth frame,
    Eigen::Vector3d bodySum_ = Eigen::Vector3d::Zero();   // in the sensor frame,
    double squares_ = 0.0;                                // their squares
};

}  // namespace Kavelin::OrientationInternal::SO3
