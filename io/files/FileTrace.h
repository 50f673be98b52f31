#pragma once

#include <cstdint>
#include <string>

namespace Kavelin::RecordingIO {

/// Size and time of the last change: of a file, or of all files of a folder together.
struct FileTrace {
    std::uint64_t bytes = 0;
    std::int64_t changed = 0;  ///< ns since 1970, of the latest
    bool operator==(const FileTrace&) const = default;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(bytes, changed);
    }
};

/// All zero where there is no such file.
FileTrace traceOf(const std::string& path);

}  // namespace Kavelin::RecordingIO
