#pragma once

#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/StampMatcher.h>

#include <string>

#include "attitude/spherical/SphericalAttitudeComputer.h"

namespace Kavelin::OrientationInternal {

/// Estimates the attitude of a sensor unit from acceleration, rate and, where there is one, magnetic field:
/// the estimator for users who only want the right orientation (see SphericalAttitudeComputer for how).
///
/// In, each a 1x3 row in the sensor frame: "3a" m/s^2, "3g" rad/s, "3m" any constant unit. A "3g" is taken
/// with the "3a" of its time (see StampMatcher), or with the newest "3a" if that one was lost. If a "3m" has
/// come that is not later than the two, the newest such one is taken too. A "3a" or "3g" of another shape is
/// dropped with the samples taken with it; a "3m" of another shape, or with a NaN, counts as missing. Out,
/// stamped with the largest time stamp taken, in this order: "attitudeQ" 1x4 (w, x, y, z) and "attitude" 3x3,
/// sensor to earth (East, North, Up); "3g_bias" 1x3 rad/s; "3a_prop" 1x3 linear acceleration, m/s^2, earth
/// frame; "flag_rest"; "flag_mag", 1.0 while the field is disturbed or there is none. Nothing is sent before
/// the first usable acceleration.
class FilterSphericalFilteringAttitude : public Filter,
                                         public Core::WithState<FilterSphericalFilteringAttitude> {
public:
    static constexpr const char* kTypeName = "FilterSphericalFilteringAttitude";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterSphericalFilteringAttitude(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(newest_.acceleration, newest_.time, newest_.isUsable, matcher_, computer_);
    }

private:
    void onReset() { computer_.reset(); }
    SphericalAttitudeComputer::Settings settings() const;
    bool takeRate();
    void takeAcceleration();
    Eigen::Vector3d takeField(double& t);
    void send(double t);

    InputPin<Matrix> acc_{"3a", this, kAcceleration};
    InputPin<Matrix> rate_{"3g", this, kRate};
    InputPin<Matrix> field_{"3m", this, optional(kField), NonBlocking{}};
    OutputPin<Matrix> attitudeQ_{"attitudeQ", this, inFrame(kQuaternion, kSensorToEarth)};
    OutputPin<Matrix> attitude_{"attitude", this, inFrame(kRotation, kSensorToEarth)};
    OutputPin<Matrix> bias_{"3g_bias", this, kRate};
    OutputPin<Matrix> properAcceleration_{"3a_prop", this, kLinearAcceleration};
    OutputPin<Matrix> restFlag_{"flag_rest", this, kFlag};
    OutputPin<Matrix> fieldFlag_{"flag_mag", this, kFlag};

    RangeProperty<double> gravityTime_{
        "Gravity time constant",
        this,
        {.minimum = 0.05, .maximum = 60, .step = 0.01, .value = 1.07, .unit = "s"}};
    RangeProperty<double> fieldNoise_{
        "Field noise",
        this,
        {.minimum = 0.001, .maximum = 100, .step = 0.001, .value = 0.173, .unit = "rad sqrt(s)"}};
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
        "Bias limit", this, {.minimum = 0, .maximum = 1, .step = 0.001, .value = 0.05, .unit = "rad/s"}};
    ValueProperty<bool> useField_{"Use 3m", this, true};
    CommandProperty reset_{"Reset", this, handler(this, &FilterSphericalFilteringAttitude::onReset)};

    struct {
        Eigen::Vector3d acceleration{0.0, 0.0, 0.0};
        double time = 0.0;
        bool isUsable = false;  // a 1x3 row
    } newest_;                  // acceleration taken
    Core::StampMatcher matcher_;
    SphericalAttitudeComputer computer_;
};

}  // namespace Kavelin::OrientationInternal
