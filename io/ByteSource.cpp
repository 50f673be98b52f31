#include "io/ByteSource.h"

#include <Poco/Exception.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

namespace Kavelin::RecordingIO {

namespace {

std::string reason(int error) { return std::strerror(error); }

/// Owns a descriptor; closes it unless it is standard input.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ > STDIN_FILENO) ::close(fd_);
    }
    int get() const { return fd_; }

private:
    int fd_;
};

/// Bytes as they stand in the file.
class FileSource : public ByteSource {
public:
    /// @param mayWait whether reading may have to wait for somebody else: for a pipe, a terminal, a socket.
    FileSource(int fd, std::string path, std::uint64_t total, bool mayWait)
        : descriptor_(fd), path_(std::move(path)), total_(total) {
        if (mayWait) closed_.emplace(::eventfd(0, EFD_CLOEXEC));
    }

    std::size_t read(char* into, std::size_t size) override {
        for (;;) {
            if (closed_ && waitIsOver()) return 0;
            const ::ssize_t count = ::read(descriptor_.get(), into, size);
            if (count >= 0) {
                consumed_ += static_cast<std::uint64_t>(count);
                return static_cast<std::size_t>(count);
            }
            if (errno != EINTR) throw Poco::ReadFileException("cannot read '" + path_ + "'", reason(errno));
        }
    }

    void close() override {
        const std::uint64_t one = 1;
        if (closed_ && ::write(closed_->get(), &one, sizeof one) < 0) return;  // it has been closed before
    }
    std::uint64_t consumed() const override { return consumed_; }
    std::uint64_t total() const override { return total_; }

private:
    /// Waits for bytes.  @return whether it was closed instead.
    bool waitIsOver() const {
        ::pollfd events[] = {{closed_->get(), POLLIN, 0}, {descriptor_.get(), POLLIN, 0}};
        while (::poll(events, 2, -1) < 0 && errno == EINTR) {
        }
        return events[0].revents != 0;
    }

    Descriptor descriptor_;
    std::string path_;
    std::uint64_t total_;
    std::uint64_t consumed_ = 0;
    std::optional<Descriptor> closed_;  // an event; absent where nothing waits
};

/// The decompressed bytes of a gzip file, of one member or of several in a row.
class GzipSource : public ByteSource {
public:
    GzipSource(std::unique_ptr<ByteSource> packed, std::string path)
        : packed_(std::move(packed)), path_(std::move(path)), input_(kInputSize, '\0') {
        if (::inflateInit2(&stream_, 15 + 16) != Z_OK)
            throw Poco::ReadFileException("cannot start zlib for", path_);
    }
    GzipSource(const GzipSource&) = delete;
    GzipSource& operator=(const GzipSource&) = delete;
    ~GzipSource() override { ::inflateEnd(&stream_); }

    std::size_t read(char* into, std::size_t size) override {
        stream_.next_out = reinterpret_cast<Bytef*>(into);
        stream_.avail_out = static_cast<uInt>(std::min<std::size_t>(size, kInputSize));
        const auto wanted = stream_.avail_out;
        while (!ended_ && stream_.avail_out == wanted) {
            if (stream_.avail_in == 0 && !refill()) break;
            step();
        }
        return wanted - stream_.avail_out;
    }

    void close() override { packed_->close(); }
    std::uint64_t consumed() const override { return packed_->consumed(); }
    std::uint64_t total() const override { return packed_->total(); }

private:
    static constexpr std::size_t kInputSize = std::size_t{1} << 18;

    bool refill() {
        const std::size_t count = packed_->read(input_.data(), input_.size());
        stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
        stream_.avail_in = static_cast<uInt>(count);
        if (count > 0) return true;
        ended_ = true;
        if (betweenMembers_) return false;
        throw Poco::ReadFileException("'" + path_ + "' ends in the middle of its compressed data");
    }

