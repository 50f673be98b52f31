#include "io/FilterAttitudeForm.h"

#include <Poco/Exception.h>

#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/AttitudeSample.h"
#include "io/FilterSegment.h"
#include "io/PinOrigin.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::eulerZyx;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::quaternionProduct;
using OrientationInternal::quaternionToRotation;

FilterAttitudeForm::FilterAttitudeForm(const std::string& name) : Filter(name, true) {}

/// What is connected behind learns the frame.
void FilterAttitudeForm::onFrame(const int& index) {
    isSettled_ = false;
    const std::string_view frame = index == kEnu   ? Core::kSensorToEarth
                                   : index == kNed ? kSensorToNorthEastDown
                                                   : std::string_view();
    quaternion_.setContent(inFrame(Core::kQuaternion, frame));
    matrix_.setContent(inFrame(Core::kRotation, frame));
}

/// The frame of the attitude that comes in; empty where nobody declares it.
std::string_view FilterAttitudeForm::frameIn() const {
    const Core::AbstractInputPin* attitude = &attitude_;
    for (int step = 0; step < 16; ++step) {  // connections may lead in a circle
        const Core::AbstractOutputPin* source = originOf(*attitude);
        if (source == nullptr) return {};
        if (!source->content().frame.empty()) return source->content().frame;
        const Core::Filter* filter = ownerOf(source);
        const bool keepsFrame = dynamic_cast<const FilterAttitudeForm*>(filter) != nullptr ||
                                dynamic_cast<const FilterSegment*>(filter) != nullptr;
        if (!keepsFrame) return {};
        attitude = filter->getInputPins().front();
    }
    return {};
}

void FilterAttitudeForm::settle() {
    isSettled_ = true;
    turn_.reset();
    isRefused_ = false;
    if (frame_.get() == kAsItComes) return;
    const std::string_view from = frameIn().empty() ? Core::kSensorToEarth : frameIn();
    const std::string_view to = frame_.get() == kEnu ? Core::kSensorToEarth : kSensorToNorthEastDown;
    turn_ = earthTurn(from, to);
    isRefused_ = !turn_;
    if (from == to) turn_.reset();
}

void FilterAttitudeForm::checkRun() {
    settle();
    if (!isRefused_) return;
    throw Poco::InvalidArgumentException("'" + attitude_.getConnectedOutput()->fullName() + "' sends \"" +
                                         std::string(frameIn()) +
                                         "\", which no Frame of the earth can be given");
}

void FilterAttitudeForm::process() {
    if (!isSettled_) settle();
    if (!attitude_.readNext() || !attitude_.fits() || isRefused_) return;
    const std::optional<Quaternion> came = attitudeOf(attitude_.value());
    if (!came) return;
    const Quaternion q = turn_ ? quaternionProduct(turn_->quaternion, *came) : *came;
    const double t = attitude_.lastTimeStamp();
    if (quaternion_.isAttached()) {
        quaternion_.value() = q.transpose();
        quaternion_.send(t);
    }
    if (matrix_.isAttached()) {
        matrix_.value() = quaternionToRotation(*came);
        if (turn_) matrix_.value() = turn_->matrix * quaternionToRotation(*came);
        matrix_.send(t);
    }
    if (euler_.isAttached()) {
        euler_.value() = (eulerZyx(q) * kRadiansToDegrees).transpose();
        euler_.send(t);
    }
}

}  // namespace Kavelin::RecordingIO
