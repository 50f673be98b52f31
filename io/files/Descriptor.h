#pragma once

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Owns a descriptor; closes it unless it is standard input.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (fd_ > STDIN_FILENO) ::close(fd_);
    }
    int get() const { return fd_; }

private:
    int fd_;
};

/// Ends the waits of a thread from another one, for good.
class CloseEvent {
public:
    CloseEvent() : event_(::eventfd(0, EFD_CLOEXEC)) {}

    /// [any thread]
    void set() const {
        const std::uint64_t one = 1;
        if (::write(event_.get(), &one, sizeof one) < 0) return;  // it has been set before
    }

    enum class Came { kClose, kReady, kTimeout };
    /// Waits until a descriptor is ready for `events`, or has failed.
    /// @param descriptor -1: only the time counts.  @param milliseconds -1: for ever
    Came await(int descriptor, short events, int milliseconds = -1) const {
        ::pollfd waits[] = {{event_.get(), POLLIN, 0}, {descriptor, events, 0}};
        int ready = 0;
        while ((ready = ::poll(waits, descriptor < 0 ? 1 : 2, milliseconds)) < 0 && errno == EINTR) {
        }
        if (waits[0].revents != 0) return Came::kClose;
        return ready == 0 ? Came::kTimeout : Came::kReady;
    }

private:
    Descriptor event_;
};

}  // namespace Kavelin::RecordingIO
