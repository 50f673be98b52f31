#include "cli/joint/JointSurvey.h"

namespace Kavelin::Cli {

using OrientationInternal::firstThree;
using OrientationInternal::JointSample;
using OrientationInternal::Quaternion;

JointSurvey::JointSurvey(const std::string& name, const std::optional<TimeInterval>& pose)
    : Filter(name, true), interval_(pose) {}

/// "pairs" sends all four at each instant or none.
bool JointSurvey::takeAll() {
    return attitude_d_.readNext() && attitude_g_.readNext() && rate_d_.readNext() && rate_g_.readNext();
}

void JointSurvey::takeBiases() {
    for (const std::size_t unit : {0U, 1U}) {
        Input& pin = unit == 0 ? bias_d_ : bias_g_;
        while (pin.readNext())
            if (pin.value().size() == 3 && pin.value().allFinite()) biases_[unit] = firstThree(pin.value());
    }
}

void JointSurvey::process() {
    takeBiases();
    while (takeAll()) {
        if (!attitude_d_.fits() || !attitude_g_.fits() || !rate_d_.fits() || !rate_g_.fits()) continue;
        add(attitude_d_.lastTimeStamp(),
            {.q_earth_d = Eigen::Map<const Quaternion>(attitude_d_.value().data()),
             .q_earth_g = Eigen::Map<const Quaternion>(attitude_g_.value().data()),
             .rate_d = firstThree(rate_d_.value()),
             .rate_g = firstThree(rate_g_.value())});
    }
}

void JointSurvey::add(double t, const JointSample& sample) {
    all_.add(t);
    motion_.add(sample);
    if (!interval_ || t < interval_->begin || t > interval_->end) return;
    inPose_.add(t);
    pose_d_.add(sample.q_earth_d, sample.rate_d);
    pose_g_.add(sample.q_earth_g, sample.rate_g);
}

}  // namespace Kavelin::Cli
