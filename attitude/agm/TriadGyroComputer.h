#pragma once

#include <cstdint>
#include <optional>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/RelativeAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// One reading of the three sensors, in the sensor frame: any unit of acceleration, any unit of field, rad/s.
struct TriadSample {
    double t;  // s
    Vector3 acc;
    Vector3 mag;
    Vector3 rate;
};

/// The result of one tracking step.
struct TriadEstimate {
    Quaternion q;
    Matrix3 rotation;
    Vector3 properAcceleration;  // linear: measured minus the prediction of gravity
    Vector3 fieldDisturbance;    // measured field minus the prediction of the field
};

/// Blends gyroscope-propagated predictions of two reference vectors with their measurements, and rebuilds the
/// orientation from the blended pair.
///
/// Phases: collecting (sums of acceleration and field until the initialisation time is over), one transition
/// sample (the sums become references), tracking. The estimate is relative to the frame of the references,
/// or, in absolute mode, the frame of the blended vectors itself.
///
/// Limit: the predictions are R * reference, with R the estimate as it is sent, where a sensor-frame
/// prediction would take the transpose of a sensor-to-earth rotation. With a small gain the estimate
/// therefore does not follow a general motion; with gain 1 it is the frame of the raw measurements. Never
/// throws; one thread at a time. Source: Black, AIAA Journal 2(7), 1964, for the frame of two vectors; the
/// blend is a heuristic of our own.
class TriadGyroComputer {
public:
    static constexpr double kInitialInitTime = 0.2;  // s
    static constexpr double kInitialGain = 0.0005;   // weight of a measurement against its prediction
    static constexpr double kFirstTimeStep = 0.01;   // s, of a sample that has none before it

    void setInitTime(double seconds) { initTime_ = seconds; }
    void setGain(double gain) { gain_ = gain; }

    /// Starts over with collecting.
    /// The quaternion and the captured reference stay until tracking replaces them.
    void reset(bool absolute);

    /// Takes one reading; gives nothing while collecting.
    /// Degenerate: parallel or zero vectors give a frame with zero rows; the quaternion then keeps its value
    /// when the frame shows none. Non-finite readings spread through the estimate until a reset.
    std::optional<TriadEstimate> advance(const TriadSample& sample);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(initTime_, gain_, absolute_, collected_, lastTime_, startTime_, q_, relative_);
    }

private:
    /// The state that a reset restores.
    struct Collected {
        std::int32_t counter = 0;
        bool initialised = false;
        bool referenceRequested = true;
        Vector3 accRef = Vector3::Zero();  // sum while collecting, reference afterwards
        Vector3 magRef = Vector3::Zero();
        double accSquaredNorm = 1.0;  // of the references, before absolute mode idealises them
        double magSquaredNorm = 1.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(counter, initialised, referenceRequested, accRef, magRef, accSquaredNorm, magSquaredNorm);
        }
    };

    void advanceClock(double t);
    void settleReferences(const TriadSample& sample);
    void idealiseReferences();
    TriadEstimate track(const TriadSample& sample);
    void captureReference(Matrix3& rotation);

    double initTime_ = kInitialInitTime;
    double gain_ = kInitialGain;
    bool absolute_ = false;
    Collected collected_;
    double dt_ = 0;
    double lastTime_ = 0;
    double startTime_ = 0;
    Quaternion q_{1, 0, 0, 0};  // never reset: overwritten by every tracking step
    RelativeAttitudeComputer relative_;
};

}  // namespace Kavelin::OrientationInternal
