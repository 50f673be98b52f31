#pragma once

#include <Eigen/Core>

#include "attitude/spherical/FieldReference.h"

namespace Kavelin::OrientationInternal {

/// Keeps a horizontal unit vector pointing to magnetic north,
/// in a frame that drifts slowly against the earth.
///
/// A scalar Kalman filter on the heading error (Kalman, J. Basic Engineering 82, 1960) whose measurement
/// noise grows with the disturbance that FieldReference sees. Added to it are our own heuristics for a start
/// near a magnet and for a heading that was wrong for a long time. Units: s, rad, the field in any constant
/// unit. Never throws, never allocates. [layout thread]
class MagneticHeading {
public:
    /// rad sqrt(s); noise density of the field's direction. Larger: less trust in the field.
    static constexpr double kDefaultFieldNoise = 0.173;

    /// Corrects `north` with one sample of the field.
    /// @param dt s since the last field sample, above 0 (0 allowed before the first).
    /// @param rateSquared (rad/s)^2.
    /// @param up unit vector. @param field usable (see SampleLimits.h). @param north unit vector normal to
    /// `up`, and so it stays. A field within 1e-3 rad of the vertical has no direction and changes nothing.
    void correct(double dt, double rateSquared, const Eigen::Vector3d& up, const Eigen::Vector3d& field,
                 double fieldNoise, Eigen::Vector3d& north);

    /// True while there is no undisturbed field to hold on to.
    bool disturbed() const { return !reference_.known() || disturbance_ >= 1.0; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(reference_, variance_, disturbance_, slowError_, moved_, goodFor_, badFor_, wrongFor_);
    }

private:
    bool startedWrong(double dt, bool moving);
    void watchForWrongHeading(double error, double dt, bool moving);
    void forgetField();

    FieldReference reference_{FieldReference::Settings{}};
    double variance_ = kInitialDeviation * kInitialDeviation;  // rad^2, of the heading
    double disturbance_ = 0.0;
    double slowError_ = 0.0;  // rad, low-passed heading error
    double moved_ = 0.0;      // s spent moving with a field, never reset
    double goodFor_ = 0.0;    // s with a field that fits, in all
    double badFor_ = 0.0;     // s with one that does not, without a break
    double wrongFor_ = 0.0;   // s of motion with a heading far off in a good field

    static constexpr double kInitialDeviation = 0.36;  // rad
};

}  // namespace Kavelin::OrientationInternal
