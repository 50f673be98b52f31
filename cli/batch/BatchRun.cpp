#include "cli/batch/BatchRun.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "calibration/file/CalibrationFile.h"
#include "cli/Interruption.h"
#include "cli/WholeFile.h"
#include "cli/batch/BatchTable.h"
#include "cli/batch/ProcessPool.h"
#include "cli/batch/Recordings.h"
#include "cli/batch/ResultState.h"
#include "cli/batch/WorkFolder.h"
#include "cli/fuse/FuseRun.h"
#include "cli/fuse/UnitFiles.h"
#include "io/formats/OpenRecording.h"
#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;
using RecordingIO::printable;

namespace {

/// A child's exit status: its own, from here on, so that an end that it did not choose looks different.
constexpr int kOwnStatus = 100;
constexpr int kNotWhole = kOwnStatus + 3;  // the result lacks rows

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; !what.empty() && (at = text.find(what, at)) != std::string::npos;
         at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

std::string contents(const fs::path& file) {
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

RunEnd endOf(const ChildEnd& end) {
    if (!end.status) return end.signal == 0 ? RunEnd::kNotRun : RunEnd::kCrashed;
    switch (*end.status) {
        case kOwnStatus + kDone:
            return RunEnd::kDone;
        case kOwnStatus + kDoneWithErrors:
        case kNotWhole:
            return RunEnd::kErrors;
        case kOwnStatus + kUnusable:
            return RunEnd::kUnusable;
        default:
            return RunEnd::kCrashed;
    }
}

std::string crashText(const ChildEnd& end) {
    if (end.status) return fmt::format("the run ended with status {}", *end.status);
    return fmt::format("the run was ended by signal {} ({})", end.signal, ::strsignal(end.signal));
}

/// A line of a run's messages, with the recording's name in front and without the program's.
std::string named(std::string line, const std::string& recording) {
    const std::string program = "kavelin: ";
    if (line.starts_with(program)) line.erase(0, program.size());
    const std::string option = "RECORDING: recording (FilterCsvReader), \"File Name\": ";
    if (line.starts_with(option)) line.erase(0, option.size());
    // A bad row: its line says more than the filter and the time.
    const std::size_t place = line.find(": " + recording + ":");
    if (line.starts_with("fuse/recording ") && place != std::string::npos) line.erase(0, place + 2);
    return line.starts_with(recording + ":") ? line : recording + ": " + line;
}

}  // namespace

BatchRun::BatchRun(BatchOptions options, FuseOptions fuse, CommandContext& context)
    : options_(std::move(options)), fuse_(std::move(fuse)), context_(context) {
    requireUsable();
    items_ = planBatch(options_.recordings, fuse_.output, ending(),
                       [this](const std::string& recording) { return sensorNames(recording); });
    requireNotOthers();
    chooseUnitFiles();
    if (!fuse_.summary.empty()) requireApart("--summary", fuse_.summary, items_, fuse_.output);
    work_ = std::make_unique<WorkFolder>((fs::path(fuse_.output) / kStateFolder).string());
    if (!fuse_.summary.empty()) RecordingIO::ResultFile::requireWritable(fuse_.summary);
}

BatchRun::~BatchRun() = default;

std::string BatchRun::ending() const {
    if (fuse_.isSto && !options_.kind.empty() && options_.kind != "sto")
        throw UsageError("--kind " + options_.kind + ": --as sto writes .sto files");
    return "." + (options_.kind.empty() ? fuse_.isSto ? "sto" : "csv" : options_.kind);
}

std::vector<std::string> BatchRun::sensorNames(const std::string& recording) const {
    if (!options_.allSensors) return {};
    try {
        return RecordingIO::sensorsOf(recording, openOptions(fuse_));
    } catch (const Poco::Exception&) {
        return {};  // its run says what is wrong with it
    }
}

/// What would be wrong with every run.
void BatchRun::requireUsable() const {
    const std::string& output = fuse_.output;
    if (output.empty() || output == "-") {
        for (const std::string& recording : options_.recordings) recordingsIn(recording);  // raises for none
        throw UsageError("several recordings need a folder for their results: -o DIR");
    }
    std::error_code unknown;
    const bool isFolder = fs::is_directory(output, unknown);
    if (!isFolder &&
        (fs::exists(output, unknown) || stemOf(output) != fs::path(output + "/").parent_path().filename()))
        throw UsageError("-o '" + output +
                         "': several recordings need a folder for their results, not a file");
    if (!fuse_.plot.empty() && fuse_.plot != "svg" && fuse_.plot != "png")
        throw UsageError("--plot '" + fuse_.plot +
                         "': with several recordings, svg or png: a picture next to each result");
    for (const auto& [option, file] : {std::pair("--reference", &fuse_.reference),
                                       {"--movement", &fuse_.movement},
                                       {"--save-layout", &fuse_.saveLayout}}) {
        if (file->empty()) continue;
        throw UsageError(std::string(option) + " '" + *file +
                         "' belongs to one recording; fuse that one on its own");
    }
    if (fuse_.summary == "-") throw UsageError("--summary -: a file name is expected");
    if (options_.allSensors) {
        for (const auto& [option, files] :
             {std::pair("--calibration", &fuse_.calibration), {"--mount", &fuse_.mount}})
            UnitFiles(option, *files).requireOneEach("the sensors of a recording");
    }
    FuseOptions one = fuse_;
    one.output = "result" + ending();
    one.calibration.clear();  // of each unit: optionsOf
    one.mount.clear();
    Mistakes mistakes;
    const Estimator estimator = describeEstimator(one.type);
    const FuseLayout layout(one, estimator, mistakes);
    requireNoMistake(mistakes);
}

/// The files of each unit, and that they can be used.
void BatchRun::chooseUnitFiles() {
    const UnitFiles calibrations("--calibration", fuse_.calibration), mounts("--mount", fuse_.mount);
    std::set<std::string> read;
    for (const BatchItem& item : items_) {
        const std::string unit = !item.sensor.empty()    ? item.sensor
                                 : !fuse_.sensor.empty() ? fuse_.sensor
                                                         : stemOf(item.recording);
        Choice& choice = choices_.emplace_back(Choice{calibrations.of(unit), mounts.of(unit), options_.text});
        for (const std::string& file : {choice.calibration, choice.mount}) {
            if (file.empty()) continue;
            if (read.insert(file).second) Calibration::readCalibration(file);
            choice.text += "\n" + file + ": " + stampOf(file);
        }
    }
}

/// A result of another recording must not be lost.
void BatchRun::requireNotOthers() const {
    for (const BatchItem& item : items_) {
        const std::string other = ResultState(fuse_.output, item.result).otherRecording(item.recording);
        if (other.empty()) continue;
        throw UsageError("'" + printable(path(item.result)) + "' is the result of '" + printable(other) +
                         "', not of '" + printable(item.recording) + "'; name another folder with -o");
    }
}

std::string BatchRun::path(const std::string& result) const {
    return (fs::path(fuse_.output) / result).string();
}

/// Everything that a run writes is under way in a folder of its own.
FuseOptions BatchRun::optionsOf(std::size_t item) const {
    const fs::path folder = fs::path(work_->path()) / std::to_string(item);
    FuseOptions one = fuse_;
    one.recording = items_[item].recording;
    if (!items_[item].sensor.empty()) one.sensor = items_[item].sensor;
    one.calibration = choices_[item].calibration;
    one.mount = choices_[item].mount;
    one.output = (folder / fs::path(items_[item].result).filename()).string();
    one.summary = (folder / "summary").string();
    if (!fuse_.plot.empty()) one.plot = fs::path(one.output).replace_extension(fuse_.plot).string();
    one.quiet = true;
    return one;
}

/// In the child.
int BatchRun::work(std::size_t item) {
    CommandContext context{std::cin, std::cout, std::cerr};
    const FuseOptions options = optionsOf(item);
    std::error_code unknown;
    fs::create_directory(fs::path(options.output).parent_path(), unknown);
    try {
        FuseRun run(options, context);
        try {
            run.run();
        } catch (const std::exception& error) {
            reportError(context, error);
            context.status = kDoneWithErrors;
        }
        return run.isWhole() ? kOwnStatus + context.status : kNotWhole;
    } catch (const std::exception& error) {
        return kOwnStatus + reportError(context, error);
    }
}

void BatchRun::run() {
    std::vector<std::size_t> tasks;
    for (std::size_t i = 0; i < items_.size(); ++i) {
        entries_.emplace_back().recording = items_[i].recording;
        stamps_.push_back(stampOf(items_[i].recording));
        std::optional<BatchEntry> held;
        if (options_.resume)
            held =
                ResultState(fuse_.output, items_[i].result).heldEntry(items_[i].recording, choices_[i].text);
        if (held)
            entries_[i] = *held;
        else
            tasks.push_back(i);
        entries_[i].sensor = items_[i].sensor;
    }
    ended_ = items_.size() - tasks.size();
    const Interruption caught;
    context_.out.flush();
    showProgress();
    const std::size_t jobs = options_.jobs > 0 ? options_.jobs : usableProcessors();
    const bool isWhole = runInChildren(
        tasks, jobs, [this](std::size_t item) { return work(item); },
        [this](std::size_t item, const ChildEnd& end) { take(item, end); });
    told_ = items_.size();
    tellDue();
    if (!isWhole) context_.err << "kavelin: interrupted; the results that were complete are kept\n";
    report();
}

void BatchRun::take(std::size_t item, const ChildEnd& end) {
    BatchEntry& entry = entries_[item];
    entry.end = endOf(end);
    const bool isWhole = end.status != kNotWhole;
    const FuseOptions options = optionsOf(item);
    std::string text =
        replaced(end.text, options.output, path(items_[item].result) + (isWhole ? "" : ".part"));
    if (!options.plot.empty()) {
        const fs::path plot = fs::path(path(items_[item].result)).replace_extension(fuse_.plot);
        text = replaced(text, options.plot, plot.string());
    }
    if (entry.end == RunEnd::kCrashed) text += crashText(end);
    try {
        if (entry.end == RunEnd::kDone || entry.end == RunEnd::kErrors) complete(item, isWhole);
    } catch (const std::exception& error) {
        entry.end = RunEnd::kErrors;
        text += error.what();
    }
    ++ended_;
    tell(item, text);
    note(item);
}

/// Gives what the run wrote its names.
void BatchRun::complete(std::size_t item, bool isWhole) {
    const FuseOptions options = optionsOf(item);
    const fs::path target = path(items_[item].result);
    fs::create_directories(target.parent_path());
    if (!isWhole) {
        if (fs::exists(options.output)) fs::rename(options.output, target.string() + ".part");
        return;
    }
    fs::rename(options.output, target);
    entries_[item].result = target.string();
    if (!options.plot.empty() && fs::exists(options.plot))
        fs::rename(options.plot, fs::path(target).replace_extension(fuse_.plot));
}

/// Keeps the messages of a run until all earlier ones have been printed.
void BatchRun::tell(std::size_t item, std::string text) {
    const std::string name = printable(items_[item].recording);
    std::istringstream lines(replaced(std::move(text), items_[item].recording, name));
    std::string told;
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) continue;
        line = named(printable(line), name);
        if (entries_[item].reason.empty()) entries_[item].reason = line.substr(name.size());
        told += "kavelin: " + line + "\n";
    }
    std::string& reason = entries_[item].reason;
    if (reason.starts_with(": ")) reason.erase(0, 2);
    if (reason.starts_with(":")) reason.insert(0, "line ").erase(5, 1);
    due_[item] = told;
    while (told_ < items_.size() && (entries_[told_].end != RunEnd::kNotRun)) ++told_;
    tellDue();
}

