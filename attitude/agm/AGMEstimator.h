#pragma once

#include <string>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// One triple of sensor samples, sensor frame.
struct AGMSample {
    double t = 0.0;                  // s
    Vector3 acc = Vector3::Zero();   // m/s^2
    Vector3 mag = Vector3::Zero();   // the unit of the settings, any constant one
    Vector3 rate = Vector3::Zero();  // rad/s
};

/// What an AGM estimator says after a triple. The reference frame is the sensor's pose during initialisation.
struct AGMEstimate {
    Quaternion q_ref_sensor{1, 0, 0, 0};               // unit norm
    Matrix3 R_ref_sensor = Matrix3::Identity();        // the same rotation
    Vector3 accProper_ref = Vector3::Zero();           // linear acceleration, accelerometer's unit
    Vector3 magPerturbation_sensor = Vector3::Zero();  // field other than the reference, magnetometer's unit
    bool accFlag = false;                              // linear acceleration detected
    bool magFlag = false;                              // magnetic perturbation detected

    template <class Archive>
    void serialize(Archive& archive) {
        archive(q_ref_sensor, R_ref_sensor, accProper_ref, magPerturbation_sensor, accFlag, magFlag);
    }
};

/// An estimator as the AGM filters drive it. Knows neither pins nor host. One thread at a time.
class AGMEstimator {
public:
    virtual ~AGMEstimator() = default;

    /// Reads a settings file and starts again with it. @return false when it cannot be read;
    /// nothing changes then.
    /// @throws std::bad_alloc for a matrix that no memory could hold; nothing changes then either.
    virtual bool load(const std::string& fileName) = 0;

    /// Says whether settings were loaded.
    virtual bool isReady() const = 0;

    /// Lists the loaded settings that cannot be used, entry by entry, and what would be right; empty when the
    /// estimator can run.
    virtual std::string settingsFault() const = 0;

    /// Starts again with the settings it has; does nothing before any were loaded.
    virtual void restart() = 0;

    /// Sets how long the start lasts (s), with effect on the triples to come; a load overwrites it.
    virtual void setInitTime(double seconds) = 0;

    /// Works one triple in.  @return true when there is a new estimate; always false while the settings have
    /// a fault. Never throws, whatever the sample holds, and allocates nothing.
    virtual bool advance(const AGMSample& sample) = 0;

    /// The last estimate; lent until the next triple.
    virtual const AGMEstimate& estimate() const = 0;
};

}  // namespace Kavelin::OrientationInternal
