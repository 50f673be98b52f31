#include "python/Turn.h"

#include <string>

#include "python/Errors.h"
#include "python/Unlocked.h"

namespace Kavelin::Python {

namespace {

[[noreturn]] void refuse(const std::string& text) { throw Refusal(Refusal::Kind::kError, text); }

}  // namespace

Turn::Turn(Turns& turns) : turns_(turns) {
    const std::string what = turns.what_;
    if (turns.owner_.load() == std::this_thread::get_id())
        refuse(what + " is in use; a signal handler cannot use it then");
    while (!turns.mutex_.try_lock()) {
        if (isTornByFork())
            refuse(what +
                   " was in use in another thread when this process was forked; start processes with the "
                   "method \"spawn\"");
        bool isMine;
        {
            const Unlocked unlocked;
            isMine = turns.mutex_.try_lock_for(kBetweenLooks);
        }
        if (isMine) break;
        lookForSignals();
    }
    turns.owner_.store(std::this_thread::get_id());
}

Turn::~Turn() {
    turns_.owner_.store({});
    turns_.mutex_.unlock();
}

}  // namespace Kavelin::Python