void BatchRun::tellDue() {
    const bool hasBar = !fuse_.quiet && ::isatty(STDERR_FILENO) == 1;
    if (hasBar) context_.err << "\r\033[K";
    while (!due_.empty() && due_.begin()->first < told_) {
        context_.err << due_.begin()->second;
        due_.erase(due_.begin());
    }
    context_.err << std::flush;
    if (ended_ < items_.size()) showProgress();
}

void BatchRun::showProgress() {
    if (fuse_.quiet || ::isatty(STDERR_FILENO) != 1) return;
    context_.err << "\r\033[K" << ended_ << " of " << items_.size() << " recordings" << std::flush;
}

/// Notes the run for a later resume, and removes what it left.
void BatchRun::note(std::size_t item) {
    const fs::path folder = fs::path(optionsOf(item).output).parent_path();
    const std::string summary = contents(folder / "summary");
    std::error_code unknown;
    fs::remove_all(folder, unknown);
    if (const auto json = nlohmann::ordered_json::parse(summary, nullptr, false); json.is_object())
        entries_[item].figures = figuresOf(json);
    try {
        ResultState(fuse_.output, items_[item].result)
            .write(entries_[item], choices_[item].text, stamps_[item], summary);
    } catch (const Poco::Exception& error) {
        context_.err << "kavelin: " << error.displayText() << "\n";
        context_.status = kDoneWithErrors;
    }
}

