#include "attitude/FilterAGMBase.h"

#include <Poco/Exception.h>

#include <utility>

namespace Kavelin::OrientationInternal {

FilterAGMBase::FilterAGMBase(const std::string& name, const std::string& settingsFile, std::string_view frame,
                             std::unique_ptr<AGMEstimator> estimator)
    : Filter(name, true),
      estimator_(std::move(estimator)),
      attitude_("attitude", this, inFrame(kRotation, frame)),
      settingsFile_("Settings File Name", this, settingsFile, "*.par",
                    handler(this, &FilterAGMBase::loadSettings)) {}

void FilterAGMBase::process() {
    takeFurther();
    if (!takeTogether(rate_, acc_, mag_)) return;
    if (!isAccepted(shapeOf(rate_.value())) || !isAccepted(shapeOf(acc_.value())) ||
        !isAccepted(shapeOf(mag_.value()))) {
        return;
    }
    const bool isFirst = !estimator_->isReady();
    if (isFirst) loadSettings();
    tellSettingsFault();
    if (isFirst || !allFit(rate_, acc_, mag_)) return;
    const double t = newestStamp(rate_, acc_, mag_);
    if (!estimator_->advance({.t = t,
                              .acc = firstThree(acc_.value()),
                              .mag = firstThree(mag_.value()),
                              .rate = firstThree(rate_.value())})) {
        return;
    }
    sendEstimate(t);
}

void FilterAGMBase::sendEstimate(double t) {
    const AGMEstimate& now = estimate();
    attitude_.value() = now.R_ref_sensor;
    accProper_.value() = now.accProper_ref.transpose();
    magPerturbation_.value() = now.magPerturbation_sensor.transpose();
    accFlag_.value()(0, 0) = now.accFlag ? 1.0 : 0.0;
    magFlag_.value()(0, 0) = now.magFlag ? 1.0 : 0.0;
    attitude_.send(t);
    accProper_.send(t);
    magPerturbation_.send(t);
    accFlag_.send(t);
    magFlag_.send(t);
    sendFurther(t);
}

// Deliberate: the handler runs before the range check,
// so a value that is refused becomes the duration all the same.
void FilterAGMBase::onInitTime(const int& seconds) { estimator_->setInitTime(seconds); }

void FilterAGMBase::loadSettings() {
    const std::string file = settingsFile_.get();
    if (!estimator_->load(file)) throw Poco::IOException("Failed to open settings file '" + file + "'");
    settingsFaultTold_ = false;
}

// Deliberate: a file with a fault is loaded all the same, and every triple is dropped. Only the first triple
// raises an error, so the fault is reported once.
void FilterAGMBase::tellSettingsFault() {
    if (settingsFaultTold_) return;
    settingsFaultTold_ = true;
    const std::string fault = estimator_->settingsFault();
    if (fault.empty()) return;
    throw Poco::DataFormatException("Settings file '" + settingsFile_.get() + "' cannot be used: " + fault);
}

void FilterAGMBase::onRef() { estimator_->restart(); }

}  // namespace Kavelin::OrientationInternal
