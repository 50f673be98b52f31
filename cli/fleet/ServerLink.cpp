#include "cli/fleet/ServerLink.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

constexpr int kEndless = -1;
constexpr std::int64_t kRetryMs = 250;
constexpr int kBufferedBytes = 64 << 20;
constexpr std::chrono::milliseconds kLongestWait{100};
constexpr std::chrono::milliseconds kWatchEvery{500};
constexpr std::chrono::seconds kMendEvery{2};

void requireFile(const std::string& option, const std::string& file) {
    if (!file.empty() && !std::filesystem::is_regular_file(file))
        throw UsageError(option + ": there is no file " + file);
}

void set(natsStatus status, const std::string& option) {
    try {
        requireOk(status, option);
    } catch (const ServerError& error) {
        throw UsageError(error.what());
    }
}

/// A server that is named with tls:// must speak it.
void setServers(natsOptions* made, const std::string& urls) {
    std::vector<std::string> servers;
    for (std::size_t start = 0; start <= urls.size();) {
        const std::size_t end = std::min(urls.find(',', start), urls.size());
        const std::string one = urls.substr(start, end - start);
        const bool isTls = one.starts_with("tls://");
        if (one.empty() || (one.find("://") != std::string::npos && !isTls && !one.starts_with("nats://")))
            throw UsageError("--nats " + withoutPassword(one) +
                             ": nats://HOST:PORT or tls://HOST:PORT is expected");
        if (isTls) set(natsOptions_SetSecure(made, true), "TLS");
        servers.push_back(one);
        start = end + 1;
    }
    std::vector<const char*> texts;
    for (const std::string& server : servers) texts.push_back(server.c_str());
    set(natsOptions_SetServers(made, texts.data(), static_cast<int>(texts.size())),
        "--nats " + withoutPassword(urls));
}

void setSecurity(natsOptions* made, const ServerOptions& options) {
    requireFile("--creds", options.credentials);
    requireFile("--tls-ca", options.authority);
    requireFile("--tls-cert", options.certificate);
    requireFile("--tls-key", options.key);
    if (options.certificate.empty() != options.key.empty())
        throw UsageError("--tls-cert and --tls-key belong together");
    if (!options.credentials.empty())
        set(natsOptions_SetUserCredentialsFromFiles(made, options.credentials.c_str(), nullptr), "--creds");
    if (!options.authority.empty())
        set(natsOptions_LoadCATrustedCertificates(made, options.authority.c_str()), "--tls-ca");
    if (!options.certificate.empty())
        set(natsOptions_LoadCertificatesChain(made, options.certificate.c_str(), options.key.c_str()),
            "--tls-cert, --tls-key");
    if (!options.authority.empty() || !options.certificate.empty())
        set(natsOptions_SetSecure(made, true), "TLS");
}

}  // namespace

std::string withoutPassword(const std::string& url) {
    std::string shown;
    for (std::size_t start = 0; start <= url.size();) {
        const std::size_t end = std::min(url.find(',', start), url.size());
        const std::string one = url.substr(start, end - start);
        const std::size_t scheme = one.find("://");
        const std::size_t host = scheme == std::string::npos ? 0 : scheme + 3;
        const std::size_t at = one.rfind('@');
        shown += (start == 0 ? "" : ",") + one.substr(0, host) +
                 one.substr(at == std::string::npos || at < host ? host : at + 1);
        start = end + 1;
    }
    return shown;
}

ServerLink::ServerLink(const ServerOptions& options, const std::string& name)
    : server_(withoutPassword(options.url)) {
    natsOptions* raw = nullptr;
    requireOk(natsOptions_Create(&raw), "options of the connection");
    options_.reset(raw);
    setServers(raw, options.url);
    setSecurity(raw, options);
    natsOptions_SetName(raw, name.c_str());
    natsOptions_SetMaxReconnect(raw, kEndless);
    natsOptions_SetReconnectWait(raw, kRetryMs);
    // Not by the library's thread, which waits for the wall clock first: that may be set back.
    natsOptions_SetSendAsap(raw, true);
    natsOptions_SetReconnectBufSize(raw, kBufferedBytes);
    natsOptions_SetDisconnectedCB(raw, &ServerLink::onDisconnected, this);
    natsOptions_SetReconnectedCB(raw, &ServerLink::onReconnected, this);
    // The library's own handler prints; what goes wrong is seen here by what does not come.
    natsOptions_SetErrorHandler(
        raw, [](natsConnection*, natsSubscription*, natsStatus, void*) {}, nullptr);

    natsInbox* inbox = nullptr;
    requireOk(natsInbox_Create(&inbox), "an inbox");
    inbox_ = std::string(inbox) + ".";
    natsInbox_Destroy(inbox);
    connect();
    watch_ = std::thread([this] { watch(); });
}

