#include "io/files/FileTrace.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

namespace Kavelin::RecordingIO {

namespace fs = std::filesystem;

namespace {

void add(const fs::path& file, FileTrace& trace) {
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    struct ::stat status {};
    if (::stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    trace.bytes += static_cast<std::uint64_t>(status.st_size);
    trace.changed =
        std::max<std::int64_t>(trace.changed, status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec);
}

}  // namespace

FileTrace traceOf(const std::string& path) {
    FileTrace trace;
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        add(path, trace);
        return trace;
    }
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path, error))
        add(entry.path(), trace);
    return trace;
}

}  // namespace Kavelin::RecordingIO
