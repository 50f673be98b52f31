#include "cli/fleet/Part.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/fleet/ServerStore.h"

namespace Kavelin::Cli {

namespace {

constexpr std::chrono::milliseconds kFirstPause{100};
constexpr std::chrono::seconds kLongestPause{10};
/// A message that is not acknowledged within so many times the time between snapshots comes again.
constexpr int kSnapshotsInWait = 12;
constexpr std::chrono::seconds kShortestWait{30};

}  // namespace

Part::Part(WorkTools tools, unsigned index)
    : tools_(tools),
      index_(index),
      lease_(tools.link, tools.fleet.names.leases(), FleetNames::leaseKey(index), tools.settings.worker,
             tools.settings.lease),
      stream_(tools.link, tools.fleet.names, index),
      limit_(tools.settings.units) {}

template <class Action>
void Part::guarded(Action action) {
    try {
        action();
    } catch (const ServerError& error) {
        fail(error.code == JSStreamWrongLastSequenceErr
                 ? "another worker has written what only the holder of the part writes"
                 : error.what());
    }
}

void Part::forget() {
    isUnstored_ = isUnstored_ || (table_ && !table_->isSettled());
    table_.reset();
    waiting_.clear();
}

void Part::fail(const std::string& why) {
    forget();
    trouble_.pause = std::clamp<Clock::duration>(2 * trouble_.pause, kFirstPause, kLongestPause);
    trouble_.since = Clock::now();
    trouble_.retryAt = trouble_.since + trouble_.pause;
    if (std::exchange(trouble_.told, why) != why)
        tools_.settings.tell(title() + ": " + why + "; trying again");
}

/// What fails again and again works for a moment in between.
void Part::noteSuccess() {
    if (trouble_.pause == Clock::duration{} || Clock::now() - trouble_.since < kLongestPause) return;
    if (!trouble_.told.empty()) tools_.settings.tell(title() + ": works again");
    trouble_ = {};
}

void Part::interrupt(const std::string& why) {
    if (!lease_.isHeld()) return;
    forget();
    trouble_.retryAt = {};
    trouble_.told = why;
}

void Part::loseLease(const std::string& why) {
    forget();
    lease_.drop();
    isReleasing_ = isToldOf_ = false;
    tools_.settings.tell(title() + ": " + why);
}

std::string Part::leaseValue() const {
    return leaseText(lease_.worker(), lease_.length(), stream_.consumer(), toJson(status()).dump());
}

PartStatus Part::status() const {
    PartStatus status = status_;
    if (table_) table_->describe(status);
    if (!waiting_.empty()) status.lag += waiting_.size();
    return status;
}

void Part::setLimit(std::size_t units) {
    limit_ = units;
    if (table_) table_->setLimit(units);
}

void Part::countRows(Clock::time_point now) {
    const std::chrono::duration<double> since = now - counted_.at;
    if (counted_.at != Clock::time_point{})
        status_.rowsPerSecond = static_cast<double>(status_.rows - counted_.rows) / since.count();
    counted_ = {status_.rows, now};
}

void Part::start(Clock::time_point now) {
    const std::string consumer =
        FleetNames::leaseKey(index_) + "-" + lease_.worker() + "-" + std::to_string(++starts_);
    try {
        lease_.write(leaseText(lease_.worker(), lease_.length(), consumer, ""), now);
    } catch (const ServerError& error) {
        if (error.code == JSStreamWrongLastSequenceErr) {
            loseLease("another worker has it");
            return;
        }
        throw;
    }
    const Clock::duration wait =
        std::max<Clock::duration>(kShortestWait, kSnapshotsInWait * tools_.settings.snapshotEvery);
    stream_.open(consumer, wait, tools_.settings.mostUnacknowledged);
    table_ = std::make_unique<UnitTable>(tools_, status_, stream_);
    table_->setLimit(limit_);
    isUnstored_ = false;
    if (!std::exchange(isToldOf_, true)) tools_.settings.tell(title() + ": at work");
}

void Part::renew(Clock::time_point now) {
    countRows(now);
    renewal_ = tools_.newReplyNumber();
    lease_.renew(tools_.link, leaseValue(), tools_.link.replySubject(renewal_), now);
}

void Part::tellUnstored() const {
    tools_.settings.tell(title() + ": stopped before all was stored, which is computed again" +
                         (trouble_.told.empty() ? "" : ": " + trouble_.told));
}

void Part::release(Clock::time_point now) {
    if (table_) {
        table_->storeAll();
        if (!table_->isSettled()) return;
        requireOk(natsConnection_FlushTimeout(tools_.link.connection(), 5000), "the last acknowledgements");
        stream_.close();
    }
    // A renewal on its way would look like another worker's.
    if (lease_.isAsking(now)) return;
    forget();
    lease_.release(now);
    isReleasing_ = isToldOf_ = false;
}

void Part::tick(Clock::time_point now, bool mayTake) {
    if (lease_.isOver(now)) loseLease("its lease could not be renewed in time");
    if (!tools_.link.isConnected()) return;
    guarded([&] {
        if (!lease_.isHeld() && (now < trouble_.retryAt || !lease_.watch(now, mayTake))) return;
        if (isReleasing_) waiting_.clear();
        if (!table_ && !isReleasing_ && now >= trouble_.retryAt && !lease_.isAsking(now)) start(now);
        if (lease_.isHeld() && lease_.wantsRenewal(now)) renew(now);
        if (table_) {
            if (!isReleasing_ && !table_->isFull() && stream_.wantsToAsk(now))
                stream_.ask(tools_.newReplyNumber(), now);
            table_->tick(now);
        }
        if (isReleasing_) release(now);
    });
}

Clock::time_point Part::nextTick(Clock::time_point now) const {
    Clock::time_point next = now + lease_.length() / 10;
    if (table_) next = std::min(next, table_->nextTick());
    if (!table_ && lease_.isHeld()) next = std::min(next, std::max(now, trouble_.retryAt));
    return next;
}

void Part::onRows(Message message) {
    if (!table_ || isReleasing_) return;
    guarded([&] {
        if (auto row = stream_.read(std::move(message))) {
            status_.lag = row->waiting;
            waiting_.push_back(std::move(*row));
        }
    });
}

void Part::onRenewed(const Message& answer) {
    try {
        lease_.onRenewed(storedAs(answer, "the lease").sequence);
    } catch (const ServerError& error) {
        if (error.code == JSStreamWrongLastSequenceErr) loseLease("another worker has it");
        // Else the next renewal may be taken; if none is, the lease is over.
    }
}

void Part::onAnswer(std::uint64_t replyNumber, const Message& answer) {
    if (!lease_.isHeld()) return;
    if (replyNumber == renewal_) {
        onRenewed(answer);
        return;
    }
    if (!table_) return;
    guarded([&] {
        if (table_->onAnswer(replyNumber, answer)) {
            noteSuccess();
        } else if (!stream_.onRequestOver(replyNumber, answer)) {
            throw ServerError("its consumer was deleted", NATS_NOT_FOUND, jsErrCode(0));
        }
    });
}

bool Part::work() {
    if (!table_ || waiting_.empty() || table_->isFull() || lease_.isOver(Clock::now())) return false;
    RowMessage row = std::move(waiting_.front());
    waiting_.pop_front();
    guarded([&] { table_->take(std::move(row)); });
    return true;
}

}  // namespace Kavelin::Cli
