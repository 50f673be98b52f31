#pragma once

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Judges acceleration, magnetic field and angular rate against references captured from the stream.
/// The verdicts are 1.0 (good) and 0.0 (bad).
class OrientationQualityComputer {
public:
    /// Asks for new references: the next vector of each kind becomes its reference, each on its own.
    void requestReference();

    /// Judges an acceleration (any constant unit, sensor frame): good when its norm differs from the
    /// reference norm by at most `tolerance` of the reference norm. A reference of norm 0, or NaN, makes it
    /// bad. Never throws.
    double judgeAcceleration(const Vector3& acceleration, double tolerance);

    /// Judges a magnetic field the same way, against its own reference.  Never throws.
    double judgeField(const Vector3& field, double tolerance);

    /// Judges a rate: bad when the magnitude of a component is above `limit` (same unit); NaN is not above.
    static double judgeRate(const Vector3& rate, double limit);

    /// Captures the angle between the reference vectors if one is asked for; to be called when both vectors
    /// came. Deliberate: nothing reads the angle;
    /// the setting that asks for it stays without effect on any output.
    void captureAngle();

    /// Gives or takes the whole state, for a snapshot, but for what only the angle needs.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(acceleration_, field_);
    }

private:
    struct Reference {
        bool requested = true;
        Vector3 vector = Vector3::Zero();
        double norm = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(requested, norm);
        }
    };
    static double judge(const Vector3& vector, Reference& reference, double tolerance);

    Reference acceleration_;
    Reference field_;
    bool angleRequested_ = true;
    double angle_ = 0.0;  // rad
};

}  // namespace Kavelin::OrientationInternal
