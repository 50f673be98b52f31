#pragma once

#include <csignal>
#include <functional>
#include <thread>

namespace Kavelin::Cli {

/// While one of these lives, Ctrl-C, a request to terminate and the loss of the terminal set a flag instead of ending the program, so
/// that a command can complete the rows done. A second one ends it.
class Interruption {
public:
    /// @param act called when a signal comes, in a thread of its own, and again as long as this lives: it
    /// wakes code that waits, or is about to, and does not look at the flag. Only one of the objects alive at
    /// a time may have it.
    explicit Interruption(std::function<void()> act = {});
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether a signal has come. [any thread]
    static bool hasCome();

    /// Does what a signal does while one of these lives. [any thread]
    static void request();
    /// From now on, signals are left to the program that uses this code: it calls `request`. [any thread]
    static void leaveSignals();

private:
    const bool takesSignals_;
    struct sigaction interrupt_ {
    }, terminate_{}, hangUp_{};  // what was in force before
    std::thread watcher_;
};

}  // namespace Kavelin::Cli
