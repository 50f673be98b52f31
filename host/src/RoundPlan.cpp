#include "RoundPlan.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Source.h>

#include <algorithm>

#include "CallOrder.h"
#include "Topology.h"

namespace Kavelin::Core {

namespace {

std::vector<std::size_t> planCallOrder(const std::vector<Filter*>& filters) {
    Edges edges;
    for (std::size_t to = 0; to < filters.size(); ++to) {
        for (const AbstractInputPin* pin : filters[to]->getInputPins()) {
            const AbstractOutputPin* output = pin->getConnectedOutput();
            if (output == nullptr) continue;
            const auto from = std::find(filters.begin(), filters.end(), output->getManager());
            if (from != filters.end())
                edges.emplace_back(static_cast<std::size_t>(from - filters.begin()), to);
        }
    }
    return callOrder(filters.size(), edges);
}

bool isFedFromElsewhere(const Filter& filter) {
    const auto& inputs = filter.getInputPins();
    return std::any_of(inputs.begin(), inputs.end(), [&](const AbstractInputPin* pin) {
        const AbstractOutputPin* output = pin->getConnectedOutput();
        return output != nullptr && layoutOf(*output) != layoutOf(*pin);
    });
}

bool hasSynchronousPin(const Filter& filter) {
    const auto& inputs = filter.getInputPins();
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const AbstractInputPin* pin) { return pin->getIsConnectedSynchronously(); });
}

/// The filter itself with its tally; of the first input and output what each sample touches, which lies around
/// the end of the host's part.
RoundPlan::Touched touchedBy(const Filter& filter) {
    constexpr std::size_t kInput = sizeof(AbstractInputPin) - sizeof(Pin);
    constexpr std::size_t kOutput = sizeof(AbstractOutputPin) - sizeof(Pin);
    const auto address = [](const auto* part) { return reinterpret_cast<const char*>(part); };
    const char* const own = address(&filter);
    const auto& inputs = filter.getInputPins();
    const auto& outputs = filter.getOutputPins();
    const char* const input = inputs.empty() ? own : address(inputs[0]);
    return {own, input, input + kInput, outputs.empty() ? own : address(outputs[0]) + kOutput};
}

}  // namespace

void RoundPlan::rebuild(const std::vector<Filter*>& filters, const TopologyLock& lock) {
    sources_.clear();
    entries_.clear();
    for (const std::size_t position : planCallOrder(filters)) add(*filters[position], lock);
    ready_.reset(entries_.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) watch(i, lock);
}

void RoundPlan::add(Filter& filter, const TopologyLock& lock) {
    if (auto* source = dynamic_cast<Source*>(&filter)) {
        sources_.push_back({&filter, source, filter.getSynchronizer(), false, {}, 0});
    } else if (filter.isSchedulable()) {
        const bool fedFromElsewhere = isFedFromElsewhere(filter);
        entries_.push_back({&filter, filter.getSynchronizer(), &filter.getInputTally(lock),
                            filter.watchPairing(lock), fedFromElsewhere,
                            !fedFromElsewhere && !hasSynchronousPin(filter), touchedBy(filter)});
    }
}

void RoundPlan::watch(std::size_t position, const TopologyLock&) {
    entries_[position].tally->enlist(ready_.word(position), ReadyList::bit(position));
    ready_.mark(position);
}

void RoundPlan::forget(const Filter& filter) {
    std::erase_if(sources_, [&](const SourceEntry& entry) { return entry.filter == &filter; });
    std::erase_if(entries_, [&](const Entry& entry) { return entry.filter == &filter; });
}

void RoundPlan::markFedFromElsewhere() {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].fedFromElsewhere) ready_.mark(i);
    }
}

}  // namespace Kavelin::Core
