#include "cli/fleet/Fleet.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

#include "cli/CommandContext.h"
#include "cli/fleet/ServerStore.h"

namespace Kavelin::Cli {

namespace {

/// What a stream must be like.
struct StreamNeed {
    std::string name;  ///< of one that is made
    std::vector<std::string> subjects;
    jsRetentionPolicy retention = js_LimitsPolicy;  ///< of one that is made
    int replicas = 1;
};

const char* retentionText(jsRetentionPolicy policy) {
    return policy == js_WorkQueuePolicy ? "work queue" : policy == js_InterestPolicy ? "interest" : "limits";
}

/// While another worker makes it, the stream has its subjects already and is not found yet.
bool isMadeSoon(const ServerLink& link, const std::string& name) {
    constexpr int kLooks = 20;
    for (int look = 0; look < kLooks; ++look) {
        if (findStream(link, name)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

void makeStream(const ServerLink& link, const StreamNeed& need) {
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    std::vector<const char*> subjects;
    for (const std::string& subject : need.subjects) subjects.push_back(subject.c_str());
    config.Name = need.name.c_str();
    config.Subjects = subjects.data();
    config.SubjectsLen = static_cast<int>(subjects.size());
    config.Retention = need.retention;
    config.Storage = js_FileStorage;
    config.Discard = js_DiscardNew;  // who sends rows finds out that they were not taken
    config.Replicas = need.replicas;
    jsErrCode code{};
    const natsStatus status = js_AddStream(nullptr, link.jetStream(), &config, nullptr, &code);
    if (code == JSStreamNameExistErr) return;  // another worker was faster: it is checked like any
    if (code == JSStreamSubjectOverlapErr && isMadeSoon(link, need.name)) return;
    if (code == JSStreamSubjectOverlapErr)
        throw UsageError(fmt::format("the stream {} cannot be made: another stream has its subjects {}",
                                     need.name, fmt::join(need.subjects, ", ")));
    if (code == JSStreamReplicasNotSupportedErr)
        throw UsageError(fmt::format("--replicas {}: the server is in no cluster", need.replicas));
    requireOk(status, "the stream " + need.name + " could not be made", code);
}

/// Whether all subjects of one pattern are subjects of the other.
bool covers(std::string_view wide, std::string_view narrow) {
    while (wide != ">") {
        const std::string_view wideWord = wide.substr(0, wide.find('.'));
        const std::string_view word = narrow.substr(0, narrow.find('.'));
        if (word == ">" || (wideWord != "*" && wideWord != word)) return false;
        const bool isLast = wideWord.size() == wide.size(), isLastWord = word.size() == narrow.size();
        if (isLast || isLastWord) return isLast && isLastWord;
        wide.remove_prefix(wideWord.size() + 1);
        narrow.remove_prefix(word.size() + 1);
    }
    return true;
}

void requireSubjects(const jsStreamConfig& config, const StreamNeed& need) {
    const std::vector<std::string> subjects(config.Subjects, config.Subjects + config.SubjectsLen);
    for (const std::string& wanted : need.subjects) {
        if (std::any_of(subjects.begin(), subjects.end(),
                        [&](const std::string& subject) { return covers(subject, wanted); }))
            continue;
        throw UsageError(fmt::format("the stream {} has the subjects {}; it needs {}", config.Name,
                                     fmt::join(subjects, ", "), fmt::join(need.subjects, ", ")));
    }
}

/// A message for which nobody waits goes out of a stream of that kind, and there are moments without a consumer.
void requireKeeps(const jsStreamConfig& config, const StreamNeed& need) {
    const bool isWorkQueue = config.Retention == js_WorkQueuePolicy && need.retention != js_WorkQueuePolicy;
    if (config.Retention == js_InterestPolicy || isWorkQueue)
        throw UsageError(fmt::format("the stream {} has the retention '{}'; it needs '{}'", config.Name,
                                     retentionText(config.Retention), retentionText(need.retention)));
    if (config.NoAck)
        throw UsageError(std::string("the stream ") + config.Name +
                         " acknowledges nothing: make it without --no-ack");
}

void remarkMemory(const jsStreamConfig& config, const std::string& what, std::vector<std::string>& remarks) {
    if (config.Storage != js_FileStorage)
        remarks.push_back(what + " is kept in memory: a restart of the server loses it");
}

bool dropsOldest(const jsStreamConfig& config) {
    return config.Discard == js_DiscardOld && (config.MaxMsgs > 0 || config.MaxBytes > 0);
}

/// The stream that has a subject already; empty: none.
std::string streamOf(const ServerLink& link, const std::string& subject) {
    constexpr int kWaitMs = 5000;
    const std::string request = nlohmann::json{{"subject", subject}}.dump();
    natsMsg* raw = nullptr;
    requireOk(natsConnection_RequestString(&raw, link.connection(), "$JS.API.STREAM.NAMES", request.c_str(),
                                           kWaitMs),
              "the names of streams");
    const Message answer(raw);
    const auto json = nlohmann::json::parse(payloadOf(answer), nullptr, false);
    const auto names = json.is_object() ? json.value("streams", nlohmann::json()) : nlohmann::json();
    return names.is_array() && !names.empty() ? names.front().get<std::string>() : "";
}

/// Finds the stream of that name, or else one that has its subjects, or else makes it.  @return its name
std::string requireStream(const ServerLink& link, const StreamNeed& need, std::vector<std::string>& remarks) {
    std::string name = need.name;
    StreamInfo info = findStream(link, name);
    if (!info) {
        const std::string other = streamOf(link, need.subjects.front());
        if (!other.empty()) name = other;
        if (other.empty()) makeStream(link, need);
        info = findStream(link, name);
        if (!info) throw UsageError("the stream " + name + " was deleted while it was made");
    }
    requireSubjects(*info->Config, need);
    requireKeeps(*info->Config, need);
    remarkMemory(*info->Config, "the stream " + name, remarks);
    return name;
}

/// Rows that the server drops before they are computed are missing in the results.
void remarkLoss(const ServerLink& link, const std::string& rows, std::vector<std::string>& remarks) {
    const StreamInfo info = findStream(link, rows);
    if (info && (dropsOldest(*info->Config) || info->Config->MaxAge > 0))
        remarks.push_back(
            "the stream " + rows +
            " drops its oldest messages, by its age or its size: rows may be lost before they are "
            "computed");
}

Bucket findBucket(const ServerLink& link, const std::string& name) {
    kvStore* store = nullptr;
    const natsStatus status = js_KeyValue(&store, link.jetStream(), name.c_str());
    if (status == NATS_NOT_FOUND) return {};
    requireOk(status, "the bucket " + name);
    return Bucket(store);
}

void requireBucket(const ServerLink& link, const std::string& name, int replicas,
                   std::vector<std::string>& remarks) {
    Bucket bucket = findBucket(link, name);
    if (!bucket) {
        kvConfig config;
        kvConfig_Init(&config);
        config.Bucket = name.c_str();
        config.History = 1;
        config.StorageType = js_FileStorage;
        config.Replicas = replicas;
        kvStore* store = nullptr;
        const natsStatus status = js_CreateKeyValue(&store, link.jetStream(), &config);
        bucket.reset(store);
        if (status != NATS_OK) bucket = findBucket(link, name);  // another worker was faster
        if (!bucket) requireOk(status, "the bucket " + name + " could not be made");
    }
    kvStatus* raw = nullptr;
    requireOk(kvStore_Status(&raw, bucket.get()), "the bucket " + name);
    const NatsHandle<kvStatus, kvStatus_Destroy> status(raw);
    if (kvStatus_TTL(raw) != 0)
        throw UsageError("the bucket " + name + " forgets its values after a time; it needs to keep them");
    const StreamInfo info = findStream(link, bucketStream(name));
    if (!info) throw UsageError("the bucket " + name + " was deleted while it was made");
    if (dropsOldest(*info->Config))
        throw UsageError("the bucket " + name +
                         " drops its oldest values when it is full; it needs to keep them");
    remarkMemory(*info->Config, "the bucket " + name, remarks);
}

}  // namespace

Fleet openFleet(const ServerLink& link, const FleetRequest& request) {
    const FleetNames& names = request.names;
    constexpr std::size_t kLeastPayload = 32768;
    if (link.largestPayload() < kLeastPayload)
        throw UsageError(fmt::format(
            "the server takes messages of {} bytes at most; snapshots of units need max_payload to be {}",
            link.largestPayload(), kLeastPayload));
    Fleet fleet{.names = names, .parts = request.parts, .calibrationBucket = request.calibrationBucket};
    StreamNeed rows{names.stream, {}, js_WorkQueuePolicy, request.replicas};
    for (unsigned part = 0; part < request.parts; ++part)
        rows.subjects.push_back(names.rowSubject(part, "*"));
    const std::string made = requireStream(link, rows, fleet.remarks);
    if (made != names.stream)
        throw UsageError(
            fmt::format("the stream {} has the subjects of {}: name it with --stream, or give it others",
                        made, names.stream));
    const auto limits = js_LimitsPolicy;
    fleet.resultStream = requireStream(
        link, {names.results, {names.resultSubject("*")}, limits, request.replicas}, fleet.remarks);
    StreamNeed bad{names.badStream(), {names.badSubject()}, limits, request.replicas};
    if (streamOf(link, names.badSubject()) == names.stream) bad.retention = js_WorkQueuePolicy;
    requireStream(link, bad, fleet.remarks);
    remarkLoss(link, names.stream, fleet.remarks);
    requireBucket(link, names.snapshots(), request.replicas, fleet.remarks);
    std::vector<std::string> ofNoMatter;  // leases are written anew
    requireBucket(link, names.leases(), request.replicas, ofNoMatter);
    if (!request.calibrationBucket.empty() && !findBucket(link, request.calibrationBucket))
        throw UsageError("there is no bucket " + request.calibrationBucket);
    return fleet;
}

}  // namespace Kavelin::Cli
