#include "io/files/LiveAddress.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace Kavelin::RecordingIO {

namespace {

struct Scheme {
    LiveAddress::Kind kind;
    std::string_view name;
    const char* form;
};
constexpr Scheme kSchemes[] = {
    {LiveAddress::Kind::kUdp, "udp",
     "udp://ADDRESS:PORT, such as udp://0.0.0.0:5555 for all addresses of this machine"},
    {LiveAddress::Kind::kTcp, "tcp", "tcp://HOST:PORT"},
    {LiveAddress::Kind::kTcpListen, "tcp-listen",
     "tcp-listen://ADDRESS:PORT, such as tcp-listen://0.0.0.0:5555 for all addresses of this machine"}};

constexpr std::string_view kMark = "://";
constexpr std::string_view kDevices = "/dev/";

[[noreturn]] void refuse(std::string_view name, const std::string& what) {
    throw Poco::SyntaxException(fmt::format("'{}': {}", name, what));
}

template <class Number>
bool readWhole(std::string_view text, Number& value) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end;
}

/// The part in front of "://"; empty where a name has none.
std::string_view schemeOf(std::string_view name) {
    const std::size_t mark = name.find(kMark);
    if (mark == std::string_view::npos || mark == 0) return {};
    const std::string_view scheme = name.substr(0, mark);
    const bool isWord = std::ranges::all_of(scheme, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '+';
    });
    return isWord ? scheme : std::string_view();
}

LiveAddress networkAddress(std::string_view name, std::string_view scheme) {
    const auto known = std::ranges::find(kSchemes, scheme, &Scheme::name);
    if (known == std::end(kSchemes))
        refuse(name,
               fmt::format("'{}' is not read; there are udp://, tcp://, tcp-listen:// and serial devices, "
                           "/dev/NAME?baud=115200",
                           scheme));
    LiveAddress address;
    address.kind = known->kind;
    std::string_view rest = name.substr(scheme.size() + kMark.size());
    const std::string form = std::string("expected is ") + known->form;
    if (rest.ends_with('/')) rest.remove_suffix(1);
    const std::size_t colon = rest.rfind(':');
    if (colon == std::string_view::npos || rest.ends_with(']')) refuse(name, "the port is missing: " + form);
    std::string_view host = rest.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']'))
        host = host.substr(1, host.size() - 2);
    else if (host.find(':') != std::string_view::npos)
        refuse(name, "an address of IPv6 stands in brackets: [::1]");
    address.host = host;
    const std::string_view port = rest.substr(colon + 1);
    if (!readWhole(port, address.port))
        refuse(name, fmt::format("'{}' is not a port, a number up to 65535: {}", port, form));
    const bool connects = address.kind == LiveAddress::Kind::kTcp;
    if (connects && host.empty()) refuse(name, "the host is missing: " + form);
    if (connects && address.port == 0) refuse(name, "a port to connect to is a number from 1: " + form);
    return address;
}

void takeSetting(std::string_view name, std::string_view setting, LiveAddress& address) {
    const std::size_t equals = std::min(setting.find('='), setting.size());
    const std::string_view key = setting.substr(0, equals);
    const std::string_view value = setting.substr(std::min(equals + 1, setting.size()));
    if (key == "baud") {
        if (!readWhole(value, address.baud) || address.baud == 0)
            refuse(name, fmt::format("'{}' is not a rate in baud, such as 115200", value));
    } else if (key == "parity") {
        using Parity = LiveAddress::Parity;
        if (value != "none" && value != "even" && value != "odd")
            refuse(name, fmt::format("parity '{}': there are none, even and odd", value));
        address.parity = value == "even" ? Parity::kEven : value == "odd" ? Parity::kOdd : Parity::kNone;
    } else {
        refuse(name, fmt::format("'{}' is not a setting of a serial device; there are baud and parity: "
                                 "/dev/ttyACM0?baud=115200&parity=even",
                                 key));
    }
}

LiveAddress serialAddress(std::string_view name, std::size_t mark) {
    LiveAddress address;
    address.kind = LiveAddress::Kind::kSerial;
    address.device = name.substr(0, mark);
    std::string_view settings = name.substr(mark + 1);
    while (!settings.empty()) {
        const std::size_t end = std::min(settings.find('&'), settings.size());
        takeSetting(name, settings.substr(0, end), address);
        settings.remove_prefix(std::min(end + 1, settings.size()));
    }
    return address;
}

}  // namespace

std::optional<LiveAddress> liveAddress(std::string_view name) {
    const std::size_t mark = name.find('?');
    if (name.starts_with(kDevices) && mark != std::string_view::npos) return serialAddress(name, mark);
    const std::string_view scheme = schemeOf(name);
    if (scheme.empty()) return std::nullopt;
    return networkAddress(name, scheme);
}

bool isLiveAddress(std::string_view name) {
    return !schemeOf(name).empty() ||
           (name.starts_with(kDevices) && name.find('?') != std::string_view::npos);
}

std::string textOf(const LiveAddress& address) {
    if (address.kind == LiveAddress::Kind::kSerial) return address.device;
    const bool isLong = address.host.find(':') != std::string::npos;
    return fmt::format("{}://{}{}{}:{}", std::ranges::find(kSchemes, address.kind, &Scheme::kind)->name,
                       isLong ? "[" : "", address.host, isLong ? "]" : "", address.port);
}

}  // namespace Kavelin::RecordingIO
