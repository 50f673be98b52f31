#include "io/recording/NumberText.h"

#include <dragonbox/dragonbox.h>
#include <fast_float/fast_float.h>
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <system_error>

namespace Kavelin::RecordingIO {

namespace {

// Between these a number without an exponent is as short as one with it, or shorter, whatever its digits.
const double kLeastPlain = 1e-3;
const double kPlainBelow = 1e5;
const std::ptrdiff_t kShortestTiny = 6;  // characters: "1e-400" is read as 0

char* copy(char* into, const char* text, std::size_t size) {
    std::memcpy(into, text, size);
    return into + size;
}

char* zeros(char* into, std::size_t count) {
    std::memset(into, '0', count);
    return into + count;
}

/// @param size its absolute value, from kLeastPlain to below kPlainBelow
char* writePlain(char* into, double size) {
    const auto decimal = jkj::dragonbox::to_decimal(size, jkj::dragonbox::policy::sign::ignore);
    const fmt::format_int digits(decimal.significand);
    const int count = static_cast<int>(digits.size());
    const int point = count + decimal.exponent;  // digits before it
    if (point >= count) {
        into = copy(into, digits.data(), digits.size());
        return zeros(into, static_cast<std::size_t>(point - count));
    }
    const auto before = static_cast<std::size_t>(point > 0 ? point : 0);
    if (before == 0) *into++ = '0';
    into = copy(into, digits.data(), before);
    *into++ = '.';
    into = zeros(into, static_cast<std::size_t>(point < 0 ? -point : 0));
    return copy(into, digits.data() + before, digits.size() - before);
}

}  // namespace

char* writeNumber(char* into, double value) {
    // Next to orientations, most numbers written are flags and counts.
    if (value == 0.0 && !std::signbit(value)) {
        *into = '0';
        return into + 1;
    }
    if (value == 1.0) {
        *into = '1';
        return into + 1;
    }
    if (std::isnan(value)) return copy(into, "nan", 3);
    const double size = std::abs(value);
    if (!(size >= kLeastPlain && size < kPlainBelow))
        return std::to_chars(into, into + kLongestNumber, value).ptr;
    if (value < 0.0) *into++ = '-';
    return writePlain(into, size);
}

const char* readDecimal(const char* begin, const char* end, double& value) {
    const auto [stop, error] = fast_float::from_chars(begin, end, value);
    if (error != std::errc() || !std::isfinite(value)) return nullptr;
    return value == 0.0 && stop - begin >= kShortestTiny ? nullptr : stop;
}

}  // namespace Kavelin::RecordingIO
