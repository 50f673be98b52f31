#include "cli/fleet/Worker.h"

#include <algorithm>

#include "cli/Interruption.h"

namespace Kavelin::Cli {

namespace {

constexpr int kMessagesInTurn = 16;  // before answers are looked at again
constexpr std::chrono::seconds kStopPatience{20};
constexpr std::chrono::seconds kMetricsEvery{1};
constexpr unsigned kPartBits = 8;

unsigned partOf(std::uint64_t replyNumber) { return replyNumber & ((1u << kPartBits) - 1); }

}  // namespace

Worker::Worker(ServerLink& link, const Fleet& fleet, UnitEngine& engine, const WorkSettings& settings,
               const PartChoice& choice, MetricsServer* metrics)
    : link_(link), settings_(settings), metrics_(metrics) {
    constexpr int kRosterRenewals = 5;  // in the length of a lease
    if (choice.isAny)
        roster_.emplace(link, fleet.names.leases(), settings.worker, settings.lease / kRosterRenewals);
    for (unsigned index = 0; index < fleet.parts; ++index) {
        if (!choice.isAny && index != choice.index) continue;
        const auto newNumber = [this, index] { return (++replies_ << kPartBits) | index; };
        parts_.try_emplace(index, WorkTools{link, fleet, engine, settings, newNumber}, index);
    }
}

std::size_t Worker::held() const {
    return static_cast<std::size_t>(
        std::count_if(parts_.begin(), parts_.end(), [](const auto& part) { return part.second.isHeld(); }));
}

void Worker::keepShare(Clock::time_point now) {
    if (!roster_ || !link_.isConnected()) return;
    try {
        roster_->tick(now);
    } catch (const ServerError&) {
        return;  // parts say what is wrong with the server
    }
    share_ = roster_->share(parts_.size());
    if (held() <= share_) return;
    const auto isReleasing = [](const auto& part) { return part.second.isReleasing(); };
    if (std::any_of(parts_.begin(), parts_.end(), isReleasing)) return;
    const auto last =
        std::find_if(parts_.rbegin(), parts_.rend(), [](const auto& part) { return part.second.isHeld(); });
    last->second.beginRelease();
}

void Worker::watchConnection() {
    link_.mend();
    const bool isAway = !link_.isConnected();
    const unsigned reconnections = link_.reconnections();
    if (isAway && !isAway_) settings_.tell("the server is away; waiting for it");
    if (!isAway && isAway_) settings_.tell("the server is back");
    if (isAway || reconnections != reconnections_)
        for (auto& [index, part] : parts_) part.interrupt("");
    if (const std::string refusal = link_.refusal(); refusal != refusal_) {
        refusal_ = refusal;
        if (!refusal.empty()) settings_.tell("the server refuses: " + refusal);
    }
    isAway_ = isAway;
    reconnections_ = reconnections;
}

void Worker::tick(Clock::time_point now, bool mayTake) {
    std::size_t heldParts = held();
    for (auto& [index, part] : parts_) {
        const bool wasHeld = part.isHeld();
        part.tick(now, mayTake && heldParts < share_);
        if (part.isHeld() && !wasHeld) ++heldParts;
    }
    for (auto& [index, part] : parts_) part.setLimit(settings_.units / std::max<std::size_t>(heldParts, 1));
    showMetrics(now);
}

void Worker::showMetrics(Clock::time_point now) {
    if (!metrics_ || now < metricsAt_) return;
    metricsAt_ = now + kMetricsEvery;
    std::vector<PartStatus> statuses;
    std::vector<const PartStatus*> shown(parts_.rbegin()->first + 1, nullptr);
    statuses.reserve(parts_.size());
    for (const auto& [index, part] : parts_)
        if (part.isHeld()) shown[index] = &statuses.emplace_back(part.status());
    metrics_->set(prometheusText(shown));
}

void Worker::dispatch(Message message) {
    const std::string_view subject = natsMsg_GetSubject(message.get());
    if (const std::uint64_t number = link_.replyNumber(subject)) {
        if (const auto part = parts_.find(partOf(number)); part != parts_.end())
            part->second.onAnswer(number, message);
        return;
    }
    const std::size_t unit = subject.rfind('.');
    if (unit == std::string_view::npos) return;
    const std::size_t index = subject.rfind('.', unit - 1);
    const auto choice = parsePart(std::string(subject.substr(index + 1, unit - index - 1)) + "/256");
    if (!choice) return;
    if (const auto part = parts_.find(choice->index); part != parts_.end())
        part->second.onRows(std::move(message));
}

void Worker::takeAll(Clock::time_point until) {
    for (Message message = link_.take(until); message; message = link_.take(Clock::time_point{}))
        dispatch(std::move(message));
}

bool Worker::work() {
    bool hasWorked = false;
    auto part = parts_.upper_bound(partInTurn_);
    if (part == parts_.end()) part = parts_.begin();
    for (std::size_t i = 0; i < parts_.size() && !hasWorked; ++i) {
        for (int message = 0; message < kMessagesInTurn && part->second.work(); ++message) hasWorked = true;
        partInTurn_ = part->first;
        if (++part == parts_.end()) part = parts_.begin();
    }
    return hasWorked;
}

Clock::time_point Worker::nextTick(Clock::time_point now) const {
    Clock::time_point next = now + kMetricsEvery;
    for (const auto& [index, part] : parts_) next = std::min(next, part.nextTick(now));
    return next;
}

bool Worker::run() {
    bool hasWorked = false;
    while (!Interruption::hasCome()) {
        const Clock::time_point now = Clock::now();
        watchConnection();
        keepShare(now);
        tick(now, true);
        takeAll(hasWorked ? Clock::time_point{} : nextTick(now));
        hasWorked = work();
    }
    return stop();
}

void Worker::leaveRoster() {
    try {
        roster_->leave();
    } catch (const ServerError&) {
        // Others find out when it does not write any more.
    }
}

bool Worker::stop() {
    const Clock::time_point end = Clock::now() + kStopPatience;
    std::vector<const Part*> last;  // that it has, or had when the server went
    for (auto& [index, part] : parts_) {
        if (part.isHeld() || !link_.isConnected()) last.push_back(&part);
        if (part.isHeld()) part.beginRelease();
    }
    const auto isHeld = [](const auto& part) { return part.second.isHeld(); };
    while (std::any_of(parts_.begin(), parts_.end(), isHeld)) {
        const Clock::time_point now = Clock::now();
        if (now > end) {
            settings_.tell(
                "the last snapshots could not be stored: whoever takes over computes their rows again");
            return false;
        }
        watchConnection();
        tick(now, false);
        takeAll(now + std::chrono::milliseconds(10));
    }
    if (roster_ && link_.isConnected()) leaveRoster();
    std::erase_if(last, [](const Part* part) { return !part->isUnstored(); });
    for (const Part* part : last) part->tellUnstored();
    return last.empty();
}

PartStatus Worker::total() const {
    PartStatus total;
    for (const auto& [index, part] : parts_) {
        const PartStatus status = part.status();
        total.rows += status.rows;
        total.refusedRows += status.refusedRows;
        total.messages += status.messages;
        total.redelivered += status.redelivered;
        total.badMessages += status.badMessages;
        total.results += status.results;
        total.snapshots += status.snapshots;
    }
    return total;
}

}  // namespace Kavelin::Cli
