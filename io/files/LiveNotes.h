#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// What a live stream tells its user while it is read: that it waits, that a connection was lost, that it is
/// back. Kept until somebody listens. [any thread]
class LiveNotes {
public:
    using Listener = std::function<void(const std::string& note)>;

    /// What is counted; the first ten of each kind are told as well.
    enum class Event { kLoss, kUnfinishedLine, kStranger, kReturn };

    /// Hears what has been told so far, and from now on each note, in the thread that tells it; empty: nobody.
    /// When this returns, the earlier listener is not called any more.
    void setListener(Listener listener);

    void tell(const std::string& note);
    /// Counts an event and tells the note, unless there were ten of the kind.
    void tell(Event event, const std::string& note);
    void count(Event event);

    /// A sentence for each kind of event that there was, but for returns: as many as losses.
    std::vector<std::string> summary() const;

private:
    void pass(const std::string& note);

    mutable std::mutex mutex_;
    Listener listener_;
    std::vector<std::string> kept_;
    std::uint64_t counts_[4] = {};
};

}  // namespace Kavelin::RecordingIO
