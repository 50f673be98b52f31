#pragma once

#include <csignal>

namespace Kavelin::Cli {

/// While one of these lives, Ctrl-C and a request to terminate set a flag instead of ending the program, so
/// that a command can complete the rows done. A second one ends it.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Whether it has come.  [any thread]
    static bool hasCome();

private:
    struct sigaction interrupt_ {
    }, terminate_{};  // what was in force before
};

}  // namespace Kavelin::Cli
