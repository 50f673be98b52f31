#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::Soak {

/// What was done so far.  [any thread]
struct SoakCounts {
    std::atomic<std::uint64_t> rounds{0}, starts{0}, stops{0}, ends{0};
    std::atomic<std::uint64_t> connects{0}, disconnects{0}, moves{0}, remakes{0};
    std::atomic<std::uint64_t> writes{0}, refusals{0}, commands{0}, reads{0}, restores{0};
    std::atomic<std::uint64_t> rows{0};
    std::atomic<std::uint64_t> checks{0};  ///< of connections, that nothing was lost uncounted
};

/// What went wrong: the first of each kind is told at once, all are counted.  [any thread]
class Failures {
public:
    void add(const std::string& what);
    std::uint64_t count() const { return count_.load(); }

private:
    std::atomic<std::uint64_t> count_{0};
    std::mutex mutex_;
    std::vector<std::string> told_;
};

}  // namespace Kavelin::Soak
