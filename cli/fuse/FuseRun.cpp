#include "cli/fuse/FuseRun.h"

#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Poco/Exception.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>
#include <typeinfo>

#include "attitude/rotation/AngleConstants.h"
#include "cli/Interruption.h"
#include "cli/PairingText.h"
#include "cli/SettingsFile.h"
#include "cli/WholeFile.h"
#include "cli/fuse/FuseSummary.h"
#include "cli/fuse/ProgressBar.h"
#include "cli/fuse/SummaryJson.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;

namespace {

const double kGyroscopeRange = 2000.0;            // degrees/s; where most gyroscopes end
constexpr std::uint64_t kRowsBetweenLooks = 256;  // at the clock

/// Between filters that take each round's sample in that round: lent, not copied.
const Core::ConnectionOptions kNewestOnly{.bufferSize = 1};

std::vector<std::string> propertyNames(const Core::Filter& filter) {
    std::vector<std::string> names;
    for (const Core::AbstractProperty* property : filter.getPropertyBag().getProperties()) {
        names.push_back(property->getName());
    }
    return names;
}

/// Just below, since a rate that equals the limit does not count as saturated.
void setGyroscopeRange(Core::AbstractProperty& property, double range) {
    property.deSerialize(std::to_string(0.999 * range));
}

void printLines(std::ostream& err, const std::string& prefix, const std::string& message) {
    std::size_t begin = 0;
    while (begin <= message.size()) {
        const std::size_t end = std::min(message.find('\n', begin), message.size());
        err << "kavelin: " << prefix << message.substr(begin, end - begin) << '\n';
        begin = end + 1;
    }
    err << std::flush;
}

}  // namespace

FuseRun::FuseRun(const FuseOptions& options, CommandContext& context) : options_(options), context_(context) {
    requireOwnFiles(options_);
    setUpEstimator();
    setUpReader();
    requireSensors();
    setUpCompanions();
    applySettings();
    setUpErrors();
    if (!options_.plot.empty()) plot_ = std::make_unique<AttitudePlot>(options_.plot, options_.recording);
    setUpSink();
    setUpProbe();
    connectAll();
}

void FuseRun::setUpEstimator() {
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    filter_ = &layout_.add(plugins.createFilter(options_.type, "estimator"));
    estimator_ = describeEstimator(*filter_);
}

void FuseRun::setUpReader() {
    const auto set = [this](const char* property, const std::string& text) {
        reader_.getPropertyBag().get(property).deSerialize(text);
    };
    set("Mapping", options_.mapping);
    set("Units", options_.units);
    set("Rate", std::to_string(options_.rate));
    // Half a pair would be paired with the next row's other half.
    set("Together", pinsTakenTogether());
    if (estimator_.pairsInputs) set("Repeat", "3m");
    set("File Name", options_.recording);
    layout_.add(reader_);
    reader_.open();
}

std::string FuseRun::pinsTakenTogether() const {
    std::string pins;
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (feed.from != "3m" || estimator_.pairsInputs) pins += (pins.empty() ? "" : ", ") + feed.from;
    }
    return pins;
}

void FuseRun::setUpCompanions() {
    setUpCompanion(quality_, "FilterOrientationQuality", "quality");
    setUpCompanion(static_, "FilterStaticMode", "static");
    // Its default is meant for degrees/s; the reader sends rad/s.
    if (quality_) {
        gyroscopeRange_ = &quality_->getPropertyBag().get("SaturationGyro");
        setGyroscopeRange(*gyroscopeRange_, kGyroscopeRange * OrientationInternal::kDegreesToRadians);
    }
    // A sensor that is not there says nothing against rest.
    if (static_ && !hasChannel("3m")) {
        for (const char* use : {"UseMag", "UseCosGB"}) static_->getPropertyBag().get(use).deSerialize("0");
    }
}

void FuseRun::setUpCompanion(Core::Filter*& filter, const char* type, const char* name) {
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    if (plugins.findPluginOf(type)) filter = &layout_.add(plugins.createFilter(type, name));
}

bool FuseRun::hasChannel(const std::string& pin) const { return reader_.schema()->find(pin) != nullptr; }

