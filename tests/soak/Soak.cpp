#include "soak/Soak.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <thread>

namespace Kavelin::Soak {

namespace {

// Of each layout: a source, these of the plugin, a relay.
constexpr const char* kTypes[Soak::kLayouts][Soak::kFiltersEach - 2] = {
    {"FilterSO3Attitude", "FilterOrientationQuality", "FilterConvergenceTime"},
    {"FilterAttitude", "FilterStaticMode", "FilterQuaternionFilter"},
    {"FilterSphericalFilteringAttitude", "FilterOmegaToMatrix", "FilterInclinometer"},
    {"FilterOrientationIntegration", "FilterChangeOfBasis", "FilterCompass"}};

}  // namespace

Soak::Soak(const SoakOptions& options, SoakCounts& counts, Failures& failures)
    : options_(options),
      counts_(counts),
      failures_(failures),
      flow_(Core::FlowManager::instance()),
      watchdog_(options.patience),
      random_(options.seed),
      made_(kLayouts * kFiltersEach),
      own_(kLayouts * kFiltersEach),
      filters_(kLayouts * kFiltersEach),
      sources_(kLayouts * kFiltersEach),
      wiring_(counts, failures) {
    flow_.getPluginManager().load("KavelinPluginOrientationInternal");
    for (std::size_t i = 0; i < kLayouts; ++i)
        layouts_.push_back(&flow_.createLayout(std::string(1, char('A' + i))));
    for (std::size_t i = 0; i < filters_.size(); ++i) {
        layoutOf_.push_back(i / kFiltersEach);
        make(i);
    }
}

Soak::~Soak() {
    for (std::size_t i = 0; i < filters_.size(); ++i) destroy(i);
    flow_.clear();
    flow_.getPluginManager().unloadAll();
}

void Soak::make(std::size_t index) {
    const std::size_t place = index % kFiltersEach;
    const std::string name = fmt::format("filter{}", index);
    if (place == 0) {
        auto source = std::make_unique<SoakSource>(name, counts_);
        sources_[index] = source.get();
        own_[index] = std::move(source);
    } else if (place == kFiltersEach - 1) {
        own_[index] = std::make_unique<SoakRelay>(name, failures_);
    } else {
        made_[index] = flow_.getPluginManager().createFilter(kTypes[index / kFiltersEach][place - 1], name);
    }
    filters_[index] = own_[index] ? own_[index].get() : made_[index].get();
    layouts_[layoutOf_[index]]->add(*filters_[index]);
    wiring_.add(index, *filters_[index]);
}

void Soak::destroy(std::size_t index) {
    wiring_.remove(index);
    layouts_[layoutOf_[index]]->remove(*filters_[index]);
    own_[index].reset();
    made_[index].reset();
}

void Soak::remakeAll() {
    wiring_.disconnectAll();
    for (std::size_t i = 0; i < filters_.size(); ++i) destroy(i);
    end_ = memoryNow();
    // Before that, what is kept for good still grows: threads, lists, messages of errors.
    if (!warm_ && share() >= kWarmUp) warm_ = end_;
    for (std::size_t i = 0; i < filters_.size(); ++i) make(i);
    counts_.remakes.fetch_add(filters_.size());
}

/// Of the time, or of the episodes, that is over.
double Soak::share() const {
    if (options_.episodes > 0)
        return static_cast<double>(counts_.rounds) / static_cast<double>(options_.episodes);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_) / options_.time;
}

void Soak::run() {
    while (share() < 1.0) {
        episode();
        counts_.rounds.fetch_add(1);
        if (counts_.rounds % 20 == 0) remakeAll();
    }
    remakeAll();
    if (end_.heap - warm_->heap > kMostHeap)
        failures_.add(fmt::format("the heap has grown by {} bytes", end_.heap - warm_->heap));
    if (end_.resident - warm_->resident > kMostResident)
        failures_.add(fmt::format("the memory held has grown by {} bytes", end_.resident - warm_->resident));
}

void Soak::episode() {
    const auto way = static_cast<Way>(below(4));
    const bool acyclic = below(2) == 0;
    if (acyclic) wiring_.disconnectAll();
    for (SoakSource* source : sources_)
        if (source) source->setLength(below(500));
    beginRun(way);
    meddle(way, acyclic);
    endRun(way, acyclic);
    wiring_.checkAll();
    betweenEpisodes();
    watchdog_.pat();
}

void Soak::beginRun(Way way) {
    counts_.starts.fetch_add(way == Way::kFreely ? kLayouts : 1);
    isRunnerDone_ = false;
    if (way == Way::kFreely)
        for (Core::LayoutManager* layout : layouts_) layout->start();
    if (way == Way::kLanes) flow_.start();
    if (way != Way::kInThreads && way != Way::kInOneThread) return;
    runner_ = std::thread([this, way] {
        way == Way::kInThreads ? flow_.runToEndInThreads() : flow_.runToEnd();
        isRunnerDone_ = true;
    });
}

