#include "io/LineReader.h"

#include <Poco/Exception.h>

#include <cstring>
#include <string>

namespace Kavelin::RecordingIO {

LineReader::LineReader(std::unique_ptr<ByteSource> source, std::size_t blockSize)
    : source_(std::move(source)), block_(blockSize) {}

bool LineReader::next(std::string_view& line) {
    std::size_t searched = begin_;
    for (;;) {
        const void* found = std::memchr(block_.data() + searched, '\n', end_ - searched);
        if (found) {
            const auto stop = static_cast<std::size_t>(static_cast<const char*>(found) - block_.data());
            line = {block_.data() + begin_, stop - begin_};
            begin_ = stop + 1;
            terminated_ = true;
            break;
        }
        const std::size_t pending = end_ - begin_;
        if (pending == block_.size()) {
            skipRestOfLine();
            throw Poco::DataFormatException("a line is longer than " + std::to_string(block_.size()) +
                                            " bytes");
        }
        if (!fill()) {
            if (pending == 0) return false;
            line = {block_.data() + begin_, pending};
            begin_ = end_;
            terminated_ = false;
            break;
        }
        searched = begin_ + pending;
    }
    ++number_;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return true;
}

/// Moves what is pending to the front of the block and reads behind it.
bool LineReader::fill() {
    const std::size_t pending = end_ - begin_;
    if (begin_ > 0 && pending > 0) std::memmove(block_.data(), block_.data() + begin_, pending);
    begin_ = 0;
    end_ = pending;
    const std::size_t count = source_->read(block_.data() + end_, block_.size() - end_);
    end_ += count;
    return count > 0;
}

void LineReader::skipRestOfLine() {
    ++number_;
    for (;;) {
        begin_ = end_ = 0;
        if (!fill()) return;
        const void* found = std::memchr(block_.data(), '\n', end_);
        if (!found) continue;
        begin_ = static_cast<std::size_t>(static_cast<const char*>(found) - block_.data()) + 1;
        return;
    }
}

}  // namespace Kavelin::RecordingIO