void FuseRun::requireSensors() const {
    const RecordingIO::Schema& schema = *reader_.schema();
    for (const Estimator::Feed& feed : estimator_.feeds) {
        const RecordingIO::Channel* channel = schema.find(feed.from);
        if (channel && (channel->rows != 1 || channel->cols != 3)) {
            throw UsageError("\"" + feed.from + "\" is " + std::to_string(channel->rows) + "x" +
                             std::to_string(channel->cols) + " in " + options_.recording +
                             "; a sensor has three columns, x, y and z, in one row");
        }
        const bool needed = estimator_.pairsInputs || feed.from != "3m" || estimator_.feeds.size() == 1;
        if (!needed || channel) continue;
        std::string what = options_.type + " needs \"" + feed.from + "\", which " + options_.recording +
                           " does not have; understood there: " + schema.understood;
        for (const std::string& note : schema.notes) what += "\n" + note;
        throw UsageError(what);
    }
}

void FuseRun::applySettings() {
    const bool given = std::any_of(
        options_.settings.begin(), options_.settings.end(),
        [](const std::string& text) { return text.starts_with(std::string(kSettingsProperty) + "="); });
    if (const std::string file = defaultSettings(*filter_); !given && !file.empty()) {
        try {
            filter_->getPropertyBag().get(kSettingsProperty).deSerialize(file);
        } catch (const Poco::Exception& refusal) {
            throw UsageError(refusal.message() + "; --set '" + kSettingsProperty + "=...' names another");
        }
    }
    for (const std::string& text : options_.settings) applySetting(text);
}

/// "NAME=VALUE" for the estimator, with "quality:" or "static:" before it for those; a command is its name
/// alone.
void FuseRun::applySetting(const std::string& text) {
    Core::Filter* filter = filter_;
    std::string rest = text;
    for (const auto& [prefix, companion] : {std::pair("quality:", quality_), std::pair("static:", static_)}) {
        if (!companion || !rest.starts_with(prefix)) continue;
        filter = companion;
        rest.erase(0, std::string(prefix).size());
    }
    const std::size_t equals = rest.find('=');
    const std::string name = rest.substr(0, equals);
    Core::AbstractProperty* property = filter->getPropertyBag().find(name);
    if (!property) {
        throw UsageError("--set '" + text + "': " + filter->typeName() + " has no property '" + name +
                         "'; it has: " + RecordingIO::listed(propertyNames(*filter), 40));
    }
    try {
        if (auto* command = dynamic_cast<Core::CommandProperty*>(property);
            command && equals == std::string::npos) {
            command->activate();
        } else if (equals == std::string::npos) {
            throw UsageError("--set '" + text + "': NAME=VALUE is expected");
        } else {
            property->deSerialize(rest.substr(equals + 1));
            if (property == gyroscopeRange_) gyroscopeRange_ = nullptr;
        }
    } catch (const Poco::Exception& refusal) {
        std::string why = refusal.message().empty() ? demangled(typeid(refusal)) : refusal.message();
        if (property->describe().kind == "bool") why = "1 (true) or 0 (false) is expected";
        throw UsageError("--set '" + text + "': " + why);
    }
}

std::optional<Alignment> FuseRun::alignment() const {
    if (options_.alignment == "none") return Alignment::kNone;
    if (options_.alignment == "heading") return Alignment::kHeading;
    if (options_.alignment == "start") return Alignment::kStart;
    // Without a field even an absolute heading is arbitrary.
    if (estimator_.alignment == Alignment::kNone && !usesField()) return Alignment::kHeading;
    return estimator_.alignment;
}

void FuseRun::setUpErrors() {
    if (!options_.reference.empty()) track_.emplace(options_.reference);
    const bool hasReference = track_ || hasChannel("quat");
    if (!options_.movement.empty()) {
        if (!hasReference) {
            throw UsageError("--movement says where errors count, but there is no reference: " +
                             options_.recording + " has no quaternion, and no --reference is given");
        }
        intervals_ = RecordingIO::Intervals::open(options_.movement);
    }
    const auto aligned = alignment();
    if (aligned && hasReference) errors_.emplace(*aligned);
}

