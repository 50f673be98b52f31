#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <cmath>
#include <string>

#include "attitude/agm/TriadGyroComputer.h"

namespace Kavelin::OrientationInternal {

/// Estimates orientation from acceleration, field and angular rate by blending predicted
/// and measured vectors.
///
/// Pins: in "3a", "3m", "3g" (rad/s) 3x1, sensor frame; in "reset", whose first element 1 restarts the
/// filter; out "attitudeQ" 4x1 (w, x, y, z), "attitude" 3x3, "Acceleration Propre" and "Perturbation
/// Magnetique" 3x1, the part of each measured vector that the estimate does not explain. Nothing is sent
/// during the initialisation time. Properties: "Init time" (s), "A" (weight of a measurement), "Absolute
/// Reference"; the command "Ref" restarts. Deliberate: all outputs are stamped with the wall clock (s since
/// 15 October 1582), one reading for the four; the range properties show 0 until they are written, while the
/// filter works with 0.2 s and 0.0005.
class FilterAGMTriad_gyro : public Filter, public Core::WithState<FilterAGMTriad_gyro> {
public:
    static constexpr const char* kTypeName = "FilterAGMTriad_gyro";
    static constexpr unsigned kStateVersion = 1;
    explicit FilterAGMTriad_gyro(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(computer_);
    }

private:
    void reset() { computer_.reset(absoluteReference_.get()); }
    void onInitTime(const double& value) { computer_.setInitTime(value); }
    void onGain(const double& value) { computer_.setGain(value); }
    // Deliberate: runs before the value is in place, so this reset still uses the old one. The new one takes
    // effect with the next "Ref" or "reset".
    void onAbsoluteReference(const bool&) { reset(); }

    void takeReset();
    void send(const TriadEstimate& estimate);

    /// Deliberate: 3 rows or 1 column is enough, so a 3x3 sample passes with its first row. A sample with
    /// fewer than three elements does not pass.
    static constexpr bool hasVector(Core::PinShape sample) {
        return (sample.rows == 3 || sample.cols == 1) && sample.rows * sample.cols >= 3;
    }
    static constexpr Core::PinContent column(const Core::PinContent& content) {
        return taking(asColumn(content), hasVector);
    }
    static constexpr Core::PinContent sent(const Core::PinContent& content) {
        return stampedWithWallClock(content);
    }

    InputPin<Matrix> acc_{"3a", this, column(kAcceleration)};
    InputPin<Matrix> mag_{"3m", this, column(kField)};
    InputPin<Matrix> rate_{"3g", this, column(kRate)};
    InputPin<Matrix> reset_{"reset", this, kRequest, AnyTime{}};
    OutputPin<Matrix> quaternion_{"attitudeQ", this, sent(asColumn(inFrame(kQuaternion, kTurnSinceStart)))};
    OutputPin<Matrix> attitude_{"attitude", this, sent(inFrame(kRotation, kTurnSinceStart))};
    OutputPin<Matrix> properAcceleration_{"Acceleration Propre", this,
                                          sent(asColumn(inFrame(kLinearAcceleration, kSensorFrame)))};
    OutputPin<Matrix> fieldDisturbance_{"Perturbation Magnetique", this, sent(asColumn(kField))};

    CommandProperty ref_{"Ref", this, handler(this, &FilterAGMTriad_gyro::reset)};
    // Deliberate: the property shows the working value cut to a whole number, 0 for both. Until a value is
    // written, the filter works with the uncut one.
    RangeProperty<double> initTime_{"Init time",
                                    this,
                                    {.minimum = 0,
                                     .maximum = 10,
                                     .step = 0.1,
                                     .value = std::trunc(TriadGyroComputer::kInitialInitTime),
                                     .unit = "s"},
                                    handler(this, &FilterAGMTriad_gyro::onInitTime)};
    RangeProperty<double> gain_{"A",
                                this,
                                {.minimum = 0,
                                 .maximum = 1e6,
                                 .step = 1e-8,
                                 .value = std::trunc(TriadGyroComputer::kInitialGain),
                                 .unit = ""},
                                handler(this, &FilterAGMTriad_gyro::onGain)};
    ValueProperty<bool> absoluteReference_{"Absolute Reference", this, false,
                                           handler(this, &FilterAGMTriad_gyro::onAbsoluteReference)};
    TriadGyroComputer computer_;
};

}  // namespace Kavelin::OrientationInternal
