#include <Poco/Exception.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "io/files/LiveAddress.h"

/// Any text is an address, a path, or is refused; what is an address of the network stays the same when it is written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kavelin::RecordingIO;
    const std::string_view text{reinterpret_cast<const char*>(data), size};
    try {
        const auto address = liveAddress(text);
        if (address.has_value() != isLiveAddress(text)) std::abort();
        if (!address || address->kind == LiveAddress::Kind::kSerial) return 0;
        if (textOf(*liveAddress(textOf(*address))) != textOf(*address)) std::abort();
    } catch (const Poco::SyntaxException&) {
        if (!isLiveAddress(text)) std::abort();
    }
    return 0;
}
