#include "io/FilterCsvReader.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "io/files/ByteSource.h"
#include "io/files/FileTrace.h"
#include "io/files/LiveAddress.h"
#include "io/recording/ColumnNames.h"
#include "io/recording/ReadAhead.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

/// The open file, one row ahead of what was sent, because the host asks for the next time stamp first. Faults
/// on the way to that row wait until they can be raised.
class FilterCsvReader::Stream {
public:
    /// Never throws: what cannot be opened counts as a fault and as the end.
    explicit Stream(const std::function<std::unique_ptr<RowReader>()>& open) {
        try {
            recording_.emplace(open());
            statistics_.emplace(recording_->schema());
        } catch (const Poco::Exception& refusal) {
            refusal_.reset(refusal.clone());
            hasFaults_ = true;
            ended_ = true;
        }
    }

    bool isUsable() const { return recording_.has_value(); }
    /// Does not count an interrupted wait for the header as a fault.
    void forgive() {
        refusal_.reset();
        hasFaults_ = false;
    }
    ReadAhead& recording() { return *recording_; }
    const RecordingStatistics& statistics() const { return *statistics_; }
    const FaultCounts& counts() const { return counts_; }
    /// Whether rows were sent, and more are to come.
    bool isUnderWay() const { return !ended_ && statistics_ && statistics_->rows() > 0; }

    /// Whether there is a row to send; looks for it, and collects the faults before it. False also where an
    /// interruption ended the wait for it.
    bool hasRow() {
        if (!hasRow_ && !ended_) look();
        return hasRow_;
    }
    const Row& row() const { return recording_->row(); }
    void rowIsSent() {
        statistics_->add(row());
        hasRow_ = false;
    }

    bool hasFaults() const { return hasFaults_; }
    void forgetFaults() {
        hasFaults_ = false;
        faults_.clear();
    }
    void raiseFaults() {
        hasFaults_ = false;
        if (refusal_) refusal_->rethrow();
        if (faults_.empty()) return;
        const std::string message = std::move(faults_);
        faults_.clear();
        throw Poco::DataFormatException(message);
    }

private:
    static constexpr std::uint64_t kShownOfEachKind = 10;

    void look() {
        while (const auto next = recording_->next()) {
            if (next == ReadAhead::Next::kFault) {
                note();
                continue;
            }
            hasRow_ = next == ReadAhead::Next::kRow;
            ended_ = !hasRow_;
            if (ended_) statistics_->finish();
            return;
        }
    }

    void note() {
        const Fault fault = recording_->fault();
        const std::uint64_t count = counts_.add(fault);
        hasFaults_ = true;
        if (count > kShownOfEachKind + 1) return;
        if (!faults_.empty()) faults_ += "\n";
        faults_ += count <= kShownOfEachKind
                       ? recording_->message()
                       : recording_->name() + ": more rows left out: " + std::string(faultName(fault));
    }

    std::optional<ReadAhead> recording_;
    std::optional<RecordingStatistics> statistics_;
    std::unique_ptr<Poco::Exception> refusal_;
    bool hasRow_ = false;
    bool ended_ = false;
    bool hasFaults_ = false;
    std::string faults_;
    FaultCounts counts_;
};

FilterCsvReader::FilterCsvReader(const std::string& name) : Filter(name, true) {}

FilterCsvReader::~FilterCsvReader() = default;

void FilterCsvReader::process() {
    Stream& open = stream();
    ++calls_;
    if (open.hasRow()) {
        sendRow(open.row());
        open.rowIsSent();
        // Samples already sent must not wait for the next row of a live recording.
        if (!open.hasFaults() && open.recording().mayWait()) return;
    }
    // A host gives up on a source that fails without making progress, so faults wait for a later time stamp.
    const bool getsOn = !open.hasRow() || open.row().time() > currentTime_;
    if (open.hasFaults() && getsOn) open.raiseFaults();
}

/// As calls of `process` that send and raise nothing.
void FilterCsvReader::replay(std::uint64_t calls) {
    Stream& open = stream();
    for (calls_ = 0; calls_ < calls; ++calls_) {
        const bool hasRow = open.hasRow();
        if (hasRow) {
            currentTime_ = open.row().time();
            open.rowIsSent();
        }
        const bool waits = hasRow && !open.hasFaults() && open.recording().mayWait();
        if (waits) continue;
        const bool getsOn = !open.hasRow() || open.row().time() > currentTime_;  // looks ahead, as `process`
        if (getsOn) open.forgetFaults();
    }
}

void FilterCsvReader::saveState(Core::StateWriter& to) const {
    if (isReadOnce() || isLive())
        throw Poco::NotImplementedException("'" + getName() + "' reads " + recordingName() +
                                            ", which cannot be read again from a place in it");
    to(calls_, currentTime_, calls_ == 0 ? FileTrace{} : traceOf(opener_ ? "" : fileName_.get()));
}

