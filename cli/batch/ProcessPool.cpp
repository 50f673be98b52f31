#include "cli/batch/ProcessPool.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "cli/Interruption.h"

namespace Kavelin::Cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostText = std::size_t{1} << 16;
constexpr int kLookMilliseconds = 100;  // between two looks for an interruption

struct Child {
    std::size_t task = 0;
    std::size_t processor = 0;  // index in the list of those that may be used
    ::pid_t pid = -1;
    int output = -1;
    std::string text;
    std::optional<Clock::time_point> due;
    bool isOverdue = false;
};

std::vector<std::size_t> processors() {
    ::cpu_set_t usable;
    CPU_ZERO(&usable);
    std::vector<std::size_t> numbers;
    if (::sched_getaffinity(0, sizeof usable, &usable) != 0) return {};
    for (std::size_t number = 0; number < CPU_SETSIZE; ++number)
        if (CPU_ISSET(number, &usable)) numbers.push_back(number);
    return numbers;
}

void stayOn(std::size_t processor) {
    ::cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(processor, &own);
    ::sched_setaffinity(0, sizeof own, &own);  // only speed depends on it
}

/// What the child does before its work: it has the pipe as its output, no input, and ends with its parent.
void settleIn(::pid_t parent, int output) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(1);
    ::setpgid(0, 0);
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    const int nothing = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::dup2(nothing, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
}

/// @return whether there may be more
bool readSome(Child& child) {
    std::array<char, 4096> block{};
    const ::ssize_t count = ::read(child.output, block.data(), block.size());
    if (count < 0) return errno == EINTR || errno == EAGAIN;
    const std::size_t room = kMostText - child.text.size();
    child.text.append(block.data(), std::min(static_cast<std::size_t>(count), room));
    return count > 0;
}

int waitFor(::pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

ChildEnd endOf(Child& child) {
    ::close(child.output);
    const int status = waitFor(child.pid);
    if (WIFEXITED(status)) return {WEXITSTATUS(status), 0, child.isOverdue, std::move(child.text)};
    return {std::nullopt, WTERMSIG(status), child.isOverdue, std::move(child.text)};
}

void kill(const Child& child) {
    ::kill(-child.pid, SIGKILL);
    ::kill(child.pid, SIGKILL);  // which may not have made its process group yet
}

class Pool {
public:
    Pool(const std::function<int(std::size_t)>& work, std::optional<std::chrono::milliseconds> limit)
        : work_(work), limit_(limit) {}
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;
    ~Pool() {
        for (Child& child : children_) {
            kill(child);
            endOf(child);
        }
    }

    std::size_t size() const { return children_.size(); }

    /// @param fillsAll there will be a child for each processor: each stays on one, where its threads find what they hand
    /// each other in the cache
    /// @return 0, or why there is no child
    int start(std::size_t task, bool fillsAll) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) return errno;
        const ::pid_t parent = ::getpid();
        const std::size_t processor = leastUsed();
        std::fflush(nullptr);
        const ::pid_t pid = ::fork();
        const int error = errno;
        if (pid == 0) {
            settleIn(parent, ends[1]);
            if (fillsAll && !processors_.empty()) stayOn(processors_[processor]);
            const int status = work_(task);
            std::fflush(nullptr);
            ::_exit(status);
        }
        ::close(ends[1]);
        if (pid > 0) {
            children_.push_back({task, processor, pid, ends[0], {}, {}});
            if (limit_) children_.back().due = Clock::now() + *limit_;
            return 0;
        }
        ::close(ends[0]);
        return error;
    }

    /// Takes what the children write, for a while. @return those that have ended
    std::vector<Child> listen() {
        std::vector<::pollfd> polled;
        for (const Child& child : children_) polled.push_back({child.output, POLLIN, 0});
        if (::poll(polled.data(), polled.size(), kLookMilliseconds) < 0) return {};
        std::vector<Child> ended, going;
        for (std::size_t i = 0; i < polled.size(); ++i) {
            const bool goesOn =
                (polled[i].revents == 0 || readSome(children_[i])) && !endOverdue(children_[i]);
            (goesOn ? going : ended).push_back(std::move(children_[i]));
        }
        children_ = std::move(going);
        return ended;
    }

private:
    static bool endOverdue(Child& child) {
        if (!child.due || Clock::now() < *child.due) return false;
        child.isOverdue = true;
        kill(child);
        return true;
    }
    std::size_t leastUsed() const {
        std::vector<std::size_t> uses(std::max<std::size_t>(1, processors_.size()));
        for (const Child& child : children_) ++uses[child.processor];
        return static_cast<std::size_t>(std::min_element(uses.begin(), uses.end()) - uses.begin());
    }

    const std::function<int(std::size_t)>& work_;
    const std::optional<std::chrono::milliseconds> limit_;
    const std::vector<std::size_t> processors_ = processors();
    std::vector<Child> children_;
};

}  // namespace

bool runInChildren(const std::vector<std::size_t>& tasks, std::size_t jobs,
                   const std::function<int(std::size_t task)>& work,
                   const std::function<void(std::size_t task, const ChildEnd& end)>& report,
                   std::optional<std::chrono::milliseconds> limit) {
    Pool pool(work, limit);
    for (auto next = tasks.begin(); next != tasks.end() || pool.size() > 0;) {
        while (next != tasks.end() && pool.size() < jobs && !Interruption::hasCome()) {
            const std::size_t open = pool.size() + static_cast<std::size_t>(tasks.end() - next);
            const int error = pool.start(*next, std::min(open, jobs) >= usableProcessors());
            if (error != 0 && pool.size() > 0) break;  // there may be room when another has ended
            if (error != 0) report(*next, {{}, 0, false, std::string("no process: ") + std::strerror(error)});
            ++next;
        }
        if (Interruption::hasCome()) return false;
        for (Child& child : pool.listen()) report(child.task, endOf(child));
    }
    return true;
}

std::size_t usableProcessors() { return std::max<std::size_t>(1, processors().size()); }

}  // namespace Kavelin::Cli
