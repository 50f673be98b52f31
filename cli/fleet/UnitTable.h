#pragma once

#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

#include "cli/fleet/Fleet.h"
#include "cli/fleet/PartStream.h"
#include "cli/fleet/ServerStore.h"
#include "cli/fleet/Unit.h"
#include "cli/fleet/UnitEngine.h"
#include "cli/fleet/WorkSettings.h"
#include "cli/fleet/WorkStatus.h"

namespace Kavelin::Cli {

/// What the tables of a worker share.
struct WorkTools {
    ServerLink& link;
    const Fleet& fleet;
    UnitEngine& engine;
    const WorkSettings& settings;
    std::function<std::uint64_t()> newReplyNumber;
};

/// The units of one part in memory: computes their rows, publishes their results, stores their snapshots and acknowledges their
/// messages. Each step waits for the server's word on the one before:
///
///   1. The rows of a message are computed: the state now contains the message.
///   2. Its result is published, on condition that the unit's last result on the server is the one before it. A unit has one
///      result on its way at a time.
///   3. A snapshot of the state is stored, when the server has all results that the state stands for, on condition that the
///      stored snapshot is the one that was stored last.
///   4. Messages that the stored snapshot contains are acknowledged, and leave the stream.
///
/// Whoever ends between 1 and 2 has done nothing. Between 2 and 3: the message is in the stream and not in the snapshot, so it
/// is computed again, to the same bytes; the unit's last result on the server says that it was published, so it is not again.
/// Between 3 and 4: the message is in the stream and in the snapshot, so it is only acknowledged. The conditions of 2 and 3 hold
/// off a worker that has lost the part without knowing. A message that cannot be used takes the same way: it changes no state,
/// and in place of a result it is published itself, for the stream of bad ones.
///
/// Results that somebody deletes on the server are not published again: the server knows their ids for some minutes, and the
/// worker then goes on behind them.
///
/// Nothing else is mended here: an operation that throws ServerError leaves a table that is to be thrown away, and made again from
/// what stands on the server.
class UnitTable {
public:
    /// @param stream the part's rows, open
    UnitTable(WorkTools tools, PartStatus& status, const PartStream& stream);

    /// @throws ServerError  @throws UsageError for a stored snapshot that cannot be used
    void take(RowMessage row);
    /// Whether so much is on its way to the server that no more should be taken.
    bool isFull() const;
    /// How many units may stay in memory.
    void setLimit(std::size_t units) { limit_ = units; }

    /// The server's answer to what was published.  @return whether it was to something of this table  @throws ServerError
    bool onAnswer(std::uint64_t replyNumber, const Message& answer);
    /// Stores what is due, and looks after answers that do not come.  @throws ServerError
    void tick(Clock::time_point now);
    /// When `tick` has something to do next.
    Clock::time_point nextTick() const;
    /// Stores all, whether it is due or not.
    void storeAll();
    /// Whether all that is known stands on the server.
    bool isSettled() const;

    /// Counts the units and their verdicts.
    void describe(PartStatus& status) const;

private:
    using Units = std::list<Unit>;
    struct Awaited {
        std::string unit;
        bool isSnapshot = false;
        Clock::time_point since{};
    };

    Unit& touch(const std::string& name);
    void load(Unit& unit);
    void loadSnapshot(Unit& unit);
    void loadLastResult(Unit& unit);
    void add(Unit& unit, const RowMessage& row);
    void passOver(Unit& unit, const RowMessage& row);
    bool isSentAgain(Unit& unit, const RowMessage& row);
    void moveHere(Unit& unit, std::uint64_t sequence);
    void compute(Unit& unit, const RowMessage& row);
    std::string calibrationFor(const Unit& unit) const;
    void judge(Unit& unit);
    void tell(Unit& unit, const std::string& name, std::uint64_t sequence, const std::string& what);
    void refuse(Unit& unit, const RowMessage& row, const std::string& reason);
    void putInLine(Unit& unit);
    void makeDue(Unit& unit);
    void send(Unit& unit);
    void sendDue(Unit& unit);
    void acknowledge(Unit& unit);
    bool wereResultsDeleted(Unit& unit) const;
    void onPublished(Unit& unit, const Stored& stored);
    void onStored(Unit& unit, std::uint64_t revision);
    void await(std::uint64_t number, const Unit& unit, bool isSnapshot);
    void storeOldest(std::size_t most);
    void shrink();

    const WorkTools tools_;
    PartStatus& status_;
    const PartStream& stream_;
    const std::int64_t streamMade_;
    std::uint64_t lastSequence_;
    std::size_t limit_;

    Units units_;  ///< those used last first
    std::unordered_map<std::string, Units::iterator> byName_;
    std::multimap<Clock::time_point, std::string> line_;  ///< when which unit is to be stored
    std::map<std::uint64_t, Awaited> awaited_;            ///< numbers grow
    std::size_t outgoing_ = 0, unacknowledged_ = 0;
    bool hasToldOfNewStream_ = false;
};

}  // namespace Kavelin::Cli