/// Several threads change things; where layouts run freely, this one starts and stops them meanwhile.
void Soak::meddle(Way way, bool acyclic) {
    const Meddled meddled{filters_, wiring_, counts_, failures_, watchdog_};
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kMeddlers; ++i) {
        const std::uint64_t seed = random_();
        const std::uint64_t actions = 50 + below(200);
        threads.emplace_back([meddled, seed, actions, i, acyclic] {
            Meddler(meddled, seed, i, kMeddlers).meddle(actions, acyclic);
        });
    }
    if (way == Way::kFreely)
        for (std::size_t i = below(20); i > 0; --i) startAndStop();
    for (std::thread& thread : threads) thread.join();
}

void Soak::startAndStop() {
    Core::LayoutManager& layout = *layouts_[below(kLayouts)];
    layout.stop();
    layout.wait();
    layout.start();
    counts_.stops.fetch_add(1);
    counts_.starts.fetch_add(1);
    watchdog_.pat();
}

/// Where samples cannot go round, the run may come to its end by itself; then it must. Not so a layout without a source that
/// was started to stay.
bool Soak::endsByItself(Way way) const {
    const auto hasSource = [this](std::size_t layout) {
        for (std::size_t i = 0; i < filters_.size(); ++i)
            if (sources_[i] && layoutOf_[i] == layout) return true;
        return false;
    };
    return way == Way::kInThreads || way == Way::kInOneThread ||
           (hasSource(0) && hasSource(1) && hasSource(2) && hasSource(3));
}

void Soak::endRun(Way way, bool acyclic) {
    const bool stops = !acyclic || !endsByItself(way) || below(2) == 0;
    for (SoakSource* source : sources_)
        if (source) source->setMayEnd();
    (stops ? counts_.stops : counts_.ends).fetch_add(1);
    if (stops) flow_.stop();
    if (way == Way::kFreely || way == Way::kLanes) return flow_.wait();
    // The runner may be late: a stop before it has begun is none.
    while (stops && !isRunnerDone_) {
        flow_.stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    runner_.join();
}

/// Moves a filter to another layout, or makes one again.
void Soak::betweenEpisodes() {
    const std::size_t index = below(filters_.size());
    const std::size_t choice = below(3);
    if (choice == 0) {
        layouts_[layoutOf_[index]]->remove(*filters_[index]);
        layoutOf_[index] = below(kLayouts);
        layouts_[layoutOf_[index]]->add(*filters_[index]);
        wiring_.checkAll();
        counts_.moves.fetch_add(1);
    } else if (choice == 1) {
        destroy(index);
        make(index);
        counts_.remakes.fetch_add(1);
    }
}

std::string Soak::report() const {
    const Core::PinCounts totals = wiring_.totals();
    std::uint64_t errors = 0;
    for (Core::LayoutManager* layout : layouts_) errors += layout->getErrors().getCount();
    std::string text = "| | |\n|---|---|\n";
    const auto row = [&text](const char* what, auto value) {
        text += fmt::format("| {} | {} |\n", what, value);
    };
    row("episodes", counts_.rounds.load());
    row("starts", counts_.starts.load());
    row("stops", counts_.stops.load());
    row("runs that ended by themselves", counts_.ends.load());
    row("rows of the sources", counts_.rows.load());
    row("samples sent by outputs", wiring_.sent());
    row("samples put into inputs", totals.put);
    row("received", totals.taken);
    row("dropped", totals.dropped);
    row("discarded by changes", totals.discarded);
    row("still buffered", totals.buffered);
    row("connections made", counts_.connects.load());
    row("connections ended", counts_.disconnects.load());
    row("checks of a connection's samples", counts_.checks.load());
    row("property writes", counts_.writes.load());
    row("writes and commands refused", counts_.refusals.load());
    row("property reads", counts_.reads.load());
    row("properties saved and restored", counts_.restores.load());
    row("commands", counts_.commands.load());
    row("filters moved to another layout", counts_.moves.load());
    row("filters made again", counts_.remakes.load());
    row("exceptions out of process", errors);
    for (Core::LayoutManager* layout : layouts_)
        for (const Core::ProcessError& error : layout->getErrors().getErrors())
            text += fmt::format("| {}: {} |\n", error.filter, error.message);
    row("heap in use, warmed up, KiB", warm_ ? warm_->heap / 1024 : 0);
    row("heap in use, at the end, KiB", end_.heap / 1024);
    row("memory held, warmed up, MiB", warm_ ? warm_->resident >> 20 : 0);
    row("memory held, at the end, MiB", end_.resident >> 20);
    row("failures", failures_.count());
    return text;
}

}  // namespace Kavelin::Soak
