#include "cli/fuse/ResultWatch.h"

#include "io/AttitudeSample.h"

namespace Kavelin::Cli {

namespace {

const char* const kScoreName = "Score";
const std::ptrdiff_t kOverallFlag = 1;  // element of the 5x2 score matrix

}  // namespace

ResultWatch::ResultWatch(const std::string& name, const std::vector<Extra>& extras)
    : Filter(name, true), extras_(extras) {
    for (std::size_t i = 0; i < extras_.size(); ++i) {
        pins_.push_back(std::make_unique<ExtraPin>(extras_[i], this));
        if (extras_[i].name == kScoreName) score_ = i;
    }
}

void ResultWatch::process() {
    takeBias();
    while (takeAttitude()) {
        errors_.goTo(time());
        pairErrors_.reset();
        if (errors_.present) pairErrors_ = {errors_.pin.value()(1), errors_.pin.value()(2)};
        for (const auto& extra : pins_) {
            extra->goTo(time());
            if (!extra->present) continue;
            ++extra->count.sent;
            if (extra->pin.value()(0) != 0.0) ++extra->count.raised;
        }
        countScore();
        if (observer_) observer_(*this);
    }
}

bool ResultWatch::takeAttitude() {
    if (!attitudePin_.readNext()) return false;
    const auto attitude = RecordingIO::attitudeOf(attitudePin_.value());
    if (!attitude) return false;
    attitude_ = *attitude;
    ++attitudes_;
    return true;
}

void ResultWatch::takeBias() {
    while (biasPin_.readNext()) {
        if (biasPin_.value().size() == 3) bias_ = Eigen::Map<const Eigen::Vector3d>(biasPin_.value().data());
    }
}

/// Moves to the sample of a time; earlier samples belong to no attitude.
void ResultWatch::ExtraPin::goTo(double time) {
    present = false;
    if (pin.getSource() == nullptr) return;
    while (ahead || pin.readNext()) {
        ahead = pin.lastTimeStamp() > time;
        if (ahead) return;
        present = pin.lastTimeStamp() == time && pin.value().size() == size;
    }
}

void ResultWatch::countScore() {
    if (score_ && pins_[*score_]->present && time() > lastTime_) {
        scoredTime_ += time() - lastTime_;
        if (extra(*score_, kOverallFlag) == 1.0) staticTime_ += time() - lastTime_;
    }
    lastTime_ = time();
}

double ResultWatch::extra(std::size_t index, std::ptrdiff_t element) const {
    if (!pins_[index]->present) return std::numeric_limits<double>::quiet_NaN();
    return pins_[index]->pin.value().data()[element];
}

}  // namespace Kavelin::Cli
