#include "io/FilterResampler.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

using At = SampleTrack::At;

std::map<std::string, double> shiftsIn(const std::string& text) {
    std::map<std::string, double> shifts;
    for (const std::string& entry : namesIn(text)) {
        const std::size_t equals = entry.rfind('=');
        const auto name = namesIn(entry.substr(0, equals));
        const auto number = namesIn(equals == std::string::npos ? "" : entry.substr(equals + 1));
        double shift = 0.0;
        const char* const end = number.empty() ? nullptr : number[0].data() + number[0].size();
        const auto read = number.empty() ? std::from_chars_result{nullptr, std::errc::invalid_argument}
                                         : std::from_chars(number[0].data(), end, shift);
        if (name.empty() || read.ec != std::errc() || read.ptr != end || !std::isfinite(shift)) {
            throw Poco::DataFormatException("'" + entry +
                                            "': a shift is written PIN=SECONDS, as in 3m=-0.02");
        }
        shifts[name[0]] = shift;
    }
    return shifts;
}

}  // namespace

FilterResampler::FilterResampler(const std::string& name) : Filter(name, true) {}

Core::AbstractInputPin* FilterResampler::demandInputPin(const std::string& pinName) {
    if (pinName.empty()) throw Poco::InvalidArgumentException("A pin needs a name");
    stale_ = true;
    return &lanes_.emplace_back(std::make_unique<Lane>(pinName, this))->in;
}

void FilterResampler::onShift(const std::string& text) {
    shifts_ = shiftsIn(text);
    stale_ = true;
}

void FilterResampler::checkRun() {
    settle();
    std::vector<std::string> names = namesIn(newest_.get());
    for (const std::string& name : namesIn(optional_.get())) names.push_back(name);
    for (const auto& [name, shift] : shifts_) names.push_back(name);
    if (!clockName_.get().empty()) names.push_back(clockName_.get());
    for (const std::string& name : names) {
        if (laneCalled(name) != nullptr) continue;
        throw Poco::InvalidArgumentException("no connection leads to the pin '" + name +
                                             "' that Clock, Newest, Optional or Shift names");
    }
    if (clock_ == nullptr && rate_.get() <= 0.0)
        throw Poco::InvalidArgumentException(
            "Clock names the pin whose time stamps count, or Rate is above 0");
    const bool hasGuide = std::any_of(lanes_.begin(), lanes_.end(),
                                      [](const auto& lane) { return !lane->isOptional && !lane->isNewest; });
    if (clock_ == nullptr && !hasGuide)
        throw Poco::InvalidArgumentException("Rate needs a pin that is neither in Newest nor in Optional");
}

FilterResampler::Lane* FilterResampler::laneCalled(const std::string& name) const {
    const auto found = std::find_if(lanes_.begin(), lanes_.end(),
                                    [&](const auto& lane) { return lane->in.getName() == name; });
    return found == lanes_.end() ? nullptr : found->get();
}

/// Sets the lanes as the properties say.
void FilterResampler::settle() {
    stale_ = false;
    const auto names = [](const std::vector<std::string>& list, const Lane& lane) {
        return std::find(list.begin(), list.end(), lane.in.getName()) != list.end();
    };
    const std::vector<std::string> newest = namesIn(newest_.get());
    const std::vector<std::string> optional = namesIn(optional_.get());
    for (const auto& lane : lanes_) {
        lane->isNewest = names(newest, *lane);
        lane->isOptional = names(optional, *lane);
        const auto shift = shifts_.find(lane->in.getName());
        lane->shift = shift == shifts_.end() ? 0.0 : shift->second;
    }
    clock_ = laneCalled(clockName_.get());
}

void FilterResampler::process() {
    if (stale_) settle();
    while (takeInstant()) {
        bool waits = false;
        for (const auto& lane : lanes_) {
            look(*lane);
            waits |= lane->state == At::kLater;
        }
        if (waits && mayWait()) return;
        sendInstant();
    }
}

/// Whether there is an instant to decide on; a waiting one stays.
bool FilterResampler::takeInstant() {
    if (hasInstant_) return true;
    return clock_ != nullptr ? takeClockSample() : rate_.get() > 0.0 && takeTick();
}

bool FilterResampler::takeClockSample() {
    while (clock_->in.readNext()) {
        const double t = clock_->in.lastTimeStamp() + clock_->shift;
        if (clock_->track.add(t, clock_->in.value())) {
            instant_ = t;
            return hasInstant_ = true;
        }
        ++clock_->outOfOrder;
    }
    return false;
}

