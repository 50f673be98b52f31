#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Kavelin::RecordingIO {

/// Where a live stream comes from.
struct LiveAddress {
    enum class Kind {
        kUdp,        ///< datagrams that are sent to this machine
        kTcp,        ///< a server to connect to
        kTcpListen,  ///< one that connects to this machine, after another
        kSerial
    };
    enum class Parity { kNone, kEven, kOdd };

    Kind kind = Kind::kUdp;
    std::string host =
        {};  ///< a name or an address, without the brackets of IPv6; empty: all of this machine
    std::uint16_t port = 0;   ///< 0: one that is free
    std::string device = {};  ///< path of a serial device
    unsigned baud = 115200;
    Parity parity = Parity::kNone;
};

/// Reads "udp://ADDRESS:PORT", "tcp://HOST:PORT", "tcp-listen://ADDRESS:PORT", and
/// "/dev/NAME?baud=115200&parity=even"; an address of IPv6 stands in brackets.
/// @return nothing for the name of a file, or of a device without a setting
/// Raises Poco::SyntaxException for an address that cannot be read: what is wrong, and what would be right.
std::optional<LiveAddress> liveAddress(std::string_view name);

/// Whether a name is, or is meant to be, an address of a live stream and not a path.  Never throws.
bool isLiveAddress(std::string_view name);

/// "udp://[::1]:5000"
std::string textOf(const LiveAddress& address);

}  // namespace Kavelin::RecordingIO
