#pragma once

#include <Kavelin/Core/LayoutManager.h>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// How far a run has come, beside what its filters have learned.
struct RunProgress {
    struct Lane {
        std::uint64_t rounds = 0;
        double first = 0.0, last = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(rounds, first, last);
        }
    };
    std::vector<Lane> lanes;             ///< one a layout
    std::vector<std::uint64_t> actions;  ///< done, of each schedule
    std::uint64_t failures = 0;
    std::set<std::string> failed;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(lanes, actions, failures, failed);
    }
};

/// A file from which a run goes on after its process has died, written anew every few seconds. Each one is
/// written under another name first, so that there is a whole one at any time.
class Checkpoint {
public:
    using Layouts = std::vector<Core::LayoutManager*>;

    /// @param layout the text of the layout, for which alone the file is good
    Checkpoint(std::string file, double every, const std::string& layout);

    /// @throws UsageError where something else than a checkpoint is there, which would be lost
    void requireReplaceable() const;
    /// Whether it is time for the next one.
    bool isDue() const { return Clock::now() - saved_ >= every_; }
    /// Between two rounds of a run in one thread.
    /// @throws Poco::NotImplementedException where a filter cannot be saved, Poco::WriteFileException
    void save(const RunProgress& progress, const Layouts& layouts);
    /// Brings the layouts, built anew, where they were.
    /// @throws UsageError, saying what is wrong, before anything was changed
    RunProgress load(const std::string& file, const Layouts& layouts);
    /// The one that is there is the best to go on with, even when the run is over: what came behind it was lost.
    void keep() { isKept_ = true; }
    /// Also after a `save` that failed, unless a later one went well. False where there is none.
    bool isKept() const;
    /// The run is over: nothing to go on with.
    void remove();
    const std::string& file() const { return file_; }

private:
    using Clock = std::chrono::steady_clock;

    std::string file_;
    Clock::duration every_;
    std::uint32_t layout_;  // checksum
    Clock::time_point saved_ = Clock::now();
    bool isKept_ = false;
};

}  // namespace Kavelin::Cli
