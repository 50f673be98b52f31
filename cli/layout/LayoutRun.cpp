#include "cli/layout/LayoutRun.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <ostream>

#include "cli/CommandContext.h"
#include "cli/Interruption.h"
#include "cli/PairingText.h"
#include "cli/SettingsFile.h"
#include "cli/layout/Checkpoint.h"
#include "io/RunParticipant.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

using RecordingIO::counted;
using RecordingIO::RunParticipant;

constexpr std::uint64_t kRowsBetweenLooks = 256;  // at the clock
constexpr double kLongWait = 10.0;                // s, for the time of a row: worth a line

std::string at(double t) { return "at " + numberText(t) + " s"; }

std::string actionText(const ActionEntry& action) {
    return fmt::format("action {} on {}:{}", at(action.at), action.target.filter, action.target.element);
}

std::string fullName(const Core::Filter& filter) {
    return filter.getManager()->getName() + "/" + filter.getName();
}

std::string errorText(const Core::ProcessError& error) {
    return error.message.empty() ? error.type : error.message;
}

/// Calls `act` with each filter that is a `Kind`, as a filter and as that.
template <class Kind, class Act>
void each(const Core::FlowManager& flow, Act act) {
    for (const Core::LayoutManager* layout : flow.getLayouts())
        for (Core::Filter* filter : layout->getFilters())
            if (auto* kind = dynamic_cast<Kind*>(filter)) act(*filter, *kind);
}

}  // namespace

LayoutRun::LayoutRun(const LayoutFile& file, LayoutBuilder& builder, Core::FlowManager& flow,
                     std::ostream& err, const LayoutRunOptions& options)
    : file_(file),
      builder_(builder),
      flow_(flow),
      err_(err),
      options_(options),
      progress_(err, options.hasProgress && !options.quiet) {}

bool LayoutRun::run() {
    drive();
    reportErrors();
    reportDataErrors();
    if (!options_.quiet) reportSummary();
    return isFine();
}

void LayoutRun::drive() {
    if (options_.gate) options_.gate->begin();
    std::optional<Interruption> interruption;
    if (!options_.watcher) {
        interruption.emplace([this] {
            interruptSources();
            if (options_.gate) options_.gate->stop();
        });
    }
    prepareLanes();
    shareSchedules();
    if (options_.resumed) takeUp(*options_.resumed);
    listen(true);
    runAll();
    for (Lane& lane : lanes_) {
        lane.layout->setRoundHook({});
        lane.layout->setFedRoundHook({});
    }
    if (options_.checkpoint && !mustStop()) saveCheckpoint();  // rows lost since the last one are noticed
    finishStreams();
    performOverdue();
    complete();
    listen(false);
    if (options_.gate) options_.gate->end();
}

void LayoutRun::runAll() {
    if (options_.watcher) options_.watcher->begins(*this);
    if (options_.threads)
        flow_.runToEndInThreads();
    else
        flow_.runToEnd();
    if (options_.watcher) options_.watcher->ends();
}

void LayoutRun::stop() {
    requestStop();
    interruptSources();
}

void LayoutRun::requestStop() {
    stop_.store(true);
    if (options_.gate) options_.gate->stop();
}

bool LayoutRun::mustStop() const { return Interruption::hasCome() || stop_.load(std::memory_order_relaxed); }

bool LayoutRun::isFine() const {
    std::uint64_t errors = failures_.load();
    for (const Lane& lane : lanes_) errors += lane.layout->getErrors().getCount();
    return errors == 0 && !Interruption::hasCome();
}

void LayoutRun::prepareLanes() {
    for (Core::LayoutManager* layout : flow_.getLayouts()) {
        lanes_.push_back({.layout = layout});
        layout->getErrors().setListener([this](const Core::ProcessError& error) {
            tellFailure(error);
            if (options_.stopOnError || error.filter == options_.indispensable) requestStop();
        });
        hook(lanes_.back());
    }
}

void LayoutRun::tellFailure(const Core::ProcessError& error) {
    const std::string text =
        error.layout + "/" + error.filter + " " + at(error.timeStamp) + ": " + errorText(error);
    if (options_.watcher)
        options_.watcher->failed(error, text);
    else
        say(text, true);
}

/// What filters tell while the run goes on.
void LayoutRun::listen(bool listens) {
    each<RunParticipant>(flow_, [&](const Core::Filter&, RunParticipant& one) {
        if (listens && (!options_.quiet || options_.watcher))
            one.setListener([this](const std::string& note) { say(note); });
        else
            one.setListener({});
    });
}

