#include "io/files/LiveSource.h"

#include <termios.h>

#include <future>
#include <thread>

#include "io/files/LiveAddress.h"
#include "support/LivePeer.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
namespace Net = Poco::Net;

Net::SocketAddress local(std::uint16_t port) { return {"127.0.0.1", port}; }

/// Reads until these many bytes are there.
std::string read(ByteSource& source, std::size_t size) {
    std::string text;
    for (char piece[4096]; text.size() < size;) {
        const std::size_t count = source.read(piece, sizeof piece);
        if (count == 0) return text + "<end>";
        text.append(piece, count);
    }
    return text;
}

void send(Net::StreamSocket& socket, const std::string& text) {
    socket.sendBytes(text.data(), static_cast<int>(text.size()));
}

TEST(LiveAddress, IsReadOrRefusedWithWhatWouldBeRight) {
    const auto row = [](const std::string& name) {
        std::string text;
        const std::string refusal = outcome([&] {
            const auto address = liveAddress(name);
            text = address ? textOf(*address) : "a path";
            if (address && address->kind == LiveAddress::Kind::kSerial)
                text += " " + std::to_string(address->baud) + " " +
                        std::to_string(static_cast<int>(address->parity));
        });
        return text.empty() ? refusal : text;
    };
    for (const auto& [name, expected] : std::initializer_list<std::pair<const char*, const char*>>{
             {"udp://0.0.0.0:5555", "udp://0.0.0.0:5555"},
             {"udp://:5555/", "udp://:5555"},
             {"tcp://[fe80::1]:23", "tcp://[fe80::1]:23"},
             {"tcp-listen://sensor.local:0", "tcp-listen://sensor.local:0"},
             {"/dev/ttyACM0?baud=9600&parity=odd", "/dev/ttyACM0 9600 2"},
             {"/dev/ttyACM0?", "/dev/ttyACM0 115200 0"},
             {"/dev/ttyACM0", "a path"},
             {"what?.csv", "a path"},
             {"a/b://c:1", "a path"},
             {"://x:1", "a path"},
             {"udp://10.0.0.1", "the port is missing"},
             {"tcp://[::1]", "the port is missing"},
             {"tcp://::1:5", "an address of IPv6 stands in brackets: [::1]"},
             {"tcp://host:0", "a port to connect to is a number from 1"},
             {"tcp://:5", "the host is missing"},
             {"udp://a:65536", "'65536' is not a port"},
             {"udp://a:-1", "'-1' is not a port"},
             {"http://a:80", "'http' is not read; there are udp://, tcp://, tcp-listen://"},
             {"/dev/ttyS0?baud=fast", "'fast' is not a rate in baud"},
             {"/dev/ttyS0?parity=mark", "there are none, even and odd"},
             {"/dev/ttyS0?speed=1",
              "'speed' is not a setting of a serial device; there are baud and parity"}}) {
        EXPECT_THAT(row(name), HasSubstr(expected)) << name;
    }
}

TEST(LiveSource, WhatCannotBeOpenedIsRefusedInWords) {
    const Net::ServerSocket taken(local(0));
    const Net::DatagramSocket takenDatagrams(local(0));
    const std::string port = std::to_string(taken.address().port());
    std::uint16_t free = 0;
    {
        const Net::ServerSocket gone(local(0));
        free = gone.address().port();
    }
    for (const auto& [name, expected] : std::initializer_list<std::pair<std::string, const char*>>{
             {"tcp-listen://127.0.0.1:" + port, "is in use by another program"},
             {"udp://127.0.0.1:" + std::to_string(takenDatagrams.address().port()),
              "is in use by another program"},
             {"tcp://127.0.0.1:" + std::to_string(free), "nobody listens there (connection refused)"},
             {"tcp://no-host.invalid:5", "the host 'no-host.invalid' is not known"},
             {"udp://192.0.2.1:0", "192.0.2.1 is not an address of this machine"},
             {"/dev/ttyNONE7?baud=9600", "there is no such device; "},
             {"/dev/ttyNONE7", "no file '/dev/ttyNONE7'; "},
             {"/dev/null?baud=9600", "it is not a serial device"},
             {"/dev/ttyNONE7?baud=12345", "no serial device is set to 12345 baud"}}) {
        EXPECT_THAT(outcome([&] { openSource(name); }), HasSubstr(expected)) << name;
    }
}

