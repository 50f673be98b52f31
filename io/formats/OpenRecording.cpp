#include "io/formats/OpenRecording.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "io/files/FileTree.h"
#include "io/formats/Format.h"
#include "io/formats/MessageReader.h"
#include "io/formats/SensorNames.h"
#include "io/formats/TranslatedSource.h"
#include "io/recording/MergedReader.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const char* const kTable = "table";
const char* const kMessages = "ximu3_ascii";

std::string formatNames() {
    std::string names = kTable;
    for (const Format& format : formats()) names += std::string(", ") + format.name;
    return names;
}

std::vector<std::string> pinsOf(const SensorPlan& sensor) {
    std::vector<std::string> pins;
    for (const TablePlan& table : sensor.tables) {
        const TableForm& form = table.arrays ? table.arrays->form : table.form;
        for (const std::string& pin : wholePins(form)) pins.push_back(pin);
    }
    return pins;
}

/// "acc_filtered" next to acc and gyr is no sensor of its own: what the sensor without a name has itself is left out.
/// Where others remain, the one without gets a name, so that it can be chosen.
void nameTheUnnamed(RecordingPlan& plan) {
    const auto unnamed = std::ranges::find(plan.sensors, "", &SensorPlan::name);
    if (unnamed == plan.sensors.end() || plan.sensors.size() == 1) return;
    const std::vector<std::string> own = pinsOf(*unnamed);
    std::vector<SensorPlan> kept;
    std::vector<std::string> notes;
    for (SensorPlan& sensor : plan.sensors) {
        const std::vector<std::string> pins = pinsOf(sensor);
        const bool isTwice = &sensor != &*unnamed && pins.size() < own.size() &&
                             std::ranges::all_of(pins, [&](const std::string& pin) {
                                 return std::ranges::find(own, pin) != own.end();
                             });
        if (isTwice)
            notes.push_back(fmt::format("'{}' ({}) is not taken: there is one without that word in its name",
                                        sensor.name, listed(pins)));
        else
            kept.push_back(std::move(sensor));
    }
    plan.sensors = std::move(kept);
    SensorPlan& main = *std::ranges::find(plan.sensors, "", &SensorPlan::name);
    main.notes.insert(main.notes.end(), notes.begin(), notes.end());
    if (plan.sensors.size() > 1) main.name = "unnamed";
}

std::string topFolderOf(const std::string& file) { return file.substr(0, file.find('/') + 1); }

/// A recording found in a folder of a folder: what lies beside it may be others that were meant too.
void noteWhatLiesBeside(RecordingPlan& plan, const FileTree& tree) {
    std::set<std::string> taken, beside;
    for (const SensorPlan& sensor : plan.sensors)
        for (const TablePlan& table : sensor.tables) taken.insert(topFolderOf(table.file));
    if (taken.contains("")) return;
    for (const FileTree::Entry& file : tree.files())
        if (const std::string folder = topFolderOf(file.name); !taken.contains(folder))
            beside.insert(folder.empty() ? file.name : folder);
    if (beside.empty()) return;
    const std::string note =
        fmt::format("read are the files in {} alone, not {}", listed({taken.begin(), taken.end()}),
                    listed({beside.begin(), beside.end()}));
    for (SensorPlan& sensor : plan.sensors) sensor.notes.push_back(note);
}

/// How a recording is read by the format that is named, or by the first that knows it; empty: as a table.
std::optional<RecordingPlan> planOf(const Sighting& sighting, const std::string& name) {
    if (name == kTable) return std::nullopt;
    for (const Format& format : formats()) {
        if (!name.empty() && name != format.name) continue;
        std::optional<RecordingPlan> plan = format.plan(sighting);
        if (plan) {
            plan->format = format.name;
            nameTheUnnamed(*plan);
            noteWhatLiesBeside(*plan, sighting.tree());
            for (SensorPlan& sensor : plan->sensors) {
                sensor.name = printable(sensor.name);
                for (std::string& note : sensor.notes) note = printable(note);
            }
            return plan;
        }
        if (name.empty()) continue;
        throw Poco::DataFormatException(sighting.tree().pathOf("") + ": the files are not of the format '" +
                                        name + "'");
    }
    if (name.empty()) return std::nullopt;
    throw Poco::DataFormatException("there is no format '" + name + "'; known are: " + formatNames());
}