/// A source that waits for a live stream cannot check whether it should stop.
void LayoutRun::interruptSources() {
    each<Core::Source>(flow_, [](const Core::Filter&, Core::Source& source) { source.interrupt(); });
}

void LayoutRun::hook(Lane& lane) {
    lane.layout->setRoundHook([this, &lane](double t) { beforeRound(lane, t); });
    lane.layout->setFedRoundHook([this, &lane](double t) { performDue(lane, t); });
}

/// In one thread all layouts share a schedule, so actions follow each other as their times do. With threads
/// an action belongs to its filter's layout, which reaches its time once it has worked off the earlier rows.
void LayoutRun::shareSchedules() {
    std::map<Lane*, std::vector<const ActionEntry*>> actions;
    for (const ActionEntry& action : file_.actions) actions[laneOf(action)].push_back(&action);
    for (auto& [lane, own] : actions) {
        schedules_.emplace_back(std::move(own));
        if (lane != nullptr) lane->schedule = &schedules_.back();
    }
    if (options_.threads || schedules_.empty()) return;
    for (Lane& lane : lanes_) lane.schedule = &schedules_.front();
}

LayoutRun::Lane* LayoutRun::laneOf(const ActionEntry& action) {
    if (!options_.threads) return &lanes_.front();
    const Core::LayoutManager* layout = builder_.find(action.target.filter)->getManager();
    return &*std::find_if(lanes_.begin(), lanes_.end(),
                          [&](const Lane& lane) { return lane.layout == layout; });
}

void LayoutRun::beforeRound(Lane& lane, double t) {
    if (options_.gate && !mustStop()) passGate(t);
    if (options_.checkpoint && wantsCheckpoint()) saveCheckpoint();
    if (mustStop()) return endBefore(lane);
    if (options_.watcher) options_.watcher->rowBegins(*lane.layout);
    if (lane.rounds++ == 0) lane.first = t;
    lane.last = t;
    if (progress_.isOn() && lane.rounds % kRowsBetweenLooks == 0) showProgress(lane);
    performDue(lane, t);
}

/// Nobody goes on behind the error that ends a run.
bool LayoutRun::wantsCheckpoint() const {
    if (stop_.load(std::memory_order_relaxed)) return false;
    return Interruption::hasCome() ? !hasCheckpointed_ : options_.checkpoint->isDue();
}

/// Results on the disk go before the checkpoint that counts on them.
void LayoutRun::saveCheckpoint() {
    hasCheckpointed_ = mustStop();
    try {
        options_.checkpoint->save(progress(), flow_.getLayouts());
    } catch (const std::exception& error) {
        const std::string why = "no checkpoint: " + Core::exceptionMessage(error);
        if (failed_.insert(options_.checkpoint->file()).second) fail(why);
    }
}

RunProgress LayoutRun::progress() const {
    RunProgress progress{{}, {}, failures_.load(), failed_};
    for (const Lane& lane : lanes_) progress.lanes.push_back({lane.rounds, lane.first, lane.last});
    for (const ActionSchedule& schedule : schedules_) progress.actions.push_back(schedule.given());
    return progress;
}

void LayoutRun::takeUp(const RunProgress& progress) {
    auto from = progress.lanes.begin();
    for (Lane& lane : lanes_) {
        lane.rounds = from->rounds;
        lane.first = from->first;
        lane.last = from->last;
        ++from;
    }
    auto given = progress.actions.begin();
    for (ActionSchedule& schedule : schedules_)
        if (given != progress.actions.end()) schedule.skip(static_cast<std::size_t>(*given++));
    failures_.store(progress.failures);
    failed_ = progress.failed;
    each<RunParticipant>(flow_, [this](const Core::Filter& filter, RunParticipant& writer) {
        attempt(filter, [&] { writer.resumeRun(); });
    });
    std::uint64_t rounds = 0, errors = progress.failures;
    for (const Lane& lane : lanes_) {
        rounds += lane.rounds;
        errors += lane.layout->getErrors().getCount();
    }
    const std::string before = errors > 0 ? "; " + counted(errors, "error") + " came before it" : "";
    if (!options_.quiet || errors > 0)
        say("resumed behind row " + std::to_string(rounds) + before, errors > 0);
}