void ServerLink::connect() {
    natsConnection* connection = nullptr;
    set(natsConnection_Connect(&connection, options_.get()), "no connection to " + server_);
    decltype(connection_) made(connection);
    jsCtx* stream = nullptr;
    requireOk(natsConnection_JetStream(&stream, connection, nullptr), "JetStream");
    decltype(jetStream_) jetStream(stream);
    natsSubscription* subscription = nullptr;
    requireOk(natsConnection_SubscribeSync(&subscription, connection, (inbox_ + "*").c_str()), "an inbox");
    natsSubscription_SetPendingLimits(subscription, kEndless, kEndless);
    subscription_.reset(subscription);
    jetStream_ = std::move(jetStream);
    const std::lock_guard lock(mutex_);
    connection_ = std::move(made);
}

void ServerLink::mend() {
    if (!natsConnection_IsClosed(connection_.get()) || Clock::now() < mendAt_) return;
    isConnected_ = true;  // first: it may be lost again before `connect` returns
    try {
        connect();
        ++reconnections_;
    } catch (const std::exception&) {  // UsageError, ServerError: `refusal` says why the one before ended
        isConnected_ = false;
    }
    mendAt_ = Clock::now() + kMendEvery;
}

ServerLink::~ServerLink() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    mustEnd_.notify_all();
    watch_.join();
    natsConnection_Close(connection_.get());
}

void ServerLink::onDisconnected(natsConnection*, void* self) {
    static_cast<ServerLink*>(self)->isConnected_ = false;
}

void ServerLink::onReconnected(natsConnection*, void* self) {
    auto& link = *static_cast<ServerLink*>(self);
    ++link.reconnections_;
    link.isConnected_ = true;
}

/// The library waits by the wall clock: set back by an hour, a wait of a tenth of a second takes an hour more, or until a message
/// comes. So where none of them ends, one is sent.
void ServerLink::watch() {
    std::unique_lock lock(mutex_);
    for (unsigned before = takes_; !mustEnd_.wait_for(lock, kWatchEvery, [this] { return isEnding_; });) {
        const unsigned now = takes_;
        const bool isStuck = std::exchange(before, now) == now && now % 2 == 1;
        if (isStuck) natsConnection_PublishString(connection_.get(), replySubject(0).c_str(), "");
    }
}

Message ServerLink::take(Clock::time_point until) {
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(until - std::max(until - kLongestWait, Clock::now()));
    natsMsg* message = nullptr;
    ++takes_;
    natsSubscription_NextMsg(&message, subscription_.get(),
                             std::clamp(wait.count(), std::int64_t{0}, kLongestWait.count()));
    ++takes_;
    return Message(message);
}

std::uint64_t ServerLink::replyNumber(std::string_view subject) const {
    std::uint64_t number = 0;
    if (subject.starts_with(inbox_)) {
        subject.remove_prefix(inbox_.size());
        std::from_chars(subject.data(), subject.data() + subject.size(), number);
    }
    return number;
}

void ServerLink::publish(const std::string& subject, std::string_view payload, const std::string& reply,
                         const Headers& headers) {
    natsMsg* raw = nullptr;
    requireOk(natsMsg_Create(&raw, subject.c_str(), reply.empty() ? nullptr : reply.c_str(), payload.data(),
                             static_cast<int>(payload.size())),
              "a message to " + subject);
    const Message message(raw);
    for (const auto& [name, value] : headers) natsMsgHeader_Set(raw, name, value.c_str());
    requireOk(natsConnection_PublishMsg(connection_.get(), raw), "a message to " + subject);
}

/// The server does not answer what it refuses: whoever waits for that sees a timeout.
std::string ServerLink::refusal() const {
    const char* text = nullptr;
    const natsStatus status = natsConnection_GetLastError(connection_.get(), &text);
    return status == NATS_NOT_PERMITTED || status == NATS_CONNECTION_AUTH_FAILED ? text : "";
}

std::size_t ServerLink::largestPayload() const {
    return static_cast<std::size_t>(natsConnection_GetMaxPayload(connection_.get()));
}

}  // namespace Kavelin::Cli
