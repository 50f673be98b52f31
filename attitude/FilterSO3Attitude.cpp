#include "attitude/FilterSO3Attitude.h"

#include <limits>

namespace Kavelin::OrientationInternal {

FilterSO3Attitude::FilterSO3Attitude(const std::string& name) : Filter(name, true) {}

void FilterSO3Attitude::process() {
    takeStartAttitude();
    if (!rate_.fetch()) return;
    if (rate_.heldTimeStamp() < rate_.lastTimeStamp()) track_.restart();  // the clock was set back
    if (!takeAccelerations(rate_.heldTimeStamp())) return;
    rate_.consume();
    const double t = rate_.lastTimeStamp();
    const Eigen::Vector3d field = takeField(t);
    if (!rate_.fits()) return;
    computer_.setSettings(settings());
    const Eigen::Vector3d rate = Eigen::Vector3d::Map(rate_.value().data());
    if (computer_.advance(t, track_.at(t), rate, field)) send(t);
}

void FilterSO3Attitude::onReset() {
    computer_.reset();
    track_.restart();
}

// Takes accelerations until one is not earlier than `t`. @return false when there is none yet.
bool FilterSO3Attitude::takeAccelerations(double t) {
    while (!track_.reaches(t)) {
        if (!acc_.readNext()) return false;
        if (!acc_.fits()) continue;
        track_.add(acc_.lastTimeStamp(), Eigen::Vector3d::Map(acc_.value().data()));
    }
    return true;
}

void FilterSO3Attitude::takeStartAttitude() {
    while (quat0_.readNext()) {
        if (quat0_.fits()) computer_.setNextAttitude(quat0_.value().transpose());
    }
}

// The newest field that is not later than `t`; NaN where there is none.
// Later ones stay for later rates.
Eigen::Vector3d FilterSO3Attitude::takeField(double t) {
    Eigen::Vector3d field = Eigen::Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
    while (field_.fetch() && !(field_.heldTimeStamp() > t)) {
        field_.consume();
        if (field_.fits()) field = Eigen::Vector3d::Map(field_.value().data());
    }
    if (!useField_.value()) field.setConstant(std::numeric_limits<double>::quiet_NaN());
    return field;
}

SO3::Settings FilterSO3Attitude::settings() const {
    return {.gyroscopeNoise = gyroscopeNoise_.value(),
            .biasDrift = biasDrift_.value(),
            .accelerometerNoise = accNoise_.value(),
            .fieldNoise = fieldNoise_.value(),
            .restRate = restRate_.value(),
            .restAcceleration = restAcceleration_.value(),
            .restTime = restTime_.value(),
            .biasLimit = biasLimit_.value(),
            .accelerometerRange = accRange_.value()};
}

void FilterSO3Attitude::send(double t) {
    const auto give = [t](OutputPin<Matrix>& pin, const auto& value) {
        if (!pin.isAttached()) return;
        pin.value() = value;
        pin.send(t);
    };
    const auto giveFlag = [t](OutputPin<Matrix>& pin, bool raised) {
        pin.value()(0, 0) = raised ? 1.0 : 0.0;
        pin.send(t);
    };
    const Eigen::Quaterniond q = computer_.attitude();
    give(attitudeQ_, Eigen::RowVector4d(q.w(), q.x(), q.y(), q.z()));
    if (attitude_.isAttached()) give(attitude_, q.toRotationMatrix());
    give(bias_, computer_.bias().transpose());
    give(accBias_, computer_.accBias().transpose());
    give(hardIron_, computer_.hardIron().transpose());
    give(linearAcceleration_, computer_.linearAcceleration().transpose());
    if (deviations_.isAttached())
        give(deviations_, Eigen::RowVector2d(computer_.tiltDeviation(), computer_.headingDeviation()));
    giveFlag(restFlag_, computer_.atRest());
    giveFlag(fieldFlag_, computer_.fieldDisturbed());
    giveFlag(magnetFlag_, computer_.hardIron() != Eigen::Vector3d::Zero());
}

}  // namespace Kavelin::OrientationInternal
