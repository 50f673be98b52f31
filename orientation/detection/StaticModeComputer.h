#pragma once

#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// How far the vectors of one call agree with the reference, each from 0 (not at all, or no vector) to 1
/// (exactly). NaN where a cosine left [-1, 1], a norm was zero or an input was NaN.
struct StaticModeScores {
    double acceleration = 0.0;
    double field = 0.0;
    double angle = 0.0;  // between field and acceleration
};

/// Rates acceleration and magnetic field against a reference that is captured from the stream.
/// What was never captured scores 0.0; the angle of two vectors that have none scores NaN even then.
class StaticModeComputer {
public:
    /// Asks for a new reference: the vectors of the next call become it.
    void requestReference() { referenceRequested_ = true; }

    /// Scores the vectors of one call, which carry any constant unit each and the sensor frame.
    ///
    /// Deliberate: one vector is enough to fulfil a request. A request met by one vector captures that one;
    /// the other keeps its earlier reference, and so does the angle.
    /// @return nothing when neither vector is there; the request then stands.  Never throws.
    std::optional<StaticModeScores> score(const std::optional<Vector3>& acceleration,
                                          const std::optional<Vector3>& field);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(referenceRequested_, acceleration_, field_, angle_);
    }

private:
    struct Reference {
        Vector3 vector = Vector3::Zero();
        double norm = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(norm);  // the vector is read in the call that captures it
        }
    };
    double magnitudeScore(const Vector3& vector, Reference& reference) const;
    double angleScore(const Vector3& acceleration, const Vector3& field);

    bool referenceRequested_ = true;
    Reference acceleration_;
    Reference field_;
    std::optional<double> angle_;  // rad; nothing before it was captured
};

}  // namespace Kavelin::OrientationInternal
