#pragma once

#include <chrono>
#include <cstdint>
#include <iosfwd>

namespace Kavelin::Cli {

/// A line on the terminal that tells how far a run has come: rows, rows a second, time left. Shows nothing
/// for runs of less than a second, and nothing when standard error is not a terminal.
class ProgressBar {
public:
    ProgressBar(std::ostream& err, bool wanted);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    bool isOn() const { return on_; }
    /// Shows the state, if enough time has passed. @param share done, 0 to 1; NaN: not known.
    void show(std::uint64_t rows, double share);
    /// Clears the line.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    std::ostream& err_;
    bool on_;
    bool shown_ = false;
    Clock::time_point start_ = Clock::now();
    Clock::time_point last_ = start_;
};

}  // namespace Kavelin::Cli
