#include "io/recording/ResultFile.h"

#include <Poco/Exception.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "io/files/Descriptor.h"
#include "io/recording/ResultPath.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

bool isOrdinary(int fd) {
    struct ::stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

/// Goes on with a checksum up to `end`.  @return whether all could be read
bool sumUp(int fd, ResultPlace& place, std::uint64_t end) {
    constexpr std::uint64_t kBlock = std::uint64_t{1} << 18;
    std::vector<unsigned char> block(static_cast<std::size_t>(std::min(end - place.bytes, kBlock)));
    while (place.bytes < end) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(end - place.bytes, block.size()));
        const ::ssize_t count = ::pread(fd, block.data(), wanted, static_cast<::off_t>(place.bytes));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        place.sum =
            static_cast<std::uint32_t>(::crc32(place.sum, block.data(), static_cast<unsigned>(count)));
        place.bytes += static_cast<std::uint64_t>(count);
    }
    return true;
}

bool holds(const std::string& file, const ResultPlace& place) {
    const Descriptor fd(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    ResultPlace found;
    return fd.get() >= 0 && isOrdinary(fd.get()) && sumUp(fd.get(), found, place.bytes) &&
           found.sum == place.sum;
}

/// The file that begins as the result was at `place`.
const std::string& continuable(const ResultPath& names, const ResultPlace& place) {
    if (names.temporary.empty())
        throw Poco::DataFormatException("'" + names.target +
                                        "' is no ordinary file: what was written to it cannot be continued");
    if (place.bytes == 0 || holds(names.temporary, place)) return names.temporary;
    if (holds(names.target, place)) return names.target;
    throw Poco::DataFormatException(fmt::format("neither '{}' nor '{}' is the result as it was left at {}",
                                                names.temporary, names.target, counted(place.rows, "row")));
}

}  // namespace

std::string foreignEnding(const std::string& path) {
    static constexpr std::string_view kOthers[] = {".npy", ".npz",  ".mat",     ".sto",     ".mot",  ".trc",
                                                   ".c3d", ".bvh",  ".h5",      ".hdf5",    ".xlsx", ".xls",
                                                   ".ods", ".json", ".parquet", ".feather", ".gz",   ".zip"};
    const std::string ending = lowered(std::filesystem::path(path).extension().string());
    return std::find(std::begin(kOthers), std::end(kOthers), ending) == std::end(kOthers) ? "" : ending;
}

void requireTableName(const std::string& path) {
    const std::string ending = foreignEnding(path);
    if (ending.empty()) return;
    throw Poco::InvalidArgumentException("'" + path +
                                         "': a recording is written as a table of text (CSV), not as " +
                                         ending + "; name a .csv file");
}

ResultFile::ResultFile(const std::string& path) : path_(path), target_(path) {
    if (path == "-") {
        fd_ = STDOUT_FILENO;
        isLive_ = !isOrdinary(fd_);
        return;
    }
    const ResultPath place = resultPath(path);
    target_ = place.target;
    temporary_ = place.temporary;
    const std::string& name = temporary_.empty() ? path : temporary_;
    const int access =
        temporary_.empty() ? O_WRONLY : O_RDWR;  // opening a pipe for both would wait for nobody
    fd_ = ::open(name.c_str(), access | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) refuseResult(path, errno);
    isLive_ = !isOrdinary(fd_);
}

ResultFile::ResultFile(const std::string& path, const ResultPlace& place) : path_(path), target_(path) {
    const ResultPath names = resultPath(path);
    target_ = names.target;
    temporary_ = names.temporary;
    const std::string& found = continuable(names, place);
    if (found != temporary_ && std::rename(found.c_str(), temporary_.c_str()) != 0) refuseResult(path, errno);
    fd_ = ::open(temporary_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd_ < 0) refuseResult(path, errno);
    const auto end = static_cast<::off_t>(place.bytes);
    if (::ftruncate(fd_, end) != 0 || ::lseek(fd_, end, SEEK_SET) != end) refuseResult(path, errno);
    rows_ = rowsWritten_ = place.rows;
    bytesWritten_ = place.bytes;
    summed_ = place;
}

void ResultFile::requireContinuable(const std::string& path, const ResultPlace& place) {
    continuable(resultPath(path), place);
}

