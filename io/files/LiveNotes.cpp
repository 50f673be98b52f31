#include "io/files/LiveNotes.h"

#include <fmt/format.h>

#include <utility>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::uint64_t kTold = 10;
constexpr std::size_t kMostKept = 100;

}  // namespace

void LiveNotes::setListener(Listener listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
    if (!listener_) return;
    for (const std::string& note : std::exchange(kept_, {})) listener_(note);
}

void LiveNotes::tell(const std::string& note) {
    const std::lock_guard lock(mutex_);
    pass(note);
}

void LiveNotes::tell(Event event, const std::string& note) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t count = ++counts_[static_cast<std::size_t>(event)];
    if (count <= kTold) pass(count < kTold ? note : note + " (the last time that this is told)");
}

void LiveNotes::count(Event event) {
    const std::lock_guard lock(mutex_);
    ++counts_[static_cast<std::size_t>(event)];
}

std::vector<std::string> LiveNotes::summary() const {
    static constexpr const char* kTexts[][2] = {
        {"the connection was lost once", "the connection was lost {} times"},
        {"a line that a loss cut off was left out", "{} lines that a loss cut off were left out"},
        {"a datagram of another sender was passed over", "{} datagrams of other senders were passed over"}};
    const std::lock_guard lock(mutex_);
    std::vector<std::string> sentences;
    for (std::size_t i = 0; i < std::size(kTexts); ++i) {
        if (counts_[i] > 0)
            sentences.push_back(fmt::format(fmt::runtime(kTexts[i][counts_[i] > 1]), counts_[i]));
    }
    return sentences;
}

void LiveNotes::pass(const std::string& note) {
    if (listener_)
        listener_(note);
    else if (kept_.size() < kMostKept)
        kept_.push_back(note);
}

}  // namespace Kavelin::RecordingIO
