#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "cli/fleet/FleetNames.h"
#include "cli/fleet/NatsHandles.h"
#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// A message of rows, and what the server says of it.
struct RowMessage {
    Message message;
    std::uint64_t sequence = 0;  ///< in the stream
    std::int64_t stored = 0;     ///< ns since 1970, by the server's clock
    std::uint64_t waiting = 0;   ///< messages that the server has for this part after this one

    std::string unit() const;
    std::string acknowledgement() const { return natsMsg_GetReply(message.get()); }
};

/// The messages of one part, in the order of the stream, none left out. They come from a durable consumer that is made for
/// whoever holds the part, and for nobody else: a consumer that had another client would give what that client did not
/// acknowledge later than what came after it.
class PartStream {
public:
    PartStream(ServerLink& link, const FleetNames& names, unsigned part)
        : link_(link), names_(names), part_(part) {}

    /// Makes the consumer, and deletes those that others have left. It begins with the oldest message that is not acknowledged.
    /// @param acknowledgeWithin after which the server sends a message again  @throws ServerError
    void open(const std::string& consumer, Clock::duration acknowledgeWithin, int mostUnacknowledged);
    /// Takes nothing more. The consumer stays, and tells the next holder what was acknowledged.
    void close() { consumer_.clear(); }

    unsigned part() const { return part_; }
    const std::string& consumer() const { return consumer_; }
    /// When the stream was made, ns.
    std::int64_t streamMade() const { return streamMade_; }
    /// The sequence of the stream's last message when it was opened.
    std::uint64_t lastSequence() const { return lastSequence_; }
    /// Whether messages stay in the stream when they are acknowledged.
    bool keepsAcknowledged() const { return keepsAcknowledged_; }

    /// Asks for messages where fewer are on their way than make sense.
    void ask(std::uint64_t replyNumber, Clock::time_point now);
    bool wantsToAsk(Clock::time_point now) const;
    /// The server's word on a request.  @return whether the consumer is still there
    bool onRequestOver(std::uint64_t replyNumber, const Message& word);

    /// @return empty: the message is not of this consumer.  @throws ServerError: messages before it were lost on the way
    std::optional<RowMessage> read(Message message);

private:
    struct Request {
        std::uint64_t number = 0;
        int open = 0;
        Clock::time_point since{};
    };

    ServerLink& link_;
    const FleetNames& names_;
    const unsigned part_;
    std::string consumer_;
    std::int64_t streamMade_ = 0;
    std::uint64_t lastSequence_ = 0;
    bool keepsAcknowledged_ = false;
    std::uint64_t delivered_ = 0;  ///< by the consumer's own count
    std::deque<Request> requests_;
};

}  // namespace Kavelin::Cli
