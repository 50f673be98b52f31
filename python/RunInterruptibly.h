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

/// The same for work with a result.
template <class Work>
auto resultOfInterruptible(Work work) {
    std::optional<decltype(work())> result;
    runInterruptibly([&] { result.emplace(work()); });
    return std::move(*result);
}

}  // namespace Kavelin::Python
