#include "cli/fleet/StateDifference.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kShortestRun = 4;  // of equal bytes: shorter ones cost more than they save

void putNumber(std::string& to, std::size_t number) {
    for (; number >= 0x80; number >>= 7) to.push_back(static_cast<char>(number | 0x80));
    to.push_back(static_cast<char>(number));
}

[[noreturn]] void refuse() { throw Poco::DataFormatException("the unit's bytes are damaged"); }

std::size_t takeNumber(std::string_view& from) {
    std::size_t number = 0;
    for (unsigned shift = 0; shift < 63 && !from.empty(); shift += 7) {
        const auto byte = static_cast<unsigned char>(from.front());
        from.remove_prefix(1);
        number |= std::size_t{byte & 0x7fU} << shift;
        if ((byte & 0x80U) == 0) return number;
    }
    refuse();
}

/// From `at` on: the first place where they differ.
std::size_t endOfEqual(std::string_view a, std::string_view b, std::size_t at) {
    const std::size_t end = std::min(a.size(), b.size());
    std::uint64_t left = 0, right = 0;
    for (; at + sizeof left <= end; at += sizeof left) {
        std::memcpy(&left, a.data() + at, sizeof left);
        std::memcpy(&right, b.data() + at, sizeof right);
        if (left != right) break;
    }
    while (at < end && a[at] == b[at]) ++at;
    return at;
}

/// The first place from `at` on where a run of equal bytes begins that is worth to be left out.
std::size_t endOfUnlike(std::string_view a, std::string_view b, std::size_t at) {
    const std::size_t end = std::min(a.size(), b.size());
    for (std::size_t equal = 0; at < end; ++at) {
        equal = a[at] == b[at] ? equal + 1 : 0;
        if (equal == kShortestRun) return at + 1 - kShortestRun;
    }
    return b.size();
}

}  // namespace

void appendDifference(std::string& to, std::string_view base, std::string_view bytes) {
    to.reserve(to.size() + bytes.size() / 2);
    putNumber(to, bytes.size());
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t unlike = endOfEqual(base, bytes, at);
        const std::size_t equal = endOfUnlike(base, bytes, unlike);
        putNumber(to, unlike - at);
        putNumber(to, equal - unlike);
        to.append(bytes.substr(unlike, equal - unlike));
        at = equal;
    }
}

std::string applyDifference(std::string_view base, std::string_view difference, std::size_t longest) {
    const std::size_t size = takeNumber(difference);
    if (size > longest) refuse();
    std::string bytes;
    bytes.reserve(size);
    while (bytes.size() < size) {
        const std::size_t equal = takeNumber(difference);
        const std::size_t unlike = takeNumber(difference);
        const bool fits = equal <= base.size() && bytes.size() <= base.size() - equal;
        if ((equal > 0 && !fits) || unlike > difference.size() || equal + unlike == 0 ||
            unlike > size - bytes.size() || equal > size - bytes.size() - unlike)
            refuse();
        if (equal > 0) bytes.append(base.substr(bytes.size(), equal));
        bytes.append(difference.substr(0, unlike));
        difference.remove_prefix(unlike);
    }
    if (!difference.empty()) refuse();
    return bytes;
}

}  // namespace Kavelin::Cli
