#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// What is to be published for a message: its result, or the message itself, as a bad one.
struct Outgoing {
    std::uint64_t sequence = 0;  ///< of the message
    std::int64_t received = 0;   ///< ns, when the server stored the message
    std::string columns;
    std::string payload;
    std::string badReason;  ///< "unit: reason"; empty: a result
    std::size_t cut =
        0;  ///< bytes of a bad message of which `payload` is as much as goes into one; 0: it is whole
};

/// A message that is not acknowledged yet.
struct Unacknowledged {
    std::uint64_t sequence = 0;
    std::string subject;  ///< where to acknowledge it
};

/// Of the messages computed last, the newest first; 0: none.
using Marks = std::array<std::uint64_t, 8>;

/// A state to be stored as soon as all results that it stands for are.
struct DueSnapshot {
    std::uint64_t contained = 0;
    Marks marks{};
    std::string state;
    bool isSent = false;
};

/// A unit in memory.
struct Unit {
    std::string name;  ///< empty: stands for messages whose unit cannot be one
    std::string state;

    unsigned part = 0;            ///< of the messages in the state
    std::uint64_t contained = 0;  ///< last message in the state
    Marks marks{};
    std::uint64_t published = 0;         ///< last message whose result the server has
    std::uint64_t stored = 0;            ///< last message in the stored snapshot
    std::uint64_t resultSequence = 0;    ///< of its last result
    std::uint64_t snapshotRevision = 0;  ///< of its stored snapshot

    // Vectors: with thousands of units, the first block of a deque counts.
    std::vector<Outgoing> outgoing;  ///< the first is on its way if `isSending`
    bool isSending = false;
    std::vector<Unacknowledged> unacknowledged;
    std::optional<DueSnapshot> due;
    bool isInLine = false;  ///< among those that are stored when their time comes

    std::string tilt, heading;  ///< verdict
    Clock::time_point judgeAt{};
    Clock::time_point tellAt{};  ///< before then nothing is told of its rows

    /// Whether all that is known of it stands on the server.
    bool isSettled() const {
        return outgoing.empty() && unacknowledged.empty() && !due && stored >= contained;
    }
};

}  // namespace Kavelin::Cli
