#include "cli/view/PinTap.h"

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Typed/OutputPin.h>

#include <cmath>

namespace Kavelin::Cli {

PinTap::PinTap(Core::AbstractOutputPin& output)
    : Pin("tap of " + output.getName(), nullptr),
      Core::InputPin<Core::Matrix>("tap of " + output.getName(), nullptr),
      output_(static_cast<Core::OutputPinBase<Core::Matrix>&>(output)) {
    Core::connect(output, *this, {.bufferSize = 0});
}

PinTap::~PinTap() { Core::disconnect(*this); }

void PinTap::setIsWatched(bool watched) {
    if (watched) take();  // left from an earlier time
    isWatched_.store(watched, std::memory_order_relaxed);
}

void PinTap::publish(const Sample& sample, std::uint64_t count) {
    const bool wasTaken = (between_.load(std::memory_order_acquire) & kFresh) == 0;
    NewestSample& slot = slots_[writing_];
    Core::copySample(sample, slot.sample);
    slot.count = count;
    if (sample.value.size() == 1) {
        const double value = sample.value(0, 0);
        low_ = wasTaken ? value : std::fmin(low_, value);
        high_ = wasTaken ? value : std::fmax(high_, value);
    }
    slot.low = low_;
    slot.high = high_;
    writing_ = between_.exchange(writing_ | kFresh, std::memory_order_acq_rel) & ~kFresh;
}

const NewestSample* PinTap::take() {
    if ((between_.load(std::memory_order_acquire) & kFresh) == 0) return nullptr;
    reading_ = between_.exchange(reading_, std::memory_order_acq_rel) & ~kFresh;
    return &slots_[reading_];
}

/// Deliberate: a filter that filled its pin and did not send shows what it filled in, for want of the sample before.
std::optional<NewestSample> PinTap::present() const {
    const Core::Synchronizer::DisablerLocker locker(output_.getSynchronizer(), nullptr);
    if (count() == 0) return std::nullopt;
    NewestSample newest{output_.data(), count()};
    if (newest.sample.value.size() == 1) newest.low = newest.high = newest.sample.value(0, 0);
    return newest;
}

}  // namespace Kavelin::Cli
