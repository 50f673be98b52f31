#include "cli/fuse/FuseSink.h"

#include <Kavelin/Core/LayoutManager.h>
#include <Poco/Exception.h>

#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/recording/TableWriter.h"

namespace Kavelin::Cli {

using OrientationInternal::firstNine;
using OrientationInternal::fromEigen;
using OrientationInternal::kRadiansToDegrees;

namespace {

const char* const kScoreName = "Score";
const std::size_t kOverallFlag = 1;  // element of the 5x2 score matrix

std::string headerOf(AttitudeForm form, const std::vector<FuseSink::Extra>& extras) {
    std::string header = "t";
    switch (form) {
        case AttitudeForm::kQuaternion:
            header += ",qw,qx,qy,qz";
            break;
        case AttitudeForm::kMatrix:
            for (const std::string& name : RecordingIO::columnNames("attitude", 3, 3)) header += "," + name;
            break;
        case AttitudeForm::kEuler:
            header += ",yaw_zyx (deg),pitch_zyx (deg),roll_zyx (deg)";
            break;
    }
    for (const FuseSink::Extra& extra : extras) {
        for (const std::string& name : RecordingIO::columnNames(extra.name, extra.rows, extra.cols)) {
            header += "," + name;
        }
    }
    return header;
}

}  // namespace

FuseSink::FuseSink(const std::string& name, const std::vector<Extra>& extras, AttitudeForm form,
                   RecordingIO::ResultFile& file)
    : Filter(name, true), rows_(file), form_(form), extras_(extras), counts_(extras.size()) {
    for (std::size_t i = 0; i < extras_.size(); ++i) {
        pins_.push_back(std::make_unique<ExtraPin>(extras_[i], this));
        if (extras_[i].name == kScoreName) score_ = i;
    }
    file.header(headerOf(form_, extras_));
}

void FuseSink::setErrors(RecordingIO::AttitudeErrors* errors, RecordingIO::ReferenceTrack* track,
                         const RecordingIO::Intervals* intervals) {
    errors_ = errors;
    track_ = track;
    intervals_ = intervals;
}

void FuseSink::process() {
    while (takeAttitude()) {
        takeExtras();
        takeReference();
        count();
        writeRow();
        if (observer_) observer_(*this);
    }
}

bool FuseSink::takeAttitude() {
    if (!attitudePin_.readNext()) return false;
    const Matrix& value = attitudePin_.value();
    if (value.size() == 4) {
        attitude_ = Eigen::Map<const Quaternion>(value.data());
    } else if (value.size() == 9) {
        const OrientationInternal::Matrix3 rotation = firstNine(value);
        attitude_ = fromEigen(Eigen::Quaterniond(rotation));
        if (attitude_[0] < 0.0) attitude_ = -attitude_;
    } else {
        return false;
    }
    time_ = clock_ ? clock_() : attitudePin_.lastTimeStamp();
    ++attitudes_;
    return true;
}

void FuseSink::takeExtras() {
    for (const auto& extra : pins_) takeExtra(*extra);
    while (biasPin_.readNext()) {
        if (biasPin_.value().size() == 3) bias_ = Eigen::Map<const Eigen::Vector3d>(biasPin_.value().data());
    }
}

/// Goes on to the sample of this row's time; what is earlier belongs to rows without an attitude.
void FuseSink::takeExtra(ExtraPin& extra) const {
    extra.present = false;
    while (extra.ahead || extra.pin.readNext()) {
        extra.ahead = extra.pin.lastTimeStamp() > time_;
        if (extra.ahead) return;
        const auto size = static_cast<std::size_t>(extra.pin.value().size());
        extra.present = extra.pin.lastTimeStamp() == time_ && size == extra.size;
    }
}

void FuseSink::takeReference() {
    pairErrors_.reset();
    if (track_ && errors_) {
        if (const auto reference = track_->at(time_)) compare(*reference);
    } else {
        takeOwnReference();
    }
}

void FuseSink::takeOwnReference() {
    while (referenceAhead_ || referencePin_.readNext()) {
        referenceAhead_ = referencePin_.lastTimeStamp() > time_;
        if (referenceAhead_) return;
        const Matrix& value = referencePin_.value();
        if (!errors_ || value.size() != 4 || referencePin_.lastTimeStamp() != time_) continue;
        compare(Eigen::Map<const Quaternion>(value.data()));
    }
}

void FuseSink::compare(const Quaternion& reference) {
    pairErrors_ = errors_->add(attitude_, reference, !intervals_ || intervals_->contains(time_));
}

void FuseSink::count() {
    for (std::size_t i = 0; i < extras_.size(); ++i) {
        if (!pins_[i]->present) continue;
        ++counts_[i].sent;
        if (extra(i) != 0.0) ++counts_[i].raised;
    }
    if (score_ && pins_[*score_]->present && time_ > lastTime_) {
        scoredTime_ += time_ - lastTime_;
        if (extra(*score_, kOverallFlag) == 1.0) staticTime_ += time_ - lastTime_;
    }
    lastTime_ = time_;
}

double FuseSink::staticShare() const { return staticTime_ / scoredTime_; }

double FuseSink::extra(std::size_t index, std::size_t element) const {
    if (!pins_[index]->present) return std::numeric_limits<double>::quiet_NaN();
    return pins_[index]->pin.value().data()[element];
}

void FuseSink::writeRow() {
    rows_.number(time_);
    writeAttitude();
    writeExtras();
    try {
        rows_.endRow();
    } catch (const Poco::WriteFileException&) {
        getManager()->stop();  // nothing more can be kept
        throw;
    }
}

void FuseSink::writeAttitude() {
    switch (form_) {
        case AttitudeForm::kQuaternion:
            rows_.cells(attitude_.data(), 4);
            break;
        case AttitudeForm::kMatrix: {
            const OrientationInternal::Matrix3 rotation =
                OrientationInternal::quaternionToRotation(attitude_);
            rows_.cells(rotation.data(), 9);
            break;
        }
        case AttitudeForm::kEuler: {
            const Eigen::Vector3d degrees = eulerZyx(attitude_) * kRadiansToDegrees;
            rows_.cells(degrees.data(), 3);
            break;
        }
    }
}

void FuseSink::writeExtras() {
    for (const auto& extra : pins_) {
        if (extra->present) {
            rows_.cells(extra->pin.value().data(), extra->size);
        } else {
            rows_.emptyCells(extra->size);
        }
    }
}

}  // namespace Kavelin::Cli
