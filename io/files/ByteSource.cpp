#include "io/files/ByteSource.h"

#include <Poco/Exception.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>

#include "io/files/Descriptor.h"
#include "io/files/ForeignFormat.h"
#include "io/files/LiveSource.h"
#include "io/files/Utf16Source.h"

namespace Kavelin::RecordingIO {

namespace {

std::string reason(int error) { return std::strerror(error); }

/// Bytes as they stand in the file.
class FileSource : public ByteSource {
public:
    /// @param mayWait whether reading may have to wait for another program: for a pipe, a terminal, a socket.
    FileSource(int fd, std::string path, std::uint64_t total, bool mayWait)
        : descriptor_(fd), path_(std::move(path)), total_(total) {
        if (mayWait) closed_ = std::make_shared<CloseEvent>();
    }

    std::size_t read(char* into, std::size_t size) override {
        for (;;) {
            if (closed_ && closed_->await(descriptor_.get(), POLLIN) == CloseEvent::Came::kClose) return 0;
            const ::ssize_t count = ::read(descriptor_.get(), into, size);
            if (count >= 0) {
                if (closed_) arrival_ = steadySeconds();
                consumed_ += static_cast<std::uint64_t>(count);
                return static_cast<std::size_t>(count);
            }
            if (errno != EINTR) throw Poco::ReadFileException("cannot read '" + path_ + "'", reason(errno));
        }
    }

    std::function<void()> closer() override {
        if (!closed_) return {};
        return [closed = closed_] { closed->set(); };
    }
    bool mayWait() const override { return closed_ != nullptr; }
    double arrival() const override { return arrival_; }
    std::uint64_t consumed() const override { return consumed_; }
    std::uint64_t total() const override { return total_; }

private:
    Descriptor descriptor_;
    std::string path_;
    std::uint64_t total_;
    std::uint64_t consumed_ = 0;
    double arrival_ = 0.0;
    std::shared_ptr<const CloseEvent> closed_;  // null where nothing waits
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

/// Hands out the first bytes, which were read for inspection, before the rest.
class PrefixedSource : public ByteSource {
public:
    PrefixedSource(std::string prefix, ByteSource& rest) : prefix_(std::move(prefix)), rest_(rest) {}

    std::size_t read(char* into, std::size_t size) override {
        if (used_ == prefix_.size()) return rest_.read(into, size);
        const std::size_t count = std::min(size, prefix_.size() - used_);
        std::memcpy(into, prefix_.data() + used_, count);
        used_ += count;
        return count;
    }

private:
    std::string prefix_;
    std::size_t used_ = 0;
    ByteSource& rest_;
};

/// Looks at a file's first bytes, when they are wanted, to see what it is.
class RecognisedSource : public ByteSource {
public:
    /// @param isUnpacked whether `file` is what gzip had compressed.
    RecognisedSource(std::unique_ptr<ByteSource> file, std::string path, bool isUnpacked = false)
        : file_(std::move(file)), path_(std::move(path)), isUnpacked_(isUnpacked) {}

    std::size_t read(char* into, std::size_t size) override {
        if (!source_) source_ = recognise();
        return source_->read(into, size);
    }

    std::function<void()> closer() override { return file_->closer(); }
    bool mayWait() const override { return file_->mayWait(); }
    double arrival() const override { return file_->arrival(); }
    std::uint64_t consumed() const override { return file_->consumed(); }
    std::uint64_t total() const override { return file_->total(); }

private:
    static constexpr std::size_t kShortestMark = 4;

    std::unique_ptr<ByteSource> recognise() {
        std::string first = beginning();
        const bool isGzip = first.starts_with("\x1f\x8b");
        if (isGzip && isUnpacked_)
            throw Poco::DataFormatException("the file is compressed by gzip twice. Unpack it first.");
        const std::optional<Utf16> utf16 = recogniseUtf16(first);
        const bool isText = isGzip || (utf16 && !first.starts_with(std::string_view("\xFF\xFE\0\0", 4)));
        const std::string foreign = isText ? "" : foreignFormat(first, path_);
        if (!foreign.empty()) throw Poco::DataFormatException(foreign);
        auto all = std::make_unique<PrefixedSource>(std::move(first), *file_);
        if (isGzip)
            return std::make_unique<RecognisedSource>(std::make_unique<GzipSource>(std::move(all), path_),
                                                      path_, true);
        if (utf16) return std::make_unique<Utf16Source>(std::move(all), *utf16);
        return all;
    }

