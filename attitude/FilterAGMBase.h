#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>

#include "attitude/agm/AGMEstimator.h"

namespace Kavelin::OrientationInternal {

/// What the AGM filters have in common: three streams taken together, an estimator, its settings file, five
/// results.
///
/// A version adds its estimator, its default settings file and what pins it has more; those come after these.
/// A sample of each input is taken together with one of the others, one to one. A triple is dropped unless
/// each of its matrices has 1 row or 3 columns, and at least 3 elements, of which the first three in storage
/// order count.
class FilterAGMBase : public Filter {
public:
    /// @throws Poco::IOException when no settings are loaded yet and the file named cannot be read;
    /// Poco::DataFormatException at the first triple with settings that cannot be used.
    void process() override;  // [layout thread]

protected:
    FilterAGMBase(const std::string& name, const std::string& settingsFile,
                  std::unique_ptr<AGMEstimator> estimator);

    /// Takes the further inputs of a version, if it has any, before each triple is looked for.
    virtual void takeFurther() {}

    /// Sends the further results of a version, if it has any, after the common ones.
    virtual void sendFurther(double /*t*/) {}

    const AGMEstimate& estimate() const { return estimator_->estimate(); }

private:
    void onInitTime(const int& seconds);
    void loadSettings();
    void tellSettingsFault();
    void onRef();
    void sendEstimate(double t);

    std::unique_ptr<AGMEstimator> estimator_;
    bool settingsFaultTold_ = false;  // since the last load

    InputPin<Matrix> acc_{"3a", this};   // 1x3, m/s^2, sensor frame
    InputPin<Matrix> mag_{"3m", this};   // 1x3, unit of the settings, sensor frame
    InputPin<Matrix> rate_{"3g", this};  // 1x3, rad/s, sensor frame
    OutputPin<Matrix> attitude_{"attitude", this, Matrix::Identity(3, 3)};    // sensor to reference
    OutputPin<Matrix> accProper_{"3a_prop", this, Matrix::Zero(1, 3)};        // m/s^2, reference frame
    OutputPin<Matrix> magPerturbation_{"3pb_mag", this, Matrix::Zero(1, 3)};  // unit of "3m", sensor frame
    OutputPin<Matrix> accFlag_{"flag_acc", this, Matrix::Zero(1, 1)};         // 1.0 or 0.0
    OutputPin<Matrix> magFlag_{"flag_mag", this, Matrix::Zero(1, 1)};         // 1.0 or 0.0

    RangeProperty<int> initTime_{"Init time",
                                 this,
                                 {.minimum = 0, .maximum = 10, .step = 1, .value = 2, .unit = "s"},
                                 handler(this, &FilterAGMBase::onInitTime)};
    FileNameProperty settingsFile_;
    CommandProperty ref_{"Ref", this, handler(this, &FilterAGMBase::onRef)};
};

}  // namespace Kavelin::OrientationInternal
