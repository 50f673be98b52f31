#pragma once

namespace Kavelin::OrientationInternal {

/// What the undisturbed magnetic field looks like where the unit is, and how far the present field
/// is from it.
///
/// The earth's field has one strength and one dip angle over a room; iron and magnets change both. The
/// reference is a running average over the samples that its owner found undisturbed. A different field that
/// stays the same for long, while the unit moves, is a new place rather than a disturbance: it becomes the
/// reference. A heuristic of ours.
///
/// Strength in any unit, dip in rad (positive where the field points down). Never throws, never
/// allocates. [layout thread]
class FieldReference {
public:
    struct Settings {
        double relativeStrength = 0.213;  ///< deviation of strength that counts 1, relative to the reference
        double dip = 0.131;               ///< rad, deviation of dip that counts 1
        double disturbanceTimeConstant = 1.02;  ///< s, how long a disturbance echoes after it has gone
        double disturbanceClip = 2.0;           ///< what a single sample can add to the echo
        double averagingTime = 95.0;            ///< s, longest averaging of the reference
        double acceptanceTime = 22.8;           ///< s, how long a different field must last to be believed
        double candidateTime = 5.0;             ///< s, longest averaging of a candidate
    };

    explicit FieldReference(const Settings& settings) : settings_(settings) {}

    bool known() const { return averagedFor_ >= 0.0; }
    void forget() { *this = FieldReference(settings_); }

    /// Takes the present field as the reference.
    void adopt(double strength, double dip, double dt);

    /// Compares a field with the reference. @return the disturbance: 0 none, 1 and above disturbed.
    double disturbance(double strength, double dip, double dt);

    /// Lets the reference follow an undisturbed field and drops any candidate.
    void follow(double strength, double dip, double dt);

    /// Watches a disturbed field; after acceptanceTime of the same field, in motion,
    /// it becomes the reference.
    void watch(double strength, double dip, double dt, bool moving);

    /// Gives or takes the whole state, for a snapshot; the settings stay.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(strength_, dip_, averagedFor_, echo_, candidateStrength_, candidateDip_, candidateFor_);
    }

private:
    Settings settings_;
    double strength_ = 0.0;
    double dip_ = 0.0;
    double averagedFor_ = -1.0;  // s; below 0: no reference yet
    double echo_ = 0.0;
    double candidateStrength_ = 0.0;
    double candidateDip_ = 0.0;
    double candidateFor_ = 0.0;  // s; 0: no candidate
};

}  // namespace Kavelin::OrientationInternal
