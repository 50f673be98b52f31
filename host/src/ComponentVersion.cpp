#include <Kavelin/Core/ComponentVersion.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <charconv>

namespace Kavelin::Core {

ComponentVersion::ComponentVersion(const std::string& text) : text_(text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    while (true) {
        unsigned part = 0;
        const auto [next, error] = std::from_chars(at, end, part);
        if (error != std::errc{}) {
            throw Poco::SyntaxException(
                "'" + text + "' is not a version: expected are numbers separated by dots, as in 1.3.1");
        }
        parts_.push_back(part);
        if (next == end) break;
        if (*next != '.') {
            throw Poco::SyntaxException(
                "'" + text + "' is not a version: expected are numbers separated by dots, as in 1.3.1");
        }
        at = next + 1;
    }
    while (parts_.size() > 1 && parts_.back() == 0) parts_.pop_back();
}

std::strong_ordering ComponentVersion::operator<=>(const ComponentVersion& other) const {
    return std::lexicographical_compare_three_way(parts_.begin(), parts_.end(), other.parts_.begin(),
                                                  other.parts_.end());
}

bool ComponentVersion::operator==(const ComponentVersion& other) const { return parts_ == other.parts_; }

}  // namespace Kavelin::Core
