#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

struct FlipSettings {
    double timeConstant = 0.2;  // s, of the low-pass on the acceleration; 0 for none
    double angleOn = 0.0;       // rad, above it the unit counts as turned over
    double angleOff = 0.0;      // rad, below it as turned back; above angleOn it has the effect of angleOn
    double dwell = 0.3;         // s, for which either must last
};

/// Tells from the acceleration when a unit was turned over: the low-passed acceleration against a reference,
/// with two thresholds and a dwell time.
///
/// Three things suppress shaking: the low-pass, the dwell, and skipping moments in which the low-passed
/// acceleration is shorter than half or longer than one and a half of the reference, so is not gravity alone.
/// The method is a heuristic of our own.
class FlipDetector {
public:
    /// Makes the direction of the next sample the reference, not flipped; the count goes on.
    void requestReference() { referenceRequested_ = true; }

    /// Takes one acceleration.  @param acceleration sensor frame, any constant unit; ignored unless finite.
    /// @param t s; time that does not advance adds nothing to the low-pass and the dwell. A gap counts for at
    /// most half a dwell, so a single sample after it decides nothing.
    /// @return false when the sample was ignored.  Never throws.
    bool advance(const Vector3& acceleration, double t, const FlipSettings& settings);

    bool isFlipped() const { return flipped_; }
    /// How often it became flipped.
    double count() const { return count_; }
    /// Angle between the low-passed acceleration and the reference, rad, 0 to pi;
    /// 0 while there is no reference.
    double angle() const { return angle_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(started_, referenceRequested_, lastTime_, smoothed_, reference_, flipped_, count_, angle_,
                dwelling_, held_);
    }

private:
    double lowPass(const Vector3& acceleration, double t, double timeConstant);
    void capture();
    bool isGravityAlone() const;

    bool started_ = false;
    bool referenceRequested_ = true;
    double lastTime_ = 0.0;
    Vector3 smoothed_ = Vector3::Zero();
    Vector3 reference_ = Vector3::Zero();

    bool flipped_ = false;
    double count_ = 0.0;
    double angle_ = 0.0;
    bool dwelling_ = false;  // the condition for a change holds
    double held_ = 0.0;      // s, since when
};

}  // namespace Kavelin::OrientationInternal
