#include "cli/view/ViewHub.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/CommandContext.h"
#include "cli/graph/LayoutGraph.h"
#include "cli/view/LayoutDescription.h"

namespace Kavelin::Cli {

using nlohmann::ordered_json;

namespace {

constexpr std::chrono::milliseconds kStatusPeriod{500};
constexpr std::size_t kMostMessages = 256;
constexpr int kRoomInGraph = 12;  // characters beside a pin's name, for rates

std::string textOf(const ordered_json& json) {
    return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

ordered_json numberOrNull(double number) {
    return std::isfinite(number) ? ordered_json(number) : ordered_json();
}

const char* nameOf(RoundGate::Mode mode) {
    if (mode == RoundGate::Mode::kEnded) return "ended";
    return mode == RoundGate::Mode::kPaused ? "paused" : "playing";
}

[[noreturn]] void refuseWhileBuilding() { throw UsageError("what runs is being built; try again"); }

}  // namespace

WatchedLayout::WatchedLayout(const LayoutBuilder& built, std::string name, std::string folder)
    : title(std::move(name)),
      temporaryFolder(std::move(folder)),
      builder(built),
      filters(built.filters()),
      isLive(Cli::isLive(filters)),
      canBeRepeated(Cli::canBeRepeated(filters)),
      results(resultFiles(filters)),
      graph(graphText(filters, title, kRoomInGraph)),
      taps(filters),
      properties(filters),
      counters(filters, taps) {}

void ViewHub::install(std::unique_ptr<WatchedLayout> layout) {
    const std::unique_lock lock(structure_);
    layout_ = std::move(layout);
    ++generation_;
    stateChanged();
}

void ViewHub::remove() {
    std::unique_ptr<WatchedLayout> last;
    const std::unique_lock lock(structure_);
    last.swap(layout_);
}

void ViewHub::tell(bool isError, const std::string& text, const std::string& filter, double at) {
    ordered_json message{{"type", "message"}, {"level", isError ? "error" : "note"}};
    if (!filter.empty()) message.update({{"filter", filter}, {"at", at}});
    message["text"] = text;
    message["count"] = 1;
    const std::lock_guard lock(messagesMutex_);
    messages_.push_back(textOf(message));
    if (messages_.size() <= kMostMessages) return;
    messages_.pop_front();
    ++messagesLost_;
}

void ViewHub::noteWrite(Write write) {
    const std::lock_guard lock(writesMutex_);
    std::erase_if(writes_, [&](const Write& old) {
        return old.filter == write.filter && old.property == write.property;
    });
    writes_.push_back(std::move(write));
}

void ViewHub::repeatWrites() {
    const Layout layout(*this);
    const std::lock_guard lock(writesMutex_);
    for (const Write& write : writes_) {
        try {
            layout.get()->properties.write(write.filter, write.property, write.text);
        } catch (const std::exception& refusal) {
            tell(true, write.filter + ":" + write.property + " = " + write.text +
                           ", as written before the restart: " + refusal.what());
        }
    }
}

std::string ViewHub::layoutText(WatchedLayout& layout) const {
    ordered_json json{{"type", "layout"},
                      {"generation", generation_.load()},
                      {"title", layout.title},
                      {"isLive", layout.isLive}};
    json.update(describeLayout(layout.filters, layout.properties));
    json["results"] = ordered_json::array();
    for (const std::string& file : layout.results)
        json["results"].push_back(
            {{"index", json["results"].size()}, {"name", std::filesystem::path(file).filename().string()}});
    return textOf(json);
}

/// The same for all pages, made when the first of them is due.
std::string ViewHub::statusText(WatchedLayout* layout, std::uint64_t& seen) {
    const std::lock_guard lock(statusMutex_);
    const auto now = LayoutCounters::Clock::now();
    if (isStale_.exchange(false) || now - statusAt_ >= kStatusPeriod) {
        const RoundGate::State state = gate_.state();
        const ViewRunner::Progress progress = runner_.progress();
        ordered_json json{{"type", "status"},
                          {"state", nameOf(state.mode)},
                          {"time", state.last ? numberOrNull(*state.last) : ordered_json()},
                          {"pace", state.pace == kFullPace ? ordered_json("max") : ordered_json(state.pace)},
                          {"lag", state.lag},
                          {"rows", progress.rows},
                          {"progress", numberOrNull(progress.share)},
                          {"pages", pages()}};
        if (layout) layout->counters.describe(json, now);
        json["notes"] = ordered_json::array();
        status_ = textOf(json);
        ++statuses_;
        statusAt_ = now;
    }
    if (seen == statuses_) return {};
    seen = statuses_;
    return status_;
}

/// @param layout null while there is none: it could not be built
void ViewHub::transport(ViewAction action, const WatchedLayout* layout) {
    const bool hasEnded = gate_.state().mode == RoundGate::Mode::kEnded;
    if (action == ViewAction::kRestart) {
        if (layout && !layout->canBeRepeated)
            throw UsageError("what comes live, or by standard input, cannot be played again");
        return runner_.restart();
    }
    if (hasEnded)
        throw UsageError(layout && layout->canBeRepeated ? "the run has ended: restart it"
                                                         : "the run has ended");
    if (action == ViewAction::kPause) gate_.pause();
    if (action == ViewAction::kContinue) gate_.resume();
    if (action == ViewAction::kStep) gate_.step();
    stateChanged();
}

// A page

ViewHub::Page::Page(ViewHub& hub) : hub_(hub) {
    ++hub_.pages_;
    hub_.stateChanged();
}

ViewHub::Page::~Page() {
    const Layout layout(hub_);
    if (layout.get() && generation_ == hub_.generation_) layout.get()->taps.forget(list_);
    --hub_.pages_;
    hub_.stateChanged();
}

std::vector<std::string> ViewHub::Page::due() {
    std::vector<std::string> messages;
    if (!isGreeted_) {
        messages.push_back(textOf(
            {{"type", "hello"},
             {"protocol", 1},
             {"version", KAVELIN_VERSION},
             {"limits", {{"message", kLongestViewMessage}, {"pins", kMostWatchedPins}, {"rate", 30}}}}));
        isGreeted_ = true;
    }
    const Layout layout(hub_);
    if (layout.get()) {
        if (generation_ != hub_.generation_) meet(*layout.get(), messages);
        for (std::string& message : layout.get()->properties.changesSince(changes_))
            messages.push_back(std::move(message));
    }
    {
        const std::lock_guard lock(hub_.messagesMutex_);
        const std::uint64_t end = hub_.messagesLost_ + hub_.messages_.size();
        for (messages_ = std::max(messages_, hub_.messagesLost_); messages_ < end; ++messages_)
            messages.push_back(hub_.messages_[static_cast<std::size_t>(messages_ - hub_.messagesLost_)]);
    }
    // When a page hears that the run has ended, it has the last samples.
    std::string status = hub_.statusText(layout.get(), statuses_);
    std::string samples = layout.get() ? layout.get()->taps.samplesText(list_) : std::string();
    for (std::string* message : {&samples, &status})
        if (!message->empty()) messages.push_back(std::move(*message));
    return messages;
}

/// What was watched is watched on, as far as it is there.
void ViewHub::Page::meet(WatchedLayout& layout, std::vector<std::string>& messages) {
    list_.pins.clear();  // of a board that is gone
    generation_ = hub_.generation_;
    changes_ = layout.properties.present();
    messages.push_back(hub_.layoutText(layout));
    std::erase_if(pins_, [&](const std::string& pin) {
        const auto& names = layout.taps.names();
        return std::find(names.begin(), names.end(), pin) == names.end();
    });
    layout.taps.watch(list_, pins_);
}

void ViewHub::Page::watch(const std::vector<std::string>& pins) {
    const Layout layout(hub_);
    if (!layout.get() || generation_ != hub_.generation_) refuseWhileBuilding();
    layout.get()->taps.watch(list_, pins);
    pins_ = pins;
}

void ViewHub::Page::write(const std::string& filter, const std::string& property, const std::string& value) {
    const Layout layout(hub_);
    if (!layout.get()) refuseWhileBuilding();
    layout.get()->properties.write(filter, property, value);
    hub_.noteWrite({filter, property, value});
}

void ViewHub::Page::command(const std::string& filter, const std::string& property) {
    const Layout layout(hub_);
    if (!layout.get()) refuseWhileBuilding();
    layout.get()->properties.command(filter, property);
}

void ViewHub::Page::transport(ViewAction action) {
    const Layout layout(hub_);
    if (!layout.get() && action != ViewAction::kRestart) refuseWhileBuilding();
    hub_.transport(action, layout.get());
}

void ViewHub::Page::setPace(double pace) {
    const Layout layout(hub_);
    if (!layout.get()) refuseWhileBuilding();
    if (layout.get()->isLive) throw UsageError("what comes live has a pace of its own");
    hub_.gate_.setPace(pace);
    hub_.stateChanged();
}

}  // namespace Kavelin::Cli
