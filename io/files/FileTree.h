#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

/// The files under one path: a single file, the files in a folder, or the members of a zip archive. Nothing is written.
class FileTree {
public:
    struct Entry {
        std::string name;        ///< relative to the path, '/' between its parts
        std::uint64_t size = 0;  ///< bytes, decompressed for a zip archive; 0 where it is not known
    };

    static constexpr std::size_t kMostFiles = 10'000;
    static constexpr std::size_t kDeepest = 4;  ///< folders within the folder

    /// Looks at what is at `path`; "-", pipes and devices are single files, of which nothing is read here. Hidden files and
    /// `__MACOSX` are passed over, and in folders also links that lead elsewhere or to folders, pipes and devices. Raises
    /// Poco::FileNotFoundException and Poco::OpenFileException as openSource does; Poco::DataFormatException for a folder
    /// without files, a folder or an archive beyond the limits, and an archive that is damaged, encrypted, or
    /// whose members have names that lead out of it, are links, or would grow without measure.
    static std::unique_ptr<FileTree> at(const std::string& path);

    virtual ~FileTree() = default;

    /// Sorted by name.
    const std::vector<Entry>& files() const { return files_; }

    /// The text of a file, recognised as by openSource: decompressed where it is gzip's, refused where it is binary. The
    /// source may outlive the tree, and each has a reading position of its own. Raises Poco::NotFoundException for a
    /// name that `files` does not have; reading raises Poco::ReadFileException where the data are damaged.
    std::unique_ptr<ByteSource> open(const std::string& name) const;
    /// The same file's bytes as they stand in the folder or the archive, whatever they are.
    std::unique_ptr<ByteSource> openRaw(const std::string& name) const;

    /// A file's name for messages: "rec.zip/Inertial.csv", "folder/Gyroscope.csv"; the path itself for a single file, and
    /// for no name.
    virtual std::string pathOf(const std::string& name) const = 0;
    virtual bool isSingleFile() const { return false; }

protected:
    std::vector<Entry> files_;

private:
    virtual std::unique_ptr<ByteSource> openFile(const std::string& name) const = 0;
};

}  // namespace Kavelin::RecordingIO
