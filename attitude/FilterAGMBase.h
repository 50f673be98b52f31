#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <string_view>

#include "attitude/agm/AGMEstimator.h"

namespace Kavelin::OrientationInternal {

/// What the AGM filters have in common: three streams taken together, an estimator,
/// its settings file, five results.
///
/// A version adds its estimator, its default settings file and any further pins, which come after these. The
/// inputs are taken together, one sample of each. A triple is dropped unless each of its matrices has 1 row
/// or 3 columns, and at least 3 elements, of which the first three in storage order count.
class FilterAGMBase : public Filter {
public:
    /// @throws Poco::IOException when no settings are loaded yet and the file named cannot be read;
    /// Poco::DataFormatException at the first triple with settings that cannot be used.
    void process() override;  // [layout thread]

protected:
    /// @param frame of the attitude, such as `kSensorToStart`
    FilterAGMBase(const std::string& name, const std::string& settingsFile, std::string_view frame,
                  std::unique_ptr<AGMEstimator> estimator);

    /// Takes the further inputs of a version, if it has any, before each triple is looked for.
    virtual void takeFurther() {}

    /// Sends the further results of a version, if it has any, after the common ones.
    virtual void sendFurther(double /*t*/) {}

    const AGMEstimate& estimate() const { return estimator_->estimate(); }

    /// Gives or takes the whole state, for a snapshot, of a version whose estimator is a `Computer`.
    template <class Computer, class Archive>
    void serializeAs(Archive& archive) {
        archive(static_cast<Computer&>(*estimator_), settingsFaultTold_);
    }

private:
    void onInitTime(const int& seconds);
    void loadSettings();
    void tellSettingsFault();
    void onRef();
    void sendEstimate(double t);

    std::unique_ptr<AGMEstimator> estimator_;
    bool settingsFaultTold_ = false;  // since the last load

    // Deliberate: one row or three columns is enough, so a 3x1 column is refused and a 5x3 matrix gives
    // its first row.
    static constexpr bool isAccepted(Core::PinShape sample) { return sample.rows == 1 || sample.cols == 3; }
    // A 1x2 row is accepted, although nothing can be computed from it.
    static constexpr bool isVector(Core::PinShape sample) {
        return isAccepted(sample) && sample.rows * sample.cols >= 3;
    }

    InputPin<Matrix> acc_{"3a", this, taking(kAcceleration, isVector)};
    InputPin<Matrix> mag_{"3m", this, taking(kField, isVector)};  // in the unit of the settings
    InputPin<Matrix> rate_{"3g", this, taking(kRate, isVector)};
    OutputPin<Matrix> attitude_;  // sensor to reference
    OutputPin<Matrix> accProper_{"3a_prop", this, inFrame(kLinearAcceleration, "reference")};
    OutputPin<Matrix> magPerturbation_{"3pb_mag", this, kField};  // what the reference does not explain
    OutputPin<Matrix> accFlag_{"flag_acc", this, kFlag};
    OutputPin<Matrix> magFlag_{"flag_mag", this, kFlag};

    RangeProperty<int> initTime_{"Init time",
                                 this,
                                 {.minimum = 0, .maximum = 10, .step = 1, .value = 2, .unit = "s"},
                                 handler(this, &FilterAGMBase::onInitTime)};
    FileNameProperty settingsFile_;
    CommandProperty ref_{"Ref", this, handler(this, &FilterAGMBase::onRef)};
};

}  // namespace Kavelin::OrientationInternal
