#pragma once

#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/FilterKit.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "io/RecordingSource.h"
#include "io/RunParticipant.h"
#include "io/formats/OpenRecording.h"
#include "io/recording/RecordingStatistics.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::EnumProperty;
using OrientationInternal::FileNameProperty;
using OrientationInternal::Filter;
using OrientationInternal::handler;
using OrientationInternal::InputPin;
using OrientationInternal::Matrix;
using OrientationInternal::OutputPin;
using OrientationInternal::RangeProperty;
using OrientationInternal::ValueProperty;

/// Sends a recording, one row a call, each pin with the row's time stamp; constant memory. The recording may be of
/// any format that openRecording knows: a table of text, a folder, a zip archive.
///
/// Pins "3a" (m/s^2), "3g" (rad/s), "3m" (uT), all 1x3, and "quat" (1x4: w, x, y, z) are there always; others
/// come with the property "Mapping" or from the header of a result file.
/// A pin without a value in a row sends nothing.
///
/// The file, or what is given in its place, is opened when its first row is asked for. A row that cannot be used is an exception out of
/// `process`, with file and line in its message, and the next call goes on after it. After ten of one kind
/// the message stays the same, so that a host that lists distinct messages is not flooded.
class FilterCsvReader : public Filter,
                        public Core::Source,
                        public RunParticipant,
                        public RecordingSource,
                        public Core::Stateful {
public:
    static constexpr const char* kTypeName = "FilterCsvReader";

    explicit FilterCsvReader(const std::string& name);
    ~FilterCsvReader() override;

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    double nextTimeStamp() const override;  // [layout thread]
    bool atEnd() const override;            // [layout thread]
    void interrupt() override;              // [any thread]
    void resume() override;                 // [any thread]
    double progress() const override;       // [layout thread]
    void checkRun() override;               // opens the file, unless it might wait or can be read only once
    void prepareRun() override;             // binds, connects or opens a live stream
    std::optional<double> firstTime() const override;
    std::vector<std::string> runErrors() const override;
    std::vector<std::string> runNotes() const override;
    void setListener(std::function<void(const std::string&)> listener) override;

    void setRecording(RecordingOpener opener) override;
    void open() override;
    bool isLive() const override;
    bool isReadOnce() const override;
    std::vector<std::string> liveEvents() const override { return notes_->summary(); }
    std::string recordingName() const override;
    const Schema* schema() const override;
    const RecordingStatistics* statistics() const override;
    const FaultCounts* faults() const override;

    // A snapshot holds how far the recording was read; whoever takes it back reads it again up to there.
    unsigned stateVersion() const override { return 1; }
    /// @throws Poco::NotImplementedException for what cannot be read again: a pipe, a live stream
    void saveState(Core::StateWriter& to) const override;
    /// @throws Poco::DataFormatException where the recording is another than it was
    void restoreState(Core::StateReader& from) override;

private:
    class Stream;
    /// The output of a channel; null where there was no pin of that name in time.
    struct Lane {
        OutputPin<Matrix>* pin;
        Eigen::Index rows;
        Eigen::Index cols;
        bool isVector;
    };

    Stream& stream() const;
    void openStream() const;
    std::unique_ptr<RowReader> openReader() const;
    void announceOpening(std::function<void()> stop) const;
    OpenOptions options() const;
    bool isOpen() const;
    void change();
    void replay(std::uint64_t calls);
    void sendRow(const Row& row);
    void declare(const Channel& channel, bool asColumns) const;
    void onFileName();
    void onColumns(const bool& asColumns);
    void onMapping(const std::string& mapping);
    void onUnits(const std::string& units);
    void onText(const std::string&) { change(); }
    void onFormat(const std::string&) { onFileName(); }
    void onDialect(const std::string& dialect);
    void onAxes(const std::string& axes);
    void onRate(const double&) { change(); }
    void onTime(const int&) { change(); }
    OutputPin<Matrix>* pinCalled(const std::string& name) const;
    void makePin(const std::string& name);

    OutputPin<Matrix> acceleration_{"3a", this, Core::kAcceleration};
    OutputPin<Matrix> rate_{"3g", this, Core::kRate};
    OutputPin<Matrix> field_{"3m", this, inUnit(Core::kField, Core::kMicrotesla)};
    OutputPin<Matrix> attitude_{"quat", this, Core::kQuaternion};

    FileNameProperty fileName_{"File Name", this, "", "*.csv", handler(this, &FilterCsvReader::onFileName)};
    // True: vectors go out as 3x1 instead of 1x3.
    ValueProperty<bool> columns_{"Columns", this, false, handler(this, &FilterCsvReader::onColumns)};
    ValueProperty<std::string> mapping_{"Mapping", this, "", handler(this, &FilterCsvReader::onMapping)};
    ValueProperty<std::string> units_{"Units", this, "", handler(this, &FilterCsvReader::onUnits)};
    ValueProperty<std::string> format_{"Format", this, "", handler(this, &FilterCsvReader::onFormat)};
    ValueProperty<std::string> sensor_{"Sensor", this, "", handler(this, &FilterCsvReader::onFormat)};
    ValueProperty<std::string> dialect_{"Dialect", this, "", handler(this, &FilterCsvReader::onDialect)};
    ValueProperty<std::string> axes_{"Axes", this, "", handler(this, &FilterCsvReader::onAxes)};
    RangeProperty<double> rowRate_{"Rate",
                                   this,
                                   {.minimum = 0.0, .maximum = 1e6, .step = 0.0, .value = 0.0, .unit = "Hz"},
                                   handler(this, &FilterCsvReader::onRate)};
    // Where a row's time comes from: the recording, or the clock of this machine.
    EnumProperty<std::string> time_{
        "Time", this, {"recording", "arrival"}, 0, handler(this, &FilterCsvReader::onTime)};
    ValueProperty<std::string> repeat_{"Repeat", this, "", handler(this, &FilterCsvReader::onText)};
    ValueProperty<std::string> together_{"Together", this, "", handler(this, &FilterCsvReader::onText)};

    std::vector<std::unique_ptr<OutputPin<Matrix>>> otherPins_;
    const std::shared_ptr<LiveNotes> notes_ = std::make_shared<LiveNotes>();
    mutable std::unique_ptr<ByteSource> prepared_;  // a live stream, from before the run to its first row
    RecordingOpener opener_;                        // empty: of a file
    mutable bool stale_ = true;                     // the properties changed since the file was opened
    mutable std::vector<Lane> lanes_;               // by channel
    mutable std::mutex streamMutex_;  // held to replace the stream, and by code outside the layout's thread
    mutable std::unique_ptr<Stream> stream_;
    mutable std::function<void()> stopOpening_;  // set while waiting for a header; guarded by streamMutex_
    bool isInterrupted_ = false;
    double currentTime_ = 0.0;         // of the row sent last
    mutable std::uint64_t calls_ = 0;  // of process, since the recording was opened
};

}  // namespace Kavelin::RecordingIO
