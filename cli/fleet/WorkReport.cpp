#include "cli/fleet/WorkReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <thread>

#include "cli/CommandContext.h"
#include "cli/fleet/Fleet.h"
#include "cli/fleet/Lease.h"
#include "cli/fleet/ServerStore.h"
#include "cli/fleet/WorkStatus.h"

namespace Kavelin::Cli {

namespace {

/// What is known of a part.
struct PartReport {
    std::uint64_t firstRevision = 0;  ///< of the lease, when it was first looked at
    std::uint64_t revision = 0;
    nlohmann::json lease = nlohmann::json::object();
    std::string state = "free";  ///< "at work", "free", "silent"
    std::uint64_t lag = 0, unacknowledged = 0;

    std::string worker() const { return lease.value("worker", ""); }
    std::chrono::duration<double> length() const {
        return std::chrono::duration<double>(lease.value("seconds", 0.0));
    }
    bool isRenewed() const { return revision != firstRevision; }
};

using Reports = std::map<unsigned, PartReport>;

void look(const ServerLink& link, const FleetNames& names, unsigned part, PartReport& report) {
    const Message entry = lastMessage(link, bucketStream(names.leases()),
                                      keySubject(names.leases(), FleetNames::leaseKey(part)));
    report.revision = entry ? natsMsg_GetSequence(entry.get()) : 0;
    if (report.firstRevision == 0) report.firstRevision = report.revision;
    if (!entry || isDeletion(entry)) return;
    report.lease = readLease(payloadOf(entry));
}

/// The part of a subject or a key behind a prefix.
void addPart(const std::string& text, const std::string& prefix, std::set<unsigned>& parts) {
    if (!text.starts_with(prefix)) return;
    const std::string number = text.substr(prefix.size(), text.find('.', prefix.size()) - prefix.size());
    if (const auto part = parsePart(number + "/256")) parts.insert(part->index);
}

/// The parts that have a worker, or should have one.
std::set<unsigned> partsOf(const ServerLink& link, const FleetNames& names) {
    try {
        std::set<unsigned> parts;
        if (!findStream(link, bucketStream(names.leases())))
            throw UsageError("no worker has worked on the stream " + names.stream + " yet");
        for (const auto& [key, messages] :
             subjectsOf(link, bucketStream(names.leases()), keySubject(names.leases(), "*")))
            addPart(key, keySubject(names.leases(), "part-"), parts);
        const StreamInfo rows = findStream(link, names.stream);
        for (int i = 0; rows && i < rows->Config->SubjectsLen; ++i)
            addPart(rows->Config->Subjects[i], names.stream + ".", parts);
        return parts;
    } catch (const ServerError&) {
        if (const std::string refusal = link.refusal(); !refusal.empty())
            throw UsageError("the server refuses: " + refusal);
        throw;
    }
}

/// The consumer of a part: that of its worker, or the one that its last worker left; empty: none.
std::string consumerOf(const ServerLink& link, const FleetNames& names, unsigned part,
                       const PartReport& report) {
    const std::string consumer = report.lease.value("consumer", "");
    if (!consumer.empty()) return consumer;
    jsConsumerNamesList* found = nullptr;
    jsErrCode code{};
    if (js_ConsumerNames(&found, link.jetStream(), names.stream.c_str(), nullptr, &code) != NATS_OK)
        return "";
    const NatsHandle<jsConsumerNamesList, jsConsumerNamesList_Destroy> list(found);
    for (int i = 0; i < list->Count; ++i) {
        const std::string name = list->List[i];
        if (name.starts_with(FleetNames::leaseKey(part) + "-")) return name;
    }
    return "";
}

/// The messages that wait, from the server itself.
void countWaiting(const ServerLink& link, const FleetNames& names, unsigned part, PartReport& report) {
    const std::string consumer = consumerOf(link, names, part, report);
    if (consumer.empty()) {  // nobody has worked on it yet
        for (const auto& [subject, messages] : subjectsOf(link, names.stream, names.rowSubject(part, "*")))
            report.lag += messages;
        return;
    }
    jsConsumerInfo* raw = nullptr;
    jsErrCode code{};
    if (js_GetConsumerInfo(&raw, link.jetStream(), names.stream.c_str(), consumer.c_str(), nullptr, &code) !=
        NATS_OK)
        return;
    const ConsumerInfo info(raw);
    report.lag = info->NumPending;
    report.unacknowledged = static_cast<std::uint64_t>(info->NumAckPending);
}

/// Workers renew their leases several times in their length: half of it is time enough.
void waitForRenewals(const ServerLink& link, const FleetNames& names, Reports& reports) {
    const Clock::time_point start = Clock::now();
    const auto isAwaited = [&](const auto& one) {
        const PartReport& report = one.second;
        return !report.worker().empty() && !report.isRenewed() && Clock::now() - start < report.length() / 2;
    };
    while (std::any_of(reports.begin(), reports.end(), isAwaited)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        for (auto& one : reports)
            if (isAwaited(one)) look(link, names, one.first, one.second);
    }
    for (auto& [part, report] : reports)
        report.state = report.worker().empty() ? "free" : report.isRenewed() ? "at work" : "silent";
}

PartStatus statusOf(const PartReport& report) {
    return partStatusFrom(report.lease.value("status", nlohmann::json::object()));
}

std::string verdictText(const std::array<std::uint64_t, 3>& counts) {
    return fmt::format("{}/{}/{}", counts[0], counts[1], counts[2]);
}

void writeTable(const Reports& reports, std::ostream& out) {
    constexpr const char* kRow = "{:<5} {:<8} {:<24} {:>7} {:>8} {:>7} {:>8} {:>11} {:>8} {:>5}  {:<14} {}\n";
    out << fmt::format(kRow, "part", "state", "worker", "units", "rows/s", "lag", "unacked", "redelivered",
                       "refused", "bad", "tilt g/d/b", "heading g/d/b");
    for (const auto& [part, report] : reports) {
        const PartStatus status = statusOf(report);
        out << fmt::format(kRow, part, report.state, report.worker().empty() ? "-" : report.worker(),
                           status.units, fmt::format("{:.0f}", status.rowsPerSecond), report.lag,
                           report.unacknowledged, status.redelivered, status.refusedRows, status.badMessages,
                           verdictText(status.verdicts.tilt), verdictText(status.verdicts.heading));
    }
}

nlohmann::json asJsonText(const Reports& reports, const FleetNames& names) {
    nlohmann::json parts = nlohmann::json::array();
    for (const auto& [part, report] : reports) {
        nlohmann::json one = toJson(statusOf(report));
        one["part"] = part;
        one["state"] = report.state;
        one["worker"] = report.worker();
        one["lag_messages"] = report.lag;
        one["unacknowledged_messages"] = report.unacknowledged;
        parts.push_back(one);
    }
    return {{"stream", names.stream}, {"parts", parts}};
}

}  // namespace

bool reportWork(const ServerLink& link, const FleetNames& names, bool asJson, std::ostream& out) {
    Reports reports;
    for (const unsigned part : partsOf(link, names)) look(link, names, part, reports[part]);
    waitForRenewals(link, names, reports);
    for (auto& [part, report] : reports) countWaiting(link, names, part, report);
    if (asJson)
        out << asJsonText(reports, names).dump(2) << "\n";
    else
        writeTable(reports, out);
    return std::all_of(reports.begin(), reports.end(),
                       [](const auto& one) { return one.second.state == "at work"; });
}

}  // namespace Kavelin::Cli
