#include "cli/TimeInterval.h"

#include <charconv>
#include <cmath>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

bool readNumber(const std::string& text, double& number) {
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && std::isfinite(number);
}

}  // namespace

TimeInterval timeInterval(const std::string& option, const std::string& text) {
    const std::size_t dots = text.find("..");
    TimeInterval interval{.text = text};
    const bool isRead = dots != std::string::npos && readNumber(text.substr(0, dots), interval.begin) &&
                        readNumber(text.substr(dots + 2), interval.end);
    if (!isRead || !(interval.begin < interval.end)) {
        throw UsageError(option + " '" + text +
                         "': two times in seconds are expected, as in 1..3, the earlier one first");
    }
    return interval;
}

}  // namespace Kavelin::Cli
