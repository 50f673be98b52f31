#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "cli/fleet/NatsHandles.h"

namespace Kavelin::Cli {

/// The steady clock: no clock that can be set decides anything here.
using Clock = std::chrono::steady_clock;

struct ServerOptions {
    std::string url;
    std::string credentials;  ///< file; empty: none
    std::string
        authority;  ///< file with the certificates of those who vouch for the server; empty: the system's
    std::string certificate;  ///< file with our own; empty: none
    std::string key;          ///< file of its private key
};

/// One connection to a NATS server, and one queue of all that comes from it. A lost connection is made again, without end;
/// one thread uses it.
class ServerLink {
public:
    using Headers = std::vector<std::pair<const char*, std::string>>;

    /// Connects.
    /// @param name what the server's lists show
    /// @throws UsageError for a URL or a file that cannot be used, and for a server that cannot be reached
    ServerLink(const ServerOptions& options, const std::string& name);
    ~ServerLink();
    ServerLink(const ServerLink&) = delete;
    ServerLink& operator=(const ServerLink&) = delete;

    jsCtx* jetStream() const { return jetStream_.get(); }
    natsConnection* connection() const { return connection_.get(); }

    /// A subject on which answers come into the queue.
    std::string replySubject(std::uint64_t number) const { return inbox_ + std::to_string(number); }
    /// The number of a subject that `replySubject` made; 0: it is none.
    std::uint64_t replyNumber(std::string_view subject) const;

    /// Sends, without waiting. What cannot be sent at all throws.
    /// @param reply where the server's answer goes; empty: nowhere
    /// @throws ServerError
    void publish(const std::string& subject, std::string_view payload, const std::string& reply = {},
                 const Headers& headers = {});

    /// The next message of the queue.  @return empty: none has come until then, or for a tenth of a second
    Message take(Clock::time_point until);

    bool isConnected() const { return isConnected_; }
    /// How many times the connection was lost and made again.
    unsigned reconnections() const { return reconnections_; }
    /// Makes the connection anew where the library has given it up: it does when the server has not let this user in twice,
    /// which may let it in later, with other credentials. Tries now and then; takes up to two seconds.
    void mend();
    /// What the server refuses this user, as it put it last, to let it in included; empty: it has refused nothing.
    std::string refusal() const;
    /// Bytes of the largest message that the server takes.
    std::size_t largestPayload() const;

private:
    static void onDisconnected(natsConnection*, void* self);
    static void onReconnected(natsConnection*, void* self);
    void connect();
    void watch();

    NatsHandle<natsOptions, natsOptions_Destroy> options_;
    std::string server_;  ///< for messages
    std::string inbox_;
    Clock::time_point mendAt_{};
    std::atomic<bool> isConnected_{true};
    std::atomic<unsigned> reconnections_{0};
    std::atomic<unsigned> takes_{0};  ///< how many times `take` has begun and ended: odd while it waits
    NatsHandle<natsConnection, natsConnection_Destroy> connection_;
    NatsHandle<jsCtx, jsCtx_Destroy> jetStream_;
    NatsHandle<natsSubscription, natsSubscription_Destroy> subscription_;

    std::mutex mutex_;  // guards what follows, and, for the thread that watches, connection_
    std::condition_variable mustEnd_;
    bool isEnding_ = false;
    std::thread watch_;
};

/// The URL without its user and password, for messages.
std::string withoutPassword(const std::string& url);

}  // namespace Kavelin::Cli
