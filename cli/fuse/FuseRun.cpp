#include "cli/fuse/FuseRun.h"

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Source.h>
#include <Poco/Exception.h>
#include <fmt/format.h>
#include <unistd.h>

#include <ostream>

#include "cli/Interruption.h"
#include "cli/PaceOption.h"
#include "cli/WholeFile.h"
#include "cli/fuse/UnitFiles.h"
#include "io/AttitudeComparison.h"
#include "io/AttitudeFrame.h"
#include "io/EarthFrame.h"
#include "io/RunParticipant.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;

FuseRun::FuseRun(const FuseOptions& options, CommandContext& context)
    : options_(options),
      context_(context),
      estimator_(describeEstimator(options_.type)),
      layout_(options_, estimator_, mistakes_),
      builder_(layout_.file(), flow_, mistakes_) {
    build();
    check();
    if (!options_.plot.empty()) {
        const auto turn = earthTurn();
        plot_ = std::make_unique<AttitudePlot>(options_.plot, options_.recording,
                                               turn ? std::optional(turn->quaternion) : std::nullopt);
    }
    watchResult();
    if (options_.memory.keepsResult) keepResult();
    builder_.activateCommands();
    builder_.prepareRun();
    requireNoMistake(mistakes_);
}

/// The rest depends on what the recording holds.
void FuseRun::build() {
    requireNoMistake(mistakes_);
    requireTable();
    requireFrame();
    builder_.build();
    requireNoMistake(mistakes_);
    if (options_.memory.recording) recording().setRecording(options_.memory.recording);
    requirePaceable(options_.pace, flow_);
    if (!options_.quiet) {
        dynamic_cast<RecordingIO::RunParticipant&>(*builder_.find("recording"))
            .setListener(
                [this](const std::string& note) { context_.err << "kavelin: " << note << std::endl; });
    }
    openRecording();
    const RecordingIO::Schema& schema = *recording().schema();
    requireSensors(schema, estimator_, options_.type, options_.recording);
    const bool hasReference = !options_.reference.empty() || schema.find("quat");
    if (!options_.movement.empty() && !hasReference) {
        throw UsageError("--movement says where errors count, but there is no reference: " +
                         options_.recording + " has no quaternion, and no --reference is given");
    }
    layout_.complete(schema, hasReference ? alignment() : std::nullopt, mistakes_);
    builder_.build();
    if (options_.memory.reference && builder_.find("errors"))
        dynamic_cast<RecordingIO::AttitudeComparison&>(*builder_.find("errors"))
            .setReference(options_.memory.reference);
    requireNoMistake(mistakes_);
}

/// Opening waits for the first lines of a pipe. A signal ends the program there; the process of a caller goes on.
void FuseRun::openRecording() {
    if (!options_.memory.keepsResult) return recording().open();
    auto& source = dynamic_cast<Core::Source&>(*builder_.find("recording"));
    const Interruption interruption([&source] { source.interrupt(); });
    recording().open();
    if (Interruption::hasCome())
        throw Poco::IOException("reading " + options_.recording + " was interrupted");
}

RecordingIO::RecordingSource& FuseRun::recording() const {
    return dynamic_cast<RecordingIO::RecordingSource&>(*builder_.find("recording"));
}

std::optional<Alignment> FuseRun::alignment() const {
    if (options_.alignment == "none") return Alignment::kNone;
    if (options_.alignment == "heading") return Alignment::kHeading;
    if (options_.alignment == "start") return Alignment::kStart;
    const std::optional<Alignment> own = RecordingIO::alignmentOf(estimator_.frame);
    // Without a field even an absolute heading is arbitrary.
    return own == Alignment::kNone && !usesField() ? Alignment::kHeading : own;
}

void FuseRun::requireTable() const {
    if (options_.memory.keepsResult) return;
    if (options_.output.empty()) throw UsageError("-o '': a file name is expected, or - for standard output");
    try {
        const RecordingIO::TableKind kind = resultKind(options_);
        RecordingIO::requireFit(kind, options_.output, {});
        if (kind == RecordingIO::TableKind::kSto && options_.form != AttitudeForm::kQuaternion)
            throw UsageError("--as: a .sto file holds quaternions, neither matrices nor angles");
    } catch (const Poco::InvalidArgumentException& refusal) {
        throw UsageError("-o " + refusal.message());
    }
}

void FuseRun::requireFrame() const {
    if (options_.frame.empty() || earthTurn()) return;
    const std::string own(estimator_.frame);
    throw UsageError(fmt::format(
        "--frame {}: the attitude of {} is {}", options_.frame, options_.type,
        own.empty() ? "in a frame that it does not declare" : "\"" + own + "\", not relative to the earth"));
}

/// From the frame of the estimator to that of what is written.
std::optional<RecordingIO::EarthTurn> FuseRun::earthTurn() const {
    return RecordingIO::earthTurn(estimator_.frame, RecordingIO::earthFrameCalled(options_.frame));
}

