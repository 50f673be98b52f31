#include "python/RunInterruptibly.h"

#include <pybind11/pybind11.h>

#include <csignal>
#include <future>
#include <thread>

#include "cli/Interruption.h"
#include "python/Errors.h"
#include "python/Turn.h"
#include "python/Unlocked.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

Turns runs("a run of layouts");

/// Signals go to the interpreter's threads, and interrupt no system call here. Threads made by this one do as it does.
void leaveSignalsToOthers() {
    ::sigset_t all;
    ::sigfillset(&all);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) ::sigdelset(&all, fault);
    ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

bool isDoneSoon(const std::future<void>& done) {
    const Unlocked unlocked;
    return done.wait_for(kBetweenLooks) == std::future_status::ready;
}

/// Asks again and again, as the work may not have come to where it listens.
void endEarly(const std::future<void>& done, const std::function<void()>& end) {
    do {
        end();
    } while (!isDoneSoon(done));
}

}  // namespace

void callInterruptibly(const std::function<void()>& work, const std::function<void()>& end) {
    std::packaged_task<void()> task([&work] {
        leaveSignalsToOthers();
        work();
    });
    std::future<void> done = task.get_future();
    const std::jthread worker(std::move(task));
    try {
        while (!isDoneSoon(done)) {
            if (isExiting())
                throw Refusal(Refusal::Kind::kError, "the run was ended by the interpreter's exit");
            lookForSignals();
        }
    } catch (...) {
        endEarly(done, end);
        throw;
    }
    done.get();
}

void runInterruptibly(const std::function<void()>& work) {
    const Turn turn(runs);
    Cli::Interruption::leaveSignals();
    callInterruptibly(work, &Cli::Interruption::request);
}

}  // namespace Kavelin::Python
