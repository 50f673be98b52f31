#include "cli/layout/RoundGate.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Kavelin::Cli {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr double kLongestWait = 1e8;  // s: a clock can count that far

}  // namespace

std::optional<double> parsePace(const std::string& text) {
    if (text == "max") return kFullPace;
    double pace = 0.0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, pace);
    if (error != std::errc() || stop != end || !std::isfinite(pace) || pace <= 0.0) return {};
    return pace;
}

RoundGate::RoundGate(double pace, std::shared_ptr<Timer> timer) : timer_(std::move(timer)), pace_(pace) {
    haveChanged();
}

void RoundGate::setPace(double pace) {
    const std::lock_guard lock(mutex_);
    const std::optional<double> reached = position();
    pace_ = pace;
    if (!isPaused_) anchorAt(reached);
    haveChanged();
}

void RoundGate::pause() {
    const std::lock_guard lock(mutex_);
    if (isPaused_) return;
    pausedAt_ = position();
    isPaused_ = true;
    haveChanged();
}

void RoundGate::resume() {
    const std::lock_guard lock(mutex_);
    if (!isPaused_) return;
    anchorAt(position());
    isPaused_ = false;
    steps_ = 0;
    steppedTo_.reset();
    haveChanged();
}

void RoundGate::step() {
    pause();
    const std::lock_guard lock(mutex_);
    ++steps_;
    haveChanged();
}

RoundGate::State RoundGate::state() const {
    const std::lock_guard lock(mutex_);
    State state;
    state.pace = pace_;
    state.last = last();
    state.heldBack = waiting_.size();
    state.lag = lag_;
    if (!waiting_.empty()) state.next = *waiting_.begin();
    state.mode = hasEnded_ ? Mode::kEnded : isPaused_ ? Mode::kPaused : Mode::kPlaying;
    return state;
}

void RoundGate::begin() {
    const std::lock_guard lock(mutex_);
    isStopped_ = hasEnded_ = false;
    last_.store(std::numeric_limits<double>::quiet_NaN());
    anchor_.reset();
    pausedAt_.reset();
    steppedTo_.reset();
    lag_ = 0.0;
    haveChanged();
}

void RoundGate::end() {
    const std::lock_guard lock(mutex_);
    hasEnded_ = true;
    steps_ = 0;
}

void RoundGate::stop() {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    haveChanged();
}

void RoundGate::pass(double t) {
    if (isFree_.load(std::memory_order_acquire)) [[likely]] {
        last_.store(t, std::memory_order_relaxed);
        return;
    }
    std::unique_lock lock(mutex_);
    const auto own = waiting_.insert(t);
    while (!mayPass(t)) {
        if (isPaused_)
            changed_.wait(lock);
        else
            timer_->await(changed_, lock, due(t));
    }
    waiting_.erase(own);
    leave(t);
}

double RoundGate::wait(double t) const {
    if (isFree_.load(std::memory_order_acquire)) return 0.0;
    const std::lock_guard lock(mutex_);
    if (isPaused_ || isStopped_ || !anchor_ || pace_ == kFullPace) return 0.0;
    return std::max(0.0, Seconds(due(t) - timer_->now()).count());
}

// Under the lock

RoundGate::Clock::time_point RoundGate::due(double t) const {
    const double wait = std::min((t - anchor_->t) / pace_, kLongestWait);
    return anchor_->at + std::chrono::duration_cast<Clock::duration>(Seconds(wait));
}

bool RoundGate::mayPass(double t) {
    if (isStopped_) return true;
    if (isPaused_) {
        if (t <= steppedTo_) return true;
        if (steps_ == 0 || t > *waiting_.begin()) return false;
        --steps_;
        steppedTo_ = t;
        return true;
    }
    if (pace_ == kFullPace) return true;
    if (!anchor_) anchorAt(t);
    return timer_->now() >= due(t);
}

void RoundGate::leave(double t) {
    last_.store(t, std::memory_order_relaxed);
    const bool isPaced = !isPaused_ && !isStopped_ && anchor_ && pace_ != kFullPace;
    lag_ = isPaced ? std::max(0.0, Seconds(timer_->now() - due(t)).count()) : 0.0;
    if (isPaused_) changed_.notify_all();  // others may have this time, or the next step
}

void RoundGate::anchorAt(std::optional<double> position) {
    anchor_.reset();
    if (position && pace_ != kFullPace) anchor_ = Anchor{*position, timer_->now()};
}

/// The stream time that the clock has reached: not beyond a row that is held back, and not before the row that
/// went last.
std::optional<double> RoundGate::position() const {
    const std::optional<double> last = this->last();
    if (isPaused_) return std::max(pausedAt_, last);
    if (!anchor_ || waiting_.empty()) return last;
    const double elapsed = Seconds(timer_->now() - anchor_->at).count();
    return std::max(last, std::optional(std::min(anchor_->t + elapsed * pace_, *waiting_.begin())));
}

std::optional<double> RoundGate::last() const {
    const double last = last_.load(std::memory_order_relaxed);
    return std::isnan(last) ? std::nullopt : std::optional(last);
}

void RoundGate::haveChanged() {
    isFree_.store(isStopped_ || (!isPaused_ && pace_ == kFullPace), std::memory_order_release);
    changed_.notify_all();
}

}  // namespace Kavelin::Cli