void FuseRun::setUpSink() {
    std::vector<FuseSink::Extra> extras;
    for (const std::string& pin : estimator_.flagPins) extras.push_back({pin});
    if (quality_) extras.insert(extras.end(), {{"envQuality"}, {"gestQuality"}});
    if (static_) extras.push_back({"Score", 5, 2});
    context_.out.flush();
    file_ = std::make_unique<RecordingIO::ResultFile>(options_.output);
    sink_ = std::make_unique<FuseSink>("result", extras, options_.form, *file_);
    if (estimator_.stampsWithWallClock) sink_->setClock([this] { return reader_.currentTime(); });
    sink_->setErrors(errors_ ? &*errors_ : nullptr, track_ ? &*track_ : nullptr, &intervals_);
    layout_.add(*sink_);
}

void FuseRun::connectAll() {
    connectEstimator();
    connectCompanions();
    connectSink();
    connectProbe();
}

void FuseRun::connectEstimator() {
    if (estimator_.wantsColumns) {
        std::vector<std::string> pins;
        for (const Estimator::Feed& feed : estimator_.feeds) pins.push_back(feed.from);
        turner_ = std::make_unique<ColumnTurner>("columns", pins);
        layout_.add(*turner_);
    }
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (!hasChannel(feed.from)) continue;
        Core::AbstractOutputPin* from = &reader_.getOutputPin(feed.from);
        if (turner_) {
            Core::connect(*from, turner_->getInputPin(feed.from));
            from = &turner_->getOutputPin(feed.from);
        }
        Core::connect(*from, filter_->getInputPin(feed.to));
    }
}

void FuseRun::connectCompanions() {
    const auto feed = [this](Core::AbstractOutputPin& from, Core::Filter& to) {
        Core::connect(from, to.getInputPin(from.getName()), kNewestOnly);
    };
    const bool holds = static_ && hasChannel("3a") && hasChannel("3m");
    if (holds) layout_.add(holder_);
    for (const char* pin : {"3a", "3g", "3m"}) {
        if (!hasChannel(pin)) continue;
        Core::AbstractOutputPin& from = reader_.getOutputPin(pin);
        if (quality_) feed(from, *quality_);
        if (!static_ || from.getName() == "3g") continue;  // it makes nothing of rates
        if (holds) {
            feed(from, holder_);
            feed(holder_.getOutputPin(pin), *static_);
        } else {
            feed(from, *static_);
        }
    }
}

void FuseRun::connectSink() {
    const auto toSink = [this](Core::Filter* filter, const std::string& from, const std::string& to,
                               const Core::ConnectionOptions& options = {}) {
        if (filter) Core::connect(filter->getOutputPin(from), sink_->getInputPin(to), options);
    };
    toSink(filter_, estimator_.attitudePin, "attitude");
    for (const std::string& flag : estimator_.flagPins) toSink(filter_, flag, flag);
    if (estimator_.hasBiasPin) toSink(filter_, "3g_bias", "3g_bias", kNewestOnly);
    toSink(quality_, "envQuality", "envQuality");
    toSink(quality_, "gestQuality", "gestQuality");
    toSink(static_, "Score", "Score");
    if (errors_ && !track_) toSink(&reader_, "quat", "reference");
}

void FuseRun::setUpProbe() {
    if (!options_.summary.empty()) RecordingIO::ResultFile::requireWritable(options_.summary);
    if (!estimator_.alignment) return;
    probe_ = std::make_unique<VerdictProbe>("verdict", *estimator_.alignment == Alignment::kStart);
    layout_.add(*probe_);
}

void FuseRun::connectProbe() {
    if (!probe_) return;
    for (const char* pin : {"3a", "3g", "3m"}) {
        if (hasChannel(pin)) Core::connect(reader_.getOutputPin(pin), probe_->getInputPin(pin), kNewestOnly);
    }
    Core::connect(filter_->getOutputPin(estimator_.attitudePin), probe_->getInputPin("attitude"),
                  kNewestOnly);
    for (const char* pin : {"3g_bias", "3m_hardiron", "sigma", "flag_rest", "flag_mag", "flag_mag_body"}) {
        Core::AbstractOutputPin* from = filter_->findOutputPin(pin);
        if (from) Core::connect(*from, probe_->getInputPin(pin), kNewestOnly);
    }
}

