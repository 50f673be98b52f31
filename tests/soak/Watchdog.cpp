#include "soak/Watchdog.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace Kavelin::Soak {

namespace {

constexpr int kStackSignal = SIGUSR2;
constexpr int kExitStatus = 3;
std::atomic<int> printed{0};

/// In the thread whose stack it is.
void printStack(int) {
    void* frames[64];
    const int count = ::backtrace(frames, 64);
    ::backtrace_symbols_fd(frames, count, STDERR_FILENO);
    printed.fetch_add(1);
}

/// The C library's own function: a sanitizer's would put a signal off until the thread's next call, and a thread that waits
/// for a mutex makes none.
using Sigaction = int (*)(int, const struct sigaction*, struct sigaction*);
Sigaction plainSigaction() {
    void* const library = ::dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
    void* const found = library ? ::dlsym(library, "sigaction") : nullptr;
    return found ? reinterpret_cast<Sigaction>(found) : &::sigaction;
}

void sleepMilliseconds(long milliseconds) {
    const std::timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000};
    ::nanosleep(&time, nullptr);
}

std::vector<int> threadsOfProcess() {
    std::vector<int> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.push_back(std::atoi(entry.path().filename().c_str()));
    return threads;
}

}  // namespace

void printAllStacks() {
    struct sigaction action {};
    action.sa_handler = printStack;
    action.sa_flags = SA_RESTART;
    plainSigaction()(kStackSignal, &action, nullptr);
    void* frame[1];
    ::backtrace(frame, 1);  // loads what the handler needs
    for (const int thread : threadsOfProcess()) {
        std::fprintf(stderr, "\nthread %d:\n", thread);
        const int before = printed.load();
        if (::syscall(SYS_tgkill, ::getpid(), thread, kStackSignal) != 0) continue;
        for (int i = 0; i < 200 && printed.load() == before; ++i) sleepMilliseconds(10);
        if (printed.load() == before) std::fprintf(stderr, "(it does not answer)\n");
    }
}

Watchdog::Watchdog(std::chrono::seconds patience) : patience_(patience), thread_([this] { run(); }) {}

Watchdog::~Watchdog() {
    {
        const std::lock_guard lock(mutex_);
        ends_ = true;
        changed_.notify_all();
    }
    thread_.join();
}

void Watchdog::run() {
    std::unique_lock lock(mutex_);
    std::uint64_t seen = pats_.load();
    while (!changed_.wait_for(lock, patience_, [this] { return ends_; })) {
        const std::uint64_t now = pats_.load();
        if (now == seen) {
            std::fprintf(stderr, "soak: nothing was done for %lld s; the stacks of all threads:\n",
                         static_cast<long long>(patience_.count()));
            printAllStacks();
            std::fflush(stderr);
            std::_Exit(kExitStatus);
        }
        seen = now;
    }
}

}  // namespace Kavelin::Soak