void FilterCsvReader::restoreState(Core::StateReader& from) {
    std::uint64_t calls = 0;
    double time = 0.0;
    FileTrace trace;
    from(calls, time, trace);
    stale_ = true;
    currentTime_ = 0.0;
    if (calls == 0) return;
    const std::string file = opener_ ? "" : fileName_.get();
    if (traceOf(file) != trace)
        throw Poco::DataFormatException("'" + file + "' was changed since it was read");
    open();
    replay(calls);
    if (currentTime_ != time)
        throw Poco::DataFormatException("'" + file + "' does not have the rows that were read from it");
}

void FilterCsvReader::sendRow(const Row& row) {
    currentTime_ = row.time();
    for (std::size_t i = 0; i < lanes_.size(); ++i) {
        const Lane& lane = lanes_[i];
        if (!lane.pin || !row.has(i)) continue;
        const bool turned = lane.isVector && columns_.value();
        Matrix& value = lane.pin->value();
        value.resize(turned ? lane.cols : lane.rows, turned ? lane.rows : lane.cols);
        std::copy_n(row.values(i), value.size(), value.data());
        lane.pin->send(currentTime_);
    }
}

double FilterCsvReader::nextTimeStamp() const {
    Stream& open = stream();
    return open.hasRow() ? open.row().time() : currentTime_;
}

bool FilterCsvReader::atEnd() const {
    Stream& open = stream();
    return !open.hasRow() && !open.hasFaults();
}

void FilterCsvReader::interrupt() {
    const std::lock_guard lock(streamMutex_);
    isInterrupted_ = true;
    if (stopOpening_) stopOpening_();
    if (stream_ && stream_->isUsable()) stream_->recording().interrupt();
}

void FilterCsvReader::resume() {
    const std::lock_guard lock(streamMutex_);
    isInterrupted_ = false;
    if (stream_ && stream_->isUsable()) stream_->recording().resume();
}

double FilterCsvReader::progress() const {
    return isOpen() ? stream_->recording().progress() : std::numeric_limits<double>::quiet_NaN();
}

void FilterCsvReader::checkRun() {
    if (opener_) return open();
    if (fileName_.get().empty()) {
        throw Poco::InvalidArgumentException("'" + getName() + "' has no File Name: no recording to send");
    }
    if (!canBeReadOnlyOnce(fileName_.get())) open();
}

/// What cannot be opened is said before the run.
void FilterCsvReader::prepareRun() {
    if (stale_ && !opener_ && isLiveAddress(fileName_.get())) prepared_ = openSource(fileName_.get(), notes_);
}

std::optional<double> FilterCsvReader::firstTime() const {
    if (!isOpen() || stale_ || stream_->recording().mayWait() || !stream_->hasRow()) return std::nullopt;
    return stream_->row().time();
}

std::vector<std::string> FilterCsvReader::runErrors() const {
    if (!isOpen()) return {};
    return stream_->statistics().errors(stream_->recording().schema());
}

std::vector<std::string> FilterCsvReader::runNotes() const {
    if (!isOpen()) return {};
    const Schema& schema = stream_->recording().schema();
    std::vector<std::string> notes = stream_->statistics().warnings(schema);
    if (std::string field = stream_->statistics().warningOfField(); !field.empty()) notes.push_back(field);
    std::vector<std::string> decisions = schema.decisions;
    if (const std::uint64_t lost = stream_->statistics().lost(); lost > 0)
        decisions.push_back(counted(lost, "packet") + " lost");
    if (!decisions.empty()) notes.insert(notes.begin(), "read as: " + listed(decisions, decisions.size()));
    for (const std::string& event : liveEvents()) notes.push_back(event);
    return notes;
}

void FilterCsvReader::setListener(std::function<void(const std::string&)> listener) {
    notes_->setListener(std::move(listener));
}

bool FilterCsvReader::isOpen() const { return stream_ && stream_->isUsable(); }

bool FilterCsvReader::isLive() const { return !opener_ && isLiveStream(fileName_.get()); }

bool FilterCsvReader::isReadOnce() const { return !opener_ && canBeReadOnlyOnce(fileName_.get()); }

std::string FilterCsvReader::recordingName() const {
    if (opener_) return isOpen() ? stream_->recording().name() : "recording";
    return RecordingReader::nameOf(fileName_.get());
}

const Schema* FilterCsvReader::schema() const { return isOpen() ? &stream_->recording().schema() : nullptr; }

const RecordingStatistics* FilterCsvReader::statistics() const {
    return isOpen() ? &stream_->statistics() : nullptr;
}

const FaultCounts* FilterCsvReader::faults() const { return isOpen() ? &stream_->counts() : nullptr; }

void FilterCsvReader::setRecording(RecordingOpener opener) {
    opener_ = std::move(opener);
    stale_ = true;
}

void FilterCsvReader::open() {
    if (!stream().isUsable()) stream().raiseFaults();
}

FilterCsvReader::Stream& FilterCsvReader::stream() const {
    if (stale_) [[unlikely]]
        openStream();
    return *stream_;
}

