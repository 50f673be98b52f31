#pragma once

#include <functional>
#include <optional>
#include <utility>

namespace Kavelin::Python {

/// Calls `work` in a thread of its own, with the interpreter's lock let go: it must not touch Python objects. The flow
/// manager, its layouts and `Cli::Interruption` belong to the process, so only one such call works at a time; others
/// wait. When a Python signal handler raises (Ctrl-C), `work` is asked to end as the program is, which keeps the rows
/// done; then that exception is thrown. Else what `work` throws is thrown.
/// @throws also as `Turn`.  [with the interpreter's lock]
void runInterruptibly(const std::function<void()>& work);

/// The same for work of which several may be done at a time.  @param end asks `work` to end; called until it has.
/// [any thread calls `end`, without the interpreter's lock]
void callInterruptibly(const std::function<void()>& work, const std::function<void()>& end);

/// The first for work with a result.
template <class Work>
auto resultOfInterruptible(Work work) {
    std::optional<decltype(work())> result;
    runInterruptibly([&] { result.emplace(work()); });
    return std::move(*result);
}

}  // namespace Kavelin::Python
