#include "attitude/FilterAGMBase.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <utility>

namespace Kavelin::OrientationInternal {

namespace {

// Deliberate: one row or three columns is enough, so a 3x1 column is refused and a 5x3 matrix gives its first
// row.
bool isAccepted(const Matrix& sample) { return sample.rows() == 1 || sample.cols() == 3; }

// A 1x2 row is accepted, and there is nothing to compute from it.
bool isVector(const Matrix& sample) { return sample.size() >= 3; }

}  // namespace

FilterAGMBase::FilterAGMBase(const std::string& name, const std::string& settingsFile,
                             std::unique_ptr<AGMEstimator> estimator)
    : Filter(name, true),
      estimator_(std::move(estimator)),
      settingsFile_("Settings File Name", this, settingsFile, "*.par",
                    handler(this, &FilterAGMBase::loadSettings)) {}

void FilterAGMBase::process() {
    takeFurther();
    if (!rate_.fetch() || !acc_.fetch() || !mag_.fetch()) return;
    rate_.consume();
    acc_.consume();
    mag_.consume();
    if (!isAccepted(rate_.value()) || !isAccepted(acc_.value()) || !isAccepted(mag_.value())) return;
    const bool isFirst = !estimator_->isReady();
    if (isFirst) loadSettings();
    tellSettingsFault();
    if (isFirst) return;
    if (!isVector(rate_.value()) || !isVector(acc_.value()) || !isVector(mag_.value())) return;
    const double t = std::max({rate_.lastTimeStamp(), acc_.lastTimeStamp(), mag_.lastTimeStamp()});
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

// Deliberate: a value that is refused for its range was heard of before, and is the duration all the same.
void FilterAGMBase::onInitTime(const int& seconds) { estimator_->setInitTime(seconds); }

void FilterAGMBase::loadSettings() {
    const std::string file = settingsFile_.get();
    if (!estimator_->load(file)) throw Poco::IOException("Failed to open settings file '" + file + "'");
    settingsFaultTold_ = false;
}

// Deliberate: a file with a fault is loaded all the same, and its triples are dropped; only the first of them
// is an error, so that whoever runs the filter hears of it, and once.
void FilterAGMBase::tellSettingsFault() {
    if (settingsFaultTold_) return;
    settingsFaultTold_ = true;
    const std::string fault = estimator_->settingsFault();
    if (fault.empty()) return;
    throw Poco::DataFormatException("Settings file '" + settingsFile_.get() + "' cannot be used: " + fault);
}

void FilterAGMBase::onRef() { estimator_->restart(); }

}  // namespace Kavelin::OrientationInternal