    void step() {
        if (betweenMembers_) {
            ::inflateReset(&stream_);
            betweenMembers_ = false;
        }
        const int status = ::inflate(&stream_, Z_NO_FLUSH);
        if (status == Z_STREAM_END) {
            betweenMembers_ = true;
        } else if (status != Z_OK && status != Z_BUF_ERROR) {
            ended_ = true;
            throw Poco::ReadFileException("'" + path_ + "' is damaged",
                                          std::string(stream_.msg ? stream_.msg : "no valid gzip data"));
        }
    }

    std::unique_ptr<ByteSource> packed_;
    std::string path_;
    std::string input_;
    ::z_stream stream_{};
    bool betweenMembers_ = false;
    bool ended_ = false;
};

/// Hands out the first bytes, which were read to look at them, before the rest.
class PrefixedSource : public ByteSource {
public:
    PrefixedSource(std::string prefix, std::unique_ptr<ByteSource> rest)
        : prefix_(std::move(prefix)), rest_(std::move(rest)) {}

    std::size_t read(char* into, std::size_t size) override {
        if (used_ == prefix_.size()) return rest_->read(into, size);
        const std::size_t count = std::min(size, prefix_.size() - used_);
        std::memcpy(into, prefix_.data() + used_, count);
        used_ += count;
        return count;
    }

    void close() override { rest_->close(); }
    std::uint64_t consumed() const override { return rest_->consumed(); }
    std::uint64_t total() const override { return rest_->total(); }

private:
    std::string prefix_;
    std::size_t used_ = 0;
    std::unique_ptr<ByteSource> rest_;
};

class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}

    std::size_t read(char* into, std::size_t size) override {
        const std::size_t count = std::min(size, bytes_.size() - used_);
        if (count > 0) std::memcpy(into, bytes_.data() + used_, count);
        used_ += count;
        return count;
    }

    std::uint64_t consumed() const override { return used_; }
    std::uint64_t total() const override { return bytes_.size(); }

private:
    std::string_view bytes_;
    std::size_t used_ = 0;
};

std::unique_ptr<ByteSource> unpackedWhereGzip(std::unique_ptr<ByteSource> file, const std::string& path) {
    std::string magic(2, '\0');
    std::size_t have = 0;
    while (have < magic.size()) {
        const std::size_t count = file->read(magic.data() + have, magic.size() - have);
        if (count == 0) break;
        have += count;
    }
    magic.resize(have);
    const bool gzip = magic == "\x1f\x8b";
    auto whole = std::make_unique<PrefixedSource>(std::move(magic), std::move(file));
    if (gzip) return std::make_unique<GzipSource>(std::move(whole), path);
    return whole;
}

}  // namespace

std::unique_ptr<ByteSource> openSource(const std::string& path) {
    if (path == "-") {
        struct ::stat status {};
        const bool ordinary = ::fstat(STDIN_FILENO, &status) == 0 && S_ISREG(status.st_mode);
        return unpackedWhereGzip(std::make_unique<FileSource>(STDIN_FILENO, "standard input", 0, !ordinary),
                                 path);
    }
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) throw Poco::FileNotFoundException("no file '" + path + "'");
    if (fd < 0) throw Poco::OpenFileException("cannot open '" + path + "'", reason(errno));
    struct ::stat status {};
    const bool known = ::fstat(fd, &status) == 0;
    if (known && S_ISDIR(status.st_mode)) {
        ::close(fd);
        throw Poco::OpenFileException("cannot read '" + path + "'", std::string("it is a folder"));
    }
    const bool ordinary = known && S_ISREG(status.st_mode);
    const std::uint64_t total = ordinary ? static_cast<std::uint64_t>(status.st_size) : 0;
    return unpackedWhereGzip(std::make_unique<FileSource>(fd, path, total, !ordinary), path);
}

std::unique_ptr<ByteSource> memorySource(std::string_view bytes) {
    return std::make_unique<MemorySource>(bytes);
}

}  // namespace Kavelin::RecordingIO
