#include "io/recording/LineReader.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace Kavelin::RecordingIO {

LineReader::LineReader(std::unique_ptr<ByteSource> source, std::size_t blockSize)
    : source_(std::move(source)), block_(blockSize) {}

bool LineReader::next(std::string_view& line) {
    if (nextGiven_ < givenBack_.size() || failure_) [[unlikely]]
        return nextGivenBack(line);
    while (!hasLine()) {
        const std::size_t pending = end_ - begin_;
        if (pending == block_.size()) {
            skipRestOfLine();
            throw Poco::DataFormatException("a line is longer than " + std::to_string(block_.size()) +
                                            " bytes");
        }
        if (fill()) continue;
        if (pending == 0) return false;
        terminated_ = false;
        take(line, end_, end_);
        return true;
    }
    terminated_ = true;
    take(line, feed_, feed_ + 1);
    return true;
}

std::size_t LineReader::feedsAhead() const {
    const std::string_view text = ahead();
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool LineReader::hasLine() {
    if (nextGiven_ < givenBack_.size() || failure_) [[unlikely]]
        return true;
    if (feed_ < end_ && block_[feed_] == '\n') return true;
    const void* found = std::memchr(block_.data() + feed_, '\n', end_ - feed_);
    feed_ = found ? static_cast<std::size_t>(static_cast<const char*>(found) - block_.data()) : end_;
    return found != nullptr;
}

void LineReader::take(std::string_view& line, std::size_t stop, std::size_t next) {
    line = {block_.data() + begin_, stop - begin_};
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    begin_ = feed_ = next;
    ++number_;
}

void LineReader::giveBack(std::vector<std::string> lines, std::unique_ptr<Poco::Exception> failure) {
    number_ -= lines.size() + (failure ? 1 : 0);
    wasLastTerminated_ = terminated_ || failure;
    givenBack_ = std::move(lines);
    nextGiven_ = 0;
    failure_ = std::move(failure);
}

bool LineReader::nextGivenBack(std::string_view& line) {
    ++number_;
    if (nextGiven_ == givenBack_.size()) {
        const std::unique_ptr<Poco::Exception> failure = std::move(failure_);
        failure->rethrow();
    }
    line = givenBack_[nextGiven_++];
    terminated_ = nextGiven_ < givenBack_.size() || wasLastTerminated_;
    return true;
}

/// Moves pending bytes to the front of the block and reads more after them.
bool LineReader::fill() {
    const std::size_t pending = end_ - begin_;
    if (begin_ > 0 && pending > 0) std::memmove(block_.data(), block_.data() + begin_, pending);
    feed_ -= begin_;
    begin_ = 0;
    end_ = pending;
    const std::size_t count = source_->read(block_.data() + end_, block_.size() - end_);
    end_ += count;
    read_ += count;
    ++reads_;
    return count > 0;
}

void LineReader::skipRestOfLine() {
    ++number_;
    for (;;) {
        begin_ = end_ = feed_ = 0;
        if (!fill()) return;
        if (!hasLine()) continue;
        begin_ = ++feed_;
        return;
    }
}

}  // namespace Kavelin::RecordingIO
