#include "cli/Interruption.h"

#include <atomic>

namespace Kavelin::Cli {

namespace {

std::atomic<bool> come{false};
static_assert(std::atomic<bool>::is_always_lock_free);  // what a signal handler may touch

extern "C" void noteInterruption(int) { come.store(true); }

}  // namespace

Interruption::Interruption() {
    come.store(false);
    struct sigaction action {};
    action.sa_handler = &noteInterruption;
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &interrupt_);
    sigaction(SIGTERM, &action, &terminate_);
}

Interruption::~Interruption() {
    sigaction(SIGINT, &interrupt_, nullptr);
    sigaction(SIGTERM, &terminate_, nullptr);
}

bool Interruption::hasCome() { return come.load(std::memory_order_relaxed); }

}  // namespace Kavelin::Cli
