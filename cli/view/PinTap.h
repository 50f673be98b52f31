#pragma once

#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace Kavelin::Cli {

/// The newest sample of an output pin, and what happened since the one before was taken.
struct NewestSample {
    Core::TimeStampedData<Core::Matrix> sample;
    std::uint64_t count = 0;       ///< samples sent up to this one
    double low = 0.0, high = 0.0;  ///< of a 1x1 pin, over all samples since; a NaN counts only if all are
};

/// Hears what an output pin sends, in the moment of sending and in the writer's thread. It counts; while it is watched it also
/// keeps the newest sample for one reader in another thread. Neither waits for the other.
///
/// It has no filter and no buffer, so the connections between filters, their buffers and the order of calls stay as they are.
class PinTap final : public Core::InputPin<Core::Matrix> {
public:
    /// @param output borrowed; carries matrices. The layout does not run.
    explicit PinTap(Core::AbstractOutputPin& output);
    ~PinTap() override;

    void receive(const Sample& sample) override {
        const std::uint64_t count = count_.load(std::memory_order_relaxed) + 1;
        count_.store(count, std::memory_order_relaxed);
        if (isWatched_.load(std::memory_order_relaxed)) [[unlikely]]
            publish(sample, count);
    }

    /// Samples sent since the tap was made.  [any thread]
    std::uint64_t count() const { return count_.load(std::memory_order_relaxed); }

    // For the reader
    void setIsWatched(bool watched);
    /// What was published last; null where nothing was since the last call. Valid until the next call.
    const NewestSample* take();
    /// What the pin holds now, watched or not; empty before the first sample. Waits for the filter's `process` to return.
    /// [not in a `process`]
    std::optional<NewestSample> present() const;

private:
    static constexpr unsigned kFresh = 4;  // beside a slot's number: not taken yet

    void publish(const Sample& sample, std::uint64_t count);

    Core::OutputPinBase<Core::Matrix>& output_;
    std::atomic<std::uint64_t> count_{0};
    std::atomic<bool> isWatched_{false};
    // One slot is written, one is read, the third lies between.
    std::array<NewestSample, 3> slots_;
    unsigned writing_ = 0, reading_ = 2;
    std::atomic<unsigned> between_{1};
    double low_ = 0.0, high_ = 0.0;  // the writer's
};

}  // namespace Kavelin::Cli
