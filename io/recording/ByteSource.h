#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace Kavelin::RecordingIO {

/// Where the bytes of a recording come from.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Reads up to `size` bytes to `into`; 0 at the end.  Raises Poco::ReadFileException.
    virtual std::size_t read(char* into, std::size_t size) = 0;

    /// Makes a `read` that waits, and all later ones, tell the end.  [any thread]
    void close() {
        if (const auto act = closer()) act();
    }
    /// What `close` does, to be done also when the source may have gone; empty where no `read` waits.
    virtual std::function<void()> closer() { return {}; }
    /// Whether a `read` may have to wait for somebody else: a pipe, a terminal, a socket.
    virtual bool mayWait() const { return false; }

    /// Bytes of the file taken so far and in all, for a progress bar; 0 in all where it is not known.
    virtual std::uint64_t consumed() const { return 0; }
    virtual std::uint64_t total() const { return 0; }
};

/// Opens a file, or standard input for "-"; reads nothing yet, and does not wait for the writer of a pipe. A
/// file that begins like gzip's is decompressed on the way; the first `read` of one that begins like a zip
/// archive, a text in UTF-16 or another known binary format raises Poco::DataFormatException, which says what
/// to do. Raises Poco::FileNotFoundException, Poco::OpenFileException with the path and the system's reason.
std::unique_ptr<ByteSource> openSource(const std::string& path);

/// Whether looking into a file would take its first bytes from whoever reads it then: standard input, a pipe.
bool canBeReadOnlyOnce(const std::string& path);

/// Bytes that are in memory already; `bytes` must outlive the source.
std::unique_ptr<ByteSource> memorySource(std::string_view bytes);

}  // namespace Kavelin::RecordingIO
