#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "Bell.h"
#include "LayoutGroups.h"
#include "RoundLink.h"

namespace Kavelin::Core {

/// One thread of a run with threads: a group of layouts, the rounds that reach it from other lanes, and the
/// lanes that it feeds in turn.
///
/// Every lane goes through the rounds in the order of a run in one thread, leaves out those that do not reach
/// it, and sees either all that a round sent or nothing of it. So its layouts compute the same bits as in one
/// thread; lanes differ only in their progress. Two lanes never wait for each other, as each waits only for a
/// lane at an earlier round.
class Lane {
public:
    /// @param positions of the layouts in the list of all.  @param staysOpen whether it is to wait for
    /// connections and samples from outside the layouts, as far as nothing else feeds it.
    Lane(LayoutGroup layouts, std::vector<std::size_t> positions, bool staysOpen);

    const LayoutGroup& layouts() const { return layouts_; }
    /// Counts the rounds; samples are staged with it.
    RoundCounter counter() const { return counter_; }
    /// Makes the thread look again for something to do.
    const std::shared_ptr<Bell>& bell() const { return bell_; }

    /// The link between two lanes, made at the first call.  [before their threads run]
    static RoundLink& link(Lane& from, Lane& to);

    /// Runs all rounds, until no more can come or one of the layouts is stopped.  [lane's thread]
    void run();

private:
    struct Neighbour {
        std::shared_ptr<RoundLink> link;
        Lane* lane;
    };

    bool isInCircle() const;
    bool isStopped() const;
    bool wasFed() const;
    template <class Ready>
    bool await(const Ready& isReady);
    bool awaitHeads();
    bool awaitRoom();
    void sleep(std::uint32_t seen);
    std::optional<Round> awaitNextRound();
    std::optional<Round> nextRound();
    bool perform(const Round& round);
    void publish(const Round& round);
    void endWriting();
    void end();

    const LayoutGroup layouts_;
    const std::vector<std::size_t> positions_;
    const bool staysOpen_;
    std::vector<std::uint64_t> begun_;  // rounds that each layout's own sources began
    std::vector<Neighbour> feeders_;
    std::vector<Neighbour> readers_;
    const std::shared_ptr<std::atomic<std::uint64_t>> counter_ =
        std::make_shared<std::atomic<std::uint64_t>>(0);
    const std::shared_ptr<Bell> bell_ = std::make_shared<Bell>();
    std::atomic<bool> wantsRoom_{false};
    bool hasEndedWriting_ = false;
};

using Lanes = std::vector<std::unique_ptr<Lane>>;

/// The lanes of all layouts, linked, and the connections between them staged. With `staysOpen`, lanes that no
/// source reaches have no rounds and no links to their readers.  @param layouts all begun, none running.
Lanes planLanes(const std::vector<Layout*>& layouts, bool staysOpen);

}  // namespace Kavelin::Core
