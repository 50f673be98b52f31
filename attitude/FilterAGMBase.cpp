#include "attitude/FilterAGMBase.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <utility>

namespace Kavelin::OrientationInternal {

namespace {

// Deliberate: one row or three columns is enough, so a 3x1 column is refused and a 5x3 matrix gives its first
// row.
bool isAccepted(const Matrix& sample) {
    return (sample.rows() == 1 || sample.cols() == 3) && sample.size() >= 3;
}

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
    if (!estimator_->isReady()) return loadSettings();
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
}

void FilterAGMBase::onRef() { estimator_->restart(); }

}  // namespace Kavelin::OrientationInternal
