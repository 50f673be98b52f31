#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/so3/AccelerationTrack.h"
#include "attitude/so3/SO3AttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude of a sensor unit from acceleration, rate and, where there is one, magnetic field,
/// and learns the errors of the sensors in motion: the estimator for units without a rest (see
/// SO3AttitudeComputer for how).
///
/// In, each a 1x3 row in the sensor frame: "3a" m/s^2, "3g" rad/s, "3m" any constant unit; "quat_0" 1x4, the
/// attitude to take at the end of the next start phase. Each rate gives one result, with its time stamp. A
/// rate waits for the first acceleration that is not earlier; the acceleration at its own instant is
/// interpolated between that one and the one before. It takes the newest field that is not later. Samples of
/// another shape are dropped. Out, in this order: "attitudeQ" 1x4 (w, x, y, z) and "attitude" 3x3, sensor to
/// earth (East, North, Up); "3g_bias" rad/s, "3a_bias" m/s^2, "3m_hardiron" in the field's unit, 1x3, sensor
/// frame; "3a_lin" 1x3 linear acceleration, m/s^2, earth frame; "sigma" 1x2 rad, standard deviations of tilt
/// and heading; "flag_rest"; "flag_mag", 1.0 while the field is disturbed or there is none; "flag_mag_body",
/// 1.0 while a magnet on the sensor is known and taken out.
/// Nothing is sent before the first usable acceleration and rate.
class FilterSO3Attitude : public Filter, public Core::WithState<FilterSO3Attitude> {
public:
    static constexpr const char* kTypeName = "FilterSO3Attitude";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterSO3Attitude(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(computer_, track_);
    }

private:
    void onReset();
    SO3::Settings settings() const;
    bool takeAccelerations(double t);
    void takeStartAttitude();
    Eigen::Vector3d takeField(double t);
    void send(double t);

    static constexpr Core::PinContent kDeviations{
        .shape = {1, 2}, .quantity = "standard deviation of tilt and heading", .unit = Core::kRadians};

    InputPin<Matrix> acc_{"3a", this, kAcceleration};
    InputPin<Matrix> rate_{"3g", this, kRate};
    InputPin<Matrix> field_{"3m", this, optional(kField), NonBlocking{}};
    InputPin<Matrix> quat0_{"quat_0", this, optional(inFrame(kQuaternion, kSensorToEarth)), NonBlocking{}};
    OutputPin<Matrix> attitudeQ_{"attitudeQ", this, inFrame(kQuaternion, kSensorToEarth)};
    OutputPin<Matrix> attitude_{"attitude", this, inFrame(kRotation, kSensorToEarth)};
    OutputPin<Matrix> bias_{"3g_bias", this, kRate};
    OutputPin<Matrix> accBias_{"3a_bias", this, kAcceleration};
    OutputPin<Matrix> hardIron_{"3m_hardiron", this, kField};
    OutputPin<Matrix> linearAcceleration_{"3a_lin", this, kLinearAcceleration};
    OutputPin<Matrix> deviations_{"sigma", this, kDeviations};
    OutputPin<Matrix> restFlag_{"flag_rest", this, kFlag};
    OutputPin<Matrix> fieldFlag_{"flag_mag", this, kFlag};
    OutputPin<Matrix> magnetFlag_{"flag_mag_body", this, kFlag};

    RangeProperty<double> gyroscopeNoise_{
        "Gyroscope noise",
        this,
        {.minimum = 1e-5, .maximum = 1, .step = 1e-5, .value = 0.00244, .unit = "rad/s/sqrt(Hz)"}};
    RangeProperty<double> biasDrift_{
        "Bias drift",
        this,
        {.minimum = 0, .maximum = 0.1, .step = 1e-6, .value = 3e-5, .unit = "rad/s/sqrt(s)"}};
    RangeProperty<double> accNoise_{
        "Accelerometer noise",
        this,
        {.minimum = 1e-4, .maximum = 10, .step = 1e-4, .value = 0.0105, .unit = "m/s^2/sqrt(Hz)"}};
    RangeProperty<double> fieldNoise_{
        "Field noise",
        this,
        {.minimum = 0.001, .maximum = 100, .step = 0.001, .value = 0.336, .unit = "rad"}};
    RangeProperty<double> restRate_{
        "Rest rate limit",
        this,
        {.minimum = 0, .maximum = 1, .step = 0.001, .value = 0.035, .unit = "rad/s"}};
    RangeProperty<double> restAcceleration_{
        "Rest acceleration limit",
        this,
        {.minimum = 0, .maximum = 20, .step = 0.01, .value = 0.4, .unit = "m/s^2"}};
    RangeProperty<double> restTime_{
        "Rest time", this, {.minimum = 0.1, .maximum = 60, .step = 0.1, .value = 1, .unit = "s"}};
    RangeProperty<double> biasLimit_{
        "Bias limit", this, {.minimum = 0, .maximum = 1, .step = 0.001, .value = 0.15, .unit = "rad/s"}};
    RangeProperty<double> accRange_{"Accelerometer range",
                                    this,
                                    {.minimum = 0, .maximum = 1e4, .step = 0.1, .value = 0, .unit = "m/s^2"}};
    ValueProperty<bool> useField_{"Use 3m", this, true};
    CommandProperty reset_{"Reset", this, handler(this, &FilterSO3Attitude::onReset)};

    SO3AttitudeComputer computer_;
    SO3::AccelerationTrack track_;
};

}  // namespace Kavelin::OrientationInternal
