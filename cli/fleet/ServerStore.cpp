#include "cli/fleet/ServerStore.h"

#include <nlohmann/json.hpp>

namespace Kavelin::Cli {

Message lastMessage(const ServerLink& link, const std::string& stream, const std::string& subject) {
    natsMsg* message = nullptr;
    jsErrCode code{};
    const natsStatus status =
        js_GetLastMsg(&message, link.jetStream(), stream.c_str(), subject.c_str(), nullptr, &code);
    if (code == JSNoMessageFoundErr) return {};
    requireOk(status, "the last message on " + subject, code);
    return Message(message);
}

std::uint64_t sequenceOf(const Message& answer, const std::string& what) {
    if (headerOf(answer, "Status") == "503")
        throw ServerError(what + ": no stream takes it", NATS_NO_RESPONDERS, jsErrCode(0));
    const auto json = nlohmann::json::parse(payloadOf(answer), nullptr, false);
    // An error comes with a sequence too, of 0.
    const bool isError = !json.is_object() || json.contains("error");
    if (!isError && json.value("seq", std::uint64_t{0}) > 0) return json.at("seq");
    const auto error =
        json.is_object() ? json.value("error", nlohmann::json::object()) : nlohmann::json::object();
    throw ServerError(what + ": the server says: " + error.value("description", "nothing that can be read"),
                      NATS_ERR, static_cast<jsErrCode>(error.value("err_code", 0)));
}

std::uint64_t store(const ServerLink& link, const std::string& subject, std::string_view value,
                    std::uint64_t expectedLast) {
    constexpr int kWaitMs = 5000;
    natsMsg* raw = nullptr;
    requireOk(natsMsg_Create(&raw, subject.c_str(), nullptr, value.data(), static_cast<int>(value.size())),
              subject);
    const Message message(raw);
    natsMsgHeader_Set(raw, kExpectedLast, std::to_string(expectedLast).c_str());
    natsMsg* answer = nullptr;
    requireOk(natsConnection_RequestMsg(&answer, link.connection(), raw, kWaitMs), subject);
    return sequenceOf(Message(answer), subject);
}

bool isDeletion(const Message& entry) { return !headerOf(entry, "KV-Operation").empty(); }

}  // namespace Kavelin::Cli
