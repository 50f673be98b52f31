#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace Kavelin::Core {

/// The usual step between the time stamps of a stream: the median of its last 16 steps forward, so that lost
/// samples and gaps do not count. Constant memory.
class SampleInterval {
public:
    /// Takes the next time stamp. One that is not later than the previous one does not count as a step.
    void add(double timeStamp) {
        const double step = timeStamp - last_;
        if (hasLast_ && step > 0.0 && std::isfinite(step)) steps_[count_++ % kSteps] = step;
        last_ = timeStamp;
        hasLast_ = true;
    }

    /// How many steps there were.
    std::size_t steps() const { return count_; }
    /// The usual step; 0.0 before the first.
    double usual() const {
        const std::size_t known = std::min(count_, kSteps);
        if (known == 0) return 0.0;
        std::array<double, kSteps> sorted = steps_;
        const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>((known - 1) / 2);
        std::nth_element(sorted.begin(), middle, sorted.begin() + static_cast<std::ptrdiff_t>(known));
        return *middle;
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        for (double& step : steps_) archive(step);
        archive(count_, last_, hasLast_);
    }

private:
    static constexpr std::size_t kSteps = 16;

    std::array<double, kSteps> steps_{};
    std::size_t count_ = 0;
    double last_ = 0.0;
    bool hasLast_ = false;
};

}  // namespace Kavelin::Core
