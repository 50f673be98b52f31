#include "cli/view/ViewSession.h"

#include <Kavelin/Core/Source.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <ostream>

#include "cli/layout/LayoutRun.h"

namespace Kavelin::Cli {

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
/// A stop may come before a source waits for its input: it is repeated until the run has ended.
constexpr std::chrono::milliseconds kBetweenStops{50};

}  // namespace

ViewSession::ViewSession(Maker make, std::string title, double pace, CommandContext& context)
    : make_(std::move(make)),
      title_(std::move(title)),
      context_(context),
      hub_(gate_, *this),
      share_(kUnknown) {
    viewed_ = make_();
    install();
    if (!ViewHub::Layout(hub_).get()->isLive) gate_.setPace(pace);
}

ViewSession::~ViewSession() {
    quit();
    if (thread_.joinable()) wait();
    hub_.remove();
}

void ViewSession::install() {
    rows_ = 0;
    share_ = kUnknown;
    wantsShare_ = true;
    gate_.begin();  // what pages ask for from now on is meant for the run to come
    hub_.install(std::make_unique<WatchedLayout>(viewed_->builder(), title_, viewed_->temporaryFolder()));
}

void ViewSession::start() {
    thread_ = std::thread([this] { runAll(); });
}

void ViewSession::wait() {
    std::unique_lock lock(mutex_);
    while (!isOver_) {
        if (running_ && (mustQuit_ || mustRestart_)) {
            running_->stop();
            changed_.wait_for(lock, kBetweenStops);
        } else {
            changed_.wait(lock);
        }
    }
    lock.unlock();
    thread_.join();
}

void ViewSession::quit() {
    const std::lock_guard lock(mutex_);
    mustQuit_ = true;
    endRun();
}

void ViewSession::restart() {
    const std::lock_guard lock(mutex_);
    mustRestart_ = true;
    endRun();
}

/// Under the lock.
void ViewSession::endRun() {
    if (running_) running_->stop();
    changed_.notify_all();
}

ViewRunner::Progress ViewSession::progress() {
    wantsShare_.store(true, std::memory_order_relaxed);
    return {rows_.load(std::memory_order_relaxed), share_.load(std::memory_order_relaxed)};
}

void ViewSession::runAll() {
    do {
        if (viewed_) runOnce();
        hub_.stateChanged();
    } while (awaitRestart() && buildAgain());
    const std::lock_guard lock(mutex_);
    isOver_ = true;
    changed_.notify_all();
}

void ViewSession::runOnce() {
    try {
        viewed_->run(gate_, *this,
                     [this](const std::string& text, bool isError) { hub_.tell(isError, text); });
        if (!std::isnan(share_.load())) share_ = 1.0;  // row by row it is told only as often as pages ask
    } catch (const std::exception& error) {
        context_.status = kDoneWithErrors;
        said(Core::exceptionMessage(error), true);
    }
    gate_.end();
}

/// @return false where the session is to quit
bool ViewSession::awaitRestart() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return mustQuit_ || mustRestart_; });
    mustRestart_ = false;
    return !mustQuit_;
}

/// What cannot be built any more can still be restarted later.
bool ViewSession::buildAgain() {
    hub_.remove();
    viewed_.reset();
    context_.status = kDone;
    try {
        viewed_ = make_();
        install();
        hub_.repeatWrites();
    } catch (const std::exception& error) {
        said(std::string("cannot be restarted: ") + Core::exceptionMessage(error), true);
        context_.status = kDoneWithErrors;
    }
    return true;
}

// The run

void ViewSession::begins(LayoutRun& run) {
    const std::lock_guard lock(mutex_);
    running_ = &run;
    changed_.notify_all();
    if (mustQuit_ || mustRestart_) run.stop();
    hub_.stateChanged();
}

void ViewSession::ends() {
    const std::lock_guard lock(mutex_);
    running_ = nullptr;
}

void ViewSession::rowBegins(const Core::LayoutManager& layout) {
    rows_.fetch_add(1, std::memory_order_relaxed);
    if (!wantsShare_.load(std::memory_order_relaxed)) return;
    wantsShare_.store(false, std::memory_order_relaxed);
    double share = kUnknown;
    for (const Core::Filter* filter : layout.getFilters()) {
        if (const auto* source = dynamic_cast<const Core::Source*>(filter)) {
            if (const double own = source->progress(); !(share <= own)) share = own;
        }
    }
    share_.store(share, std::memory_order_relaxed);
}

void ViewSession::failed(const Core::ProcessError& error, const std::string& line) {
    print(line);
    hub_.tell(true, error.message.empty() ? error.type : error.message, error.filter, error.timeStamp);
}

void ViewSession::said(const std::string& text, bool isError) {
    print(text);
    hub_.tell(isError, text);
}

void ViewSession::print(const std::string& text) {
    const std::lock_guard lock(printMutex_);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        context_.err << "kavelin: " << text.substr(begin, end - begin) << '\n';
        begin = end + 1;
    }
    context_.err << std::flush;
}

}  // namespace Kavelin::Cli
