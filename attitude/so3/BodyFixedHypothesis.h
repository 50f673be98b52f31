#pragma once

#include <Eigen/Core>
#include <optional>

#include "attitude/so3/FieldRecords.h"

namespace Kavelin::OrientationInternal::SO3 {

/// S10: when the field has changed, tells whether the difference turns with the sensor (a magnet on it) or
/// stays in the earth (another place). Fields relative to the strength of the first. Never throws.
class BodyFixedHypothesis {
public:
    /// Takes one window. @param duration s. @param fits whether the field fits the record in force.
    /// @param expected the field in force, earth frame.
    /// @return the difference in the sensor frame, once it is certain that it turns with the sensor; the test
    /// then begins again.
    std::optional<Eigen::Vector3d> add(const FieldSeen& seen, double duration, bool fits,
                                       const Eigen::Vector3d& expected);
    /// Whether the difference may be fixed in the earth: another place.
    bool allowsChangeOfPlace() const;
    /// Begins again at the next window: what was in force has changed.
    void restart() { evidence_ = 0.0; }
    void turn(const TurnAboutUp& turn) { earthMean_ = turn * earthMean_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(fitsFor_, failsFor_, matched_, evidence_, bodyMean_, earthMean_, meanSquare_, bodyResidual_,
                earthResidual_);
    }

private:
    void followMatch(double duration, bool fits);

    double fitsFor_ = 0.0;  // s
    double failsFor_ = 0.0;
    bool matched_ = true;
    double evidence_ = 0.0;                                // s of motion
    Eigen::Vector3d bodyMean_ = Eigen::Vector3d::Zero();   // of the difference, sensor frame
    Eigen::Vector3d earthMean_ = Eigen::Vector3d::Zero();  // earth frame
    double meanSquare_ = 0.0;
    double bodyResidual_ = 0.0;   // mean square that a difference fixed in the sensor leaves
    double earthResidual_ = 0.0;  // the same for one fixed in the earth
};

}  // namespace Kavelin::OrientationInternal::SO3