const SensorPlan& chooseSensor(const std::string& path, const RecordingPlan& plan,
                               const std::string& wanted) {
    std::vector<std::string> names;
    for (const SensorPlan& sensor : plan.sensors) names.push_back(sensor.name);
    if (wanted.empty() && names.size() == 1) return plan.sensors.front();
    const auto found = std::ranges::find_if(
        plan.sensors, [&](const SensorPlan& sensor) { return equalsIgnoringCase(sensor.name, wanted); });
    if (!wanted.empty() && found != plan.sensors.end()) return *found;
    throw Poco::DataFormatException(
        wanted.empty()
            ? fmt::format("{}: it holds {} sensors: {}; choose one with --sensor NAME (fuse) or the property "
                          "Sensor, or take each with --all-sensors",
                          path, names.size(), listed(names, names.size()))
            : fmt::format("{}: no sensor '{}'; it holds: {}", path, wanted, listed(names, names.size())));
}

std::unique_ptr<RowReader> openTable(const FileTree& tree, const TablePlan& table,
                                     const OpenOptions& options) {
    std::unique_ptr<ByteSource> source = tree.open(table.file);
    if (table.alsoSeparates != '\0')
        source =
            std::make_unique<TranslatedSource>(std::move(source), table.alsoSeparates, table.form.separator);
    return std::make_unique<RecordingReader>(std::move(source), tree.pathOf(table.file), table.form, options);
}

/// Whether each entry of a mapping is one of a table's; else the first table says which columns there are.
bool isInOneOf(const std::vector<TablePlan>& tables, const std::string& mapping) {
    std::size_t taken = 0;
    for (const MappingEntry& entry : parseMapping(mapping)) {
        taken += std::ranges::any_of(tables, [&](const TablePlan& table) {
            const std::vector<MappingEntry> own = parseMapping(mappingFor(table.form.columns, mapping));
            return std::ranges::find(own, entry.pin, &MappingEntry::pin) != own.end();
        });
    }
    return taken == parseMapping(mapping).size();
}

std::unique_ptr<RowReader> openPlan(const std::string& path, const FileTree& tree, const RecordingPlan& plan,
                                    OpenOptions options) {
    const SensorPlan& sensor = chooseSensor(path, plan, options.sensor);
    options.sensor.clear();
    std::vector<std::unique_ptr<RowReader>> readers;
    const std::string mapping = options.mapping;
    for (const TablePlan& table : sensor.tables) {
        const std::string own = mappingFor(table.form.columns, mapping);
        if (sensor.tables.size() > 1 && !table.arrays && isInOneOf(sensor.tables, mapping))
            options.mapping = own;
        if (table.holdsMessages) {
            readers.push_back(
                std::make_unique<MessageReader>(tree.open(table.file), tree.pathOf(table.file), options));
        } else if (table.arrays) {
            readers.push_back(std::make_unique<ArrayReader>(tree.pathOf(table.file), table.arrays, options));
        } else {
            readers.push_back(openTable(tree, table, options));
        }
    }
    auto merged = std::make_unique<MergedReader>(path, std::move(readers));
    std::vector<std::string> decisions{plan.format};
    if (plan.sensors.size() > 1) {
        decisions.push_back("sensor " + sensor.name);
        if (plan.sensors[0].tables[0].file != plan.sensors[1].tables[0].file) merged->belongsToOneOfSeveral();
    }
    merged->prepend(decisions, sensor.notes);
    return merged;
}

/// A single file that no format claims, or a pipe, is a table; so is the only file of an archive.
std::unique_ptr<RecordingReader> openSingle(const FileTree& tree, const std::string& path,
                                            const OpenOptions& options) {
    const std::string& file = tree.files().front().name;
    return std::make_unique<RecordingReader>(tree.open(file), path, options);
}

[[noreturn]] void refuseUnknown(const std::string& path, const FileTree& tree) {
    std::vector<std::string> names;
    for (const FileTree::Entry& file : tree.files()) names.push_back(file.name);
    throw Poco::DataFormatException(path + ": no format is known that consists of these files: " +
                                    listed(names, 8) + ". Name one of them, or see kavelin formats");
}

