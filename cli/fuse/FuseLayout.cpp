#include "cli/fuse/FuseLayout.h"

#include <Kavelin/Core/FlowManager.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "cli/layout/Overrides.h"
#include "io/AttitudeFrame.h"
#include "io/FilterAttitudeErrors.h"
#include "io/FilterAttitudeForm.h"
#include "io/FilterCsvReader.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterRangeShare.h"
#include "io/FilterSampleHold.h"
#include "io/FilterTranspose.h"
#include "io/FilterVerdict.h"
#include "io/recording/TableWriter.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;
using RecordingIO::Schema;

namespace {

const char* const kQualityType = "FilterOrientationQuality";
const char* const kStaticType = "FilterStaticMode";
// A rate that equals the limit does not count as saturated.
const char* const kAlmostAll = "0.999";

bool exists(const char* type) {
    return Core::FlowManager::instance().getPluginManager().findPluginOf(type) != nullptr;
}

const char* const kAlignmentLabels[] = {"none", "heading", "start"};

}  // namespace

FuseLayout::FuseLayout(const FuseOptions& options, const Estimator& estimator, Mistakes& mistakes)
    : options_(options), estimator_(estimator), settings_(options.settings) {
    file_.folder = std::filesystem::current_path();
    file_.description = "kavelin fuse " + options.recording + " --filter " + options.type;
    if (!options.plugins.empty()) {
        file_.plugins = {{"KavelinPluginOrientationInternal", {}}, {"KavelinPluginRecordingIO", {}}};
        for (const std::string& plugin : options.plugins) {
            const bool isPath = plugin.find('/') != std::string::npos;
            file_.plugins->push_back({isPath ? std::filesystem::absolute(plugin).string() : plugin, {}});
        }
    }
    file_.layouts.push_back({{"fuse", {}}, {}});
    addRecording();
    add("estimator", options.type);
    applySettings(mistakes);
}

void FuseLayout::complete(const Schema& schema, std::optional<Alignment> alignment, Mistakes& mistakes) {
    feedEstimator(schema);
    addQuality(schema);
    addStaticMode(schema);
    if (alignment) addErrors(schema, *alignment);
    addVerdict(schema);
    addResult();
    applySettings(mistakes);
}

FilterEntry& FuseLayout::add(const char* name, const std::string& type) {
    return file_.layouts[0].filters.emplace_back(FilterEntry{{name, {}}, {type, {}}, {}, {}});
}

/// @param option what the user wrote, where the value is his
void FuseLayout::set(FilterEntry& filter, const char* property, const std::string& value,
                     const std::string& option) {
    if (value.empty()) return;
    PropertyEntry entry{{property, {0, 0, option}}, {}};
    entry.value.text = value;
    entry.value.place = {0, 0, option};
    filter.properties.push_back(std::move(entry));
}

void FuseLayout::connect(const Target& from, const Target& to, bool newestOnly) {
    ConnectionEntry& connection = file_.connections.emplace_back();
    connection.from = from;
    connection.to = to;
    // Between filters that take each round's sample in that round: lent, not copied.
    if (newestOnly) connection.bufferSize = 1;
}

/// Applies the settings whose filter is there by now. One that names no filter is the estimator's, or the
/// recording's, where that has such a property.
void FuseLayout::applySettings(Mistakes& mistakes) {
    const bool isLast = file_.findFilter("result") != nullptr;
    std::vector<std::string> later;
    for (const std::string& setting : settings_) {
        const std::string name = setting.substr(0, setting.find('='));
        const std::size_t colon = name.find(':');
        if (name.substr(colon == std::string::npos ? 0 : colon + 1) == "File Name") {
            mistakes.push_back({{0, 0, "--set \"" + setting + "\""},
                                "RECORDING names the file that is read, -o the one that is written"});
        } else if (colon != std::string::npos) {
            const bool isThere = file_.findFilter(name.substr(0, colon)) != nullptr;
            if (isThere || isLast)
                overrideProperty(file_, setting, mistakes);
            else
                later.push_back(setting);
        } else if (has(options_.type, name)) {
            overrideProperty(file_, "estimator:" + setting, mistakes, setting);
        } else if (has(RecordingIO::FilterCsvReader::kTypeName, name)) {
            overrideProperty(file_, "recording:" + setting, mistakes, setting);
        } else if (isLast) {
            overrideProperty(file_, setting, mistakes);
        } else {
            later.push_back(setting);
        }
    }
    settings_ = std::move(later);
}

