#pragma once

#include <cstdint>
#include <string>

#include "io/recording/Fault.h"
#include "io/recording/Row.h"
#include "io/recording/Schema.h"

namespace Kavelin::RecordingIO {

/// Gives the rows of a recording one after another, in the order of their time stamps, whatever the recording
/// is made of; knows nothing of pins and filters.
class RowReader {
public:
    enum class Next { kRow, kFault, kEnd };

    virtual ~RowReader() = default;

    virtual const Schema& schema() const = 0;
    /// What messages call the recording.
    virtual const std::string& name() const = 0;

    /// Advances to the next row. A line that cannot be used is a fault, and the next call goes on after it.
    /// Never throws; allocates only for a fault's message.
    virtual Next next() = 0;
    /// The row that `next` found; changed by the next `next`.
    virtual const Row& row() const = 0;
    /// The fault that `next` reported last, and what it says, with file and line.
    virtual Fault fault() const = 0;
    virtual const std::string& message() const = 0;

    /// Whether `next` will not wait for bytes.
    virtual bool isReady() = 0;
    /// Whether `next` may have to wait for another program: a pipe, a terminal, a socket.
    virtual bool mayWait() const = 0;
    /// Makes a `next` that is waiting for bytes, and all later ones, find the end. [any thread]
    virtual void close() = 0;

    /// Bytes taken so far and in all, for a progress bar; 0 in all where it is not known.
    virtual std::uint64_t consumed() const = 0;
    virtual std::uint64_t total() const = 0;
};

}  // namespace Kavelin::RecordingIO
