#pragma once

#include <memory>
#include <string>

#include "cli/fleet/Lease.h"
#include "cli/fleet/PartStream.h"
#include "cli/fleet/UnitTable.h"

namespace Kavelin::Cli {

/// One part of the stream, as this worker sees it: held or not, at work or waiting until it can be. Where anything goes wrong
/// with the server, what is in memory is thrown away and the part begins again from what stands on the server, after a while
/// that grows; so there is one way into work, whatever came before.
class Part {
public:
    Part(WorkTools tools, unsigned index);

    /// Does what its time has come for.
    void tick(Clock::time_point now, bool mayTake);
    /// When `tick` has something to do next.
    Clock::time_point nextTick(Clock::time_point now) const;

    void onRows(Message message);
    void onAnswer(std::uint64_t replyNumber, const Message& answer);
    /// Computes the next message that has come.  @return whether there was one
    bool work();

    /// The connection was lost, or lost and found: nothing that was on its way counts.
    void interrupt(const std::string& why);
    /// Stores all and gives the part back, as soon as the server has all.
    void beginRelease() { isReleasing_ = true; }
    void setLimit(std::size_t units);

    bool isHeld() const { return lease_.isHeld(); }
    /// Whether what was computed last could not be stored.
    bool isUnstored() const { return isUnstored_; }
    void tellUnstored() const;
    bool isReleasing() const { return isReleasing_; }
    /// Empty: this worker, or nobody.
    const std::string& holder() const { return lease_.holder(); }
    PartStatus status() const;

private:
    /// How it goes on after something went wrong.
    struct Trouble {
        std::string told;
        Clock::duration pause{};
        Clock::time_point since{};  ///< of the latest
        Clock::time_point retryAt{};
    };

    template <class Action>
    void guarded(Action action);
    void fail(const std::string& why);
    void noteSuccess();
    void forget();
    void loseLease(const std::string& why);
    void start(Clock::time_point now);
    void renew(Clock::time_point now);
    void onRenewed(const Message& answer);
    void release(Clock::time_point now);
    void countRows(Clock::time_point now);
    std::string leaseValue() const;
    std::string title() const { return "part " + std::to_string(index_); }

    const WorkTools tools_;
    const unsigned index_;
    Lease lease_;
    PartStream stream_;
    PartStatus status_;
    std::unique_ptr<UnitTable> table_;  ///< empty: not at work
    std::deque<RowMessage> waiting_;
    Trouble trouble_;
    bool isReleasing_ = false;
    bool isUnstored_ = false;    ///< what was computed was thrown away, and not computed again
    bool isToldOf_ = false;      ///< that it is at work
    std::uint64_t renewal_ = 0;  ///< number of the answer to the last one
    unsigned starts_ = 0;
    std::size_t limit_;
    struct {
        std::uint64_t rows = 0;
        Clock::time_point at{};
    } counted_;
};

}  // namespace Kavelin::Cli
