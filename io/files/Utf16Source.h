#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

enum class Utf16 { kLittleEndian, kBigEndian };

/// Whether a text that begins so is in UTF-16: by its mark or, without one, since the units of two bytes are characters of text,
/// most of them ASCII.
std::optional<Utf16> recogniseUtf16(std::string_view first);

/// A text in UTF-16 as UTF-8, without the mark. Half of a pair, and half of a unit at the end, become U+FFFD.
class Utf16Source : public ByteSource {
public:
    Utf16Source(std::unique_ptr<ByteSource> units, Utf16 order) : units_(std::move(units)), order_(order) {}

    std::size_t read(char* into, std::size_t size) override;

private:
    bool convertSome();
    void take(char32_t unit);
    void put(char32_t character);

    std::unique_ptr<ByteSource> units_;
    Utf16 order_;
    std::string text_;  // converted, from used_ on not read yet
    std::size_t used_ = 0;
    char32_t highHalf_ = 0;  // of a pair whose second half is still to come; 0 without one
    std::string oddByte_;    // the first byte of a unit that is cut in two
    bool isFirst_ = true;
    bool ended_ = false;
};

}  // namespace Kavelin::RecordingIO