void FilterCsvReader::openStream() const {
    stale_ = false;
    calls_ = 0;
    auto opened = std::make_unique<Stream>([this] { return openReader(); });
    lanes_.clear();
    if (opened->isUsable()) {
        for (const Channel& channel : opened->recording().schema().channels) {
            lanes_.push_back({pinCalled(channel.pin), static_cast<Eigen::Index>(channel.rows),
                              static_cast<Eigen::Index>(channel.cols), channel.rows == 1});
            declare(channel, columns_.value());
        }
    }
    const std::lock_guard lock(streamMutex_);
    stopOpening_ = {};
    stream_ = std::move(opened);
    if (!isInterrupted_) return;
    if (stream_->isUsable()) {
        stream_->recording().interrupt();
    } else {
        stream_->forgive();
        stale_ = true;
    }
}

std::unique_ptr<RowReader> FilterCsvReader::openReader() const {
    const OpenOptions options = this->options();
    if (opener_ && options.isByArrival)
        throw Poco::DataFormatException(
            "what lies in memory does not arrive: its rows have times, or a Rate");
    if (opener_) return opener_(options);
    // How to break the wait for the header is told before it begins.
    const auto announce = [this](std::function<void()> stop) { announceOpening(std::move(stop)); };
    if (prepared_) return RecordingIO::openStream(std::move(prepared_), fileName_.get(), options, announce);
    return openRecording(fileName_.get(), options, announce);
}

void FilterCsvReader::announceOpening(std::function<void()> stop) const {
    const std::lock_guard lock(streamMutex_);
    stopOpening_ = std::move(stop);
    if (isInterrupted_ && stopOpening_) stopOpening_();
}

OpenOptions FilterCsvReader::options() const {
    OpenOptions options;
    options.mapping = mapping_.get();
    options.units = parseUnits(units_.get());
    options.rate = rowRate_.get();
    options.repeat = namesIn(repeat_.get());
    options.together = namesIn(together_.get());
    options.format = format_.get();
    options.sensor = sensor_.get();
    options.dialect = parseDialect(dialect_.get());
    options.axes = parseAxes(axes_.get());
    options.isByArrival = time_.get() == 1;
    options.notes = notes_;
    return options;
}

/// Says what the channel's pin carries.
void FilterCsvReader::declare(const Channel& channel, bool asColumns) const {
    OutputPin<Matrix>* const pin = pinCalled(channel.pin);
    if (!pin) return;
    Core::PinContent content = pin->content();
    content.shape = {static_cast<std::ptrdiff_t>(channel.rows), static_cast<std::ptrdiff_t>(channel.cols)};
    if (channel.rows == 1 && asColumns) content = asColumn(content);
    if (channel.quantity != Quantity::kNone) {
        content.quantity = quantityName(channel.quantity);
        content.unit = baseUnit(channel.quantity);
    }
    if (pin == &attitude_) content.frame = channel.isEarthKnown() ? Core::kSensorToEarth : std::string_view();
    pin->setContent(content);
}

/// The recording is opened again for its next row. In the middle of a run that would begin it again.
void FilterCsvReader::change() {
    if (!stale_ && !isInterrupted_ && stream_ && stream_->isUnderWay())
        throw Poco::IllegalStateException("'" + getName() +
                                          "' is in the middle of its recording, which would begin again");
    stale_ = true;
}

void FilterCsvReader::onColumns(const bool& asColumns) {
    change();
    for (OutputPin<Matrix>* pin : {&acceleration_, &rate_, &field_, &attitude_}) {
        const Core::PinShape shape = pin->content().shape;
        if (asColumns ? shape.rows == 1 : shape.cols == 1) pin->setContent(asColumn(pin->content()));
    }
}

/// Looks into an existing file for its pins; a useless header may still be given a mapping.
void FilterCsvReader::onFileName() {
    change();
    const std::string path = fileName_.get();
    prepared_.reset();
    liveAddress(path);  // refuses one that cannot be read
    if (path.empty() || canBeReadOnlyOnce(path)) return;
    try {
        const std::unique_ptr<RowReader> reader = openRecording(path, options());
        for (const Channel& channel : reader->schema().channels) {
            makePin(channel.pin);
            declare(channel, columns_.value());
        }
    } catch (const Poco::DataFormatException&) {
        return;
    }
}

void FilterCsvReader::onMapping(const std::string& mapping) {
    change();
    for (const MappingEntry& entry : parseMapping(mapping)) {
        if (entry.pin != "t") makePin(entry.pin);
    }
}

void FilterCsvReader::onUnits(const std::string& units) {
    change();
    parseUnits(units);
}

void FilterCsvReader::onDialect(const std::string& dialect) {
    parseDialect(dialect);
    onFileName();
}

void FilterCsvReader::onAxes(const std::string& axes) {
    change();
    parseAxes(axes);
}

OutputPin<Matrix>* FilterCsvReader::pinCalled(const std::string& name) const {
    // All output pins of this filter are its own and have this type.
    return static_cast<OutputPin<Matrix>*>(findOutputPin(name));
}

void FilterCsvReader::makePin(const std::string& name) {
    if (!pinCalled(name)) otherPins_.push_back(std::make_unique<OutputPin<Matrix>>(name, this));
}

}  // namespace Kavelin::RecordingIO
