#include "cli/fleet/PartStream.h"

#include <fmt/format.h>

#include <algorithm>

namespace Kavelin::Cli {

namespace {

constexpr int kBatch = 256;
constexpr std::size_t kRequests = 2;
constexpr std::chrono::seconds kRequestLength{5};

std::int64_t nanoseconds(Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count();
}

/// The last message up to which a consumer has acknowledged all; 0: none.
std::uint64_t acknowledgedBy(const ServerLink& link, const std::string& stream, const std::string& consumer) {
    jsConsumerInfo* raw = nullptr;
    jsErrCode code{};
    if (js_GetConsumerInfo(&raw, link.jetStream(), stream.c_str(), consumer.c_str(), nullptr, &code) !=
        NATS_OK)
        return 0;
    const ConsumerInfo info(raw);
    const std::uint64_t start =
        info->Config->OptStartSeq;  // one that has acknowledged nothing yet goes on from there
    return std::max(info->AckFloor.Stream, start > 0 ? start - 1 : 0);
}

/// @return up to where they have acknowledged all
std::uint64_t deleteConsumers(const ServerLink& link, const std::string& stream, const std::string& prefix) {
    std::uint64_t acknowledged = 0;
    jsConsumerNamesList* names = nullptr;
    jsErrCode code{};
    const natsStatus status = js_ConsumerNames(&names, link.jetStream(), stream.c_str(), nullptr, &code);
    if (status == NATS_NOT_FOUND) return 0;  // there is none
    requireOk(status, "the consumers of " + stream, code);
    const NatsHandle<jsConsumerNamesList, jsConsumerNamesList_Destroy> list(names);
    for (int i = 0; i < list->Count; ++i) {
        const std::string name = list->List[i];
        if (!name.starts_with(prefix)) continue;
        acknowledged = std::max(acknowledged, acknowledgedBy(link, stream, name));
        const natsStatus deleted =
            js_DeleteConsumer(link.jetStream(), stream.c_str(), name.c_str(), nullptr, &code);
        if (deleted != NATS_NOT_FOUND) requireOk(deleted, "the consumer " + name, code);
    }
    return acknowledged;
}

}  // namespace

std::string RowMessage::unit() const {
    const std::string subject = natsMsg_GetSubject(message.get());
    return subject.substr(subject.rfind('.') + 1);
}

void PartStream::open(const std::string& consumer, Clock::duration acknowledgeWithin,
                      int mostUnacknowledged) {
    requests_.clear();
    delivered_ = 0;
    consumer_ = consumer;
    jsErrCode code{};
    jsStreamInfo* raw = nullptr;
    requireOk(js_GetStreamInfo(&raw, link_.jetStream(), names_.stream.c_str(), nullptr, &code),
              "the stream " + names_.stream, code);
    const StreamInfo info(raw);
    streamMade_ = info->Created;
    lastSequence_ = info->State.LastSeq;
    keepsAcknowledged_ = info->Config->Retention == js_LimitsPolicy;

    const std::uint64_t acknowledged =
        deleteConsumers(link_, names_.stream, FleetNames::leaseKey(part_) + "-");
    const std::string filter = names_.rowSubject(part_, "*");
    jsConsumerConfig config;
    jsConsumerConfig_Init(&config);
    config.Durable = consumer_.c_str();
    config.FilterSubject = filter.c_str();
    config.AckPolicy = js_AckExplicit;
    config.AckWait = nanoseconds(acknowledgeWithin);
    config.MaxAckPending = mostUnacknowledged;
    if (keepsAcknowledged_ && acknowledged > 0) {
        config.DeliverPolicy = js_DeliverByStartSequence;
        config.OptStartSeq = acknowledged + 1;
    }
    requireOk(js_AddConsumer(nullptr, link_.jetStream(), names_.stream.c_str(), &config, nullptr, &code),
              "the consumer " + consumer_, code);
}

bool PartStream::wantsToAsk(Clock::time_point now) const {
    // A request that was never answered is as good as over.
    const auto isOpen = [now](const Request& request) { return now - request.since < 2 * kRequestLength; };
    return std::count_if(requests_.begin(), requests_.end(), isOpen) < static_cast<std::ptrdiff_t>(kRequests);
}

void PartStream::ask(std::uint64_t replyNumber, Clock::time_point now) {
    std::erase_if(requests_,
                  [now](const Request& request) { return now - request.since >= 2 * kRequestLength; });
    link_.publish("$JS.API.CONSUMER.MSG.NEXT." + names_.stream + "." + consumer_,
                  fmt::format(R"({{"batch":{},"expires":{}}})", kBatch, nanoseconds(kRequestLength)),
                  link_.replySubject(replyNumber));
    requests_.push_back({replyNumber, kBatch, now});
}

bool PartStream::onRequestOver(std::uint64_t replyNumber, const Message& word) {
    const auto request = std::find_if(requests_.begin(), requests_.end(), [replyNumber](const Request& one) {
        return one.number == replyNumber;
    });
    if (request == requests_.end()) return true;
    const std::string status = headerOf(word, "Status");
    if (status == "100") return true;  // a heartbeat
    requests_.erase(request);
    return status == "404" || status == "408" || !headerOf(word, "Description").starts_with("Consumer");
}

std::optional<RowMessage> PartStream::read(Message message) {
    jsMsgMetaData* raw = nullptr;
    if (natsMsg_GetMetaData(&raw, message.get()) != NATS_OK) return std::nullopt;
    const NatsHandle<jsMsgMetaData, jsMsgMetaData_Destroy> meta(raw);
    if (consumer_.empty() || meta->Consumer != consumer_) return std::nullopt;
    if (meta->Sequence.Consumer != delivered_ + 1)
        throw ServerError("messages were lost on the way", NATS_MISMATCH, jsErrCode(0));
    ++delivered_;
    if (!requests_.empty() && --requests_.front().open == 0) requests_.pop_front();
    return RowMessage{std::move(message), meta->Sequence.Stream, meta->Timestamp, meta->NumPending};
}

}  // namespace Kavelin::Cli
