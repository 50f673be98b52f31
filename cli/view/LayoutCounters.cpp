#include "cli/view/LayoutCounters.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>

#include <nlohmann/json.hpp>
#include <set>

namespace Kavelin::Cli {

using nlohmann::ordered_json;

namespace {

constexpr std::chrono::seconds kRateSpan{2};

}  // namespace

LayoutCounters::LayoutCounters(std::vector<Core::Filter*> filters, const TapBoard& taps)
    : filters_(std::move(filters)), taps_(taps) {}

void LayoutCounters::describe(ordered_json& status, Clock::time_point now) {
    status["outputs"] = outputs(now);
    status["inputs"] = inputs();
    status["filters"] = errors();
}

/// Rates are those of the last two seconds.
ordered_json LayoutCounters::outputs(Clock::time_point now) {
    Counts counts{now, {}};
    for (std::size_t i = 0; i < taps_.names().size(); ++i) counts.ofOutputs.push_back(taps_.count(i));
    while (history_.size() > 1 && now - history_[1].at >= kRateSpan) history_.pop_front();
    const Counts& before = history_.empty() ? counts : history_.front();
    const double seconds = std::chrono::duration<double>(now - before.at).count();
    ordered_json json = ordered_json::object();
    for (std::size_t i = 0; i < counts.ofOutputs.size(); ++i) {
        const auto sent = static_cast<double>(counts.ofOutputs[i] - before.ofOutputs[i]);
        json[taps_.names()[i]] = {{"count", counts.ofOutputs[i]},
                                  {"rate", seconds > 0.0 ? sent / seconds : 0.0}};
    }
    history_.push_back(std::move(counts));
    return json;
}

ordered_json LayoutCounters::inputs() const {
    ordered_json json = ordered_json::object();
    for (const Core::Filter* filter : filters_) {
        for (const Core::AbstractInputPin* pin : filter->getInputPins()) {
            const Core::AbstractOutputPin* output = pin->getConnectedOutput();
            if (output == nullptr) continue;
            const Core::Synchronizer::DisablerLocker locker(pin->getSynchronizer(),
                                                            output->getSynchronizer());
            const Core::PinCounts counts = pin->getCounts();
            json[pin->fullName()] = {{"count", counts.put},
                                     {"buffered", counts.buffered},
                                     {"size", pin->getBufferSize()},
                                     {"dropped", counts.dropped},
                                     {"misfits", pin->getMisfits()}};
        }
    }
    return json;
}

ordered_json LayoutCounters::errors() const {
    ordered_json json = ordered_json::object();
    std::set<Core::LayoutManager*> layouts;
    for (const Core::Filter* filter : filters_) layouts.insert(filter->getManager());
    for (Core::LayoutManager* layout : layouts) {
        for (const Core::ProcessError& error : layout->getErrors().getErrors()) {
            ordered_json& own = json[error.filter];
            const std::uint64_t before = own.is_null() ? 0 : own["errors"].get<std::uint64_t>();
            own["errors"] = before + error.count;
            own["last"] = error.message.empty() ? error.type : error.message;
            own["at"] = error.timeStamp;
        }
    }
    return json;
}

}  // namespace Kavelin::Cli
