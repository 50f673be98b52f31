#pragma once

namespace Kavelin::OrientationInternal::SO3 {

/// S2: tells gaps from the ordinary time between samples, and carries the time of unusable samples over to
/// the next one. Never throws. [layout thread]
class SampleClock {
public:
    struct Step {
        double dt;       ///< s, above 0
        bool isGap;      ///< samples are missing before this one
        bool isLongGap;  ///< so long that the level must be found again
    };

    /// Adds time that passed. @param dt s, above 0, finite.
    void pass(double dt);
    /// Ends the step at a sample that is a measurement.
    Step step();

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(pending_, nominal_, slow_);
    }

private:
    double pending_ = 0.0;  // s
    double nominal_ = 0.0;  // s, the ordinary time between samples; 0 before the first
    int slow_ = 0;          // samples in a row that came late
};

}  // namespace Kavelin::OrientationInternal::SO3
