#include "cli/view/PageConnection.h"

#include <Poco/Buffer.h>
#include <Poco/Net/NetException.h>

#include <chrono>

namespace Kavelin::Cli {

namespace {

using Poco::Net::WebSocket;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kTick{34};  // between messages with samples
constexpr int kMostMalformed = 20;
constexpr int kSendBuffer = 1 << 18;  // a slow page shall see the newest, not a backlog
const Poco::Timespan kPatience(4, 0);

}  // namespace

PageConnection::PageConnection(WebSocket& socket, ViewHub& hub, const std::atomic<bool>& mustEnd)
    : socket_(socket), mustEnd_(mustEnd), page_(hub) {
    socket_.setMaxPayloadSize(static_cast<int>(kLongestViewMessage));
    socket_.setSendBufferSize(kSendBuffer);
    socket_.setNoDelay(true);
    socket_.setSendTimeout(kPatience);
    socket_.setReceiveTimeout(kPatience);
}

void PageConnection::serve() {
    auto next = Clock::now();
    while (!mustEnd_.load()) {
        if (const auto now = Clock::now(); now >= next) {
            for (const std::string& message : page_.due()) send(message);
            next = now + kTick;
        }
        const auto left = std::chrono::duration_cast<std::chrono::microseconds>(next - Clock::now()).count();
        const bool hasMore = socket_.available() > 0;
        if (!hasMore && (left <= 0 || !socket_.poll(Poco::Timespan(left), Poco::Net::Socket::SELECT_READ)))
            continue;
        if (!receive()) return;
    }
    close(WebSocket::WS_ENDPOINT_GOING_AWAY, "the server ends");
}

/// @return false when the connection has ended.
bool PageConnection::receive() {
    Poco::Buffer<char> frame(0);
    int flags = 0;
    try {
        const int size = socket_.receiveFrame(frame, flags);
        if (size <= 0 && flags == 0) return false;
    } catch (const Poco::Net::WebSocketException& wrong) {
        if (wrong.code() == WebSocket::WS_ERR_PAYLOAD_TOO_BIG)
            close(WebSocket::WS_PAYLOAD_TOO_BIG, "a message may have 65536 bytes");
        return false;
    }
    return take(flags, std::string(frame.begin(), frame.size()));
}

bool PageConnection::take(int flags, const std::string& payload) {
    switch (flags & WebSocket::FRAME_OP_BITMASK) {
        case WebSocket::FRAME_OP_TEXT:
            message_.clear();
            [[fallthrough]];
        case WebSocket::FRAME_OP_CONT:
            if (message_.size() + payload.size() > kLongestViewMessage) {
                close(WebSocket::WS_PAYLOAD_TOO_BIG, "a message may have 65536 bytes");
                return false;
            }
            message_ += payload;
            if (flags & WebSocket::FRAME_FLAG_FIN) answer();
            break;
        case WebSocket::FRAME_OP_PING:
            socket_.sendFrame(payload.data(), static_cast<int>(payload.size()),
                              static_cast<int>(WebSocket::FRAME_FLAG_FIN) | WebSocket::FRAME_OP_PONG);
            break;
        case WebSocket::FRAME_OP_PONG:
            break;
        case WebSocket::FRAME_OP_CLOSE:
            close(WebSocket::WS_NORMAL_CLOSE, {});
            return false;
        default:
            close(WebSocket::WS_PAYLOAD_NOT_ACCEPTABLE, "a message is text");
            return false;
    }
    if (malformed_ < kMostMalformed) return true;
    close(WebSocket::WS_POLICY_VIOLATION, "too many messages that are no requests");
    return false;
}

void PageConnection::answer() {
    const ViewAnswer answer = page_.answer(message_);
    message_.clear();
    malformed_ = answer.isRequest ? 0 : malformed_ + 1;
    send(answer.reply);
}

void PageConnection::send(const std::string& text) {
    const char* next = text.data();
    socket_.sendFrame(next, static_cast<int>(text.size()));
}

void PageConnection::close(unsigned short status, const std::string& why) { socket_.shutdown(status, why); }

}  // namespace Kavelin::Cli
