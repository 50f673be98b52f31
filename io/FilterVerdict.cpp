#include "io/FilterVerdict.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/PropertyBag.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/AttitudeFrame.h"
#include "io/AttitudeSample.h"
#include "io/PinOrigin.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::firstThree;

namespace {

using Core::AbstractInputPin;
using Core::AbstractOutputPin;
using Core::Matrix;
using Input = OrientationInternal::InputPin<Matrix>;

/// The newest sample of a pin, if it has that many elements. @return null where none came.
const Matrix* newest(Input& pin, Eigen::Index size, double& t) {
    bool hasCome = false;
    while (pin.readNext()) hasCome = true;
    if (!hasCome || pin.value().size() != size) return nullptr;
    t = std::max(t, pin.lastTimeStamp());
    return &pin.value();
}

void take(Input& pin, std::optional<Vector3>& into, double& t) {
    if (const Matrix* value = newest(pin, 3, t)) into = firstThree(*value);
}

void take(Input& pin, std::optional<bool>& into, double& t) {
    if (const Matrix* value = newest(pin, 1, t)) into = (*value)(0, 0) != 0.0;
}

/// Either sign of a quaternion is the same evidence.
std::optional<Quaternion> takeAttitude(Input& pin, double& t) {
    bool hasCome = false;
    while (pin.readNext()) hasCome = true;
    if (!hasCome) return std::nullopt;
    t = std::max(t, pin.lastTimeStamp());
    return attitudeOf(pin.value());
}

const AbstractInputPin* connectedInput(const Core::Filter& filter, std::string_view quantity) {
    for (const AbstractInputPin* pin : filter.getInputPins()) {
        if (pin->content().quantity == quantity && pin->getConnectedOutput() != nullptr) return pin;
    }
    return nullptr;
}

bool takesSensors(const Core::Filter& filter) {
    return connectedInput(filter, Core::kAcceleration.quantity) != nullptr ||
           connectedInput(filter, Core::kRate.quantity) != nullptr ||
           connectedInput(filter, Core::kField.quantity) != nullptr;
}

constexpr int kMostSteps = 16;  // connections may lead in a circle

/// The pin from which an estimator sends its attitude, before other filters changed its form.
const AbstractOutputPin* attitudeOrigin(const AbstractInputPin& attitude) {
    const AbstractOutputPin* source = originOf(attitude);
    for (int step = 0; step < kMostSteps; ++step) {
        const Core::Filter* filter = ownerOf(source);
        if (filter == nullptr || takesSensors(*filter)) break;
        const AbstractInputPin* before = connectedInput(*filter, Core::kQuaternion.quantity);
        if (before == nullptr) break;
        source = originOf(*before);
    }
    return source;
}

}  // namespace

FilterVerdict::FilterVerdict(const std::string& name) : Filter(name, true) {}

/// The frame of the attitude; empty where its pin declares none.
std::string_view FilterVerdict::frame() const {
    const AbstractOutputPin* source = attitude_.getConnectedOutput();
    if (source == nullptr) return {};
    const std::string_view declared = contentSent(*source).frame;
    return declared.empty() ? attitudeOrigin(attitude_)->content().frame : declared;
}

EstimatorKind FilterVerdict::estimatorKind() const {
    EstimatorKind kind{.usesGyroscope = rate_.getConnectedOutput() != nullptr,
                       .usesField = field_.getConnectedOutput() != nullptr,
                       .isHeadingRelative = alignmentOf(frame()) != Alignment::kNone};
    const Core::Filter* estimator = ownerOf(attitudeOrigin(attitude_));
    if (estimator == nullptr || !takesSensors(*estimator)) return kind;  // it comes from elsewhere
    const Core::AbstractProperty* use = estimator->getPropertyBag().find("Use 3m");
    kind.usesGyroscope = connectedInput(*estimator, Core::kRate.quantity) != nullptr;
    kind.usesField = connectedInput(*estimator, Core::kField.quantity) != nullptr &&
                     (use == nullptr || use->exactText() != "0");
    return kind;
}

