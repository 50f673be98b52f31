#include "cli/Interrupt.h"

#include <atomic>

namespace Kavelin::Cli {

namespace {

std::atomic<bool> raised{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // what a signal handler may touch

void raise(int) { raised.store(true); }

}  // namespace

InterruptGuard::InterruptGuard() {
    raised.store(false);
    struct sigaction action {};
    action.sa_handler = &raise;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &interrupt_);
    sigaction(SIGTERM, &action, &terminate_);
}

InterruptGuard::~InterruptGuard() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
}

bool InterruptGuard::isRaised() { return raised.load(std::memory_order_relaxed); }

}  // namespace Kavelin::Cli