    /// What is there, of a pipe too: a row must not wait for the ones after it.
    std::string beginning() {
        std::string first(kRecognisedBytes, '\0');
        std::size_t have = 0;
        while (have < kShortestMark) {
            const std::size_t count = file_->read(first.data() + have, first.size() - have);
            if (count == 0) break;
            have += count;
        }
        first.resize(have);
        return first;
    }

    std::unique_ptr<ByteSource> file_;
    std::string path_;
    bool isUnpacked_;
    std::unique_ptr<ByteSource> source_;  // null before the first read
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

/// Does not wait for a pipe's writer; only reading does.
int openWithoutWaiting(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd >= 0) ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

bool isTerminalOfThisProgram(const struct ::stat& device) {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        struct ::stat own {};
        if (::isatty(fd) == 1 && ::fstat(fd, &own) == 0 && own.st_rdev == device.st_rdev) return true;
    }
    return false;
}

/// Told by its name, as some devices restart a board when they are opened.
bool isSerialDevice(const std::string& path) {
    struct ::stat status {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISCHR(status.st_mode)) return false;
    std::error_code unknown;
    const std::string name = std::filesystem::canonical(path, unknown).string();
    const bool isNamedSo = (name.starts_with("/dev/tty") && name != "/dev/tty") ||
                           name.starts_with("/dev/pts/") || name.starts_with("/dev/rfcomm");
    return isNamedSo && !isTerminalOfThisProgram(status);
}

}  // namespace

double steadySeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::unique_ptr<ByteSource> openSource(const std::string& path, std::shared_ptr<LiveNotes> notes) {
    std::optional<LiveAddress> address = liveAddress(path);
    if (!address && isSerialDevice(path))
        address = LiveAddress{.kind = LiveAddress::Kind::kSerial, .device = path};
    if (!address) return recognised(openBytes(path), path);
    if (!notes) notes = std::make_shared<LiveNotes>();
    return liveSource(openPort(*address, *notes), notes);
}

std::unique_ptr<ByteSource> recognised(std::unique_ptr<ByteSource> bytes, const std::string& path) {
    return std::make_unique<RecognisedSource>(std::move(bytes), path);
}

std::unique_ptr<ByteSource> openBytes(const std::string& path) {
    if (path == "-") {
        return std::make_unique<FileSource>(STDIN_FILENO, "standard input", 0, isLiveStream(path));
    }
    const int fd = openWithoutWaiting(path);
    if (fd < 0 && errno == ENOENT) {
        const std::string devices = path.starts_with("/dev/") ? serialDevicesText() : "";
        throw Poco::FileNotFoundException("no file '" + path + "'" + devices);
    }
    if (fd < 0) throw Poco::OpenFileException("cannot open '" + path + "'", reason(errno));
    struct ::stat status {};
    const bool known = ::fstat(fd, &status) == 0;
    if (known && S_ISDIR(status.st_mode)) {
        ::close(fd);
        throw Poco::OpenFileException("cannot read '" + path + "'", std::string("it is a folder"));
    }
    const bool ordinary = known && S_ISREG(status.st_mode);
    const std::uint64_t total = ordinary ? static_cast<std::uint64_t>(status.st_size) : 0;
    return std::make_unique<FileSource>(fd, path, total, !ordinary);
}

std::string firstBytes(ByteSource& source, std::size_t size) {
    std::string first(size, '\0');
    std::size_t have = 0;
    while (have < size) {
        const std::size_t count = source.read(first.data() + have, size - have);
        if (count == 0) break;
        have += count;
    }
    first.resize(have);
    return first;
}

bool canBeReadOnlyOnce(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::file_type type = fs::status(path, ignored).type();
    return path == "-" || isLiveAddress(path) || type == fs::file_type::fifo ||
           type == fs::file_type::character || type == fs::file_type::socket;
}

bool isLiveStream(const std::string& path) {
    if (path != "-") return canBeReadOnlyOnce(path);
    struct ::stat status {};
    return ::fstat(STDIN_FILENO, &status) != 0 || !S_ISREG(status.st_mode);
}

std::unique_ptr<ByteSource> memorySource(std::string_view bytes) {
    return std::make_unique<MemorySource>(bytes);
}

}  // namespace Kavelin::RecordingIO