void FilterVerdict::checkRun() {
    if (attitude_.getConnectedOutput() == nullptr)
        throw Poco::InvalidArgumentException("no connection leads to 'attitude': there is nothing to judge");
    if (frame() == Core::kTurnSinceStart)
        throw Poco::InvalidArgumentException("'" + attitude_.getConnectedOutput()->fullName() + "' sends a " +
                                             std::string(Core::kTurnSinceStart) + ": that cannot be judged");
}

void FilterVerdict::begin() {
    hasBegun_ = true;
    hasAttitude_ = false;
    collector_ = std::make_unique<CollectBehind>(frame() == Core::kSensorToStart);
    turnToEnu(frame() == kSensorToNorthEastDown);
}

void FilterVerdict::turnToEnu(bool turns) {
    toEnu_.reset();
    if (turns) toEnu_ = earthTurn(kSensorToNorthEastDown, Core::kSensorToEarth);
}

void FilterVerdict::process() {
    if (!hasBegun_) begin();
    ResultSample sample;
    double t = -std::numeric_limits<double>::infinity();
    take(acceleration_, sample.acceleration, t);
    take(rate_, sample.rate, t);
    take(field_, sample.field, t);
    take(bias_, sample.bias, t);
    take(hardIron_, sample.hardIron, t);
    take(rest_, sample.isAtRest, t);
    take(disturbed_, sample.isDisturbed, t);
    take(body_, sample.hasBodyMagnet, t);
    if (const Matrix* sigma = newest(sigma_, 2, t)) {
        sample.tiltSigma = sigma->data()[0];
        sample.headingSigma = sigma->data()[1];
    }
    sample.attitude = takeAttitude(attitude_, t);
    if (toEnu_ && sample.attitude)
        sample.attitude = OrientationInternal::quaternionProduct(toEnu_->quaternion, *sample.attitude);
    sample.t = t;
    hasAttitude_ = hasAttitude_ || sample.attitude.has_value();
    if (std::isfinite(t)) collector_->add(sample);
}

std::optional<Judged> FilterVerdict::judged() const {
    if (!hasAttitude_ || frame() == Core::kTurnSinceStart) return std::nullopt;
    const Evidence evidence = collector_->evidence();
    Judged judged{evidence, judge(evidence, estimatorKind())};
    for (const std::string& fault : dataErrors()) {
        for (Verdict* verdict : {&judged.verdicts.tilt, &judged.verdicts.heading})
            verdict->add({Grade::kDoubtful, fault, ""});
    }
    return judged;
}

/// What the filters that the sensors come from find wrong with the data.
std::vector<std::string> FilterVerdict::dataErrors() const {
    std::vector<const Core::Filter*> asked;
    std::vector<std::string> errors;
    for (const Input* pin : {&acceleration_, &rate_, &field_}) {
        const Core::Filter* filter = ownerOf(originOf(*pin));
        const auto* participant = dynamic_cast<const RunParticipant*>(filter);
        if (participant == nullptr || std::find(asked.begin(), asked.end(), filter) != asked.end()) continue;
        asked.push_back(filter);
        for (std::string& error : participant->runErrors()) errors.push_back(std::move(error));
    }
    return errors;
}

/// The lines of the verdicts that are bad, or of those that are not.
std::vector<std::string> FilterVerdict::lines(bool bad) const {
    const std::optional<Judged> judged = this->judged();
    std::vector<std::string> lines;
    if (!judged) return lines;
    for (const auto& [name, verdict] :
         {std::pair("tilt: ", &judged->verdicts.tilt), std::pair("heading: ", &judged->verdicts.heading)}) {
        if ((verdict->grade == Grade::kBad) == bad) lines.push_back(name + verdict->text());
    }
    return lines;
}

std::vector<std::string> FilterVerdict::runErrors() const { return lines(true); }

std::vector<std::string> FilterVerdict::runNotes() const { return lines(false); }

}  // namespace Kavelin::RecordingIO