/// Of both families, where the machine has them.
class LiveSourceOf : public testing::TestWithParam<const char*> {
protected:
    static bool isThere() {
        try {
            const Net::ServerSocket probe(Net::SocketAddress(GetParam(), 0));
            return true;
        } catch (const Poco::Exception&) {
            return false;
        }
    }
    std::string host() const {
        const std::string text = GetParam();
        return text.find(':') == std::string::npos ? text : "[" + text + "]";
    }
    Net::SocketAddress at(std::uint16_t port) const { return {GetParam(), port}; }
};

TEST_P(LiveSourceOf, ADatagramIsALineOrSeveral) {
    if (!isThere()) GTEST_SKIP() << "skipped: this machine has no address " << GetParam();
    const HeardNotes heard;
    const auto source = openSource("udp://" + host() + ":0", heard.notes);
    EXPECT_EQ(heard.text(), "udp://" + host() + ":PORT: waiting for datagrams\n");
    Net::DatagramSocket sender(at(0).family());
    std::string expected;
    for (const std::string text : {"a", "b\nc", "", "d\r\n", "e\n"}) {
        sender.sendTo(text.data(), static_cast<int>(text.size()), at(heard.port()));
        expected += text + (text.empty() || text.ends_with('\n') ? "" : "\n");
    }
    EXPECT_EQ(read(*source, expected.size()), expected);
}

TEST_P(LiveSourceOf, OnePeerIsServedAfterTheOtherAndNoLineIsMadeOfTwoHalves) {
    if (!isThere()) GTEST_SKIP() << "skipped: this machine has no address " << GetParam();
    const HeardNotes heard;
    const auto source = openSource("tcp-listen://" + host() + ":0", heard.notes);
    Net::StreamSocket first(at(heard.port()));
    send(first, "a\n1.2");
    first.close();
    Net::StreamSocket second(at(heard.port()));
    send(second, "5\nb\n");
    EXPECT_EQ(read(*source, 6), "a\n5\nb\n");
    const std::string name = "tcp-listen://" + host() + ":PORT: ";
    EXPECT_EQ(heard.text(), name + "waiting for a connection\n" + name + "connected with " + host() +
                                ":PORT\n" + name + "connection lost; waiting for it\n" + name +
                                "connected with " + host() + ":PORT\n");
    EXPECT_THAT(heard.notes->summary(),
                ElementsAre("the connection was lost once", "a line that a loss cut off was left out"));
}

INSTANTIATE_TEST_SUITE_P(Family, LiveSourceOf, testing::Values("127.0.0.1", "::1"),
                         [](const auto& address) { return address.index == 0 ? "IPv4" : "IPv6"; });

TEST(LiveSource, ALostServerIsConnectedAgainWhenItIsBack) {
    const HeardNotes heard;
    auto server = std::make_unique<Net::ServerSocket>(local(0));
    const std::uint16_t port = server->address().port();
    const auto source = openSource("tcp://127.0.0.1:" + std::to_string(port), heard.notes);
    {
        Net::StreamSocket peer = server->acceptConnection();
        send(peer, "a\nhal");
        EXPECT_EQ(read(*source, 2), "a\n");
        server.reset();  // it refuses for a while
    }
    auto next = std::async(std::launch::async, [&] { return read(*source, 2); });
    server = std::make_unique<Net::ServerSocket>(local(port));
    Net::StreamSocket peer = server->acceptConnection();
    send(peer, "b\n");
    EXPECT_EQ(next.get(), "b\n");
    EXPECT_EQ(
        heard.text(),
        "tcp://127.0.0.1:PORT: connection lost; waiting for it\ntcp://127.0.0.1:PORT: connected again\n");
}

