#pragma once

#include <Kavelin/Core/Stage.h>

#include <algorithm>
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
    /// How far the writer may be ahead: in complete rounds, and in samples of a connection, so that they stay
    /// in the processor's caches until they are read. A single round may have more.
    static constexpr std::uint64_t kLead = 512;
    static constexpr std::uint64_t kLeadSamples = 4096;

    // For the thread that feeds
    bool isFull() const { return isAhead(kLead, kLeadSamples); }
    bool isHalfFull() const { return isAhead(kLead / 2, kLeadSamples / 2); }
    void publish(const Round& round) {
        const std::uint64_t at = published_.load(std::memory_order_relaxed);
        rounds_[at % kLead] = round;
        published_.store(at + 1);
    }
    void endWriting() {
        written_.store(true);
        if (read_.load()) closeStages();  // what was sent while the reader closed them
    }

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
        if (read_.load(std::memory_order_relaxed)) return;
        read_.store(true);
        closeStages();
    }

    /// One for each connection; fixed while the threads run.
    std::vector<std::shared_ptr<Stage>> stages;

private:
    void closeStages() const {
        for (const auto& stage : stages) stage->close();
    }
    std::uint64_t ahead() const {
        return read_.load() ? 0 : published_.load(std::memory_order_relaxed) - taken_.load();
    }

    bool isAhead(std::uint64_t rounds, std::uint64_t samples) const {
        const std::uint64_t lead = ahead();
        if (lead <= 1) return false;
        return lead >= rounds || std::any_of(stages.begin(), stages.end(),
                                             [&](const auto& stage) { return stage->waiting() >= samples; });
    }

    static constexpr std::size_t kLine = 64;  // threads that write different lines do not slow each other

    std::array<Round, kLead> rounds_;
    alignas(kLine) std::atomic<std::uint64_t> published_{0};
    alignas(kLine) std::atomic<std::uint64_t> taken_{0};
    std::atomic<bool> written_{false};
    std::atomic<bool> read_{false};
};

}  // namespace Kavelin::Core
