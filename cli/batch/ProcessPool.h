#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// How a child process ended.
struct ChildEnd {
    std::optional<int> status;  ///< its exit status; empty: a signal ended it, or it could not be started
    int signal = 0;             ///< 0: it could not be started
    bool isOverdue = false;     ///< it was ended because its time was over
    std::string text;           ///< what it wrote to standard output and standard error
};

/// Runs tasks in child processes, copies of this one, at most `jobs` at a time, so that a task that crashes takes no other
/// with it. A child has no input, is not reached by Ctrl-C, and does not outlive this process. It ends without running
/// destructors of static objects. Of a child's text the first 64 KiB are kept.
/// @param tasks numbers that tell the tasks apart, in the order in which they are started
/// @param work called in the child; its result is the child's exit status
/// @param report called in this process for each task, as it ends
/// @param limit the time that a child has; none: as long as it takes
/// @return whether all tasks were run. When Interruption::hasCome, those under way are killed, and not reported.
/// [a process with this one thread]
bool runInChildren(const std::vector<std::size_t>& tasks, std::size_t jobs,
                   const std::function<int(std::size_t task)>& work,
                   const std::function<void(std::size_t task, const ChildEnd& end)>& report,
                   std::optional<std::chrono::milliseconds> limit = {});

/// How many processors this process may use, at least 1.
std::size_t usableProcessors();

}  // namespace Kavelin::Cli
