#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "io/formats/OpenRecording.h"
#include "io/recording/Fault.h"
#include "io/recording/RecordingStatistics.h"

namespace Kavelin::RecordingIO {

/// Opens a recording that lies in no file, as the options ask.  Raises Poco exceptions.
using RecordingOpener = std::function<std::unique_ptr<RowReader>(const OpenOptions&)>;

/// A source that sends a recording. A program asks each filter for it with a dynamic_cast, also across
/// modules: hence the visibility.
class __attribute__((visibility("default"))) RecordingSource {
public:
    virtual ~RecordingSource() = default;

    /// From now on sends what `opener` opens, in place of a file.  [not running]
    virtual void setRecording(RecordingOpener opener) = 0;

    /// Opens the recording now, rather than with the first row.  @throws as RecordingReader::open.
    /// [layout thread, or not running]
    virtual void open() = 0;

    /// Whether another program, or a sensor, sends the rows at its own pace.  [as open]
    virtual bool isLive() const = 0;
    /// Whether it has to be read from its start, and only once: a pipe, standard input. [as open]
    virtual bool isReadOnce() const = 0;
    /// What happened to a live stream, such as losses of the connection: a sentence each.  [any thread]
    virtual std::vector<std::string> liveEvents() const = 0;
    /// What messages call the recording.  [as open]
    virtual std::string recordingName() const = 0;

    /// What the header says, what the rows sent so far hold, and what was left out before them; null before
    /// the recording was opened.  [as open]
    virtual const Schema* schema() const = 0;
    virtual const RecordingStatistics* statistics() const = 0;
    virtual const FaultCounts* faults() const = 0;
};

}  // namespace Kavelin::RecordingIO
