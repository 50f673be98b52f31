#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/FlowManager.h>
#include <Poco/Environment.h>
#include <Poco/Exception.h>

#include <algorithm>

#include "Lane.h"
#include "Layout.h"
#include "LayoutGroups.h"
#include "NameList.h"

namespace Kavelin::Core {

namespace {

// "filter:pin"; the last colon separates, so that a filter's name may hold one.
std::pair<std::string, std::string> splitEndPoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == text.size()) {
        throw Poco::SyntaxException("'" + text + "' names no pin; the form is filter:pin");
    }
    return {text.substr(0, colon), text.substr(colon + 1)};
}

/// Runs a round of the layout whose sources are next; of equal times, the first in the list.
/// @return false when there is none, or one of the layouts was stopped.
bool runNextRound(const std::vector<Layout*>& layouts) {
    Layout* next = nullptr;
    double nextTime = 0.0;
    for (Layout* layout : layouts) {
        if (layout->inbox.isStopRequested()) return false;
        const std::optional<double> time = layout->rounds.nextTimeStamp();
        if (!time || (next != nullptr && !(*time < nextTime))) continue;
        next = layout;
        nextTime = *time;
    }
    const bool stopped = std::any_of(layouts.begin(), layouts.end(),
                                     [](const Layout* layout) { return layout->inbox.isStopRequested(); });
    if (next == nullptr || stopped) return false;
    next->rounds.runRound(nextTime);
    return true;
}

/// Begins a run of all layouts.
/// @throws Poco::IllegalStateException while a thread runs one of them; none has begun then.
std::vector<Layout*> beginAll(const std::vector<LayoutManager*>& managers, const char* what) {
    std::vector<Layout*> layouts;
    for (const LayoutManager* manager : managers) layouts.push_back(&manager->inside());
    for (const Layout* layout : layouts) layout->requireNotRunning(what);
    for (Layout* layout : layouts) layout->beginRun(false);
    return layouts;
}

}  // namespace

FlowManager& FlowManager::instance() {
    static FlowManager manager;
    return manager;
}

FlowManager::FlowManager() : plugins_(new PluginManager) {}
FlowManager::~FlowManager() = default;

LayoutManager& FlowManager::createLayout(const std::string& name) {
    std::lock_guard lock(mutex_);
    for (const auto& layout : layouts_) {
        if (layout->getName() == name)
            throw Poco::ExistsException("There is a layout '" + name + "' already");
    }
    layouts_.push_back(std::make_unique<LayoutManager>(name));
    return *layouts_.back();
}

void FlowManager::destroyLayout(const std::string& name) {
    std::unique_ptr<LayoutManager> last;
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(layouts_.begin(), layouts_.end(),
                                    [&](const auto& layout) { return layout->getName() == name; });
    if (found == layouts_.end()) throw Poco::NotFoundException("There is no layout '" + name + "'");
    last = std::move(*found);
    layouts_.erase(found);
}

void FlowManager::clear() {
    std::vector<std::unique_ptr<LayoutManager>> last;
    {
        std::lock_guard lock(mutex_);
        last.swap(layouts_);
    }
    for (const auto& layout : last) layout->stop();
    for (const auto& layout : last) layout->wait();
}

std::vector<LayoutManager*> FlowManager::getLayouts() const {
    std::lock_guard lock(mutex_);
    std::vector<LayoutManager*> layouts;
    for (const auto& layout : layouts_) layouts.push_back(layout.get());
    return layouts;
}

Filter& FlowManager::getFilter(const std::string& name) const {
    std::vector<std::string> names;
    std::vector<Filter*> found;
    for (const LayoutManager* layout : getLayouts()) {
        for (Filter* filter : layout->getFilters()) {
            names.push_back(filter->getName());
            if (filter->getName() == name || layout->getName() + "/" + filter->getName() == name) {
                found.push_back(filter);
            }
        }
    }
    if (found.empty())
        throw Poco::NotFoundException("There is no filter '" + name + "'; there are " + listNames(names));
    if (found.size() > 1) {
        throw Poco::ExistsException("Several layouts have a filter '" + name + "'; say layout/" + name);
    }
    return *found.front();
}

void FlowManager::connect(const std::string& output, const std::string& input,
                          const ConnectionOptions& options) {
    const auto [writer, outputName] = splitEndPoint(output);
    const auto [reader, inputName] = splitEndPoint(input);
    AbstractOutputPin& from = getFilter(writer).getOutputPin(outputName);
    Core::connect(from, getFilter(reader).getInputPin(inputName), options);
}

void FlowManager::disconnect(const std::string& input) {
    const auto [reader, inputName] = splitEndPoint(input);
    Core::disconnect(getFilter(reader).getInputPin(inputName));
}

void FlowManager::runToEnd() {
    const std::vector<Layout*> layouts = beginAll(getLayouts(), "run all in this thread");
    const std::vector<LayoutGroup> groups = groupLayouts(layouts, connectionsBetween(layouts));
    do {
        for (bool took = true; took;) {
            took = false;
            for (const LayoutGroup& group : groups) took |= settle(group);
        }
    } while (runNextRound(layouts));
    for (Layout* layout : layouts) layout->endRun();
}

void FlowManager::start() { startLanes(true); }

void FlowManager::runToEndInThreads() {
    startLanes(false);
    wait();
}

void FlowManager::startLanes(bool staysOpen) {
    const std::vector<Layout*> layouts = beginAll(getLayouts(), "start all");
    const auto lanes = std::make_shared<const Lanes>(planLanes(layouts, staysOpen));
    for (const auto& lane : *lanes) {
        for (Layout* layout : lane->layouts()) layout->thread.enter(lane->bell());
    }
    for (const auto& lane : *lanes) {
        Lane* const own = lane.get();
        own->layouts().front()->thread.launch([lanes, own] { own->run(); });
    }
}

void FlowManager::wait() {
    for (LayoutManager* layout : getLayouts()) layout->wait();
}

void FlowManager::stop() {
    std::lock_guard lock(mutex_);  // none is destroyed meanwhile
    for (const auto& layout : layouts_) layout->stop();
}

void FlowManager::setVariable(const std::string& name, const std::string& value) {
    std::lock_guard lock(mutex_);
    variables_[name] = value;
}

void FlowManager::removeVariable(const std::string& name) {
    std::lock_guard lock(mutex_);
    variables_.erase(name);
}

std::string FlowManager::expandVariables(const std::string& text) const {
    std::lock_guard lock(mutex_);
    std::string expanded;
    std::size_t at = 0;
    while (true) {
        const std::size_t open = text.find("${", at);
        const std::size_t close = open == std::string::npos ? std::string::npos : text.find('}', open + 2);
        if (close == std::string::npos) return expanded + text.substr(at);
        const std::string name = text.substr(open + 2, close - open - 2);
        expanded.append(text, at, open - at);
        const auto known = variables_.find(name);
        if (known != variables_.end()) {
            expanded += known->second;
        } else {
            expanded += Poco::Environment::get(name, text.substr(open, close - open + 1));
        }
        at = close + 1;
    }
}

}  // namespace Kavelin::Core
