#include "Lane.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "Layout.h"
#include "Topology.h"

namespace Kavelin::Core {

Lane::Lane(LayoutGroup layouts, std::vector<std::size_t> positions, bool staysOpen)
    : layouts_(std::move(layouts)),
      positions_(std::move(positions)),
      staysOpen_(staysOpen),
      begun_(layouts_.size(), 0) {}

RoundLink& Lane::link(Lane& from, Lane& to) {
    const auto known = std::find_if(to.feeders_.begin(), to.feeders_.end(),
                                    [&](const Neighbour& feeder) { return feeder.lane == &from; });
    if (known != to.feeders_.end()) return *known->link;
    const auto link = std::make_shared<RoundLink>();
    to.feeders_.push_back({link, &from});
    from.readers_.push_back({link, &to});
    return *link;
}

void Lane::run() {
    // Every lane begins with a round for what is already in its buffers.
    std::optional<Round> next = Round{-std::numeric_limits<double>::infinity(), Round::kBeforeAll, 0};
    while (next && awaitHeads() && awaitRoom() && perform(*next)) {
        publish(*next);
        next = awaitNextRound();
    }
    end();
}

std::optional<Round> Lane::awaitNextRound() {
    while (awaitHeads()) {
        const std::uint32_t seen = bell_->rings();
        if (std::optional<Round> next = nextRound()) return next;
        if (!std::exchange(hasEndedWriting_, true)) endWriting();
        if (nothingCanCome(layouts_, staysOpen_) || isInCircle()) break;
        sleep(seen);
        if (wasFed()) settle(layouts_);
    }
    return {};
}

/// The earliest of the rounds that the lane's own sources can begin and those that its feeders have
/// completed. It is certain to be next once every feeder has completed one or is at its end.
std::optional<Round> Lane::nextRound() {
    std::optional<Round> next;
    const auto consider = [&next](const Round& round) {
        if (!next || round.precedes(*next)) next = round;
    };
    for (std::size_t i = 0; i < layouts_.size(); ++i) {
        if (const auto time = layouts_[i]->rounds.nextTimeStamp())
            consider({*time, positions_[i], begun_[i]});
    }
    for (const Neighbour& feeder : feeders_) {
        if (const Round* head = feeder.link->head()) consider(*head);
    }
    return next;
}

/// @return false when a stop came before the sources were called: the round did not happen then.
bool Lane::perform(const Round& round) {
    Layout* beginner = nullptr;
    for (std::size_t i = 0; i < layouts_.size(); ++i) {
        if (positions_[i] == round.source) {
            beginner = layouts_[i];
            ++begun_[i];
        } else if (round.source != Round::kBeforeAll) {
            layouts_[i]->rounds.beforeFedRound(round.time);
        }
    }
    for (const Neighbour& feeder : feeders_) {
        const Round* head = feeder.link->head();
        if (head == nullptr || *head != round) continue;
        feeder.link->take();
        if (feeder.lane->wantsRoom_.load() && !feeder.link->isHalfFull()) feeder.lane->bell_->ring();
    }
    const bool happened =
        beginner == nullptr || beginner->rounds.runRound() || !beginner->inbox.isStopRequested();
    settle(layouts_);
    return happened;
}

void Lane::publish(const Round& round) {
    for (const Neighbour& reader : readers_) {
        reader.link->publish(round);
        reader.lane->bell_->ring();
    }
    counter_->fetch_add(1, std::memory_order_relaxed);
}

/// No round comes from here any more.
void Lane::endWriting() {
    for (const Neighbour& reader : readers_) {
        reader.link->endWriting();
        reader.lane->bell_->ring();
    }
}

void Lane::end() {
    endWriting();
    for (const Neighbour& feeder : feeders_) {
        feeder.link->endReading();
        feeder.lane->bell_->ring();
    }
    for (Layout* layout : layouts_) layout->endRun();
}

// Waiting

/// Whether connections that were made since the start let lanes wait for each other's end. One whose own sources are at their
/// end does not wait any longer; one that can only be fed does, as long as there are sources.
bool Lane::isInCircle() const {
    if (!feedsItself(layouts_)) return false;
    const bool hasSources = std::any_of(layouts_.begin(), layouts_.end(),
                                        [](const Layout* layout) { return layout->hasSources(); });
    return hasSources || ((!staysOpen_ || !feeders_.empty()) && !areFedBySources(layouts_));
}

bool Lane::isStopped() const {
    return std::any_of(layouts_.begin(), layouts_.end(),
                       [](const Layout* layout) { return layout->inbox.isStopRequested(); });
}

bool Lane::wasFed() const {
    return std::any_of(layouts_.begin(), layouts_.end(),
                       [](const Layout* layout) { return layout->inbox.hasNews(); });
}

/// @return false when a layout was stopped.
template <class Ready>
bool Lane::await(const Ready& isReady) {
    while (!isStopped()) {
        const std::uint32_t seen = bell_->rings();
        if (isReady()) return true;
        if (wasFed()) {
            settle(layouts_);  // from outside the run, or over a new connection
        } else {
            sleep(seen);
        }
    }
    return false;
}

bool Lane::awaitHeads() {
    return await([this] {
        return std::all_of(feeders_.begin(), feeders_.end(), [](const Neighbour& feeder) {
            if (feeder.link->head() != nullptr) return true;
            if (!feeder.link->isOver()) return false;
            feeder.link->endReading();  // what is still sent belongs to no round
            return true;
        });
    });
}

bool Lane::awaitRoom() {
    const auto any = [this](auto isFull) {
        return std::any_of(readers_.begin(), readers_.end(),
                           [&](const Neighbour& reader) { return isFull(*reader.link); });
    };
    if (!any([](const RoundLink& link) { return link.isFull(); })) return true;
    wantsRoom_.store(true);
    const bool done = await([&] { return !any([](const RoundLink& link) { return link.isHalfFull(); }); });
    wantsRoom_.store(false);
    return done;
}

void Lane::sleep(std::uint32_t seen) {
    for (Layout* layout : layouts_) layout->inbox.setIsSleeping(true);
    const bool looksAgain = std::any_of(layouts_.begin(), layouts_.end(), [](const Layout* layout) {
        return layout->inbox.hasChangedElsewhere();
    });
    if (!wasFed() && !looksAgain && !isStopped()) bell_->await(seen);
    for (Layout* layout : layouts_) layout->inbox.setIsSleeping(false);
}

// The plan

Lanes planLanes(const std::vector<Layout*>& layouts, bool staysOpen) {
    const std::vector<LayoutConnection> connections = connectionsBetween(layouts);
    const std::vector<bool> isReached = reachedBySources(layouts, connections);
    Lanes lanes;
    std::vector<Lane*> laneOf(layouts.size());
    for (const LayoutGroup& group : groupLayouts(layouts, connections)) {
        std::vector<std::size_t> positions;
        for (const Layout* layout : group) {
            const auto place = std::find(layouts.begin(), layouts.end(), layout);
            positions.push_back(static_cast<std::size_t>(place - layouts.begin()));
        }
        lanes.push_back(std::make_unique<Lane>(group, positions, staysOpen));
        for (const std::size_t position : positions) laneOf[position] = lanes.back().get();
    }
    for (const LayoutConnection& connection : connections) {
        Lane& from = *laneOf[connection.from];
        Lane& to = *laneOf[connection.to];
        if (&from == &to || (staysOpen && !isReached[connection.from])) continue;
        const Synchronizer::DisablerLocker locker(connection.output->getSynchronizer(),
                                                  connection.input->getSynchronizer());
        RoundLink& link = Lane::link(from, to);
        if (auto stage = connection.input->beginStaging(from.counter()))
            link.stages.push_back(std::move(stage));
    }
    return lanes;
}

}  // namespace Kavelin::Core