bool FuseLayout::has(const std::string& type, const std::string& property) {
    const Core::FilterPtr filter =
        Core::FlowManager::instance().getPluginManager().createFilter(type, "filter");
    return filter->getPropertyBag().find(property) != nullptr;
}

/// A file name of the command line is meant as it stands: what looks like a variable in it is none.
std::string FuseLayout::literal(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i)
        text += name.compare(i, 2, "${") == 0 ? "${DOLLAR}" : std::string(1, name[i]);
    if (text != name && file_.variables.empty()) file_.variables.push_back({{"DOLLAR", {}}, {"$", {}}});
    return text;
}

void FuseLayout::addRecording() {
    FilterEntry& recording = add("recording", RecordingIO::FilterCsvReader::kTypeName);
    set(recording, "Mapping", options_.mapping, "--map \"" + options_.mapping + "\"");
    set(recording, "Units", options_.units, "--units \"" + options_.units + "\"");
    if (options_.rate > 0.0) set(recording, "Rate", numberText(options_.rate), "--rate");
    // An incomplete pair would be completed from the next row.
    set(recording, "Together", estimator_.pinsTakenTogether());
    if (estimator_.pairsInputs()) set(recording, "Repeat", "3m");
    set(recording, "File Name", literal(options_.recording), "RECORDING");
}

void FuseLayout::feedEstimator(const Schema& schema) {
    const char* source = "recording";
    if (estimator_.wantsColumns) add(source = "columns", RecordingIO::FilterTranspose::kTypeName);
    for (const Estimator::Feed& feed : estimator_.feeds) {
        if (schema.find(feed.from) == nullptr) continue;
        if (estimator_.wantsColumns) connect({"recording", feed.from, {}}, {source, feed.from, {}});
        connect({source, feed.from, {}}, {"estimator", feed.to, {}});
    }
    attitude_ = {"estimator", estimator_.attitudePin, {}};
    for (const std::string& flag : estimator_.flagPins) extras_.push_back({flag});
    if (!estimator_.stampsWithWallClock) return;
    // Results get the time of the row that brought them.
    const std::string clock = estimator_.feeds.front().from;
    FilterEntry& stamps = add("stamps", RecordingIO::FilterSampleHold::kTypeName);
    set(stamps, "Clock", clock);
    set(stamps, "Repeat", "0");
    connect({"recording", clock, {}}, {"stamps", clock, {}});
    connect(attitude_, {"stamps", "attitude", {}});
    for (const std::string& flag : estimator_.flagPins)
        connect({"estimator", flag, {}}, {"stamps", flag, {}});
    attitude_ = {"stamps", "attitude", {}};
}

Target FuseLayout::source(const std::string& extra) const {
    if (extra == "envQuality" || extra == "gestQuality") return {"quality", extra, {}};
    if (extra == "Score") return {"static", extra, {}};
    return {hasFilter("stamps") ? "stamps" : "estimator", extra, {}};
}

void FuseLayout::addQuality(const Schema& schema) {
    if (!exists(kQualityType)) return;
    extras_.insert(extras_.end(), {{"envQuality"}, {"gestQuality"}});
    // A limit set by the user is a rate, not a share of the range.
    const bool hasLimit = std::any_of(settings_.begin(), settings_.end(), [](const std::string& setting) {
        return setting.find("SaturationGyro=") != std::string::npos;
    });
    const bool hasRate = schema.find("3g") != nullptr;
    if (hasRate && !hasLimit) {
        add("range", RecordingIO::FilterRangeShare::kTypeName);
        connect({"recording", "3g", {}}, {"range", "3g", {}}, true);
    }
    FilterEntry& quality = add("quality", kQualityType);
    if (!hasLimit) set(quality, "SaturationGyro", kAlmostAll);
    for (const char* pin : {"3a", "3m"})
        if (schema.find(pin)) connect({"recording", pin, {}}, {"quality", pin, {}}, true);
    if (!hasRate) return;
    connect(hasLimit ? Target{"recording", "3g", {}} : Target{"range", "share", {}}, {"quality", "3g", {}},
            true);
}

