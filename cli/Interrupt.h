#pragma once

#include <csignal>

namespace Kavelin::Cli {

/// While it lives, the first SIGINT or SIGTERM only raises a flag, so that a run can complete the rows done;
/// a second one ends the program as usual. One at a time.
class InterruptGuard {
public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// Whether a signal came.  [any thread]
    static bool isRaised();

private:
    struct sigaction interrupt_ {
    }, terminate_{};  // what was in force before
};

}  // namespace Kavelin::Cli
