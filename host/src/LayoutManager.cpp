#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/Names.h>
#include <Poco/Exception.h>

#include <algorithm>

#include "Layout.h"
#include "Topology.h"

namespace Kavelin::Core {

LayoutManager::LayoutManager(const std::string& name)
    : NamedObject(name), inside_(std::make_unique<Layout>(getName())) {}

LayoutManager::~LayoutManager() {
    stop();
    wait();
    while (!getFilters().empty()) remove(*getFilters().back());
}

// Filters

void LayoutManager::add(Filter& filter) {
    inside_->requireNotRunning("add a filter");
    if (filter.getManager() != nullptr) {
        throw Poco::ExistsException("Filter '" + filter.getName() + "' is in layout '" +
                                    filter.getManager()->getName() + "' already");
    }
    if (findFilter(filter.getName()) != nullptr) {
        throw Poco::ExistsException("Layout '" + getName() + "' has a filter '" + filter.getName() +
                                    "' already");
    }
    inside_->filters.push_back(&filter);
    filter.getSynchronizer()->setWaitCounter(&inside_->state.getWaitCounter());
    filter.setManager(this);
    inside_->inbox.noteChange();
}

Filter& LayoutManager::add(FilterPtr filter) {
    add(*filter);
    owned_.push_back(std::move(filter));
    return *owned_.back();
}

void LayoutManager::remove(Filter& filter) {
    inside_->requireNotRunning("remove a filter");
    filter.getInputTally(TopologyLock()).leave();
    inside_->forget(filter);
    filter.setManager(nullptr);
    filter.getSynchronizer()->setWaitCounter(nullptr);
    const auto owned =
        std::find_if(owned_.begin(), owned_.end(), [&](const FilterPtr& p) { return p.get() == &filter; });
    if (owned == owned_.end()) return;
    const FilterPtr last = std::move(*owned);
    owned_.erase(owned);
}

const std::vector<Filter*>& LayoutManager::getFilters() const { return inside_->filters; }

Filter* LayoutManager::findFilter(const std::string& filterName) const {
    return findNamed(getFilters(), filterName);
}

std::vector<Filter*> LayoutManager::getCallOrder() {
    inside_->refreshPlan();
    std::vector<Filter*> order;
    for (const RoundPlan::SourceEntry& entry : inside_->plan.sources()) order.push_back(entry.filter);
    for (const RoundPlan::Entry& entry : inside_->plan.entries()) order.push_back(entry.filter);
    return order;
}

// Runs

bool LayoutManager::runRound() { return inside_->rounds.runRound(); }

bool LayoutManager::runPending() { return inside_->rounds.runPending(); }

void LayoutManager::runToEnd() {
    inside_->requireNotRunning("run it in this thread");
    inside_->beginRun(false);
    while (!wasStopped() && runRound()) {
    }
    inside_->endRun();
}

void LayoutManager::start() {
    inside_->requireNotRunning("start it");
    inside_->thread.start();
}

void LayoutManager::stop() { inside_->stop(); }

void LayoutManager::wait() { inside_->thread.wait(); }

bool LayoutManager::wasStopped() const { return inside_->inbox.isStopRequested(); }

bool LayoutManager::isRunning() const { return inside_->state.isRunning(); }

bool LayoutManager::hasEnded() const { return inside_->state.hasEnded(); }

// Sources and failures

std::optional<double> LayoutManager::nextTimeStamp() { return inside_->rounds.nextTimeStamp(); }

bool LayoutManager::hasSources() {
    inside_->refreshPlan();
    return inside_->hasSources();
}

void LayoutManager::setRoundHook(RoundHook hook) { inside_->rounds.setHook(std::move(hook)); }

void LayoutManager::setFedRoundHook(RoundHook hook) { inside_->rounds.setFedHook(std::move(hook)); }

ErrorLog& LayoutManager::getErrors() { return inside_->rounds.getErrors(); }

void LayoutManager::setStopOnError(bool stop) { inside_->rounds.setStopOnError(stop); }

}  // namespace Kavelin::Core
