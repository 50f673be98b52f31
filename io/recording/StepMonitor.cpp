#include "io/recording/StepMonitor.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

void StepMonitor::add(double time) {
    const Gap step{last_, time - last_};
    last_ = time;
    if (!hasTime_) {
        hasTime_ = true;
        return;
    }
    if (step.length <= 0.0) {
        ++repeats_;
        return;
    }
    if (hasLearnt_) {
        judge(step);
        return;
    }
    first_[firstCount_++] = step;
    if (firstCount_ == kFirstSteps) learn();
}

void StepMonitor::finish() {
    if (!hasLearnt_ && firstCount_ > 0) learn();
}

void StepMonitor::learn() {
    std::array<double, kFirstSteps> lengths{};
    for (std::size_t i = 0; i < firstCount_; ++i) lengths[i] = first_[i].length;
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>((firstCount_ - 1) / 2);
    std::nth_element(lengths.begin(), middle, lengths.begin() + static_cast<std::ptrdiff_t>(firstCount_));
    usual_ = *middle;
    hasLearnt_ = true;
    for (std::size_t i = 0; i < firstCount_; ++i) judge(first_[i]);
}

void StepMonitor::judge(const Gap& step) {
    if (step.length <= kGapFactor * usual_) {
        usual_ += (step.length - usual_) / 256.0;
        return;
    }
    ++gaps_;
    if (step.length > longest_.length) longest_ = step;
}

}  // namespace Kavelin::RecordingIO
