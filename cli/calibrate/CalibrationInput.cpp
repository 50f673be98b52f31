#include "cli/calibrate/CalibrationInput.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>

#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <ostream>

#include "attitude/detection/SampleLimits.h"
#include "cli/CommandContext.h"
#include "cli/Interruption.h"
#include "io/recording/RecordingStatistics.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

using Calibration::SensorTrack;
using RecordingIO::Channel;
using RecordingIO::RowReader;

/// A channel of the recording, and the track that it becomes.
struct Feed {
    std::size_t channel = 0;
    SensorTrack* track = nullptr;
    bool (*isUsable)(const Eigen::Vector3d&) = nullptr;
};

std::vector<Feed> feedsOf(const RecordingIO::Schema& schema, Calibration::SensorRecording& sensors) {
    using namespace OrientationInternal;
    const std::array<std::pair<const char*, Feed>, 3> kFeeds = {
        {{"3a", {0, &sensors.acceleration, &isUsableAcceleration}},
         {"3g", {0, &sensors.rate, &isUsableRate}},
         {"3m", {0, &sensors.field, &isUsableField}}}};
    std::vector<Feed> feeds;
    for (auto [pin, feed] : kFeeds) {
        const Channel* channel = schema.find(pin);
        if (!channel || channel->size() != 3) continue;
        feed.channel = static_cast<std::size_t>(channel - schema.channels.data());
        feeds.push_back(feed);
    }
    return feeds;
}

void take(const RecordingIO::Row& row, const Feed& feed) {
    if (!row.isMeasured(feed.channel)) return;
    SensorTrack& track = *feed.track;
    const Eigen::Vector3d value = Eigen::Map<const Eigen::Vector3d>(row.values(feed.channel));
    const bool isLater = track.isEmpty() || row.time() > track.times.back();
    if (!isLater || !feed.isUsable(value)) {
        ++track.leftOut;
        return;
    }
    track.times.push_back(row.time());
    track.values.push_back(value);
}

/// Says what is wrong with rows, the first few by name.
class RowFaults {
public:
    explicit RowFaults(CommandContext& context) : context_(context) {}
    void add(const RowReader& reader) {
        context_.status = kDoneWithErrors;
        if (++count_ <= kShown) context_.err << "kavelin: " << reader.message() << "\n";
        if (count_ == kShown + 1) context_.err << "kavelin: " << reader.name() << ": more rows left out\n";
    }

private:
    static constexpr std::size_t kShown = 10;
    CommandContext& context_;
    std::size_t count_ = 0;
};

/// Empty for times that do not count from 1970.
std::string dateOf(double seconds) {
    constexpr double kYear2000 = 946684800.0, kYear2100 = 4102444800.0;
    if (!(seconds > kYear2000 && seconds < kYear2100)) return {};
    const Poco::Timestamp stamp = Poco::Timestamp::fromEpochTime(static_cast<std::time_t>(seconds));
    return Poco::DateTimeFormatter::format(stamp, Poco::DateTimeFormat::ISO8601_FORMAT);
}

void requireRight(const RecordingIO::RecordingStatistics& statistics, const RecordingIO::Schema& schema,
                  CommandContext& context) {
    for (const std::string& warning : statistics.warnings(schema))
        context.err << "warning: " << warning << "\n";
    std::string text;
    for (const std::string& error : statistics.errors(schema)) text += (text.empty() ? "" : "\n") + error;
    if (!text.empty()) throw UsageError(text);
}

RecordingIO::OpenOptions inputOptions(const RecordingChoice& choice, CommandContext& context) {
    RecordingIO::OpenOptions options = openOptions(choice);
    options.units = RecordingIO::parseUnits(choice.units);
    options.axes = RecordingIO::parseAxes(choice.axes);
    options.sensor = choice.sensor;
    options.notes = std::make_shared<RecordingIO::LiveNotes>();
    options.notes->setListener(
        [&context](const std::string& note) { context.err << "kavelin: " << note << std::endl; });
    return options;
}

}  // namespace

CalibrationInput readCalibrationInput(const std::string& path, const RecordingChoice& choice,
                                      CommandContext& context) {
    const RecordingIO::OpenOptions options = inputOptions(choice, context);
    const std::unique_ptr<RowReader> reader = RecordingIO::openRecording(path, options);
    // A live stream ends when its user says so.
    std::optional<Interruption> interruption;
    if (reader->mayWait()) interruption.emplace([&reader] { reader->close(); });
    const RecordingIO::Schema& schema = reader->schema();
    CalibrationInput input;
    const std::vector<Feed> feeds = feedsOf(schema, input.sensors);
    RecordingIO::RecordingStatistics statistics(schema);
    RowFaults faults(context);
    for (auto next = reader->next(); next != RowReader::Next::kEnd; next = reader->next()) {
        if (next == RowReader::Next::kFault) {
            faults.add(*reader);
            continue;
        }
        const RecordingIO::Row& row = reader->row();
        if (input.rows++ == 0) input.recorded = dateOf(row.time());
        statistics.add(row);
        for (const Feed& feed : feeds) take(row, feed);
    }
    if (interruption && Interruption::hasCome())
        context.err << "kavelin: ended after " << RecordingIO::counted(input.rows, "row") << std::endl;
    interruption.reset();
    options.notes->setListener({});
    statistics.finish();
    requireRight(statistics, schema, context);
    if (const Channel* field = schema.find("3m"); field && field->isUnitDeclared)
        input.fieldUnit = RecordingIO::baseUnit(RecordingIO::Quantity::kField);
    return input;
}

}  // namespace Kavelin::Cli