TEST(LiveSource, ADatagramOfAnotherMachineIsPassedOver) {
    const HeardNotes heard;
    const auto source = openSource("udp://0.0.0.0:0", heard.notes);
    const auto sendFrom = [&](const char* host, const std::string& text) {
        Net::DatagramSocket sender(Net::SocketAddress(host, 0));
        sender.sendTo(text.data(), static_cast<int>(text.size()), local(heard.port()));
    };
    sendFrom("127.0.0.1", "a");
    sendFrom("127.0.0.2", "stranger");
    sendFrom("127.0.0.1", "b");
    EXPECT_EQ(read(*source, 4), "a\nb\n");
    EXPECT_THAT(heard.text(),
                HasSubstr("datagrams of 127.0.0.2 are passed over: the stream is that of 127.0.0.1"));
}

TEST(LiveSource, ASerialDeviceIsReadRawAndItsSettingsAreRestored) {
    const SerialPeer peer;
    const int fd = ::open(peer.device().c_str(), O_RDWR | O_NOCTTY);
    ::termios before{}, during{}, after{};
    ::tcgetattr(fd, &before);
    {
        const HeardNotes heard;
        const auto source = openSource(peer.device() + "?baud=57600&parity=even", heard.notes);
        ::tcgetattr(fd, &during);
        peer.send(
            "a\r\n\x03\x04"
            "b\n");  // what a terminal would take for a signal and an end
        EXPECT_EQ(read(*source, 7),
                  "a\r\n\x03\x04"
                  "b\n");
        EXPECT_EQ(heard.text(), peer.device() + ": waiting for lines, at 57600 baud\n");
        EXPECT_THAT(outcome([&] { openSource(peer.device()); }),
                    testing::AnyOf(HasSubstr("another program uses it"), "accepted"))
            << "the superuser may open it twice";
    }
    EXPECT_EQ(::cfgetospeed(&during), static_cast<::speed_t>(B57600));
    EXPECT_EQ(during.c_lflag & (ECHO | ICANON | ISIG), 0u);
    ::tcgetattr(fd, &after);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    ::close(fd);
}

TEST(LiveSource, ADeviceThatIsPluggedInAgainGoesOnWithAWholeLine) {
    const TemporaryFolder folder;
    const std::string device = folder.path("imu");
    auto peer = std::make_unique<SerialPeer>();
    std::filesystem::create_symlink(peer->device(), device);
    const HeardNotes heard;
    const auto source = openSource(device, heard.notes);
    peer->send("a\nhal");
    EXPECT_EQ(read(*source, 2), "a\n");
    auto next = std::async(std::launch::async, [&] { return read(*source, 2); });
    const SerialPeer again;
    std::filesystem::create_symlink(again.device(), device + ".new");
    std::filesystem::rename(device + ".new", device);
    peer.reset();
    while (heard.text().find("connected again") == std::string::npos) std::this_thread::yield();
    again.send("f\nb\n");
    EXPECT_EQ(next.get(), "b\n");
}

TEST(LiveSource, AFloodWithoutLineFeedsIsHandedOnInPieces) {
    const HeardNotes heard;
    const auto source = openSource("tcp-listen://127.0.0.1:0", heard.notes);
    const std::size_t longest = source->live()->longestLine();
    Net::StreamSocket peer(local(heard.port()));
    auto flood = std::async(std::launch::async, [&] {
        const std::string piece(1000, 'x');
        for (std::size_t sent = 0; sent < 3 * longest; sent += piece.size()) send(peer, piece);
        peer.close();
    });
    EXPECT_EQ(read(*source, longest), std::string(longest, 'x').append(read(*source, 0)));
    flood.wait();
}

TEST(LiveSource, ACloseEndsEveryWait) {
    const SerialPeer serial;
    Net::ServerSocket server(local(0));
    for (const std::string& name :
         {std::string("udp://127.0.0.1:0"), std::string("tcp-listen://127.0.0.1:0"),
          "tcp://127.0.0.1:" + std::to_string(server.address().port()), serial.device()}) {
        const auto source = openSource(name);
        auto waiting = std::async(std::launch::async, [&] { return read(*source, 1); });
        source->close();
        EXPECT_EQ(waiting.get(), "<end>") << name;
    }
    // Also while it tries to connect again.
    const auto source = openSource("tcp://127.0.0.1:" + std::to_string(server.address().port()));
    auto waiting = std::async(std::launch::async, [&] { return read(*source, 1); });
    server.close();
    source->close();
    EXPECT_EQ(waiting.get(), "<end>");
}

}  // namespace
}  // namespace Kavelin::RecordingIO