/// Between two rows: what was sent has been taken, and layouts that this one feeds end when they are drained.
void LayoutRun::endBefore(const Lane& lane) {
    if (options_.threads)
        lane.layout->stop();
    else
        flow_.stop();
}

void LayoutRun::passGate(double t) {
    if (const double wait = options_.gate->wait(t); wait > kLongWait && !options_.quiet)
        say(fmt::format("the next row is that {}: it is due in {:.0f} s", at(t), wait));
    options_.gate->pass(t);
}

void LayoutRun::performDue(Lane& lane, double t) {
    if (lane.schedule != nullptr)
        lane.schedule->runUntil(t, [this](const ActionEntry& action) { perform(action); });
}

/// With threads, a layout that no source reaches gets no rows, but the time of its actions may have come.
void LayoutRun::performOverdue() {
    if (!options_.threads || stop_.load()) return;
    for (const Lane& source : lanes_) {
        if (source.rounds == 0) continue;
        for (Lane& lane : lanes_) performDue(lane, source.last);
    }
}

/// With threads every layout reports its own rows; the line shows the latest report.
void LayoutRun::showProgress(const Lane& lane) {
    const std::lock_guard lock(reportMutex_);
    double share = std::numeric_limits<double>::quiet_NaN();
    for (const Core::Filter* filter : lane.layout->getFilters()) {
        if (const auto* source = dynamic_cast<const Core::Source*>(filter)) {
            if (const double own = source->progress(); !(share <= own)) share = own;
        }
    }
    progress_.show(lane.rounds, share);
}

void LayoutRun::perform(const ActionEntry& action) {
    try {
        builder_.perform(action);
    } catch (const std::exception& error) {
        const std::string message = Core::exceptionMessage(error);
        fail(actionText(action) + ": " + (message.empty() ? Core::exceptionType(error) : message));
    }
}

/// Takes a step of a filter; what that raises is a failure of the run.
template <class Step>
void LayoutRun::attempt(const Core::Filter& filter, Step step) {
    try {
        step();
    } catch (const std::exception& error) {
        const bool isLost = dynamic_cast<const Poco::WriteFileException*>(&error) != nullptr;
        if (isLost && options_.checkpoint) options_.checkpoint->keep();
        failed_.insert(filter.getName());
        fail(fullName(filter) + ": " + Core::exceptionMessage(error));
    }
}

bool LayoutRun::hasFailed(const std::string& filter) const {
    if (failed_.contains(filter)) return true;
    return std::any_of(lanes_.begin(), lanes_.end(), [&](const Lane& lane) {
        const std::vector<Core::ProcessError> errors = lane.layout->getErrors().getErrors();
        return std::any_of(errors.begin(), errors.end(),
                           [&](const Core::ProcessError& error) { return error.filter == filter; });
    });
}

void LayoutRun::fail(const std::string& text) {
    ++failures_;
    say(text, true);
    if (options_.stopOnError) requestStop();
}

void LayoutRun::say(const std::string& text, bool isError) {
    const std::lock_guard lock(reportMutex_);
    reports_.push_back({text, isError});
    if (options_.watcher) return options_.watcher->said(text, isError);
    progress_.clear();
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        err_ << "kavelin: " << text.substr(begin, end - begin) << '\n';
        begin = end + 1;
    }
    err_ << std::flush;
}

void LayoutRun::finishStreams() {
    for (const Lane& lane : lanes_) {
        for (Core::Filter* filter : lane.layout->getCallOrder()) {
            auto* participant = dynamic_cast<RunParticipant*>(filter);
            if (participant == nullptr) continue;
            attempt(*filter, [&] { participant->finishStream(); });
            while (std::any_of(lanes_.begin(), lanes_.end(),
                               [](const Lane& one) { return one.layout->runPending(); })) {
            }
        }
    }
}

void LayoutRun::complete() {
    each<RunParticipant>(flow_, [this](const Core::Filter& filter, RunParticipant& open) {
        attempt(filter, [&] { open.completeRun(); });
    });
}

void LayoutRun::reportErrors() {
    reportRepeats();
    reportPairing();
    reportMisfits();
    if (!Interruption::hasCome()) {
        if (options_.checkpoint && options_.checkpoint->isKept())
            say("the checkpoint " + options_.checkpoint->file() + " is kept: --resume goes on from before",
                true);
        return;
    }
    say("interrupted; the rows done are kept" +
        (options_.checkpoint ? "; --resume " + options_.checkpoint->file() + " goes on" : ""));
}

