#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Watches the steps between time stamps: the usual step, and gaps, which are steps more than five times as
/// long. The usual step is the median of the first 64 and then follows slowly; constant memory.
class StepMonitor {
public:
    struct Gap {
        double after = 0.0;   ///< s, time stamp before the gap
        double length = 0.0;  ///< s
    };

    void add(double time);

    /// Decides on the first steps of a recording too short for a median so far; call it once, at the end.
    void finish();

    std::uint64_t gaps() const { return gaps_; }
    /// The longest of them; meaningless where there is none.
    const Gap& longest() const { return longest_; }
    /// Time stamps that equal the one before.
    std::uint64_t repeats() const { return repeats_; }
    /// s; 0 before there were two different time stamps.
    double usualStep() const { return usual_; }

private:
    static constexpr std::size_t kFirstSteps = 64;
    static constexpr double kGapFactor = 5.0;

    void judge(const Gap& step);
    void learn();

    bool hasTime_ = false;
    double last_ = 0.0;
    std::array<Gap, kFirstSteps> first_{};
    std::size_t firstCount_ = 0;
    bool hasLearnt_ = false;
    double usual_ = 0.0;
    std::uint64_t gaps_ = 0;
    std::uint64_t repeats_ = 0;
    Gap longest_;
};

}  // namespace Kavelin::RecordingIO