/// A stream whose first lines have been looked at; they come again.
class SightedSource : public ByteSource {
public:
    explicit SightedSource(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

    /// The next line of those that are looked at; waits for it.  @return false where there is none
    bool sight(std::string& line) {
        std::size_t feed = 0;
        while ((feed = bytes_.find('\n', seen_)) == std::string::npos) {
            if (bytes_.size() > LineReader::kBlockSize || failure_ || !readOn()) return false;
        }
        line = bytes_.substr(seen_, feed - seen_);
        if (line.ends_with('\r')) line.pop_back();
        seen_ = feed + 1;
        return true;
    }

    std::size_t read(char* into, std::size_t size) override {
        if (given_ == bytes_.size()) {
            if (failure_) failure_->rethrow();
            return source_->read(into, size);
        }
        const std::size_t count = bytes_.copy(into, size, given_);
        given_ += count;
        return count;
    }
    std::function<void()> closer() override { return source_->closer(); }
    bool mayWait() const override { return source_->mayWait(); }
    double arrival() const override { return source_->arrival(); }
    LiveStream* live() override { return source_->live(); }
    std::uint64_t consumed() const override { return source_->consumed(); }
    std::uint64_t total() const override { return source_->total(); }

private:
    bool readOn() {
        const std::size_t before = bytes_.size();
        bytes_.resize(before + kSightBytes);
        std::size_t count = 0;
        try {
            count = source_->read(bytes_.data() + before, kSightBytes);
        } catch (const Poco::Exception& failure) {
            failure_.reset(failure.clone());  // raised where it is read
        }
        bytes_.resize(before + count);
        return count > 0;
    }

    static constexpr std::size_t kSightBytes = std::size_t{1} << 16;
    std::unique_ptr<ByteSource> source_;
    std::string bytes_;
    std::size_t seen_ = 0, given_ = 0;
    std::unique_ptr<Poco::Exception> failure_;
};

/// Whether a stream is read as messages: where the format is not said, its first whole line tells.
bool isOfMessages(SightedSource& source, const std::string& format) {
    if (format == kMessages) return true;
    if (format == kTable) return false;
    if (!format.empty())
        throw Poco::DataFormatException("a stream is a table or of the format " + std::string(kMessages) +
                                        ", not '" + format + "'");
    std::string line;
    bool isRestOfLine = source.live() && source.live()->beginsMidLine();
    while (source.sight(line)) {
        if (MessageReader::isMessage(line)) return true;
        if (!MessageReader::isBetweenMessages(line) && !std::exchange(isRestOfLine, false)) return false;
    }
    return false;
}

[[noreturn]] void refuseArrival(const std::string& name) {
    throw Poco::DataFormatException(
        name +
        ": a file does not arrive: the time of arrival is that of a live stream. Where the rows have no time "
        "stamps, give their rate with --rate HZ, or the property Rate");
}

}  // namespace

std::unique_ptr<RowReader> openStream(std::unique_ptr<ByteSource> source, const std::string& path,
                                      const OpenOptions& options,
                                      const std::function<void(std::function<void()>)>& announce) {
    const std::string name = RecordingReader::nameOf(path);
    if (options.isByArrival && !source->mayWait()) refuseArrival(name);
    if (announce) announce(source->closer());
    const LiveStream* const live = source->live();
    const std::size_t longest = live ? live->longestLine() : LineReader::kBlockSize;
    auto sighted = std::make_unique<SightedSource>(std::move(source));
    if (isOfMessages(*sighted, options.format))
        return std::make_unique<MessageReader>(std::move(sighted), name, options, longest);
    return std::make_unique<RecordingReader>(std::move(sighted), name, options, longest);
}

std::unique_ptr<RowReader> openRecording(const std::string& path, const OpenOptions& options,
                                         const std::function<void(std::function<void()>)>& announce) {
    if (canBeReadOnlyOnce(path)) return openStream(openSource(path, options.notes), path, options, announce);
    if (options.isByArrival) refuseArrival(path);
    return openRecording(*FileTree::at(path), path, options);
}

std::unique_ptr<RowReader> openRecording(const FileTree& tree, const std::string& path,
                                         const OpenOptions& options) {
    const std::optional<RecordingPlan> plan = planOf(Sighting(tree, options), options.format);
    if (plan) return openPlan(path, tree, *plan, options);
    if (tree.files().size() > 1) refuseUnknown(path, tree);
    return openSingle(tree, tree.pathOf(tree.files().front().name), options);
}

std::vector<std::string> sensorsOf(const std::string& path, const OpenOptions& options) {
    if (canBeReadOnlyOnce(path)) return {};
    return sensorsOf(*FileTree::at(path), path, options);
}

std::vector<std::string> sensorsOf(const FileTree& tree, const std::string& path,
                                   const OpenOptions& options) {
    std::vector<std::string> names;
    const std::optional<RecordingPlan> plan = planOf(Sighting(tree, options), options.format);
    if (plan) {
        for (const SensorPlan& sensor : plan->sensors) names.push_back(sensor.name);
    } else if (tree.files().size() == 1) {
        OpenOptions any = options;
        any.listsSensors = true;
        names = openSingle(tree, path, any)->readSensors();
    }
    if (names.size() < 2) names.clear();
    return names;
}

bool isRecording(const std::string& path) {
    if (canBeReadOnlyOnce(path)) return true;
    const std::unique_ptr<FileTree> tree = FileTree::at(path);
    const OpenOptions options;
    return tree->isSingleFile() || planOf(Sighting(*tree, options), {}).has_value();
}

}  // namespace Kavelin::RecordingIO
