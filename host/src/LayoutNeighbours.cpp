#include "LayoutNeighbours.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/Filter.h>

#include <algorithm>

#include "Layout.h"
#include "Topology.h"

namespace Kavelin::Core {

namespace {

using Feeder = LayoutNeighbours::Feeder;

void addFeeder(std::vector<Feeder>& feeders, const Feeder& added) {
    const bool known = std::any_of(feeders.begin(), feeders.end(),
                                   [&](const Feeder& feeder) { return feeder.ended == added.ended; });
    if (!known) feeders.push_back(added);
}

Feeder feederOf(const Layout& layout) { return {&layout, layout.state.getEndFlag()}; }

}  // namespace

void LayoutNeighbours::rebuild(const Layout& own, const TopologyLock& lock) {
    feeds_.clear();
    feeders_.clear();
    fedFromOutside_ = false;
    for (const Feeder& feeder : connected_) addFeeder(formerFeeders_, feeder);
    connected_.clear();
    for (const RoundPlan::Entry& entry : own.plan.entries()) lookUpFeeders(own, *entry.filter);
    for (Filter* filter : own.filters) lookUpFeeds(own, *filter, lock);
}

void LayoutNeighbours::noteConnection(const Layout& from, const TopologyLock&) {
    addFeeder(connected_, feederOf(from));
}

void LayoutNeighbours::lookUpFeeders(const Layout& own, const Filter& filter) {
    for (const AbstractInputPin* pin : filter.getInputPins()) {
        const AbstractOutputPin* output = pin->getConnectedOutput();
        if (output == nullptr) continue;
        const Layout* const from = layoutOf(*output);
        if (from == &own) continue;
        if (from == nullptr) {
            fedFromOutside_ = true;
        } else {
            addFeeder(feeders_, feederOf(*from));
            addFeeder(formerFeeders_, feederOf(*from));
        }
    }
}

void LayoutNeighbours::lookUpFeeds(const Layout& own, Filter& filter, const TopologyLock& lock) {
    for (const AbstractOutputPin* output : filter.getOutputPins()) {
        for (AbstractInputPin* input : output->getConnectedInputs(lock)) {
            Layout* const to = layoutOf(*input);
            if (to != nullptr && to != &own) feeds_.push_back({filter.getSynchronizer(), input, to});
        }
    }
}

const Layout* LayoutNeighbours::overfedReader(const Layout& own) const {
    for (const Feed& feed : feeds_) {
        // Inside the writing filter's scope its connections cannot change.
        const Synchronizer::ProcessScope scope(*feed.writer);
        if (own.inbox.hasChanged()) return nullptr;
        if (!feed.input->isOverHalfFull()) continue;
        // A reader that sleeps although it has seen everything does not read this pin. One that waits for
        // data on another pin may get it only from this layout. Waiting for either could last for ever.
        const Layout& reader = *feed.reader;
        const bool reads = reader.state.isRunning() && !reader.inbox.isIdle();
        if (reads && !reader.state.isReaderWaiting()) return &reader;
    }
    return nullptr;
}

}  // namespace Kavelin::Core