void ResultFile::requireWritable(const std::string& path) {
    if (path == "-") return;
    const std::string temporary = resultPath(path).temporary;
    if (temporary.empty()) {  // opening a pipe would wait for its reader
        if (std::filesystem::is_directory(path)) refuseResult(path, EISDIR);
        if (::access(path.c_str(), W_OK) != 0) refuseResult(path, errno);
        return;
    }
    const bool wasThere = ::access(temporary.c_str(), F_OK) == 0;
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) refuseResult(path, errno);
    ::close(fd);
    if (!wasThere) ::unlink(temporary.c_str());
}

ResultFile::~ResultFile() {
    try {
        isWhole_ ? discard() : finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; a failure can no longer be reported.
    }
}

void ResultFile::header(std::string_view names) {
    text(names);
    text("\n");
    lastRowEnd_ = rowText_.size();
    headerLines_ = 1 + static_cast<std::uint64_t>(std::count(names.begin(), names.end(), '\n'));
}

void ResultFile::endRow() {
    text("\n");
    lastRowEnd_ = rowText_.size();
    ++rows_;
    if (rowText_.size() >= kBlockSize) flush();
}

void ResultFile::flush() {
    if (fd_ < 0) return;
    const std::string_view rows = rowText_.view();
    std::size_t done = 0;
    while (done < rows.size()) {
        const ::ssize_t count = ::write(fd_, rows.data() + done, rows.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int error = errno;
            // Rows of this block that are completely on disk stay; a row that was cut is removed.
            const std::string_view written = rows.substr(0, done);
            const auto lines = static_cast<std::uint64_t>(std::count(written.begin(), written.end(), '\n'));
            bytesWritten_ += written.rfind('\n') + 1;  // 0 where there is none
            rows_ = rowsWritten_ + lines - std::min(lines, headerLines_);
            fail(error);
        }
        done += static_cast<std::size_t>(count);
    }
    bytesWritten_ += done;
    rowsWritten_ = rows_;
    rowText_.cut(0);
    lastRowEnd_ = headerLines_ = 0;
}

void ResultFile::settle() {
    flush();
    if (fd_ >= 0 && ::fdatasync(fd_) != 0 && errno != EINVAL && errno != EROFS) fail(errno);
}

ResultPlace ResultFile::place() {
    sumUp(fd_, summed_, bytesWritten_);
    summed_.rows = rows_;
    return summed_;
}

void ResultFile::restart() {
    rowText_.cut(0);
    lastRowEnd_ = headerLines_ = 0;
    rows_ = rowsWritten_ = bytesWritten_ = 0;
    summed_ = {};
    if (::ftruncate(fd_, 0) != 0 || ::lseek(fd_, 0, SEEK_SET) != 0) fail(errno);
}

void ResultFile::fail(int error) {
    rowText_.cut(0);
    lastRowEnd_ = 0;
    const std::string kept =
        isWhole_ ? "it is as it was" : counted(rows_, "row") + (rows_ == 1 ? " is kept" : " are kept");
    if (!isWhole_ && !temporary_.empty() && ::ftruncate(fd_, static_cast<::off_t>(bytesWritten_)) != 0) {
        bytesWritten_ = 0;
    }
    isWhole_ ? discard() : close();
    throw Poco::WriteFileException("cannot write '" + path_ + "' on",
                                   std::string(std::strerror(error)) + "; " + kept);
}

void ResultFile::finish() {
    if (fd_ < 0) return;
    rowText_.cut(lastRowEnd_);  // drops a row that was not ended
    flush();
    close();
}

void ResultFile::discard() {
    if (fd_ < 0) return;
    ::close(fd_);
    fd_ = -1;
    if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void ResultFile::close() {
    const int fd = fd_;
    fd_ = -1;
    if (fd == STDOUT_FILENO && path_ == "-") return;
    const bool closed = ::close(fd) == 0;
    const int closeError = errno;
    if (!temporary_.empty() && std::rename(temporary_.c_str(), target_.c_str()) != 0) {
        throw Poco::WriteFileException("cannot give '" + temporary_ + "' its name",
                                       std::string(std::strerror(errno)));
    }
    if (!closed) {
        throw Poco::WriteFileException("cannot complete '" + path_ + "'",
                                       std::string(std::strerror(closeError)));
    }
}

}  // namespace Kavelin::RecordingIO
