#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

/// The members of a zip archive. None is trusted: names, sizes and kinds are checked before anything is decompressed.
class ZipArchive {
public:
    struct Member {
        std::string name;        ///< UTF-8, '/' between its parts, without "." and empty parts
        std::uint64_t size = 0;  ///< bytes, decompressed, as the archive's directory has it
        std::uint64_t index = 0;
    };

    static constexpr std::size_t kMostMembers = 10'000;
    static constexpr std::uint64_t kLargestMember = std::uint64_t{4} << 30;
    /// A member may be this many times as large as its compressed data, unless it is small anyway.
    static constexpr std::uint64_t kLargestRatio = 1000;
    static constexpr std::uint64_t kSmallAnyway = std::uint64_t{100} << 20;

    /// Whether a file begins like a zip archive.
    static bool beginsLike(const std::string& firstBytes);

    /// Reads the archive's directory.  Raises Poco::DataFormatException with the archive's and the member's name where the
    /// archive is damaged or a member is refused, Poco::OpenFileException where the file cannot be read.
    explicit ZipArchive(const std::string& path);

    /// All files, hidden ones too, in the order of the directory; folders are left out.
    const std::vector<Member>& members() const { return members_; }

    /// The decompressed bytes of a member; the source may outlive the archive. Reading raises Poco::ReadFileException where
    /// the data are damaged, or are more or less than the directory says.
    std::unique_ptr<ByteSource> open(const Member& member) const;

private:
    std::string path_;
    std::vector<Member> members_;
};

}  // namespace Kavelin::RecordingIO