void FuseRun::run() {
    const Interruption interruption([this] { reader_.interrupt(); });
    // Rows and the bar on one terminal would run into each other.
    const bool rowsAreSeen = options_.output == "-" && ::isatty(STDOUT_FILENO) == 1;
    ProgressBar progress(context_.err, !options_.quiet && !rowsAreSeen);
    bool hasFailed = false;
    // A run ends between two rows: what was sent has then been written.
    layout_.setRoundHook([&](double) {
        if (Interruption::hasCome() || (hasFailed && options_.stopOnError)) layout_.stop();
        watchClipping();
    });
    sink_->setObserver([&](const FuseSink& sink) {
        if (sink.attitudes() == 1) rowsBefore_ = completeRows() - 1;
        if (plot_) plot_->add(sink);
        if (progress.isOn() && sink.attitudes() % kRowsBetweenLooks == 0) {
            progress.show(sink.attitudes(), reader_.progress());
        }
    });
    layout_.getErrors().setListener([&](const Core::ProcessError& error) {
        hasFailed = true;
        progress.clear();
        tell(error);
    });
    layout_.runToEnd();
    layout_.setRoundHook({});
    progress.clear();
    sink_->finish();
    file_->finish();
    tellWhatIsMissing();
    tellPairing();
    tellWhatIsWrong();
    summarise();
    if (plot_) plot_->draw(errors_ ? errors_->turn() : 0.0);
}

void FuseRun::tell(const Core::ProcessError& error) {
    if (error.filter == filter_->getName()) hasEstimatorFailed_ = true;
    const bool speaksForItself = error.filter == reader_.getName() || error.filter == sink_->getName();
    const std::string where =
        speaksForItself ? "" : error.filter + " at t = " + timeText(error.timeStamp) + ": ";
    printLines(context_.err, where, error.message.empty() ? error.type : error.message);
    context_.status = kDoneWithErrors;
}

void FuseRun::tellWhatIsMissing() {
    if (Interruption::hasCome()) {
        context_.err << "kavelin: interrupted; " << RecordingIO::counted(file_->rows(), "row")
                     << " done and kept\n";
        context_.status = kDoneWithErrors;
    }
    if (track_ && track_->faults() > 0) {
        context_.err << "kavelin: " << RecordingIO::counted(track_->faults(), "row")
                     << " of the reference left out; the first: " << track_->firstFault() << "\n";
        context_.status = kDoneWithErrors;
    }
}

/// Samples that do not belong together make a result that is wrong without looking so.
void FuseRun::tellPairing() {
    for (const Core::Filter* filter : layout_.getFilters()) {
        const Core::PairingReport pairing = filter->getPairing();
        if (pairing.unlike > 0) {
            context_.err << "kavelin: " << differenceText(filter->typeName(), pairing) << "\n";
            context_.status = kDoneWithErrors;
        } else if (!options_.quiet && pairing.largestDifference > 0.0) {
            context_.err << "kavelin: " << differenceText(filter->typeName(), pairing) << "\n";
        }
        if (!options_.quiet && !pairing.unpaired.empty())
            context_.err << "kavelin: " << unpairedText(filter->typeName(), pairing) << "\n";
    }
}

/// The quality then counts a gyroscope at the end of its range as saturated, whatever that range is.
void FuseRun::watchClipping() {
    const double level = reader_.statistics()->clipping().level();
    if (!gyroscopeRange_ || level == clipLevel_) return;
    clipLevel_ = level;
    const double range = level > 0.0 ? level : kGyroscopeRange * OrientationInternal::kDegreesToRadians;
    setGyroscopeRange(*gyroscopeRange_, range);
}

/// Rows with all that the estimator takes together.
std::uint64_t FuseRun::completeRows() const { return reader_.statistics()->completeRows(); }

std::uint64_t FuseRun::silentRows() const {
    const std::uint64_t spoken = rowsBefore_ + sink_->attitudes();
    return completeRows() > spoken ? completeRows() - spoken : 0;
}

/// What makes the results wrong, said also where no summary is wanted.
void FuseRun::tellWhatIsWrong() {
    std::vector<std::string> errors = reader_.statistics()->errors(*reader_.schema());
    const std::uint64_t rows = reader_.statistics()->rows();
    const std::uint64_t unused = reader_.faults()->total() + silentRows();
    if (2 * unused > rows + reader_.faults()->total()) {
        errors.push_back("most rows could not be used: " + std::to_string(unused) + " of " +
                         std::to_string(rows + reader_.faults()->total()));
    }
    for (const std::string& error : errors) {
        context_.err << "kavelin: " << options_.recording << ": " << error << "\n";
        context_.status = kDoneWithErrors;
    }
}

