#include <Poco/Exception.h>
#include <Poco/Net/DNS.h>
#include <Poco/Net/HostEntry.h>
#include <Poco/Net/MulticastSocket.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <cstring>
#include <optional>
#include <vector>

#include "io/files/LivePort.h"

namespace Kavelin::RecordingIO {

namespace {

namespace Net = Poco::Net;

constexpr int kLongestConnect = 5000;  // ms
constexpr int kKeepAliveIdle = 5, kKeepAliveStep = 2,
              kKeepAliveTries = 3;  // s, s: how soon a dead peer is noticed

[[noreturn]] void refuse(const LiveAddress& address, const std::string& why) {
    throw Poco::OpenFileException("cannot open '" + textOf(address) + "'", why);
}

/// The addresses of a host, by its name or by itself; all of this machine's, of IPv4, for none.
std::vector<Net::SocketAddress> resolve(const LiveAddress& address) {
    std::vector<Net::SocketAddress> found;
    Net::IPAddress numeric;
    if (address.host.empty() || Net::IPAddress::tryParse(address.host, numeric))
        return {Net::SocketAddress(numeric, address.port)};
    try {
        const Net::HostEntry host = Net::DNS::resolve(address.host);
        for (const Net::IPAddress& one : host.addresses()) found.emplace_back(one, address.port);
    } catch (const Poco::Exception&) {
        refuse(address, "the host '" + address.host + "' is not known");
    }
    if (found.empty()) refuse(address, "the host '" + address.host + "' has no address");
    return found;
}

/// The number of the system's error that an exception of a socket stands for.
std::string bindText(const LiveAddress& address, int error) {
    switch (error) {
        case EADDRINUSE:
            return fmt::format("port {} is in use by another program", address.port);
        case EADDRNOTAVAIL:
            return fmt::format("{} is not an address of this machine; 0.0.0.0 stands for all of them",
                               address.host);
        case EACCES:
            return fmt::format("port {} is for the administrator alone; take one from 1024 on", address.port);
        default:
            return std::strerror(error);
    }
}

/// Binds a socket to the first of the addresses that will do.
template <class Bind>
Net::SocketAddress bindFirst(const LiveAddress& address, const Bind& bind) {
    int error = 0;
    for (const Net::SocketAddress& one : resolve(address)) {
        errno = 0;
        try {
            bind(one);
            return one;
        } catch (const Poco::Exception& failure) {
            error = failure.code() != 0 ? failure.code() : errno;
        }
    }
    refuse(address, bindText(address, error));
}

/// What was lost without a word is noticed within some seconds.
void keepAlive(Net::StreamSocket& socket) {
    socket.setKeepAlive(true);
    socket.setOption(IPPROTO_TCP, TCP_KEEPIDLE, kKeepAliveIdle);
    socket.setOption(IPPROTO_TCP, TCP_KEEPINTVL, kKeepAliveStep);
    socket.setOption(IPPROTO_TCP, TCP_KEEPCNT, kKeepAliveTries);
}

LivePort::Received receiveStream(Net::StreamSocket& socket, char* into, std::size_t size) {
    try {
        const int count = socket.receiveBytes(into, static_cast<int>(size));
        if (count > 0) return {LivePort::Received::Kind::kBytes, static_cast<std::size_t>(count)};
        if (count < 0) return {};       // nothing there after all
    } catch (const Poco::Exception&) {  // reset, timed out: what was there is lost
    }
    return {LivePort::Received::Kind::kLoss};
}

class UdpPort : public LivePort {
public:
    UdpPort(LiveAddress address, LiveNotes& notes) : address_(std::move(address)), notes_(notes) {
        const Net::SocketAddress bound =
            bindFirst(address_, [this](const Net::SocketAddress& one) { bind(one); });
        if (bound.host().isMulticast()) join(bound.host());
        address_.port = socket_->address().port();
    }

    std::string name() const override { return textOf(address_); }
    std::string waitsFor() const override { return "waiting for datagrams"; }
    bool bringsWholeLines() const override { return true; }
    int descriptor() const override { return socket_->impl()->sockfd(); }
    bool reopen(const CloseEvent&) override { return true; }

    /// The stream is that of the first that sends: rows of two would be mixed.
    Received receive(char* into, std::size_t size) override {
        Net::SocketAddress sender;
        int count = 0;
        try {
            count = socket_->receiveFrom(into, static_cast<int>(size), sender);
        } catch (const Poco::Exception&) {
            return {};  // an answer to a datagram that nobody sent
        }
        if (count <= 0) return {};
        if (!sender_) sender_ = sender.host();
        if (sender.host() != *sender_) {
            notes_.tell(LiveNotes::Event::kStranger,
                        fmt::format("{}: datagrams of {} are passed over: the stream is that of {}", name(),
                                    sender.host().toString(), sender_->toString()));
            return {};
        }
        return {Received::Kind::kBytes, static_cast<std::size_t>(count)};
    }

private:
    void bind(const Net::SocketAddress& one) {
        const bool isShared =
            one.host().isMulticast();  // every program of a machine may take part in a group
        socket_.emplace(one.family());
        socket_->bind(one, isShared, isShared);
        socket_->setBlocking(false);  // a datagram may be dropped after it was announced
    }

