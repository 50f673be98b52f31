#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "io/files/FileTree.h"
#include "io/recording/RecordingReader.h"

namespace Kavelin::RecordingIO {

struct OpenOptions : ReaderOptions {
    /// Name of a format; "table": a single table, whatever it looks like; empty: found out.
    std::string format;
    /// What a live stream tells while it is read; null: nobody listens.
    std::shared_ptr<LiveNotes> notes;
};

/// Opens a recording: a file, a folder or a zip archive, "-" for standard input. Its format is found out, and
/// its sensor chosen.
/// @param announce told how to break the wait for the first lines, before it begins; may be empty
/// Raises Poco::FileNotFoundException, Poco::OpenFileException, Poco::ReadFileException, and
/// Poco::DataFormatException for what cannot be used, with file and line where there is one.
std::unique_ptr<RowReader> openRecording(const std::string& path, const OpenOptions& options,
                                         const std::function<void(std::function<void()>)>& announce = {});

/// The same of a live stream, or of what else can be read only once, that openSource has opened.
std::unique_ptr<RowReader> openStream(std::unique_ptr<ByteSource> source, const std::string& path,
                                      const OpenOptions& options,
                                      const std::function<void(std::function<void()>)>& announce = {});

/// Names of the sensors of a recording; empty where it holds one.  Raises as openRecording.
std::vector<std::string> sensorsOf(const std::string& path, const OpenOptions& options);

/// The same of files that have been looked at; `path` is their name for messages.
std::unique_ptr<RowReader> openRecording(const FileTree& tree, const std::string& path,
                                         const OpenOptions& options);
std::vector<std::string> sensorsOf(const FileTree& tree, const std::string& path, const OpenOptions& options);

/// Whether a path is one recording: a single file, or a folder or an archive of a format that is known by name.
/// Raises as openRecording.
bool isRecording(const std::string& path);

}  // namespace Kavelin::RecordingIO
