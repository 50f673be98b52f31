#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <bit>
#include <stdexcept>

#include "Bell.h"
#include "CallOrder.h"
#include "RoomGate.h"
#include "Topology.h"

namespace Kavelin::Core {

namespace {

constexpr std::size_t kBitsPerWord = 64;
// More samples than any filter will see: what the counters say is to be found out by asking the pins.
constexpr std::uint64_t kUnknown = std::uint64_t{1} << 62;

LayoutManager* layoutOf(const Pin& pin) {
    return pin.getManager() == nullptr ? nullptr : pin.getManager()->getManager();
}

/// Whether connections lead from this layout over others back to it.
bool feedsItself(const LayoutManager& layout) {
    std::lock_guard lock(topologyMutex());
    std::vector<const LayoutManager*> reached{&layout};
    for (std::size_t i = 0; i < reached.size(); ++i) {
        for (const Filter* filter : reached[i]->getFilters()) {
            for (const AbstractInputPin* pin : filter->getInputPins()) {
                const AbstractOutputPin* output = pin->getConnectedOutput();
                const LayoutManager* from = output == nullptr ? nullptr : layoutOf(*output);
                if (from == nullptr || from == reached[i]) continue;
                if (from == &layout) return true;
                if (std::find(reached.begin(), reached.end(), from) == reached.end()) reached.push_back(from);
            }
        }
    }
    return false;
}

}  // namespace

LayoutManager::LayoutManager(const std::string& name) : NamedObject(name) {}

LayoutManager::~LayoutManager() {
    stop();
    wait();
    while (!filters_.empty()) remove(*filters_.back());
}

// Who is in the layout
// --------------------------------------------------------------------------------------------

void LayoutManager::requireNotRunning(const char* what) const {
    if (isRunning()) {
        throw Poco::IllegalStateException("Layout '" + getName() + "' is running; stop it before you " +
                                          what);
    }
}

void LayoutManager::add(Filter& filter) {
    requireNotRunning("add a filter");
    if (filter.getManager() != nullptr) {
        throw Poco::ExistsException("Filter '" + filter.getName() + "' is in layout '" +
                                    filter.getManager()->getName() + "' already");
    }
    if (findFilter(filter.getName()) != nullptr) {
        throw Poco::ExistsException("Layout '" + getName() + "' has a filter '" + filter.getName() +
                                    "' already");
    }
    filters_.push_back(&filter);
    filter.getSynchronizer()->setWaitCounter(&waitingReaders_);
    filter.setManager(this);
    planStale_.store(true);
}

Filter& LayoutManager::add(FilterPtr filter) {
    add(*filter);
    owned_.push_back(std::move(filter));
    return *owned_.back();
}

void LayoutManager::remove(Filter& filter) {
    requireNotRunning("remove a filter");
    detach(filter);
    const auto owned =
        std::find_if(owned_.begin(), owned_.end(), [&](const FilterPtr& p) { return p.get() == &filter; });
    if (owned == owned_.end()) return;
    const FilterPtr last = std::move(*owned);
    owned_.erase(owned);
}

void LayoutManager::detach(Filter& filter) {
    for (AbstractInputPin* pin : filter.inputs_) {
        pin->readyWord_ = &pin->unobserved_;
        pin->readyBit_ = 0;
    }
    forget(filter);
    filter.setManager(nullptr);
    filter.getSynchronizer()->setWaitCounter(nullptr);
}

void LayoutManager::forget(Filter& filter) {
    std::erase(filters_, &filter);
    std::erase_if(plan_, [&](const Entry& entry) { return entry.filter == &filter; });
    std::erase_if(sources_, [&](const SourceEntry& entry) { return entry.filter == &filter; });
    planStale_.store(true);
}

Filter* LayoutManager::findFilter(const std::string& filterName) const {
    const auto found = std::find_if(filters_.begin(), filters_.end(),
                                    [&](const Filter* filter) { return filter->getName() == filterName; });
    return found == filters_.end() ? nullptr : *found;
}

// The plan of a round
// ---------------------------------------------------------------------------------------------

void LayoutManager::refreshPlan() {
    if (planStale_.load(std::memory_order_acquire)) rebuildPlan();
    if (fed_.load(std::memory_order_relaxed)) {
        fed_.store(false);
        for (std::size_t i = 0; i < plan_.size(); ++i) {
            if (plan_[i].fedFromElsewhere) markReady(i);
        }
    }
}

void LayoutManager::rebuildPlan() {
    std::lock_guard lock(topologyMutex());
    planStale_.store(false);
    plan_.clear();
    sources_.clear();
    feeds_.clear();
    feeders_.clear();
    fedFromOutside_ = false;
    for (const std::size_t position : planCallOrder()) {
        Filter* const filter = filters_[position];
        if (auto* source = dynamic_cast<Source*>(filter)) {
            sources_.push_back({filter, source, false});
        } else if (filter->isSchedulable()) {
            plan_.push_back({filter, filter->getSynchronizer(), false});
        }
        planFeeds(*filter);
    }
    ready_.assign(plan_.size() / kBitsPerWord + 1, 0);
    for (std::size_t i = 0; i < plan_.size(); ++i) {
        planInputs(i);
        plan_[i].filter->watchPairing();
        plan_[i].filter->received_ = plan_[i].filter->taken_ + kUnknown;
        markReady(i);
    }
    updateWaits();
}

std::vector<std::size_t> LayoutManager::planCallOrder() const {
    std::vector<std::pair<std::size_t, std::size_t>> edges;
    for (std::size_t to = 0; to < filters_.size(); ++to) {
        for (const AbstractInputPin* pin : filters_[to]->getInputPins()) {
            const AbstractOutputPin* output = pin->getConnectedOutput();
            if (output == nullptr) continue;
            const auto from = std::find(filters_.begin(), filters_.end(), output->getManager());
            if (from != filters_.end())
                edges.emplace_back(static_cast<std::size_t>(from - filters_.begin()), to);
        }
    }
    return callOrder(filters_.size(), edges);
}

void LayoutManager::planInputs(std::size_t position) {
    Entry& entry = plan_[position];
    for (AbstractInputPin* pin : entry.filter->getInputPins()) {
        pin->readyWord_ = &ready_[position / kBitsPerWord];
        pin->readyBit_ = std::uint64_t{1} << (position % kBitsPerWord);
        const AbstractOutputPin* output = pin->getConnectedOutput();
        if (output == nullptr) continue;
        LayoutManager* const from =
            output->getManager() == nullptr ? nullptr : output->getManager()->getManager();
        if (from == this) continue;
        entry.fedFromElsewhere = true;
        if (from == nullptr) {
            fedFromOutside_ = true;  // it can receive as long as the program runs
        } else {
            noteFeeder(feeders_, *from);
            noteFeeder(formerFeeders_, *from);
        }
    }
}

void LayoutManager::noteFeeder(std::vector<Feeder>& feeders, const LayoutManager& layout) {
    const bool known = std::any_of(feeders.begin(), feeders.end(),
                                   [&](const Feeder& feeder) { return feeder.ended == layout.ended_; });
    if (!known) feeders.push_back({&layout, layout.ended_});
}

void LayoutManager::planFeeds(Filter& filter) {
    for (const AbstractOutputPin* output : filter.getOutputPins()) {
        for (AbstractInputPin* input : output->recorded_) {
            LayoutManager* const to =
                input->getManager() == nullptr ? nullptr : input->getManager()->getManager();
            if (to != nullptr && to != this) feeds_.push_back({filter.getSynchronizer(), input, to});
        }
    }
}

void LayoutManager::markReady(std::size_t position) {
    ready_[position / kBitsPerWord] |= std::uint64_t{1} << (position % kBitsPerWord);
}

std::vector<Filter*> LayoutManager::getCallOrder() {
    refreshPlan();
    std::vector<Filter*> order;
    for (const SourceEntry& entry : sources_) order.push_back(entry.filter);
    for (const Entry& entry : plan_) order.push_back(entry.filter);
    return order;
}

// Rounds
// ----------------------------------------------------------------------------------------------------------

std::optional<double> LayoutManager::nextTimeStamp() {
    refreshPlan();
    std::optional<double> next;
    for (const SourceEntry& entry : sources_) {
        if (entry.failed || entry.source->atEnd()) continue;
        const double candidate = entry.source->nextTimeStamp();
        if (!next || candidate < *next) next = candidate;
    }
    return next;
}

bool LayoutManager::hasSources() {
    refreshPlan();
    return !sources_.empty();
}

bool LayoutManager::runRound() {
    refreshPlan();
    const bool called = callSources();
    const bool took = callReady();
    return called || took;
}

bool LayoutManager::runPending() {
    refreshPlan();
    return callReady();
}

bool LayoutManager::callSources() {
    const std::optional<double> time = nextTimeStamp();
    if (!time) return false;
    roundTime_ = *time;
    if (roundHook_) {
        roundHook_(*time);
        refreshPlan();
    }
    bool called = false;
    for (SourceEntry& entry : sources_) {
        if (isInterrupted()) break;
        if (entry.failed || entry.source->atEnd() || entry.source->nextTimeStamp() > *time) continue;
        const Synchronizer::ProcessScope scope(*entry.filter->getSynchronizer());
        called = true;
        const bool returned = callGuarded(*entry.filter);
        // A source that fails without getting on would be called for ever.
        entry.failed = !returned && !entry.source->atEnd() && entry.source->nextTimeStamp() <= *time;
    }
    return called;
}

bool LayoutManager::callReady() {
    bool took = false;
    for (std::size_t word = 0; word < ready_.size(); ++word) {
        std::uint64_t ahead = ~std::uint64_t{0};  // what lies behind waits for the next round
        while (const std::uint64_t bits = ready_[word] & ahead) {
            const int bit = std::countr_zero(bits);
            ready_[word] &= ~(std::uint64_t{1} << bit);
            ahead = ~std::uint64_t{1} << bit;
            took |= serve(plan_[word * kBitsPerWord + static_cast<std::size_t>(bit)]);
            if (isInterrupted()) return took;
        }
    }
    return took;
}

bool LayoutManager::hasUnread(const Filter& filter) {
    return std::any_of(filter.inputs_.begin(), filter.inputs_.end(),
                       [](const AbstractInputPin* pin) { return !pin->isEmpty(); });
}

bool LayoutManager::canTake(const Filter& filter) {
    bool unread = false;
    for (const AbstractInputPin* pin : filter.inputs_) {
        const bool needed = pin->getIsSynchronous() && !pin->isHolding();
        if (unread && !needed) continue;
        const bool empty = pin->isEmpty();
        if (empty && needed) return false;
        unread |= !empty;
    }
    return unread;
}

bool LayoutManager::serve(Entry& entry) {
    Synchronizer::ProcessScope scope(*entry.synchronizer);
    Filter& filter = *entry.filter;
    bool took = false;
    while (canTake(filter)) {
        const std::uint64_t before = filter.taken_;
        callGuarded(filter);
        filter.notePairing();
        if (filter.taken_ == before) return took;
        took = true;
        // The usual end, known without asking every pin: all that came was taken.
        if (filter.taken_ == filter.received_ && !entry.fedFromElsewhere) return true;
        if (isInterrupted()) return true;
        scope.yield();
    }
    if (!entry.fedFromElsewhere && !hasUnread(filter))
        filter.received_ = filter.taken_;  // the rest was dropped
    return took;
}

bool LayoutManager::callGuarded(Filter& filter) {
    try {
        filter.process();
        return true;
    } catch (const std::exception& error) {
        noteFailure(filter, error);
    } catch (...) {
        noteFailure(filter, std::runtime_error("something that is no std::exception was thrown"));
    }
    return false;
}

void LayoutManager::noteFailure(const Filter& filter, const std::exception& error) {
    double time = dynamic_cast<const Source*>(&filter) != nullptr ? roundTime_ : 0.0;
    for (const AbstractInputPin* pin : filter.inputs_) time = std::max(time, pin->getLastTimeStamp());
    errors_.add(getName(), filter.getName(), time, error);
    if (stopOnError_) stopRequested_.store(true);
}

void LayoutManager::runToEnd() {
    requireNotRunning("run it in this thread");
    beginRun(false);
    while (!isInterrupted() && runRound()) {
    }
    endRun();
}

void LayoutManager::beginRun(bool mayWait) {
    stopRequested_.store(false);
    ended_->store(false);
    planStale_.store(true);
    formerFeeders_.clear();
    // In the caller's thread nobody else could bring what a reader waits for.
    for (Filter* filter : filters_) {
        if (auto* source = dynamic_cast<Source*>(filter)) source->resume();
        if (mayWait) {
            filter->getSynchronizer()->resume();
        } else {
            filter->getSynchronizer()->interrupt();
        }
    }
}

// A thread of its own
// ---------------------------------------------------------------------------------------------

void LayoutManager::start() {
    requireNotRunning("start it");
    beginRun(true);
    enterLane(nullptr);
    launch([this] { runThread(); });
}

void LayoutManager::enterLane(std::shared_ptr<Bell> bell) {
    wait();
    {
        std::lock_guard lock(sleepMutex_);
        bell_ = std::move(bell);
        running_.store(true);
    }
    std::lock_guard lock(topologyMutex());
    runningLayouts().push_back(this);
}

void LayoutManager::launch(std::function<void()> run) { thread_ = std::thread(std::move(run)); }

void LayoutManager::stop() {
    stopRequested_.store(true);
    for (Filter* filter : filters_) {
        filter->getSynchronizer()->interrupt();
        if (auto* source = dynamic_cast<Source*>(filter)) source->interrupt();
    }
    wake();
    RoomGate::instance().open();
}

void LayoutManager::wait() {
    {
        // Another layout's thread may be running this one.
        std::unique_lock lock(sleepMutex_);
        wakeUp_.wait(lock, [this] { return !running_.load(); });
    }
    if (thread_.joinable()) thread_.join();
}

void LayoutManager::runThread() {
    while (!isInterrupted()) {
        refreshPlan();
        const bool nothingComes = nothingCanCome({this}, true);  // asked first: what came before is then seen
        if (!waitForRoom()) break;
        const bool did = runRound();
        RoomGate::instance().openIfWanted();
        if (did) continue;
        if (nothingComes) break;
        // Its own sources have ended. Other layouts may still feed it; but one that waits for this layout's
        // end in turn is not waited for.
        if (!sources_.empty() && feedsItself(*this)) break;
        sleepUntilFed();
    }
    endRun();
}

void LayoutManager::endRun() {
    ended_->store(true);
    {
        std::lock_guard lock(topologyMutex());
        std::erase(runningLayouts(), this);
        for (LayoutManager* layout : runningLayouts()) {
            layout->updateWaits();
            layout->wake();
        }
    }
    std::lock_guard lock(sleepMutex_);
    running_.store(false);
    wakeUp_.notify_all();
}

/// Whether whatever fed the group has ended.  @param staysOpen then a layout that has had neither sources nor
/// feeders may still get some, and one that is fed from outside the layouts is fed as long as the program
/// runs.
bool LayoutManager::nothingCanCome(const std::vector<LayoutManager*>& group, bool staysOpen) {
    bool hasSources = false, wasFed = false, fedFromOutside = false;
    for (const LayoutManager* layout : group) {
        hasSources |= !layout->sources_.empty();
        fedFromOutside |= layout->fedFromOutside_;
        for (const Feeder& feeder : layout->feeders_.empty() ? layout->formerFeeders_ : layout->feeders_) {
            if (std::find(group.begin(), group.end(), feeder.layout) != group.end()) continue;
            if (!feeder.ended->load()) return false;
            wasFed = true;
        }
    }
    return !staysOpen || hasSources || (wasFed && !fedFromOutside);
}

void LayoutManager::beforeFedRound(double timeStamp) {
    if (fedRoundHook_) fedRoundHook_(timeStamp);
}

void LayoutManager::sleepUntilFed() {
    std::unique_lock lock(sleepMutex_);
    sleeping_.store(true);
    RoomGate::instance().openIfWanted();
    wakeUp_.wait(lock, [this] { return hasNews() || stopRequested_.load() || nothingCanCome({this}, true); });
    sleeping_.store(false);
}

bool LayoutManager::isOverfed() {
    for (const Feed& feed : feeds_) {
        // Inside the scope of the writing filter its connections stand still.
        const Synchronizer::ProcessScope scope(*feed.writer);
        if (planStale_.load()) return false;
        if (!feed.input->isOverHalfFull()) continue;
        // A reader that has seen everything and sleeps does not read this pin, and one that waits for data
        // elsewhere may get it only from this source: waiting for either would be for ever.
        const LayoutManager& reader = *feed.reader;
        const bool idle = !reader.isRunning() || (reader.sleeping_.load() && !reader.fed_.load());
        if (!idle && reader.waitingReaders_.load() == 0) return true;
    }
    return false;
}

bool LayoutManager::waitForRoom() {
    if (sources_.empty() || feeds_.empty()) return true;
    while (!isInterrupted() && isOverfed()) RoomGate::instance().waitBriefly();
    return !isInterrupted();
}

// Both under the topology mutex.
bool LayoutManager::canStillBeFed() const {
    for (const Filter* filter : filters_) {
        for (const AbstractInputPin* pin : filter->inputs_) {
            const AbstractOutputPin* output = pin->getConnectedOutput();
            if (output == nullptr) continue;
            const LayoutManager* from = layoutOf(*output);
            if (from == nullptr || (from != this && !from->ended_->load())) return true;
        }
    }
    return false;
}

void LayoutManager::updateWaits() {
    const bool fed = canStillBeFed();
    for (Filter* filter : filters_) filter->getSynchronizer()->setIsFed(fed);
}

void LayoutManager::noteFed() {
    // The buffer's mutex orders this with the reader's look into the buffer, so a flag that is up already
    // will do.
    if (!fed_.load(std::memory_order_relaxed)) fed_.store(true);
    if (sleeping_.load()) wake();
}

void LayoutManager::noteTopologyChange() {
    planStale_.store(true);
    if (isRunning()) updateWaits();
    if (sleeping_.load()) wake();
}

void LayoutManager::wake() {
    std::lock_guard lock(sleepMutex_);
    wakeUp_.notify_all();
    if (bell_) bell_->ring();
}

}  // namespace Kavelin::Core
