#pragma once

#include <string>

#include "io/recording/Fault.h"
#include "io/recording/RecordingStatistics.h"

namespace Kavelin::RecordingIO {

/// A source that sends a recording. A program asks each filter for it with a dynamic_cast, also across
/// modules: hence the visibility.
class __attribute__((visibility("default"))) RecordingSource {
public:
    virtual ~RecordingSource() = default;

    /// Opens the recording now, rather than with the first row.  @throws as RecordingReader::open.
    /// [layout thread, or not running]
    virtual void open() = 0;

    /// Whether another program, or a sensor, sends the rows at its own pace.  [as open]
    virtual bool isLive() const = 0;
    /// What messages call the recording.  [as open]
    virtual std::string recordingName() const = 0;

    /// What the header says, what the rows sent so far hold, and what was left out before them; null before
    /// the recording was opened.  [as open]
    virtual const Schema* schema() const = 0;
    virtual const RecordingStatistics* statistics() const = 0;
    virtual const FaultCounts* faults() const = 0;
};

}  // namespace Kavelin::RecordingIO
