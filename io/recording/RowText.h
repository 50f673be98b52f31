#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <vector>

#include "io/recording/NumberText.h"

namespace Kavelin::RecordingIO {

/// Rows of a result as text, one behind the other, in a buffer that grows.
class RowText {
public:
    /// @param size room to begin with
    explicit RowText(std::size_t size = 0) : buffer_(size) {}

    /// Appends text as it stands.
    void text(std::string_view text) {
        reserve(text.size());
        if (!text.empty()) std::memcpy(buffer_.data() + used_, text.data(), text.size());
        used_ += text.size();
    }
    /// Appends a number in shortest round-trip form, or "nan", "inf", "-inf".
    void number(double value) {
        reserve(kLongestNumber);
        used_ = static_cast<std::size_t>(writeNumber(buffer_.data() + used_, value) - buffer_.data());
    }
    /// Appends further cells of a row, each a separator and a number.
    void cells(const double* values, std::size_t count) {
        reserve(count * (1 + kLongestNumber));
        char* at = buffer_.data() + used_;
        for (std::size_t i = 0; i < count; ++i) {
            *at++ = ',';
            at = writeNumber(at, values[i]);
        }
        used_ = static_cast<std::size_t>(at - buffer_.data());
    }
    /// The same for cells without a value.
    void emptyCells(std::size_t count) {
        reserve(count);
        std::fill_n(buffer_.data() + used_, count, ',');
        used_ += count;
    }
    void endRow() { text("\n"); }

    std::string_view view() const { return {buffer_.data(), used_}; }
    std::size_t size() const { return used_; }
    /// Drops what lies behind.
    void cut(std::size_t size) { used_ = size; }

private:
    void reserve(std::size_t size) {
        if (buffer_.size() - used_ < size) [[unlikely]]
            buffer_.resize(2 * buffer_.size() + size);
    }

    std::vector<char> buffer_;
    std::size_t used_ = 0;
};

}  // namespace Kavelin::RecordingIO
