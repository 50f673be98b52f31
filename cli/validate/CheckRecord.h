#pragma once

#include <fmt/format.h>

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace Kavelin::Cli {

/// How a check ended. `running`: it did not come to its end.
enum class Outcome : int { running, passed, failed, crashed, timedOut, skipped };

const char* outcomeName(Outcome outcome);

/// A text of bounded length in place, so that it can lie in memory that processes share.
template <std::size_t kSize>
class PlacedText {
public:
    void operator=(std::string_view text) { set("{}", text); }
    /// Takes nothing from the heap for texts and whole numbers.
    template <class... Parts>
    void set(fmt::format_string<Parts...> format, Parts&&... parts) {
        const auto end = fmt::format_to_n(text_.data(), kSize - 1, format, std::forward<Parts>(parts)...).out;
        *end = '\0';
    }
    std::string str() const { return std::string(text_.data()); }

private:
    std::array<char, kSize> text_;
};

/// What the process of a check leaves for the one that started it. All zero is the beginning.
struct CheckRecord {
    Outcome outcome;
    PlacedText<512> step;  ///< what the check is at; stays behind when it crashes
    PlacedText<512> where;
    PlacedText<2048> wrong;
    PlacedText<512> expected;
};

/// Records in memory that child processes share with this one.
class SharedRecords {
public:
    /// @throws Poco::SystemException when there is no memory.
    explicit SharedRecords(std::size_t count);
    ~SharedRecords();
    SharedRecords(const SharedRecords&) = delete;
    SharedRecords& operator=(const SharedRecords&) = delete;

    CheckRecord& operator[](std::size_t i) { return records_[i]; }

private:
    std::span<CheckRecord> records_;
};

}  // namespace Kavelin::Cli
