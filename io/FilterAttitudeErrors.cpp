#include "io/FilterAttitudeErrors.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <limits>

#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/AttitudeSample.h"
#include "io/PinOrigin.h"
#include "io/files/ByteSource.h"
#include "io/recording/RecordingReader.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// Of the samples that come in; empty where nothing is connected or declared.
std::string_view frameOf(const Core::AbstractInputPin& input) {
    const Core::AbstractOutputPin* source = originOf(input);
    return source ? source->content().frame : std::string_view();
}

}  // namespace

FilterAttitudeErrors::FilterAttitudeErrors(const std::string& name) : Filter(name, true) {}

void FilterAttitudeErrors::onAlignment(const int& index) {
    errors_ = AttitudeErrors(static_cast<Alignment>(index));
}

void FilterAttitudeErrors::onReferenceFrame(const int& index) {
    referenceTurn_.reset();
    if (index == 1) referenceTurn_ = earthTurn(kSensorToNorthEastDown, Core::kSensorToEarth);
}

void FilterAttitudeErrors::checkRun() {
    if (!opener_ && referenceFile_.get().empty() && reference_.getConnectedOutput() == nullptr) {
        throw Poco::InvalidArgumentException(
            "there is no reference: connect the pin 'reference', or name a "
            "Reference File");
    }
    if (!canBeReadOnlyOnce(referenceFile_.get()) && !canBeReadOnlyOnce(movementFile_.get())) open();
}

void FilterAttitudeErrors::prepareRun() { open(); }

void FilterAttitudeErrors::open() {
    if (files_ == Files::kOpen) return;
    if (files_ != Files::kToResume) {
        onAlignment(alignment_.value());
        asked_.reset();
    }
    files_ = Files::kRefused;  // until they are open
    std::ranges::transform(filesRead(), traces_.begin(), traceOf);
    track_.reset();
    intervals_ = movementFile_.get().empty() ? Intervals() : Intervals::open(movementFile_.get());
    if (opener_) {
        track_.emplace(opener_());
    } else if (!referenceFile_.get().empty()) {
        track_.emplace(referenceFile_.get());
    }
    const std::string_view reference = frameOf(reference_);
    hasKnownEarth_ = track_ ? track_->isEarthKnown() : reference == Core::kSensorToEarth;
    attitudeTurn_.reset();
    const std::string_view attitude = frameOf(attitude_);
    if (hasKnownEarth_ || attitude == kSensorToNorthEastDown)
        attitudeTurn_ = earthTurn(attitude, Core::kSensorToEarth);
    if (track_ && asked_) track_->at(*asked_);
    files_ = Files::kOpen;
}

/// The reference and the movement; empty where there is none, or it lies in memory.
std::array<std::string, 2> FilterAttitudeErrors::filesRead() const {
    return {opener_ ? "" : fileOfReference(referenceFile_.get()), movementFile_.get()};
}

void FilterAttitudeErrors::requireReadAgain() const {
    for (const std::string& file : filesRead())
        if (!file.empty() && canBeReadOnlyOnce(file))
            throw Poco::NotImplementedException("'" + getName() + "' reads " + RecordingReader::nameOf(file) +
                                                ", which cannot be read again from a place in it");
}

void FilterAttitudeErrors::requireUnchanged() const {
    const std::array<std::string, 2> files = filesRead();
    for (std::size_t i = 0; i < files.size(); ++i)
        if (traceOf(files[i]) != traces_[i])
            throw Poco::DataFormatException("'" + files[i] + "' was changed since it was read");
}

void FilterAttitudeErrors::setReference(std::function<std::unique_ptr<RowReader>()> opener) {
    opener_ = std::move(opener);
    files_ = Files::kToOpen;
}

void FilterAttitudeErrors::completeRun() { files_ = Files::kToOpen; }

void FilterAttitudeErrors::process() {
    if (files_ == Files::kToOpen || files_ == Files::kToResume) open();
    while (attitude_.readNext()) {
        if (!attitude_.fits()) continue;
        const std::optional<Quaternion> attitude = attitudeOf(attitude_.value());
        if (!attitude || files_ == Files::kRefused) continue;
        const double time = attitude_.lastTimeStamp();
        if (const auto reference = referenceAt(time)) compare(*attitude, *reference, time);
    }
}

std::optional<Quaternion> FilterAttitudeErrors::referenceAt(double time) {
    const std::optional<Quaternion> sample = sampleAt(time);
    if (!track_) return sample;
    asked_ = std::max(asked_.value_or(-std::numeric_limits<double>::infinity()), time);
    return track_->at(time);
}

/// An earlier sample belongs to no attitude; a later one waits for its attitude.
std::optional<Quaternion> FilterAttitudeErrors::sampleAt(double time) {
    while (reference_.fetch() && !(reference_.heldTimeStamp() > time)) {
        reference_.consume();
        const Matrix& value = reference_.value();
        if (value.size() == 4 && reference_.lastTimeStamp() == time)
            return Eigen::Map<const Quaternion>(value.data());
    }
    return std::nullopt;
}

void FilterAttitudeErrors::compare(const Quaternion& attitude, const Quaternion& reference, double time) {
    const auto inEnu = [](const std::optional<EarthTurn>& turn, const Quaternion& q) {
        return turn ? OrientationInternal::quaternionProduct(turn->quaternion, q) : q;
    };
    const auto errors =
        errors_.add(inEnu(attitudeTurn_, attitude),
                    hasKnownEarth_ ? reference : inEnu(referenceTurn_, reference), intervals_.contains(time));
    if (!errors || !errorPin_.isAttached()) return;
    errorPin_.value() << errors->total(), errors->heading, errors->inclination;
    errorPin_.send(time);
}

std::vector<std::string> FilterAttitudeErrors::runErrors() const {
    if (!track_ || track_->faults() == 0) return {};
    return {counted(track_->faults(), "row") +
            " of the reference left out; the first: " + track_->firstFault()};
}

std::vector<std::string> FilterAttitudeErrors::runNotes() const {
    if (errors_.figures().count == 0) {
        return {"no row has both an attitude and a reference" +
                std::string(track_ ? "" : "; a Reference File is taken between its rows as well")};
    }
    return {errors_.figuresText()};
}

}  // namespace Kavelin::RecordingIO
