#include "io/files/Utf16Source.h"

#include <algorithm>
#include <cstring>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 16;
constexpr char32_t kMark = 0xFEFF;
constexpr char32_t kReplacement = 0xFFFD;

char32_t unitAt(std::string_view bytes, std::size_t at, Utf16 order) {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    return order == Utf16::kLittleEndian ? static_cast<char32_t>(second << 8 | first)
                                         : static_cast<char32_t>(first << 8 | second);
}

bool isHighHalf(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool isLowHalf(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

bool looksLike(std::string_view first, Utf16 order) {
    std::size_t ascii = 0;
    const std::size_t units = std::min<std::size_t>(first.size(), 512) / 2;
    for (std::size_t i = 0; i < units; ++i) {
        const char32_t unit = unitAt(first, 2 * i, order);
        if ((unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') || unit >= 0xFFFE) return false;
        ascii += unit < 0x7F;
    }
    return units >= 2 && 2 * ascii > units;
}

}  // namespace

std::optional<Utf16> recogniseUtf16(std::string_view first) {
    if (first.starts_with("\xFF\xFE") || looksLike(first, Utf16::kLittleEndian)) return Utf16::kLittleEndian;
    if (first.starts_with("\xFE\xFF") || looksLike(first, Utf16::kBigEndian)) return Utf16::kBigEndian;
    return std::nullopt;
}

std::size_t Utf16Source::read(char* into, std::size_t size) {
    while (used_ == text_.size() && convertSome()) {
    }
    const std::size_t count = std::min(size, text_.size() - used_);
    std::memcpy(into, text_.data() + used_, count);
    used_ += count;
    return count;
}

/// Converts the bytes that come next.  @return false at the end.
bool Utf16Source::convertSome() {
    text_.clear();
    used_ = 0;
    if (ended_) return false;
    std::string bytes = std::exchange(oddByte_, {});
    const std::size_t odd = bytes.size();
    bytes.resize(odd + kBlock);
    bytes.resize(odd + units_->read(bytes.data() + odd, kBlock));
    ended_ = bytes.size() == odd;
    if (ended_ && (odd > 0 || highHalf_)) put(kReplacement);
    if (ended_) return !text_.empty();
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) take(unitAt(bytes, i, order_));
    if (bytes.size() % 2 != 0) oddByte_ = bytes.back();
    return true;
}

void Utf16Source::take(char32_t unit) {
    const bool isMark = std::exchange(isFirst_, false) && unit == kMark;
    if (isMark) return;
    const char32_t high = std::exchange(highHalf_, 0);
    if (high && isLowHalf(unit)) return put(0x10000 + ((high - 0xD800) << 10) + (unit - 0xDC00));
    if (high) put(kReplacement);
    if (isHighHalf(unit))
        highHalf_ = unit;
    else
        put(isLowHalf(unit) ? kReplacement : unit);
}

void Utf16Source::put(char32_t character) {
    const auto add = [this](char32_t byte) { text_ += static_cast<char>(static_cast<unsigned char>(byte)); };
    const auto tail = [&](int shift) { add(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) return add(character);
    if (character < 0x800) {
        add(0xC0 | character >> 6);
    } else if (character < 0x10000) {
        add(0xE0 | character >> 12);
        tail(6);
    } else {
        add(0xF0 | character >> 18);
        tail(12);
        tail(6);
    }
    tail(0);
}

}  // namespace Kavelin::RecordingIO
