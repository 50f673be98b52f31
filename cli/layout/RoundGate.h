#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace Kavelin::Cli {

/// A recording's seconds for each second of the clock; without a limit, rows go as fast as they can.
constexpr double kFullPace = std::numeric_limits<double>::infinity();

/// "max", or a positive number.  @return nothing for any other text.
std::optional<double> parsePace(const std::string& text);

/// Stands before each round of a run, and holds it back until its time has come: paced by a clock, paused, or
/// one row at a time. Where nothing is to be held back, a round costs a load and a store.
///
/// Pace counts from the row after a start, a pause or a change: what was missed meanwhile is not caught up.
/// With several layouts in threads each waits here by itself, so a pause holds all that have sources.
class RoundGate {
public:
    using Clock = std::chrono::steady_clock;

    /// Tells the time and waits; a test has another.
    class Timer {
    public:
        virtual ~Timer() = default;
        virtual Clock::time_point now() const { return Clock::now(); }
        /// Returns at `until`, or when `changed` is notified, or for no reason.
        virtual void await(std::condition_variable& changed, std::unique_lock<std::mutex>& lock,
                           Clock::time_point until) {
            changed.wait_until(lock, until);
        }
    };

    enum class Mode { kPlaying, kPaused, kEnded };
    struct State {
        Mode mode = Mode::kPlaying;
        double pace = kFullPace;
        std::optional<double> last;  ///< time stamp of the latest row let through
        std::optional<double> next;  ///< of the earliest row that is held back
        std::size_t heldBack = 0;    ///< rows that wait: one a layout with sources at most
        double lag = 0.0;            ///< s by which the latest row was let through after its time
    };

    explicit RoundGate(double pace = kFullPace, std::shared_ptr<Timer> timer = std::make_shared<Timer>());

    // For the user of the run [any thread]
    /// @param pace positive, or kFullPace
    void setPace(double pace);
    void pause();
    void resume();
    /// Pauses, and lets through the row that is held back, or the next one to come: the earliest of all sources,
    /// with those that have the same time. Calls add up.
    void step();
    State state() const;

    // For the run
    /// A run begins: as constructed, but for pace, pause and the steps asked for since the last one ended.
    void begin();
    void end();
    /// Waits until a round of time stamp `t` may go, or `stop`. [layouts' threads]
    void pass(double t);
    /// Seconds for which `pass` would wait for the clock, were it called now.
    double wait(double t) const;
    /// From here on, until `begin`, nothing is held back. [any thread]
    void stop();

private:
    /// A stream time and the time of the clock at which it is due.
    struct Anchor {
        double t;
        Clock::time_point at;
    };

    Clock::time_point due(double t) const;
    bool mayPass(double t);
    void leave(double t);
    void anchorAt(std::optional<double> position);
    std::optional<double> position() const;
    std::optional<double> last() const;
    void haveChanged();

    const std::shared_ptr<Timer> timer_;
    std::atomic<bool> isFree_{true};  // nothing is held back
    std::atomic<double> last_{std::numeric_limits<double>::quiet_NaN()};

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    double pace_;
    bool isPaused_ = false, isStopped_ = false, hasEnded_ = false;
    std::optional<Anchor> anchor_;     // none before the first row
    std::optional<double> pausedAt_;   // stream time
    std::multiset<double> waiting_;    // time stamps of the rounds that are held back
    std::size_t steps_ = 0;            // asked for, not yet taken
    std::optional<double> steppedTo_;  // while paused, rows up to here may go
    double lag_ = 0.0;
};

}  // namespace Kavelin::Cli