void FuseLayout::addStaticMode(const Schema& schema) {
    if (!exists(kStaticType)) return;
    extras_.push_back({"Score", 10});
    const bool hasField = schema.find("3m") != nullptr;
    const bool holds = hasField && schema.find("3a");
    const char* source = "recording";
    if (holds) {
        // A score takes both sensors, and its reference at the first call needs both, though the magnetometer
        // may be slower.
        set(add(source = "held", RecordingIO::FilterSampleHold::kTypeName), "Clock", "3a");
        for (const char* pin : {"3a", "3m"}) connect({"recording", pin, {}}, {"held", pin, {}}, true);
    }
    FilterEntry& mode = add("static", kStaticType);
    // A missing sensor does not contradict rest.
    if (!hasField)
        for (const char* use : {"UseMag", "UseCosGB"}) set(mode, use, "0");
    for (const char* pin : {"3a", "3m"})
        if (schema.find(pin)) connect({source, pin, {}}, {"static", pin, {}}, true);
}

void FuseLayout::addErrors(const Schema& schema, Alignment alignment) {
    FilterEntry& errors = add("errors", RecordingIO::FilterAttitudeErrors::kTypeName);
    set(errors, "Alignment", kAlignmentLabels[static_cast<int>(alignment)]);
    set(errors, "Reference File", literal(options_.reference), "--reference");
    set(errors, "Movement File", literal(options_.movement), "--movement");
    if (options_.reference.empty() && schema.find("quat"))
        connect({"recording", "quat", {}}, {"errors", "reference", {}});
    connect(attitude_, {"errors", "attitude", {}});
}

void FuseLayout::addVerdict(const Schema& schema) {
    if (!RecordingIO::alignmentOf(estimator_.frame)) return;
    add("verdict", RecordingIO::FilterVerdict::kTypeName);
    for (const char* pin : {"3a", "3g", "3m"})
        if (schema.find(pin)) connect({"recording", pin, {}}, {"verdict", pin, {}}, true);
    connect({"estimator", estimator_.attitudePin, {}}, {"verdict", "attitude", {}}, true);
    const Core::FilterPtr estimator =
        Core::FlowManager::instance().getPluginManager().createFilter(options_.type, "estimator");
    for (const char* pin : {"3g_bias", "3m_hardiron", "sigma", "flag_rest", "flag_mag", "flag_mag_body"})
        if (estimator->findOutputPin(pin)) connect({"estimator", pin, {}}, {"verdict", pin, {}}, true);
}

void FuseLayout::addResult() {
    Target written = attitude_;
    if (options_.form != AttitudeForm::kQuaternion || !estimator_.isRow) {
        add("form", RecordingIO::FilterAttitudeForm::kTypeName);
        connect(attitude_, {"form", "attitude", {}}, true);
        const char* forms[] = {"quaternion", "matrix", "euler"};
        written = {"form", forms[static_cast<int>(options_.form)], {}};
    }
    FilterEntry& result = add("result", RecordingIO::FilterCsvWriter::kTypeName);
    set(result, "Rows", "attitude");
    set(result, "Header", header());
    set(result, "File Name", literal(options_.output), "-o '" + options_.output + "'");
    connect(written, {"result", "attitude", {}});
    for (const ResultWatch::Extra& extra : extras_) {
        if (extra.name != "Score" || options_.scores) connect(source(extra.name), {"result", extra.name, {}});
    }
}

std::string FuseLayout::header() const {
    const auto entry = [](const std::string& pin, const std::vector<std::string>& names) {
        return fmt::format("{} = {}", pin, fmt::join(names, ", "));
    };
    std::string text = "attitude = qw, qx, qy, qz";
    if (options_.form == AttitudeForm::kMatrix)
        text = entry("attitude", RecordingIO::columnNames("attitude", 3, 3));
    if (options_.form == AttitudeForm::kEuler)
        text = "attitude = yaw_zyx (deg), pitch_zyx (deg), roll_zyx (deg)";
    for (const ResultWatch::Extra& extra : extras_) {
        if (extra.name == "Score" && !options_.scores) continue;
        const bool isScore = extra.name == "Score";
        text +=
            "; " + entry(extra.name, RecordingIO::columnNames(extra.name, isScore ? 5 : 1, isScore ? 2 : 1));
    }
    return text;
}

}  // namespace Kavelin::Cli
