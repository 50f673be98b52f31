#include "io/FilterCsvReader.h"

#include <Poco/Exception.h>

#include <filesystem>

#include "io/ColumnNames.h"
#include "io/Text.h"

namespace Kavelin::RecordingIO {

namespace {

std::vector<std::string> pinNames(const std::string& text) {
    std::vector<std::string> names;
    for (std::string& name : splitCells(text, ',')) {
        if (!name.empty()) names.push_back(std::move(name));
    }
    return names;
}

/// Standard input, pipes: looking into them would take their first rows.
bool canBeReadOnlyOnce(const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::file_type type = fs::status(path, ignored).type();
    return path == "-" || type == fs::file_type::fifo || type == fs::file_type::character ||
           type == fs::file_type::socket;
}

}  // namespace

/// The open file, one row ahead of what was sent, because the host asks for the next time stamp first. Faults
/// met on the way to that row wait until they can be raised.
class FilterCsvReader::Stream {
public:
    /// Never throws: a file that cannot be used is a fault like others, and the end.
    Stream(const std::string& path, const ReaderOptions& options) {
        try {
            reader_.emplace(RecordingReader::open(path, options));
            statistics_.emplace(reader_->schema());
        } catch (const Poco::Exception& refusal) {
            refusal_.reset(refusal.clone());
            hasFaults_ = true;
        }
    }

    bool isUsable() const { return !refusal_; }
    const RecordingReader& reader() const { return *reader_; }
    const RecordingStatistics& statistics() const { return *statistics_; }

    bool hasRow() const { return hasRow_; }
    bool hasFaults() const { return hasFaults_; }
    double time() const { return hasRow_ ? reader_->time() : 0.0; }

    /// Looks for the next row; collects the faults before it.
    void advance() {
        hasRow_ = false;
        while (reader_) {
            const RecordingReader::Next next = reader_->next();
            if (next == RecordingReader::Next::kEnd) {
                statistics_->finish();
                return;
            }
            if (next == RecordingReader::Next::kRow) {
                hasRow_ = true;
                statistics_->add(*reader_);
                return;
            }
            note();
        }
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

    void note() {
        const Fault fault = reader_->fault();
        const std::uint64_t count = reader_->faults(fault);
        hasFaults_ = true;
        if (count > kShownOfEachKind + 1) return;
        if (!faults_.empty()) faults_ += "\n";
        faults_ += count <= kShownOfEachKind
                       ? reader_->message()
                       : reader_->name() + ": more rows left out: " + std::string(faultName(fault));
    }

    std::optional<RecordingReader> reader_;
    std::optional<RecordingStatistics> statistics_;
    std::unique_ptr<Poco::Exception> refusal_;
    bool hasRow_ = false;
    bool hasFaults_ = false;
    std::string faults_;
};

FilterCsvReader::FilterCsvReader(const std::string& name) : Filter(name, true) {}

FilterCsvReader::~FilterCsvReader() = default;

void FilterCsvReader::process() {
    Stream& open = stream();
    if (open.hasRow()) {
        sendRow();
        open.advance();
    }
    // A host takes a source that fails without getting on for broken: faults wait for a later time stamp.
    const bool getsOn = !open.hasRow() || open.time() > currentTime_;
    if (open.hasFaults() && getsOn) open.raiseFaults();
}

void FilterCsvReader::sendRow() {
    const RecordingReader& reader = stream_->reader();
    currentTime_ = reader.time();
    const bool upright = columns_.value();
    for (std::size_t i = 0; i < channelPins_.size(); ++i) {
        if (!reader.has(i) || !channelPins_[i]) continue;
        const Channel& channel = reader.schema().channels[i];
        const bool turned = upright && channel.rows == 1;
        const auto rows = static_cast<Eigen::Index>(turned ? channel.cols : channel.rows);
        const auto cols = static_cast<Eigen::Index>(turned ? channel.rows : channel.cols);
        channelPins_[i]->value() = Eigen::Map<const Matrix>(reader.values(i), rows, cols);
        channelPins_[i]->send(currentTime_);
    }
}

double FilterCsvReader::nextTimeStamp() const { return stream().time(); }

bool FilterCsvReader::atEnd() const {
    const Stream& open = stream();
    return !open.hasRow() && !open.hasFaults();
}

std::vector<std::string> FilterCsvReader::runNotes() const {
    if (!stream_ || !stream_->isUsable()) return {};
    return stream_->statistics().warnings(stream_->reader().schema());
}

const RecordingReader* FilterCsvReader::reader() const {
    return stream_ && stream_->isUsable() ? &stream_->reader() : nullptr;
}

const RecordingStatistics* FilterCsvReader::statistics() const {
    return stream_ && stream_->isUsable() ? &stream_->statistics() : nullptr;
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
    stream_ = std::make_unique<Stream>(fileName_.get(), options());
    channelPins_.clear();
    if (stream_->isUsable()) {
        for (const Channel& channel : stream_->reader().schema().channels) {
            channelPins_.push_back(pinCalled(channel.pin));
        }
    }
    stream_->advance();
}

ReaderOptions FilterCsvReader::options() const {
    ReaderOptions options;
    options.mapping = mapping_.get();
    options.units = parseUnits(units_.get());
    options.rate = rowRate_.get();
    options.repeat = pinNames(repeat_.get());
    options.together = pinNames(together_.get());
    return options;
}

/// Looks into a file that is there, for its pins; a header that means nothing may still be given a mapping.
void FilterCsvReader::onFileName() {
    stale_ = true;
    const std::string path = fileName_.get();
    if (path.empty() || canBeReadOnlyOnce(path)) return;
    try {
        const RecordingReader reader = RecordingReader::open(path, options());
        for (const Channel& channel : reader.schema().channels) makePin(channel.pin);
    } catch (const Poco::DataFormatException&) {
        return;
    }
}

void FilterCsvReader::onMapping(const std::string& mapping) {
    stale_ = true;
    for (const MappingEntry& entry : parseMapping(mapping)) {
        if (entry.pin != "t") makePin(entry.pin);
    }
}

void FilterCsvReader::onUnits(const std::string& units) {
    stale_ = true;
    parseUnits(units);
}

OutputPin<Matrix>* FilterCsvReader::pinCalled(const std::string& name) const {
    // All output pins of this filter are its own, of this one type.
    return static_cast<OutputPin<Matrix>*>(findOutputPin(name));
}

void FilterCsvReader::makePin(const std::string& name) {
    if (!pinCalled(name)) otherPins_.push_back(std::make_unique<OutputPin<Matrix>>(name, this));
}

}  // namespace Kavelin::RecordingIO
