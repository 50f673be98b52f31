#pragma once

#include <Kavelin/Core/Stage.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kavelin::Core {

/// A round of several layouts: one row of one layout's sources, and everything that it causes in all layouts.
struct Round {
    static constexpr std::size_t kBeforeAll = static_cast<std::size_t>(-1);

    double time = 0.0;
    std::size_t source = kBeforeAll;  ///< position of the layout whose sources begin it
    std::uint64_t number = 0;         ///< counts the rounds of that layout

    bool operator==(const Round& other) const { return source == other.source && number == other.number; }
    /// The order in which rounds happen, given that neither layout has an earlier one left.
    bool precedes(const Round& other) const {
        if ((source == kBeforeAll) != (other.source == kBeforeAll)) return source == kBeforeAll;
        return time < other.time || (!(other.time < time) && source < other.source);
    }
};

/// What the thread of one group of layouts tells the thread of a group that it feeds: the rounds that are
/// complete, in their order, and the stages that hold what was sent in them.
class RoundLink {
public:
    /// The number of complete rounds that the writer may be ahead.
    static constexpr std::uint64_t kLead = 512;

    // For the thread that feeds
    bool isFull() const { return ahead() >= kLead; }
    bool isHalfFull() const { return ahead() >= kLead / 2; }
    void publish(const Round& round) {
        const std::uint64_t at = published_.load(std::memory_order_relaxed);
        rounds_[at % kLead] = round;
        published_.store(at + 1);
    }
    void endWriting() { written_.store(true); }

    // For the thread that is fed
    /// The next complete round; null while there is none.
    const Round* head() const {
        const std::uint64_t at = taken_.load(std::memory_order_relaxed);
        return at == published_.load() ? nullptr : &rounds_[at % kLead];
    }
    /// Whether no more rounds will come.
    bool isOver() const { return written_.load() && head() == nullptr; }
    /// Delivers what was sent in the round at the head, and goes on to the next.
    void take() {
        const std::uint64_t at = taken_.load(std::memory_order_relaxed);
        for (const auto& stage : stages) stage->deliver(at);
        taken_.store(at + 1);
    }
    /// The reader takes no more rounds: what is sent goes straight into its buffers.
    void endReading() {
        for (const auto& stage : stages) stage->close();
        read_.store(true);
    }

    /// One for each connection; fixed while the threads run.
    std::vector<std::shared_ptr<Stage>> stages;

private:
    std::uint64_t ahead() const {
        return read_.load() ? 0 : published_.load(std::memory_order_relaxed) - taken_.load();
    }

    std::array<Round, kLead> rounds_;
    std::atomic<std::uint64_t> published_{0};
    std::atomic<std::uint64_t> taken_{0};
    std::atomic<bool> written_{false};
    std::atomic<bool> read_{false};
};

}  // namespace Kavelin::Core
