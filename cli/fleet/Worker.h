#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "cli/fleet/MetricsServer.h"
#include "cli/fleet/Part.h"
#include "cli/fleet/Roster.h"

namespace Kavelin::Cli {

/// Works on parts of a stream until it is asked to stop. One thread computes; the library's threads only bring messages.
class Worker {
public:
    /// @param metrics empty: none are served
    Worker(ServerLink& link, const Fleet& fleet, UnitEngine& engine, const WorkSettings& settings,
           const PartChoice& choice, MetricsServer* metrics);

    /// Works until a signal comes, for which an Interruption of the caller waits, then stores all and gives the parts back.
    /// @return whether all was stored.  @throws UsageError for what stands on the server and cannot be used
    bool run();

    /// What was done, of all parts.
    PartStatus total() const;

private:
    void watchConnection();
    void tick(Clock::time_point now, bool mayTake);
    std::size_t held() const;
    void keepShare(Clock::time_point now);
    void dispatch(Message message);
    void takeAll(Clock::time_point until);
    bool work();
    void showMetrics(Clock::time_point now);
    Clock::time_point nextTick(Clock::time_point now) const;
    void leaveRoster();
    bool stop();
    std::uint64_t newReplyNumber();

    ServerLink& link_;
    const WorkSettings& settings_;
    MetricsServer* const metrics_;
    std::map<unsigned, Part> parts_;
    std::optional<Roster> roster_;  ///< empty: it works on one part, whoever else there is
    std::size_t share_ = 1;
    unsigned partInTurn_ = 0;
    std::uint64_t replies_ = 0;
    unsigned reconnections_ = 0;
    bool isAway_ = false;
    std::string refusal_;  ///< of the server, as it was told last
    Clock::time_point metricsAt_{};
};

}  // namespace Kavelin::Cli
