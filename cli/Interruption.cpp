#include "cli/Interruption.h"

#include <semaphore.h>

#include <atomic>

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

void waitUntilNoted() {
    while (::sem_wait(&noted) != 0) {  // another signal
    }
}

}  // namespace

Interruption::Interruption(std::function<void()> act) {
    come.store(false);
    while (::sem_trywait(&noted) == 0) {  // of one before
    }
    struct sigaction action {};
    action.sa_handler = &noteInterruption;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &interrupt_);
    sigaction(SIGTERM, &action, &terminate_);
    if (!act) return;
    watcher_ = std::thread([act = std::move(act)] {
        waitUntilNoted();
        if (hasCome()) act();
    });
}

Interruption::~Interruption() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
    if (!watcher_.joinable()) return;
    ::sem_post(&noted);  // nothing came: the watcher may go
    watcher_.join();
}

bool Interruption::hasCome() { return come.load(std::memory_order_relaxed); }

}  // namespace Kavelin::Cli
