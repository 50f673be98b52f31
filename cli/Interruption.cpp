#include "cli/Interruption.h"

#include <semaphore.h>

#include <atomic>
#include <ctime>

namespace Kavelin::Cli {

namespace {

// What a signal handler may touch.
std::atomic<bool> come{false};
static_assert(std::atomic<bool>::is_always_lock_free);
::sem_t noted;
[[maybe_unused]] const int noteIsThere = ::sem_init(&noted, 0, 0);

extern "C" void noteInterruption(int) {
    come.store(true);
    ::sem_post(&noted);
}

std::atomic<bool> isOver{false};
std::atomic<bool> leavesSignals{false};

void waitUntilNoted() {
    while (::sem_wait(&noted) != 0) {  // interrupted by another signal
    }
}

void waitAWhile() {
    ::timespec until{};
    ::clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += 100'000'000;
    until.tv_sec += until.tv_nsec / 1'000'000'000;
    until.tv_nsec %= 1'000'000'000;
    ::sem_timedwait(&noted, &until);
}

}  // namespace

Interruption::Interruption(std::function<void()> act) : takesSignals_(!leavesSignals.load()) {
    come.store(false);
    while (::sem_trywait(&noted) == 0) {  // left from an earlier one
    }
    if (takesSignals_) {
        struct sigaction action {};
        action.sa_handler = &noteInterruption;
        action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &interrupt_);
        sigaction(SIGTERM, &action, &terminate_);
        sigaction(SIGHUP, &action, &hangUp_);
        if (hangUp_.sa_handler == SIG_IGN) sigaction(SIGHUP, &hangUp_, nullptr);  // by nohup
    }
    if (!act) return;
    isOver.store(false);
    watcher_ = std::thread([act = std::move(act)] {
        waitUntilNoted();
        while (hasCome() && !isOver.load()) {
            act();
            waitAWhile();
        }
    });
}

Interruption::~Interruption() {
    if (takesSignals_) {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGTERM, &terminate_, nullptr);
        sigaction(SIGHUP, &hangUp_, nullptr);
    }
    if (!watcher_.joinable()) return;
    isOver.store(true);
    ::sem_post(&noted);
    watcher_.join();
}

bool Interruption::hasCome() { return come.load(std::memory_order_relaxed); }

void Interruption::request() { noteInterruption(0); }

void Interruption::leaveSignals() { leavesSignals.store(true); }

}  // namespace Kavelin::Cli