/// Nothing else may use the files that the run writes.
void FuseRun::check() {
    if (options_.summary == "-") throw UsageError("--summary -: a file name is expected");
    std::vector<FileUse> written;
    for (const auto& [option, file] : {std::pair("--plot", options_.plot),
                                       {"--summary", options_.summary},
                                       {"--save-layout", options_.saveLayout}}) {
        if (!file.empty())
            written.push_back({option, "", file, true, {.option = std::string(option) + " '" + file + "'"}});
    }
    if (!options_.mount.empty())
        written.push_back(
            {"--mount", "", UnitFiles("--mount", options_.mount).of(layout_.unit()), false, {}});
    builder_.check(written);
    requireNoMistake(mistakes_);
    for (const std::string& file : {options_.summary, options_.saveLayout})
        if (!file.empty()) RecordingIO::ResultFile::requireWritable(file);
}

/// Connects what only this program needs to the built layout.
/// @param isLent a round brings one sample at most, which is taken in that round: it need not be copied
void FuseRun::attach(const Target& from, Core::Filter& to, const std::string& name, bool isLent) const {
    Core::Filter* filter = builder_.find(from.filter);
    Core::AbstractOutputPin* pin = filter ? filter->findOutputPin(from.element) : nullptr;
    if (pin) Core::connect(*pin, to.getInputPin(name), {.bufferSize = isLent ? 1 : kDefaultBufferSize});
}

void FuseRun::watchResult() {
    watch_ = std::make_unique<ResultWatch>("summary", layout_.extras());
    builder_.find("estimator")->getManager()->add(*watch_);
    const auto connect = [this](const Target& from, const std::string& to) {
        attach(from, *watch_, to, layout_.bringsOneSampleARound());
    };
    connect(layout_.attitude(), "attitude");
    if (!options_.quiet || plot_ || !options_.summary.empty() || options_.memory.keepsResult) {
        for (const ResultWatch::Extra& extra : layout_.extras())
            connect(layout_.source(extra.name), extra.name);
        connect({"estimator", "3g_bias", {}}, "3g_bias");
    }
    if (plot_) connect({"errors", "errors", {}}, "errors");
    watch_->setObserver([this](const ResultWatch& watch) {
        if (watch.attitudes() == 1) rowsBefore_ = recording().statistics()->completeRows() - 1;
        if (plot_) plot_->add(watch);
    });
}

void FuseRun::keepResult() {
    kept_ = std::make_unique<KeptResult>(layout_.writtenExtras());
    const bool isLent = layout_.bringsOneSampleARound();
    Core::LayoutManager& layout = *builder_.find("estimator")->getManager();
    const auto keep = [&](Core::Filter& keeper, const Target& from, const char* pin, bool lent) {
        layout.add(keeper);
        attach(from, keeper, pin, lent);
    };
    const bool areRowsLent = isLent && layout_.outputRate() <= 0.0;
    keep(kept_->rows, layout_.written(), "attitude", areRowsLent);
    for (const ResultWatch::Extra& extra : layout_.writtenExtras())
        attach(layout_.writtenSource(extra.name), kept_->rows, extra.name, areRowsLent);
    keep(kept_->bias, {"estimator", "3g_bias", {}}, "sample", isLent);
    keep(kept_->errors, {"errors", "errors", {}}, "sample", isLent);
    if (layout_.written().filter != layout_.estimate().filter) {
        kept_->estimate.emplace("result estimate", std::vector<ResultWatch::Extra>());
        keep(*kept_->estimate, layout_.estimate(), "attitude", isLent);
    }
    if (layout_.frameToGive().empty()) return;
    if (RecordingIO::earthFrameCalled(layout_.frameToGive()) != estimator_.frame) kept_->turn = earthTurn();
}

void FuseRun::run(RoundGate* given, RunWatcher* watcher) {
    recording().open();  // again, where its properties were written since
    if (!options_.saveLayout.empty()) builder_.save(options_.saveLayout);
    // Rows and the bar on one terminal would run into each other.
    const bool rowsAreSeen = options_.output == "-" && ::isatty(STDOUT_FILENO) == 1;
    context_.out.flush();
    RoundGate gate(options_.pace);
    LayoutRun run(layout_.file(), builder_, flow_, context_.err,
                  {.stopOnError = options_.stopOnError,
                   .quiet = options_.quiet,
                   .hasProgress = !rowsAreSeen && !watcher,
                   .indispensable = "result",
                   .gate = given                        ? given
                           : options_.pace != kFullPace ? &gate
                                                        : nullptr,
                   .watcher = watcher});
    run.drive();
    run.reportErrors();
    isWhole_ = !Interruption::hasCome() && !run.hasFailed("result");
    if (!run.isFine()) context_.status = kDoneWithErrors;
    report_.emplace(FusedRun{options_, estimator_, layout_, builder_, *watch_, rowsBefore_});
    report_->tell(context_);
    if (!options_.quiet) context_.err << report_->text() << std::flush;
    if (!options_.summary.empty()) writeWholeFile(options_.summary, report_->json(context_.status));
    if (plot_) plot_->draw(report_->errors() ? report_->errors()->turn() : 0.0);
}

bool FuseRun::usesField() const {
    const Core::AbstractProperty* use = builder_.find("estimator")->getPropertyBag().find("Use 3m");
    return estimator_.uses("3m") && recording().schema()->find("3m") && (!use || use->exactText() != "0");
}

}  // namespace Kavelin::Cli
