#include "io/recording/ResultFile.h"

#include <Poco/Exception.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "io/recording/ResultPath.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

bool isOrdinary(int fd) {
    struct ::stat status {};
    return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
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

ResultFile::ResultFile(const std::string& path) : path_(path), target_(path), buffer_(kBlockSize + 4096) {
    if (path == "-") {
        fd_ = STDOUT_FILENO;
        isLive_ = !isOrdinary(fd_);
        return;
    }
    const ResultPath place = resultPath(path);
    target_ = place.target;
    temporary_ = place.temporary;
    const std::string& name = temporary_.empty() ? path : temporary_;
    fd_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) refuseResult(path, errno);
    isLive_ = !isOrdinary(fd_);
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
        finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; a failure can no longer be reported.
    }
}

void ResultFile::header(std::string_view names) {
    text(names);
    text("\n");
    lastRowEnd_ = used_;
    headerLines_ = 1 + static_cast<std::uint64_t>(std::count(names.begin(), names.end(), '\n'));
}

void ResultFile::text(std::string_view text) {
    reserve(text.size());
    std::memcpy(buffer_.data() + used_, text.data(), text.size());
    used_ += text.size();
}

void ResultFile::endRow() {
    text("\n");
    lastRowEnd_ = used_;
    ++rows_;
    if (used_ >= kBlockSize) flush();
}

void ResultFile::flush() {
    if (fd_ < 0) return;
    std::size_t done = 0;
    while (done < used_) {
        const ::ssize_t count = ::write(fd_, buffer_.data() + done, used_ - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int error = errno;
            // Rows of this block that are completely on disk stay; a row that was cut is removed.
            const auto written = buffer_.begin() + static_cast<std::ptrdiff_t>(done);
            const auto lines = static_cast<std::uint64_t>(std::count(buffer_.begin(), written, '\n'));
            const auto feed = std::find(std::make_reverse_iterator(written), buffer_.rend(), '\n');
            bytesWritten_ += static_cast<std::uint64_t>(buffer_.rend() - feed);
            rows_ = rowsWritten_ + lines - std::min(lines, headerLines_);
            fail(error);
        }
        done += static_cast<std::size_t>(count);
    }
    bytesWritten_ += done;
    rowsWritten_ = rows_;
    used_ = lastRowEnd_ = headerLines_ = 0;
}

void ResultFile::restart() {
    used_ = lastRowEnd_ = headerLines_ = 0;
    rows_ = rowsWritten_ = bytesWritten_ = 0;
    if (::ftruncate(fd_, 0) != 0 || ::lseek(fd_, 0, SEEK_SET) != 0) fail(errno);
}

void ResultFile::fail(int error) {
    used_ = lastRowEnd_ = 0;
    const std::string kept = counted(rows_, "row") + (rows_ == 1 ? " is kept" : " are kept");
    if (!temporary_.empty() && ::ftruncate(fd_, static_cast<::off_t>(bytesWritten_)) != 0) {
        bytesWritten_ = 0;
    }
    close();
    throw Poco::WriteFileException("cannot write '" + path_ + "' on",
                                   std::string(std::strerror(error)) + "; " + kept);
}

void ResultFile::finish() {
    if (fd_ < 0) return;
    used_ = lastRowEnd_;  // drops a row that was not ended
    flush();
    close();
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
