#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "io/files/LiveNotes.h"

namespace Kavelin::RecordingIO {

/// What is particular to the bytes of a sensor that is connected.
class LiveStream {
public:
    virtual ~LiveStream() = default;

    /// Whether the first line may be the rest of one.
    virtual bool beginsMidLine() const = 0;
    /// What to look for where the bytes are no text; empty where there is nothing to say.
    virtual std::string hintAboutRubbish() const = 0;
    /// Bytes; what is longer is no line.
    virtual std::size_t longestLine() const = 0;
    /// Tells the user something.
    virtual void tell(const std::string& what) = 0;
};

/// Where the bytes of a recording come from.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Reads up to `size` bytes to `into`; 0 at the end.  Raises Poco::ReadFileException.
    virtual std::size_t read(char* into, std::size_t size) = 0;

    /// Makes a waiting `read`, and all later ones, return the end. [any thread]
    void close() {
        if (const auto act = closer()) act();
    }
    /// A function that does what `close` does, callable even after the source is gone;
    /// empty where `read` never waits.
    virtual std::function<void()> closer() { return {}; }
    /// Whether `read` may have to wait for another program: a pipe, a terminal, a socket.
    virtual bool mayWait() const { return false; }
    /// s, on a clock that never goes back: when the bytes of the last `read` came.
    virtual double arrival() const { return 0.0; }
    /// The same source as a sensor's; null where it is none.
    virtual LiveStream* live() { return nullptr; }

    /// Bytes of the file taken so far and in all, for a progress bar; 0 in all where it is not known.
    virtual std::uint64_t consumed() const { return 0; }
    virtual std::uint64_t total() const { return 0; }
};

/// Opens a file, or standard input for "-"; reads nothing yet, and does not wait for the writer of a pipe. A
/// file that begins like gzip's is decompressed on the way, a text in UTF-16 becomes UTF-8. The first `read` of what is not
/// text, such as another program's binary format, raises Poco::DataFormatException, which says what it is and what
/// to do. Raises Poco::FileNotFoundException, Poco::OpenFileException with the path and the system's reason.
/// An address of a live stream (see liveAddress), or a serial device, is bound, connected or opened; it takes whole
/// lines. @param notes what such a stream tells; null: nobody listens
std::unique_ptr<ByteSource> openSource(const std::string& path, std::shared_ptr<LiveNotes> notes = {});

/// The same of bytes from elsewhere, such as a member of an archive; `path` is their name for messages.
std::unique_ptr<ByteSource> recognised(std::unique_ptr<ByteSource> bytes, const std::string& path);

/// A file's bytes as they stand, or standard input's; otherwise as openSource.
std::unique_ptr<ByteSource> openBytes(const std::string& path);

/// The present time on the clock of ByteSource::arrival.
double steadySeconds();

/// The next bytes of a source: `size`, or fewer where it ends before.
std::string firstBytes(ByteSource& source, std::size_t size);

/// Whether looking into a file would take its first bytes away from a later reader: standard input, a pipe, an
/// address.
bool canBeReadOnlyOnce(const std::string& path);

/// Whether the bytes come as a sensor or another program sends them: a pipe, a terminal, a socket.
bool isLiveStream(const std::string& path);

/// Bytes that are in memory already; `bytes` must outlive the source.
std::unique_ptr<ByteSource> memorySource(std::string_view bytes);

}  // namespace Kavelin::RecordingIO
