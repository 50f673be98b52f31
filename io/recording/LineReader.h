#pragma once

#include <Poco/Exception.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

/// Cuts a byte source into lines, reading it in big blocks; memory is one block, whatever the file's length.
class LineReader {
public:
    static constexpr std::size_t kBlockSize = std::size_t{1} << 19;

    explicit LineReader(std::unique_ptr<ByteSource> source, std::size_t blockSize = kBlockSize);

    /// Next line without its line feed and a carriage return before it; valid until the next call.
    /// @return false at the end.  Raises what the source raises, and Poco::DataFormatException for a line
    /// longer than a block (the line is passed over by the next call).
    bool next(std::string_view& line);

    /// Whether the next line has been read already, up to its line feed, so that `next` will not read.
    bool hasLine();

    /// Makes the lines returned last the next ones again; once, and before anything else is asked.
    /// @param failure what the call after them raised, to be raised there again; null: nothing
    void giveBack(std::vector<std::string> lines, std::unique_ptr<Poco::Exception> failure);
    /// What has been read after the line last returned. Valid as long as that line.
    std::string_view ahead() const { return {block_.data() + begin_, end_ - begin_}; }

    /// Share of the bytes read so far that lies before the next line: 1 where nothing has been read ahead.
    double usedShare() const {
        return read_ == 0 ? 1.0 : 1.0 - static_cast<double>(end_ - begin_) / static_cast<double>(read_);
    }

    /// Makes a waiting read, and all later ones, return the end. [any thread]
    void close() { source_->close(); }

    /// Number of the line last returned, from 1.
    std::uint64_t number() const { return number_; }
    /// False when the line last returned ended with the file and not with a line feed.
    bool wasTerminated() const { return terminated_; }
    const ByteSource& source() const { return *source_; }
    ByteSource& source() { return *source_; }
    /// How often the source was read.
    std::uint64_t reads() const { return reads_; }
    /// How many line feeds stand in what has been read after the line last returned.
    std::size_t feedsAhead() const;

private:
    bool fill();
    void take(std::string_view& line, std::size_t stop, std::size_t next);
    void skipRestOfLine();
    bool nextGivenBack(std::string_view& line);

    std::unique_ptr<ByteSource> source_;
    std::vector<char> block_;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::size_t feed_ = 0;    // no line feed lies between `begin_` and here
    std::uint64_t read_ = 0;  // bytes, of the whole source
    std::uint64_t number_ = 0;
    std::uint64_t reads_ = 0;
    bool terminated_ = true;
    std::vector<std::string> givenBack_;  // returned before anything else
    std::size_t nextGiven_ = 0;
    bool wasLastTerminated_ = true;  // the last of them
    std::unique_ptr<Poco::Exception> failure_;
};

}  // namespace Kavelin::RecordingIO
