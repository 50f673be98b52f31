#pragma once

#include <Poco/Net/DatagramSocket.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "io/files/LiveNotes.h"

namespace Kavelin::Tests {

/// What a live stream has told.
class HeardNotes {
public:
    HeardNotes() {
        notes->setListener([this](const std::string& note) {
            const std::lock_guard lock(mutex_);
            heard_.push_back(note);
        });
    }
    /// All so far, with the number of each port replaced by PORT.
    std::string text() const {
        const std::lock_guard lock(mutex_);
        std::string all;
        for (const std::string& note : heard_) all += withoutPort(note) + "\n";
        return all;
    }
    /// The port that the first note names.
    std::uint16_t port() const {
        const std::lock_guard lock(mutex_);
        const std::string& note = heard_.front();
        const std::size_t end = note.find(": ");
        return static_cast<std::uint16_t>(std::stoi(note.substr(note.rfind(':', end - 1) + 1)));
    }
    const std::shared_ptr<RecordingIO::LiveNotes> notes = std::make_shared<RecordingIO::LiveNotes>();

private:
    static std::string withoutPort(std::string note) {
        for (const std::string host : {"127.0.0.1:", "[::1]:"}) {
            for (std::size_t at = note.find(host); at != std::string::npos; at = note.find(host, at + 1)) {
                const std::size_t begin = at + host.size();
                const std::size_t end = std::min(note.find_first_not_of("0123456789", begin), note.size());
                note.replace(begin, end - begin, "PORT");
            }
        }
        return note;
    }
    mutable std::mutex mutex_;
    std::vector<std::string> heard_;
};

/// A pseudo-terminal: what is written comes out of the device of its name.
class SerialPeer {
public:
    SerialPeer() : fd_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(fd_), 0);
        EXPECT_EQ(::unlockpt(fd_), 0);
    }
    SerialPeer(const SerialPeer&) = delete;
    SerialPeer& operator=(const SerialPeer&) = delete;
    ~SerialPeer() { ::close(fd_); }

    std::string device() const { return ::ptsname(fd_); }
    void send(const std::string& text) const {
        EXPECT_EQ(::write(fd_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

private:
    int fd_;
};

}  // namespace Kavelin::Tests