    void join(const Net::IPAddress& group) {
        try {
            socket_->joinGroup(group);
        } catch (const Poco::Exception& failure) {
            refuse(address_, "the group cannot be joined: " + failure.displayText());
        }
    }

    LiveAddress address_;
    LiveNotes& notes_;
    std::optional<Net::MulticastSocket> socket_;
    std::optional<Net::IPAddress> sender_;
};

class TcpPort : public LivePort {
public:
    explicit TcpPort(const LiveAddress& address) : address_(address), hosts_(resolve(address)) {
        const CloseEvent never;
        if (!reopen(never)) refuse(address_, failure_);
    }

    std::string name() const override { return textOf(address_); }
    int descriptor() const override { return socket_.impl()->sockfd(); }
    Received receive(char* into, std::size_t size) override { return receiveStream(socket_, into, size); }

    bool reopen(const CloseEvent& closed) override {
        for (const Net::SocketAddress& host : hosts_) {
            if (connect(host, closed)) return true;
        }
        return false;
    }

private:
    bool connect(const Net::SocketAddress& host, const CloseEvent& closed) {
        failure_ = "no answer within " + std::to_string(kLongestConnect / 1000) + " s";
        try {
            socket_ = Net::StreamSocket(host.family());
            socket_.connectNB(host);
            if (closed.await(descriptor(), POLLOUT, kLongestConnect) != CloseEvent::Came::kReady)
                return false;
            const int error = socket_.impl()->socketError();
            if (error == 0) {
                socket_.setBlocking(true);
                keepAlive(socket_);
                return true;
            }
            failure_ =
                error == ECONNREFUSED
                    ? "nobody listens there (connection refused); for a sensor that connects by itself it "
                      "is tcp-listen://"
                    : std::strerror(error);
        } catch (const Poco::Exception& failure) {
            failure_ = failure.displayText();
        }
        return false;
    }

    const LiveAddress address_;
    const std::vector<Net::SocketAddress> hosts_;
    Net::StreamSocket socket_;
    std::string failure_;
};

/// One peer at a time; those that come meanwhile wait.
class ListeningPort : public LivePort {
public:
    ListeningPort(LiveAddress address, LiveNotes& notes) : address_(std::move(address)), notes_(notes) {
        bindFirst(address_, [this](const Net::SocketAddress& one) { listen(one); });
        address_.port = server_.address().port();
    }

    std::string name() const override { return textOf(address_); }
    std::string waitsFor() const override { return "waiting for a connection"; }
    int descriptor() const override { return peer_ ? peer_->impl()->sockfd() : server_.impl()->sockfd(); }
    bool reopen(const CloseEvent&) override { return true; }
    bool isBackWhenOpen() const override { return false; }

    Received receive(char* into, std::size_t size) override {
        if (!peer_) return accept();
        const Received received = receiveStream(*peer_, into, size);
        if (received.kind == Received::Kind::kLoss) peer_.reset();
        return received;
    }

private:
    /// Takes a port over at once where its last connections are still dying away, but from no other program.
    void listen(const Net::SocketAddress& one) {
        server_ = Net::ServerSocket();
        if (one.family() == Net::SocketAddress::IPv6)
            server_.bind6(one, true, false, false);
        else
            server_.bind(one, true, false);
        server_.listen(1);
        server_.setBlocking(false);  // who asked for the connection may have gone before it is taken
    }

    Received accept() {
        try {
            Net::SocketAddress who;
            peer_ = server_.acceptConnection(who);
            keepAlive(*peer_);
            notes_.tell(LiveNotes::Event::kReturn, name() + ": connected with " + who.toString());
        } catch (const Poco::Exception&) {
            peer_.reset();  // it has gone already
        }
        return {};
    }

    LiveAddress address_;
    LiveNotes& notes_;
    Net::ServerSocket server_;
    std::optional<Net::StreamSocket> peer_;
};

}  // namespace

std::unique_ptr<LivePort> openPort(const LiveAddress& address, LiveNotes& notes) {
    switch (address.kind) {
        case LiveAddress::Kind::kUdp:
            return std::make_unique<UdpPort>(address, notes);
        case LiveAddress::Kind::kTcp:
            return std::make_unique<TcpPort>(address);
        case LiveAddress::Kind::kTcpListen:
            return std::make_unique<ListeningPort>(address, notes);
        case LiveAddress::Kind::kSerial:
            break;
    }
    return openSerialPort(address);
}

}  // namespace Kavelin::RecordingIO
