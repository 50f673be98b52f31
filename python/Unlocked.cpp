#include "python/Unlocked.h"

#include <atomic>
#include <thread>

#include "python/Bindings.h"
#include "python/Errors.h"

namespace Kavelin::Python {

namespace py = pybind11;

namespace {

std::atomic<int> alive{0};
std::atomic<bool> exiting{false};
std::atomic<bool> torn{false};

/// Each ends soon: it looks at `isExiting` as it looks for signals.
void waitUntilNoneIsAlive() {
    exiting.store(true);
    const py::gil_scoped_release release;
    while (alive.load() > 0) std::this_thread::sleep_for(kBetweenLooks);
}

void noteFork() {
    if (alive.exchange(0) > 0) torn.store(true);
}

}  // namespace

Unlocked::Unlocked() {
    if (isExiting()) return;
    ++alive;
    state_ = PyEval_SaveThread();
}

Unlocked::~Unlocked() {
    if (state_ == nullptr) return;
    PyEval_RestoreThread(state_);
    --alive;
}

void Unlocked::lookForSignals() {
    if (isExiting()) throw Refusal(Refusal::Kind::kError, "the run was ended by the interpreter's exit");
    if (state_ == nullptr) return Python::lookForSignals();
    PyEval_RestoreThread(state_);
    const int raised = PyErr_CheckSignals();
    if (raised == 0) {
        state_ = PyEval_SaveThread();
        return;
    }
    std::exception_ptr error = std::make_exception_ptr(py::error_already_set());
    state_ = PyEval_SaveThread();
    std::rethrow_exception(std::move(error));
}

bool isExiting() { return exiting.load(std::memory_order_relaxed); }

bool isTornByFork() { return torn.load(std::memory_order_relaxed); }

void lookForSignals() {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

/// Watches exits and forks from now on.
void bindUnlocked(py::module_&) {
    py::module_::import("atexit").attr("register")(py::cpp_function(&waitUntilNoneIsAlive));
    py::module_::import("os").attr("register_at_fork")(py::arg("after_in_child") =
                                                           py::cpp_function(&noteFork));
}

}  // namespace Kavelin::Python
