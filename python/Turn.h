#pragma once

#include <atomic>
#include <mutex>
#include <thread>

namespace Kavelin::Python {

/// What one thread at a time may use.
class Turns {
public:
    /// @param what names it in messages: "a filter"; a literal.
    explicit Turns(const char* what) : what_(what) {}

private:
    friend class Turn;
    const char* what_;
    std::timed_mutex mutex_;
    std::atomic<std::thread::id> owner_;
};

/// While one of these lives, it is this thread's turn. Waiting for it lets the interpreter's lock go, and Ctrl-C ends it.
class Turn {
public:
    /// @throws pybind11::error_already_set what a signal handler raises; Refusal where this thread has the turn already,
    /// as in a signal handler, and where the thread that has it was lost in a fork.  [with the interpreter's lock]
    explicit Turn(Turns& turns);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Turns& turns_;
};

}  // namespace Kavelin::Python
