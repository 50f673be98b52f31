#pragma once

#include <cstddef>

namespace Kavelin::RecordingIO {

// Numbers as text, and back: most of the cost of a recording, so the fast libraries for it stand behind these two.

inline constexpr std::size_t kLongestNumber = 32;

/// Shortest text that reads back as the same double, as std::to_chars gives it, at `into` (room for
/// `kLongestNumber`); "nan" without a sign.  @return its end.
char* writeNumber(char* into, double value);

/// Reads the decimal number that a text begins with.
/// @return its end; null where there is none, or none that a double holds: infinite, or too small.
const char* readDecimal(const char* begin, const char* end, double& value);

}  // namespace Kavelin::RecordingIO
