#include "cli/fleet/Lease.h"

#include <nlohmann/json.hpp>

#include "cli/fleet/ServerStore.h"

namespace Kavelin::Cli {

namespace {

/// How many times in its length a lease is renewed, and looked at.
constexpr int kRenewals = 5;

}  // namespace

std::string leaseText(const std::string& worker, Clock::duration length, const std::string& consumer,
                      const std::string& statusJson) {
    nlohmann::json json = {{"worker", worker},
                           {"seconds", std::chrono::duration<double>(length).count()},
                           {"consumer", consumer}};
    if (!statusJson.empty()) json["status"] = nlohmann::json::parse(statusJson);
    return json.dump();
}

nlohmann::json readLease(std::string_view text) {
    nlohmann::json value = nlohmann::json::parse(text, nullptr, false);
    const auto has = [&](const char* key, auto isRight) {
        return value.contains(key) && (value[key].*isRight)();
    };
    using Json = nlohmann::json;
    const bool isRight = value.is_object() && has("worker", &Json::is_string) &&
                         has("consumer", &Json::is_string) && has("seconds", &Json::is_number);
    return isRight ? value : nlohmann::json::object();
}

Lease::Lease(const ServerLink& link, const std::string& bucket, const std::string& key, std::string worker,
             Clock::duration length)
    : link_(link),
      stream_(bucketStream(bucket)),
      subject_(keySubject(bucket, key)),
      worker_(std::move(worker)),
      length_(length) {}

void Lease::look(Clock::time_point now) {
    const Message entry = lastMessage(link_, stream_, subject_);
    const std::uint64_t revision = entry ? natsMsg_GetSequence(entry.get()) : 0;
    if (entry && revision == seen_.revision) return;
    seen_ = {revision, now, length_};
    holder_.clear();
    if (!entry || isDeletion(entry)) return;
    const nlohmann::json value = readLease(payloadOf(entry));
    holder_ = value.value("worker", "");
    seen_.length = std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(value.value("seconds", 0.0)));
}

bool Lease::watch(Clock::time_point now, bool mayTake) {
    if (now < lookAt_) return false;
    lookAt_ = now + length_ / kRenewals;
    look(now);
    const bool isFree = holder_.empty() || holder_ == worker_ || now - seen_.since > seen_.length;
    if (!isFree || !mayTake) return false;
    try {
        write(leaseText(worker_, length_, "", ""), now);
    } catch (const ServerError& error) {
        if (error.code == JSStreamWrongLastSequenceErr) return false;  // another was faster
        throw;
    }
    isHeld_ = true;
    renewAt_ = now + length_ / kRenewals;
    return true;
}

void Lease::write(const std::string& value, Clock::time_point now) {
    seen_.revision = store(link_, subject_, value, seen_.revision);
    proven_ = now;
}

bool Lease::wantsRenewal(Clock::time_point now) const { return isHeld_ && now >= renewAt_; }

void Lease::renew(ServerLink& link, const std::string& value, const std::string& reply,
                  Clock::time_point now) {
    renewAt_ = now + length_ / kRenewals;
    asked_ = now;
    link.publish(subject_, value, reply, {{kExpectedLast, std::to_string(seen_.revision)}});
}

void Lease::onRenewed(std::uint64_t revision) {
    seen_.revision = revision;
    proven_ = asked_;
}

bool Lease::isAsking(Clock::time_point now) const {
    return isHeld_ && asked_ > proven_ && now - asked_ < length_ / kRenewals;
}

bool Lease::isOver(Clock::time_point now) const { return isHeld_ && now - proven_ > length_ * 7 / 10; }

void Lease::release(Clock::time_point now) {
    write(leaseText("", length_, "", ""), now);
    drop();
    lookAt_ = now + length_;  // another comes first
}

void Lease::drop() {
    isHeld_ = false;
    seen_ = {};
    lookAt_ = {};
}

}  // namespace Kavelin::Cli
