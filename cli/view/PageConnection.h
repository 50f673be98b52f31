#pragma once

#include <Poco/Net/WebSocket.h>

#include <atomic>
#include <string>

#include "cli/view/ViewHub.h"

namespace Kavelin::Cli {

/// The WebSocket of one page, served in the thread that calls `serve`: requests are answered as they come, and what is new is sent
/// at most 30 times a second. A page that takes nothing for some seconds is closed; what it did not see was not kept for it.
class PageConnection {
public:
    /// @param mustEnd set when the server ends
    PageConnection(Poco::Net::WebSocket& socket, ViewHub& hub, const std::atomic<bool>& mustEnd);

    /// Returns when the connection has ended.
    void serve();

private:
    bool receive();
    bool take(int flags, const std::string& payload);
    void answer();
    void send(const std::string& text);
    void close(unsigned short status, const std::string& why);

    Poco::Net::WebSocket& socket_;
    const std::atomic<bool>& mustEnd_;
    ViewHub::Page page_;
    std::string message_;  // as far as it has come
    int malformed_ = 0;    // in a row
};

}  // namespace Kavelin::Cli
