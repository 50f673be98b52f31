#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace Kavelin::Tests {

/// While it lives, no file may grow beyond a limit: it stands for a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        rlimit now = before_;
        now.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &now);
    }
    ~FileSizeLimit() { ::setrlimit(RLIMIT_FSIZE, &before_); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
};

}  // namespace Kavelin::Tests
