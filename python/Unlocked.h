#pragma once

#include <pybind11/pybind11.h>

#include <chrono>

namespace Kavelin::Python {

/// While one of these lives, the interpreter's lock is let go: other Python threads run. The interpreter's exit waits
/// for those that are alive, so that none takes the lock of an interpreter that is gone; at the exit, the lock is kept.
class Unlocked {
public:
    /// [with the interpreter's lock]
    Unlocked();
    ~Unlocked();
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

    /// Takes the lock for as long as signals are looked for.  @throws as the function below, and Refusal when the
    /// interpreter is at its exit.
    void lookForSignals();

private:
    PyThreadState* state_ = nullptr;
};

/// How long code that runs without the interpreter's lock goes on until it looks for signals again.
inline constexpr std::chrono::milliseconds kBetweenLooks{25};

/// Whether the interpreter is at its exit: what runs without its lock ends as after Ctrl-C. [any thread]
bool isExiting();

/// Whether this process was forked while another thread of its parent was inside this module: locks that that thread
/// held are held for good. [any thread]
bool isTornByFork();

/// Lets Python's handlers of signals run. @throws pybind11::error_already_set what one raises: KeyboardInterrupt for
/// Ctrl-C. [with the interpreter's lock]
void lookForSignals();

}  // namespace Kavelin::Python
