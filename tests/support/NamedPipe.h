#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace Kavelin::Tests {

/// A named pipe, both of its ends open: what is written stays until it is read, and there is no end.
class NamedPipe {
public:
    explicit NamedPipe(const std::string& path) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        fd_ = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;
    ~NamedPipe() { ::close(fd_); }

    void write(const std::string& text) const {
        EXPECT_EQ(::write(fd_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// Waits for a line, for ever if none comes: the test's time limit then ends it.
    std::string readLine() const {
        std::string line;
        for (char c = 0; ::read(fd_, &c, 1) == 1 && c != '\n';) line += c;
        return line;
    }

private:
    int fd_ = -1;
};

}  // namespace Kavelin::Tests
