#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "io/files/Descriptor.h"
#include "io/files/LiveAddress.h"
#include "io/files/LiveNotes.h"

namespace Kavelin::RecordingIO {

/// A socket or a serial device that bytes come through, and how it is connected again when it was lost.
class LivePort {
public:
    /// What came through: bytes; nothing for a stream (a peer has come, a datagram of somebody else); the loss of the
    /// connection.
    struct Received {
        enum class Kind { kBytes, kNothing, kLoss } kind = Kind::kNothing;
        std::size_t count = 0;
    };

    virtual ~LivePort() = default;

    /// What messages call it, with the port that it got: "udp://127.0.0.1:41234".
    virtual std::string name() const = 0;
    /// "waiting for datagrams": what is told at the start; empty for nothing.
    virtual std::string waitsFor() const { return {}; }
    /// Each piece that is received is a line at least: datagrams.
    virtual bool bringsWholeLines() const { return false; }
    /// The first line after it was opened may be the rest of one.
    virtual bool beginsMidLine() const { return false; }
    /// What to look for where bytes are no text.
    virtual std::string hintAboutRubbish() const { return {}; }

    /// Ready to be read when there is something to receive.
    virtual int descriptor() const = 0;
    virtual Received receive(char* into, std::size_t size) = 0;
    /// After a loss: tries to connect again.  @return whether it did.  Never throws.
    virtual bool reopen(const CloseEvent& closed) = 0;
    /// Whether a `reopen` that succeeds means that somebody is there.
    virtual bool isBackWhenOpen() const { return true; }
};

/// Opens the port: binds, listens, connects.
/// Raises Poco::OpenFileException with what is wrong and what would be right.
std::unique_ptr<LivePort> openPort(const LiveAddress& address, LiveNotes& notes);

/// A serial device, raw, with eight bits and one stop bit; its settings are restored when it is closed.
std::unique_ptr<LivePort> openSerialPort(const LiveAddress& address);

/// ", such as /dev/ttyUSB0": the serial devices that there are, or that there is none.
std::string serialDevicesText();

}  // namespace Kavelin::RecordingIO
