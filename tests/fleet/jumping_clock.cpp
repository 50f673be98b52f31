// A wall clock that jumps, for a program that loads this first: every 50 ms it goes to CLOCK_JUMP seconds off, or back to what is
// right. Waits that end at a time of that clock are as long as if it were the machine's. The steady clock goes on as it is.
#include <dlfcn.h>
#include <pthread.h>

#include <cstdlib>
#include <ctime>

namespace {

template <class Function>
Function next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

int readClock(clockid_t clock, timespec* time) {
    static const auto real = next<int (*)(clockid_t, timespec*)>("clock_gettime");
    return real(clock, time);
}

std::time_t offset() {
    static const long jump = std::atol(std::getenv("CLOCK_JUMP"));
    timespec steady{};
    readClock(CLOCK_MONOTONIC, &steady);
    return steady.tv_nsec / 50'000'000 % 2 == 0 ? 0 : jump;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) {
    const int status = readClock(clock, time);
    if (clock == CLOCK_REALTIME) time->tv_sec += offset();
    return status;
}

__attribute__((visibility("default"))) int pthread_cond_timedwait(pthread_cond_t* condition,
                                                                  pthread_mutex_t* mutex,
                                                                  const timespec* end) {
    static const auto real =
        next<int (*)(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait");
    timespec realEnd = *end;
    realEnd.tv_sec -= offset();
    return real(condition, mutex, &realEnd);
}
}
