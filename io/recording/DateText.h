#pragma once

#include <optional>
#include <string_view>

namespace Kavelin::RecordingIO {

/// Seconds since 1970-01-01 00:00 UTC of a date and time as ISO 8601 writes it: "2021-08-20T20:21:13.829Z",
/// with a blank for the T, a comma for the point, an offset "+08:00" or "+0800", or none (then taken as UTC).
/// Empty for any other text.  Never throws.
std::optional<double> secondsOfDate(std::string_view text);

}  // namespace Kavelin::RecordingIO