void BatchRun::report() {
    for (const BatchEntry& entry : entries_)
        if (entry.end != RunEnd::kDone) context_.status = kDoneWithErrors;
    if (!fuse_.quiet) context_.out << tableText(entries_) << std::flush;
    // Several programs may fill one folder.
    const fs::path table = fs::path(work_->path()) / kTableName;
    writeWholeFile(table.string(), tableCsv(entries_));
    fs::rename(table, path(kTableName));
    if (!fuse_.summary.empty()) writeSummary();
}

void BatchRun::writeSummary() const {
    using Json = nlohmann::ordered_json;
    Json all = Json::array();
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        const BatchEntry& entry = entries_[i];
        const bool hasSummary = entry.end == RunEnd::kDone || entry.end == RunEnd::kErrors;
        all.push_back(
            {{"recording", entry.recording},
             {"sensor", entry.sensor.empty() ? Json() : Json(entry.sensor)},
             {"result", entry.result.empty() ? Json() : Json(entry.result)},
             {"end", endName(entry.end)},
             {"kept", entry.isKept},
             {"reason", entry.reason},
             {"summary", hasSummary ? ResultState(fuse_.output, items_[i].result).summary() : Json()}});
    }
    writeWholeFile(fuse_.summary, all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
}

}  // namespace Kavelin::Cli
