#include "cli/fleet/ServerStore.h"

#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

StreamInfo findStream(const ServerLink& link, const std::string& name) {
    jsStreamInfo* info = nullptr;
    jsErrCode code{};
    const natsStatus status = js_GetStreamInfo(&info, link.jetStream(), name.c_str(), nullptr, &code);
    if (status == NATS_NOT_FOUND || code == JSStreamNotFoundErr) return {};
    if (code == JSNotEnabledErr || code == JSNotEnabledForAccountErr || status == NATS_NO_RESPONDERS)
        throw UsageError("the server has no JetStream for this user: start it with --jetstream");
    requireOk(status, "the stream " + name, code);
    return StreamInfo(info);
}

std::map<std::string, std::uint64_t> subjectsOf(const ServerLink& link, const std::string& stream,
                                                const std::string& pattern) {
    jsOptions options;
    jsOptions_Init(&options);
    options.Stream.Info.SubjectsFilter = pattern.c_str();
    jsStreamInfo* raw = nullptr;
    jsErrCode code{};
    requireOk(js_GetStreamInfo(&raw, link.jetStream(), stream.c_str(), &options, &code),
              "the stream " + stream, code);
    const StreamInfo info(raw);
    std::map<std::string, std::uint64_t> subjects;
    for (int i = 0; info->State.Subjects && i < info->State.Subjects->Count; ++i)
        subjects[info->State.Subjects->List[i].Subject] = info->State.Subjects->List[i].Msgs;
    return subjects;
}

Message lastMessage(const ServerLink& link, const std::string& stream, const std::string& subject) {
    natsMsg* message = nullptr;
    jsErrCode code{};
    const natsStatus status =
        js_GetLastMsg(&message, link.jetStream(), stream.c_str(), subject.c_str(), nullptr, &code);
    if (code == JSNoMessageFoundErr) return {};
    requireOk(status, "the last message on " + subject, code);
    return Message(message);
}

Stored storedAs(const Message& answer, const std::string& what) {
    if (headerOf(answer, "Status") == "503")
        throw ServerError(what + ": no stream takes it", NATS_NO_RESPONDERS, jsErrCode(0));
    const auto json = nlohmann::json::parse(payloadOf(answer), nullptr, false);
    // An error comes with a sequence too, of 0.
    const bool isError = !json.is_object() || json.contains("error");
    if (!isError && json.value("seq", std::uint64_t{0}) > 0)
        return {json.at("seq"), json.value("duplicate", false)};
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
    return storedAs(Message(answer), subject).sequence;
}

bool isDeletion(const Message& entry) { return !headerOf(entry, "KV-Operation").empty(); }

}  // namespace Kavelin::Cli