bool FuseRun::usesField() const {
    const Core::PropertyBag& properties = filter_->getPropertyBag();
    const Core::AbstractProperty* use = properties.find("Use 3m");
    return estimator_.uses("3m") && hasChannel("3m") && (!use || use->exactText() != "0");
}

bool FuseRun::hasField() const {
    const RecordingIO::RecordingStatistics::ChannelCount* field = reader_.statistics()->find("3m");
    return field && field->values > 0;
}

std::optional<RecordingIO::Judged> FuseRun::judged() const {
    if (!probe_ || sink_->attitudes() == 0) return std::nullopt;
    const RecordingIO::EstimatorKind kind{.usesGyroscope = estimator_.uses("3g"),
                                          .usesField = usesField(),
                                          .isHeadingRelative = *estimator_.alignment != Alignment::kNone};
    const RecordingIO::Evidence evidence = probe_->evidence();
    RecordingIO::Judged judged{evidence, RecordingIO::judge(evidence, kind)};
    for (const std::string& fault : reader_.statistics()->errors(*reader_.schema())) {
        for (RecordingIO::Verdict* verdict : {&judged.verdicts.tilt, &judged.verdicts.heading})
            verdict->add({RecordingIO::Grade::kDoubtful, fault, ""});
    }
    return judged;
}

/// The summary says it too; without one it is an error like any other.
void FuseRun::tellWhatIsBad(const RecordingIO::Judged& judged) {
    for (const auto& [name, verdict] :
         {std::pair("tilt", &judged.verdicts.tilt), std::pair("heading", &judged.verdicts.heading)}) {
        if (verdict->grade != RecordingIO::Grade::kBad) continue;
        context_.status = kDoneWithErrors;
        if (options_.quiet) {
            context_.err << "kavelin: " << options_.recording << ": " << name << ": " << verdict->text()
                         << "\n";
        }
    }
}

void FuseRun::summarise() {
    if (sink_->attitudes() == 0) {
        context_.err << "kavelin: no attitude came out of " << options_.type << ": " << whyNoAttitude()
                     << "\n";
        context_.status = kDoneWithErrors;
    }
    const std::optional<RecordingIO::Judged> judged = this->judged();
    if (judged) tellWhatIsBad(*judged);
    const FuseSummary summary{.recording = options_.recording,
                              .type = options_.type,
                              .schema = *reader_.schema(),
                              .statistics = *reader_.statistics(),
                              .faults = *reader_.faults(),
                              .sink = *sink_,
                              .errors = errors_ ? &*errors_ : nullptr,
                              .hasOwnReference = !track_ && hasChannel("quat"),
                              .dropped = dropped(),
                              .settings = settingsInUse(*filter_),
                              .hasField = hasField(),
                              .silentRows = silentRows(),
                              .judged = judged ? &*judged : nullptr};
    if (!options_.quiet) context_.err << summaryText(summary) << std::flush;
    if (!options_.summary.empty()) writeWholeFile(options_.summary, summaryJson(summary, context_.status));
}

std::string FuseRun::whyNoAttitude() const {
    const RecordingIO::RecordingStatistics& statistics = *reader_.statistics();
    if (hasEstimatorFailed_) return "it raised the error above";
    if (statistics.partialRows() > 0 && statistics.completeRows() == 0) {
        return "no row holds a value for all of " + pinsTakenTogether() + ", which it takes together";
    }
    return "is the recording shorter than its start phase, or a sensor without values?";
}

/// What overflows at the sink waited for an attitude that did not come: no filter misses it.
std::uint64_t FuseRun::dropped() const {
    std::uint64_t sum = 0;
    for (const Core::Filter* filter : layout_.getFilters()) {
        if (filter == sink_.get()) continue;
        for (const Core::AbstractInputPin* pin : filter->getInputPins()) sum += pin->getCounts().dropped;
    }
    return sum;
}

}  // namespace Kavelin::Cli