void LayoutRun::reportSummary() {
    std::uint64_t rounds = 0;
    double first = 0.0, last = 0.0;
    for (const Lane& lane : lanes_) {
        if (lane.rounds == 0) continue;
        first = rounds == 0 ? lane.first : std::min(first, lane.first);
        last = rounds == 0 ? lane.last : std::max(last, lane.last);
        rounds += lane.rounds;
    }
    if (rounds > 0) reportActions(first, last);
    reportNotesAndDrops();
    if (rounds == 0)
        say("nothing to do: no source had a row");
    else
        say(fmt::format("{}, stream time {} s to {} s", counted(rounds, "row"), numberText(first),
                        numberText(last)));
}

/// What in the data makes the results wrong.
void LayoutRun::reportDataErrors() {
    each<RunParticipant>(flow_, [this](const Core::Filter& filter, const RunParticipant& source) {
        for (const std::string& error : source.runErrors()) {
            ++failures_;
            say(filter.getName() + ": " + error, true);
        }
    });
}

void LayoutRun::reportRepeats() {
    for (Lane& lane : lanes_) {
        Core::ErrorLog& log = lane.layout->getErrors();
        std::uint64_t listed = 0;
        for (const Core::ProcessError& error : log.getErrors()) {
            listed += error.count;
            if (error.count > 1)
                say(fmt::format("{}/{}, {} in all: {}", error.layout, error.filter,
                                counted(error.count, "time"), errorText(error)),
                    true);
        }
        if (listed < log.getCount())
            say(lane.layout->getName() + ": " + counted(log.getCount() - listed, "further error") +
                    ", not listed",
                true);
    }
}

/// Samples that do not belong together give a result that is wrong but looks right.
void LayoutRun::reportPairing() {
    each<Core::Filter>(flow_, [this](const Core::Filter& filter, const Core::Filter&) {
        const Core::PairingReport pairing = filter.getPairing();
        if (pairing.unlike > 0)
            fail(differenceText(fullName(filter), pairing));
        else if (!options_.quiet && pairing.largestDifference > 0.0)
            say(differenceText(fullName(filter), pairing));
        if (isMostlyUnpaired(filter, pairing))
            fail(unpairedText(fullName(filter), pairing, true));
        else if (!options_.quiet && !pairing.unpaired.empty())
            say(unpairedText(fullName(filter), pairing));
    });
}

/// Samples that a filter took and could not use because of their shape: usually the connection is wrong.
void LayoutRun::reportMisfits() {
    each<Core::Filter>(flow_, [this](const Core::Filter& filter, const Core::Filter&) {
        for (const Core::AbstractInputPin* pin : filter.getInputPins()) {
            const std::uint64_t misfits = pin->getMisfits();
            if (2 * misfits > pin->getConsumed())
                fail(misfitText(*pin));
            else if (misfits > 0 && !options_.quiet)
                say(misfitText(*pin));
        }
    });
}

/// Actions whose time is outside that of the rows. One at 0 or before is meant for the start.
void LayoutRun::reportActions(double first, double last) {
    const std::string rows =
        fmt::format(": the rows are from {} s to {} s", numberText(first), numberText(last));
    for (const ActionEntry& action : file_.actions)
        if (action.at > 0.0 && action.at < first)
            say(actionText(action) + " was done before the first row" + rows);
    for (const ActionSchedule& schedule : schedules_)
        for (const ActionEntry* action : schedule.left()) say(actionText(*action) + " was not done" + rows);
}

void LayoutRun::reportNotesAndDrops() {
    each<Core::Filter>(flow_, [this](const Core::Filter& filter, const Core::Filter&) {
        if (const std::string file = settingsInUse(filter); !file.empty())
            say(filter.getName() + ": settings: " + file);
        if (const auto* source = dynamic_cast<const RunParticipant*>(&filter))
            for (const std::string& note : source->runNotes()) say(filter.getName() + ": " + note);
        for (const Core::AbstractInputPin* pin : filter.getInputPins())
            if (const Core::PinCounts counts = pin->getCounts(); counts.dropped > 0)
                say(fmt::format("{} dropped {} of {} (buffer of {})", pin->fullName(), counts.dropped,
                                counted(counts.put, "sample"), pin->getBufferSize()));
    });
}

}  // namespace Kavelin::Cli