/// With a rate, the first instant is the first at which all required pins have begun.
bool FilterResampler::takeTick() {
    if (!hasTick_) {
        double begin = -std::numeric_limits<double>::infinity();
        for (const auto& lane : lanes_) {
            if (lane->track.isEmpty() && lane->in.readNext())
                lane->track.add(lane->in.lastTimeStamp() + lane->shift, lane->in.value());
            if (lane->track.isEmpty() && !lane->isOptional) return false;
            if (!lane->isOptional) begin = std::max(begin, lane->track.lastTime());
        }
        if (!std::isfinite(begin)) return false;
        tick_ = std::ceil(begin * rate_.get());
        hasTick_ = true;
    }
    instant_ = tick_ / rate_.get();
    const auto hasCome = [this](const auto& lane) {
        return !lane->in.isEmpty() || (!lane->track.isEmpty() && lane->track.lastTime() >= instant_);
    };
    if (!std::any_of(lanes_.begin(), lanes_.end(), hasCome)) return false;
    tick_ += 1.0;
    return hasInstant_ = true;
}

void FilterResampler::look(Lane& lane) {
    const auto needsMore = [&] {
        if (lane.track.isEmpty()) return true;
        return lane.isNewest ? lane.track.lastTime() <= instant_ : lane.track.lastTime() < instant_;
    };
    while (&lane != clock_ && needsMore() && lane.in.readNext()) {
        if (!lane.track.add(lane.in.lastTimeStamp() + lane.shift, lane.in.value())) ++lane.outOfOrder;
    }
    const double gap = greatestGap_.get();
    lane.state = lane.isNewest ? lane.track.newest(instant_, gap, lane.out.value())
                               : lane.track.between(instant_, gap, lane.out.value());
}

bool FilterResampler::mayWait() const {
    return !isEnding_ && std::none_of(lanes_.begin(), lanes_.end(), [](const auto& lane) {
        return lane->in.getCounts().buffered >= lane->in.getBufferSize();
    });
}

void FilterResampler::sendInstant() {
    hasInstant_ = false;
    const auto isWanting = [](const auto& lane) { return lane->state != At::kValue && !lane->isOptional; };
    const auto wanting = std::find_if(lanes_.begin(), lanes_.end(), isWanting);
    if (wanting != lanes_.end() && isAfterTheEnd()) return;
    if (wanting != lanes_.end()) {
        const std::uint64_t instants = 1 + skipTicksUntil((*wanting)->track.lastTime());
        leftOut_ += instants;
        (*wanting)->missing += instants;
        return;
    }
    ++sent_;
    for (const auto& lane : lanes_) {
        if (lane->state == At::kValue) lane->out.send(instant_);
    }
}

/// With a rate, whether no sample of any pin is as late as the instant, and none will come.
bool FilterResampler::isAfterTheEnd() const {
    return isEnding_ && clock_ == nullptr &&
           std::none_of(lanes_.begin(), lanes_.end(), [this](const auto& lane) {
               return !lane->track.isEmpty() && lane->track.lastTime() >= instant_;
           });
}

/// Skips the instants of a rate up to `t`, at which a required pin has no value: after a jump of the clock
/// there may be billions. @return how many.
std::uint64_t FilterResampler::skipTicksUntil(double t) {
    const double next = std::ceil(t * rate_.get());
    if (clock_ != nullptr || !(next > tick_)) return 0;
    const double skipped = next - tick_;
    tick_ = next;
    return static_cast<std::uint64_t>(std::min(skipped, 1e18));
}

void FilterResampler::finishStream() {
    isEnding_ = true;
    process();
    isEnding_ = false;
}

void FilterResampler::completeRun() {
    if (leftOut_ <= sent_) return;
    throw Poco::DataFormatException(
        (sent_ == 0 ? "no instant of " : "only " + counted(sent_, "instant") + " of ") +
        std::to_string(sent_ + leftOut_) + (sent_ <= 1 ? " has" : " have") +
        " a value of every pin: do the time stamps of the pins agree, and is "
        "Greatest gap longer than their steps?");
}

std::vector<std::string> FilterResampler::runNotes() const {
    std::vector<std::string> notes;
    for (const auto& lane : lanes_) {
        if (lane->missing > 0)
            notes.push_back(fmt::format("{} of {} left out: {} has no value there",
                                        counted(lane->missing, "instant"), sent_ + leftOut_,
                                        lane->in.getName()));
        if (lane->outOfOrder > 0)
            notes.push_back(fmt::format("{} of {} left out: not later than the one before",
                                        counted(lane->outOfOrder, "sample"), lane->in.getName()));
    }
    return notes;
}

}  // namespace Kavelin::RecordingIO
