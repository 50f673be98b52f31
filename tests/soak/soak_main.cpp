// Runs layouts in threads while other threads change them, for a time or for a number of episodes.
// Prints a table of what was done. Exit status: 0 done; 1 a check failed; 2 wrong usage; 3 a deadlock.

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <mutex>
#include <thread>

#include "soak/Soak.h"

/// Locks `one`, and when the other thread has locked `other`, waits for that. Outside any unnamed namespace, to have a name in
/// the stacks.
void waitForEachOther(std::mutex& one, std::mutex& other, std::atomic<int>& locked) {
    const std::lock_guard lock(one);
    for (++locked; locked < 2;) std::this_thread::yield();
    const std::lock_guard never(other);
}

namespace {

using namespace Kavelin::Soak;

/// What the watchdog is for.
[[noreturn]] void lockUp(std::chrono::seconds patience) {
    std::mutex first, second;
    std::atomic<int> locked{0};
    const Watchdog watchdog(patience);
    std::thread thread([&] { waitForEachOther(second, first, locked); });
    waitForEachOther(first, second, locked);
    std::abort();  // unreachable: they wait for ever
}

}  // namespace

int main(int argc, char** argv) {
    SoakOptions options;
    double minutes = 10.0;
    long long patience = 120;
    bool locksUp = false;
    CLI::App app("Runs layouts in threads while other threads change them.");
    app.add_option("--minutes", minutes, "How long")->check(CLI::PositiveNumber)->capture_default_str();
    app.add_option("--episodes", options.episodes, "How often, instead of how long");
    app.add_option("--seed", options.seed, "Of everything that is random")->capture_default_str();
    app.add_option("--patience", patience, "Seconds without an action that are a deadlock")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_flag("--lock-up", locksUp, "Deadlock, to see what is printed then");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    options.time = std::chrono::seconds(static_cast<long long>(minutes * 60.0));
    options.patience = std::chrono::seconds(patience);
    if (locksUp) lockUp(options.patience);
    std::cout.setstate(std::ios::failbit);  // messages of the settings reader
    SoakCounts counts;
    Failures failures;
    {
        Soak soak(options, counts, failures);
        soak.run();
        std::printf("%s", soak.report().c_str());
    }
    return failures.count() == 0 ? 0 : 1;
}
