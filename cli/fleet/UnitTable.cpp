#include "cli/fleet/UnitTable.h"

#include <Kavelin/Core/StateSeal.h>
#include <Poco/Exception.h>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "cli/CommandContext.h"
#include "cli/fleet/UnitSnapshot.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kMostOutgoing = 4096;
constexpr std::size_t kMostTooMany = 256;  // units above the limit, until their snapshots are stored
constexpr std::size_t kHeaderRoom = 1024;  // bytes of a message for its headers, beside columns and reasons
constexpr std::size_t kLongestReason = 1000;
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::seconds kJudgeEvery{60};
constexpr std::chrono::seconds kTellEvery{60};

/// A text that may stand in a header.
std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    return text;
}

std::int64_t nanosecondsSince1970() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

/// A number that two messages have in common only if they are the same; 0: the sender gave it no id.
std::uint64_t markOf(const RowMessage& row) {
    const std::string id = headerOf(row.message, kMessageId);
    if (id.empty()) return 0;
    std::uint64_t mark = 14695981039346656037u;  // FNV-1a
    for (const char c : id + ":" + std::to_string(Core::checksum(payloadOf(row.message))))
        mark = (mark ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return mark;
}

/// The next time to store a unit. Each has its own place in the time between snapshots, so they are not stored all at once.
Clock::time_point storeTime(const std::string& unit, Clock::time_point now, Clock::duration every) {
    constexpr std::size_t kPlaces = 1024;
    const auto place = every * static_cast<Clock::rep>(std::hash<std::string>()(unit) % kPlaces) / kPlaces;
    return now + every - (now.time_since_epoch() + place) % every;
}

}  // namespace

UnitTable::UnitTable(WorkTools tools, PartStatus& status, const PartStream& stream)
    : tools_(std::move(tools)),
      status_(status),
      stream_(stream),
      streamMade_(stream.streamMade()),
      lastSequence_(stream.lastSequence()),
      limit_(tools_.settings.units) {}

void UnitTable::take(RowMessage row) {
    lastSequence_ = std::max(lastSequence_, row.sequence);
    const std::string name = row.unit();
    if (!isFleetName(name)) {
        Unit& nobody = touch("");
        refuse(nobody, row,
               "'" + name + "' cannot name a unit: letters, digits, '-', '_' and '=' can, 128 at most");
        add(nobody, row);
        return;
    }
    Unit& unit = touch(name);
    if (row.sequence > unit.contained) {
        moveHere(unit, row.sequence);
        if (!isSentAgain(unit, row)) compute(unit, row);
        add(unit, row);
    } else if (unit.part == stream_.part()) {
        passOver(unit, row);
        add(unit, row);
    } else {
        const std::string reason = fmt::format(
            "it comes too late: the unit has moved from part {} to part {}, and goes on there behind message "
            "{}",
            stream_.part(), unit.part, unit.contained);
        Unit& nobody = touch("");
        refuse(nobody, row, reason);
        add(nobody, row);
    }
}

/// Whether the sender has sent it twice: a server that was killed has forgotten the ids of messages that had left the stream, and
/// a sender that had no answer sends again. Remembers it.
bool UnitTable::isSentAgain(Unit& unit, const RowMessage& row) {
    const std::uint64_t mark = markOf(row);
    if (mark == 0) return false;
    if (std::ranges::find(unit.marks, mark) != unit.marks.end()) {
        ++status_.redelivered;
        return true;
    }
    std::shift_right(unit.marks.begin(), unit.marks.end(), 1);
    unit.marks.front() = mark;
    return false;
}

/// The message comes again.
void UnitTable::passOver(Unit& unit, const RowMessage& row) {
    ++status_.redelivered;
    std::erase_if(unit.unacknowledged, [&](const Unacknowledged& one) {
        const bool isSame = one.sequence == row.sequence;
        unacknowledged_ -= isSame ? 1 : 0;
        return isSame;
    });
}

/// A unit's rows come in one part only: in another one where the number of parts was changed. What waits in the old one comes first.
/// @param sequence of the message that is to be computed next
void UnitTable::moveHere(Unit& unit, std::uint64_t sequence) {
    const bool isNew = unit.contained == 0;
    if (unit.part == stream_.part() && !isNew) return;
    const FleetNames& names = tools_.fleet.names;
    const std::string own = names.rowSubject(stream_.part(), unit.name);
    if (!stream_.keepsAcknowledged()) {
        for (const auto& [subject, messages] :
             subjectsOf(tools_.link, names.stream, names.rowSubjects(unit.name))) {
            if (subject == own) continue;
            const Message last = lastMessage(tools_.link, names.stream, subject);
            if (last && natsMsg_GetSequence(last.get()) < sequence)
                throw ServerError(
                    fmt::format("rows of the unit {} wait on {}: they come first, so let a worker work "
                                "on that part",
                                unit.name, subject),
                    NATS_ERR, jsErrCode(0));
        }
    }
    unit.part = stream_.part();
}

/// What was done of a message goes to the server, as far as it must.
void UnitTable::add(Unit& unit, const RowMessage& row) {
    unit.contained = std::max(unit.contained, row.sequence);
    unit.unacknowledged.push_back({row.sequence, row.acknowledgement()});
    ++unacknowledged_;
    if (unit.stored >= row.sequence)
        acknowledge(unit);
    else
        putInLine(unit);
    send(unit);
    shrink();
}

Unit& UnitTable::touch(const std::string& name) {
    if (const auto found = byName_.find(name); found != byName_.end()) {
        units_.splice(units_.begin(), units_, found->second);
        return units_.front();
    }
    Unit unit;
    unit.name = name;
    unit.part = stream_.part();
    if (!name.empty()) load(unit);
    units_.push_front(std::move(unit));
    byName_[name] = units_.begin();
    return units_.front();
}

void UnitTable::load(Unit& unit) {
    loadSnapshot(unit);
    loadLastResult(unit);
}

void UnitTable::loadSnapshot(Unit& unit) {
    const FleetNames& names = tools_.fleet.names;
    const Message entry =
        lastMessage(tools_.link, bucketStream(names.snapshots()), keySubject(names.snapshots(), unit.name));
    if (!entry) return;
    unit.snapshotRevision = natsMsg_GetSequence(entry.get());
    if (isDeletion(entry)) return;
    const auto refused = [&](const std::string& why) {
        return UsageError(fmt::format("the snapshot of the unit {} in the bucket {} cannot be used: {}",
                                      unit.name, names.snapshots(), why));
    };
    UnitSnapshot snapshot;
    try {
        snapshot = decodeSnapshot(payloadOf(entry));
    } catch (const Poco::DataFormatException& error) {
        throw refused(error.message());
    }
    if (snapshot.recipe != tools_.settings.recipe)
        throw refused(fmt::format("it was made with '{}', this worker has '{}'", snapshot.recipe,
                                  tools_.settings.recipe));
    try {
        if (!snapshot.state.empty()) tools_.engine.requireState(snapshot.state);
    } catch (const Poco::DataFormatException& error) {
        throw refused(error.message());
    }
    unit.state = std::move(snapshot.state);
    if (snapshot.streamMade != streamMade_) {
        if (!std::exchange(hasToldOfNewStream_, true))
            tools_.settings.tell(
                "the stream " + names.stream +
                " was made again since the snapshots were stored; units go on with its rows");
        return;
    }
    if (snapshot.contained > lastSequence_)
        throw refused(
            fmt::format("it contains message {}, but the stream {} ends at {}: the server has lost messages",
                        snapshot.contained, names.stream, lastSequence_));
    unit.contained = unit.stored = snapshot.contained;
    unit.part = snapshot.part;
    unit.marks = snapshot.marks;
}

void UnitTable::loadLastResult(Unit& unit) {
    const FleetNames& names = tools_.fleet.names;
    const Message last = lastMessage(tools_.link, tools_.fleet.resultStream, names.resultSubject(unit.name));
    if (!last) return;
    unit.resultSequence = natsMsg_GetSequence(last.get());
    const auto id = ResultId::parse(headerOf(last, kMessageId));
    if (id && id->streamMade == streamMade_) unit.published = id->sequence;
}

std::string UnitTable::calibrationFor(const Unit& unit) const {
    const std::string& bucket = tools_.fleet.calibrationBucket;
    if (!unit.state.empty() || bucket.empty()) return {};
    const Message entry = lastMessage(tools_.link, bucketStream(bucket), keySubject(bucket, unit.name));
    if (!entry || isDeletion(entry)) return {};
    const std::string_view value = payloadOf(entry);
    if (value.empty())
        throw Poco::DataFormatException("its calibration in the bucket " + bucket + " is empty");
    return std::string(value);
}

void UnitTable::compute(Unit& unit, const RowMessage& row) {
    // Its first message is acknowledged only after its first snapshot.
    if (unit.snapshotRevision == 0 && unit.contained == 0 && unit.published > 0 &&
        row.sequence > unit.published)
        tell(unit, unit.name, row.sequence,
             "its snapshot is gone, though there are results up to message " +
                 std::to_string(unit.published) + ": it begins as a new unit");
    const std::string columns = headerOf(row.message, "Columns");
    std::string state = unit.state;
    Answer answer;
    try {
        answer = tools_.engine.advance(state, {columns, payloadOf(row.message)}, calibrationFor(unit));
        if (answer.rows.size() + answer.header.size() + kHeaderRoom > tools_.link.largestPayload())
            throw Poco::DataFormatException(fmt::format(
                "its result of {} bytes is more than the server takes in a message; send fewer rows",
                answer.rows.size()));
    } catch (const Poco::DataFormatException& error) {
        refuse(unit, row, error.message());
        return;
    }
    unit.state = std::move(state);
    ++status_.messages;
    status_.rows += answer.rowsTaken;
    status_.refusedRows += answer.rowsRefused;
    if (!answer.remarks.empty())
        tell(unit, unit.name, row.sequence, fmt::format("{}", fmt::join(answer.remarks, "; ")));
    judge(unit);
    if (answer.rows.empty() || row.sequence <= unit.published) return;
    unit.outgoing.push_back({row.sequence, row.stored, std::move(answer.header), std::move(answer.rows), ""});
    ++outgoing_;
}

void UnitTable::judge(Unit& unit) {
    const Clock::time_point now = Clock::now();
    if (now < unit.judgeAt) return;
    // The first rows of a unit say little: the first verdict comes with its first snapshot or so.
    const bool isFirst = unit.judgeAt == Clock::time_point{};
    unit.judgeAt = now + (isFirst ? tools_.settings.snapshotEvery : Clock::duration(kJudgeEvery));
    if (isFirst) return;
    const UnitVerdict verdict = tools_.engine.verdict();
    unit.tilt = verdict.tilt;
    unit.heading = verdict.heading;
}

/// A unit whose rows are all wrong sends them all day.
void UnitTable::tell(Unit& unit, const std::string& name, std::uint64_t sequence, const std::string& what) {
    const Clock::time_point now = Clock::now();
    if (now < unit.tellAt) return;
    unit.tellAt = now + kTellEvery;
    tools_.settings.tell(fmt::format("unit {}, message {}: {}", name, sequence, what));
}

void UnitTable::refuse(Unit& unit, const RowMessage& row, const std::string& reason) {
    Outgoing bad{row.sequence, row.stored, headerOf(row.message, "Columns"),
                 std::string(payloadOf(row.message)),
                 oneLine(row.unit() + ": " + reason.substr(0, kLongestReason))};
    const std::size_t room = tools_.link.largestPayload();
    const std::size_t headers = bad.columns.size() + bad.badReason.size() + kHeaderRoom;
    if (headers > room) bad.columns.clear();
    if (headers + bad.payload.size() > room) {
        bad.cut = bad.payload.size();
        bad.payload.resize(headers > room ? 0 : room - headers);
    }
    unit.outgoing.push_back(std::move(bad));
    ++outgoing_;
}

void UnitTable::putInLine(Unit& unit) {
    if (unit.isInLine || unit.name.empty()) return;
    unit.isInLine = true;
    line_.emplace(storeTime(unit.name, Clock::now(), tools_.settings.snapshotEvery), unit.name);
}

void UnitTable::makeDue(Unit& unit) {
    if (unit.due || unit.name.empty() || unit.stored >= unit.contained) return;
    unit.due = DueSnapshot{unit.contained, unit.marks, unit.state};
    sendDue(unit);
}

void UnitTable::await(std::uint64_t number, const Unit& unit, bool isSnapshot) {
    awaited_[number] = {unit.name, isSnapshot, Clock::now()};
}

void UnitTable::send(Unit& unit) {
    if (unit.isSending || unit.outgoing.empty()) return;
    const Outgoing& first = unit.outgoing.front();
    const FleetNames& names = tools_.fleet.names;
    const std::uint64_t number = tools_.newReplyNumber();
    const std::string id = ResultId{first.sequence, streamMade_}.text(unit.name);
    ServerLink::Headers headers = {{kMessageId, first.badReason.empty() ? id : "bad:" + id},
                                   {"Input-Time", std::to_string(first.received)}};
    if (!first.columns.empty()) headers.emplace_back("Columns", first.columns);
    if (first.badReason.empty()) {
        headers.emplace_back(kExpectedLast, std::to_string(unit.resultSequence));
        tools_.link.publish(names.resultSubject(unit.name), first.payload, tools_.link.replySubject(number),
                            headers);
    } else {
        const std::size_t colon = first.badReason.find(": ");
        headers.emplace_back("Unit", first.badReason.substr(0, colon));
        headers.emplace_back("Reason", first.badReason.substr(colon + 2));
        headers.emplace_back("Sequence", std::to_string(first.sequence));
        if (first.cut > 0) headers.emplace_back("Cut-From", std::to_string(first.cut));
        tools_.link.publish(names.badSubject(), first.payload, tools_.link.replySubject(number), headers);
    }
    unit.isSending = true;
    await(number, unit, false);
}

void UnitTable::sendDue(Unit& unit) {
    if (!unit.due || unit.due->isSent) return;
    if (!unit.outgoing.empty() && unit.outgoing.front().sequence <= unit.due->contained) return;
    const FleetNames& names = tools_.fleet.names;
    const std::uint64_t number = tools_.newReplyNumber();
    tools_.link.publish(keySubject(names.snapshots(), unit.name),
                        encodeSnapshot({unit.due->contained, streamMade_, unit.part, unit.due->marks,
                                        tools_.settings.recipe, std::move(unit.due->state)}),
                        tools_.link.replySubject(number),
                        {{kExpectedLast, std::to_string(unit.snapshotRevision)}});
    unit.due->isSent = true;
    await(number, unit, true);
}

bool UnitTable::onAnswer(std::uint64_t replyNumber, const Message& answer) {
    const auto found = awaited_.find(replyNumber);
    if (found == awaited_.end()) return false;
    const Awaited awaited = std::move(found->second);
    awaited_.erase(found);
    Unit& unit = *byName_.at(awaited.unit);
    const bool isBad = !awaited.isSnapshot && !unit.outgoing.front().badReason.empty();
    try {
        const Stored stored = storedAs(answer, isBad ? "the message to " + tools_.fleet.names.badSubject()
                                                     : (awaited.isSnapshot ? "the snapshot" : "the result") +
                                                           (" of the unit " + unit.name));
        if (awaited.isSnapshot)
            onStored(unit, stored.sequence);
        else
            onPublished(unit, stored);
    } catch (const ServerError& error) {
        if (awaited.isSnapshot || error.code != JSStreamWrongLastSequenceErr || !wereResultsDeleted(unit))
            throw;
        unit.isSending = false;
        send(unit);
    }
    return true;
}

/// Whether the unit's last result is not on the server any more; notes the one before it.
bool UnitTable::wereResultsDeleted(Unit& unit) const {
    const Message last =
        lastMessage(tools_.link, tools_.fleet.resultStream, tools_.fleet.names.resultSubject(unit.name));
    const std::uint64_t sequence = last ? natsMsg_GetSequence(last.get()) : 0;
    if (sequence >= unit.resultSequence) return false;
    unit.resultSequence = sequence;
    return true;
}

void UnitTable::onPublished(Unit& unit, const Stored& stored) {
    const Outgoing& first = unit.outgoing.front();
    if (first.badReason.empty()) {
        unit.published = first.sequence;
        if (!stored.isRepeated) {
            unit.resultSequence = stored.sequence;
            ++status_.results;
            status_.latency.add(
                std::max(0.0, static_cast<double>(nanosecondsSince1970() - first.received) * 1e-9));
        }
    } else if (!stored.isRepeated) {
        ++status_.badMessages;
        const std::size_t colon = first.badReason.find(": ");
        tell(unit, first.badReason.substr(0, colon), first.sequence,
             "moved to " + tools_.fleet.names.badSubject() + first.badReason.substr(colon));
    }
    if (unit.name.empty()) unit.stored = first.sequence;
    unit.outgoing.erase(unit.outgoing.begin());
    --outgoing_;
    unit.isSending = false;
    send(unit);
    if (unit.name.empty())
        acknowledge(unit);
    else
        sendDue(unit);
}

void UnitTable::onStored(Unit& unit, std::uint64_t revision) {
    unit.snapshotRevision = revision;
    unit.stored = unit.due->contained;
    unit.due.reset();
    ++status_.snapshots;
    acknowledge(unit);
    if (unit.stored < unit.contained) putInLine(unit);
    shrink();
}

void UnitTable::acknowledge(Unit& unit) {
    std::erase_if(unit.unacknowledged, [&](const Unacknowledged& one) {
        if (one.sequence > unit.stored) return false;
        tools_.link.publish(one.subject, "+ACK");
        --unacknowledged_;
        return true;
    });
}

bool UnitTable::isFull() const { return outgoing_ >= kMostOutgoing || units_.size() > limit_ + kMostTooMany; }

void UnitTable::storeOldest(std::size_t most) {
    for (; most > 0 && !line_.empty(); --most) {
        const auto found = byName_.find(line_.begin()->second);
        line_.erase(line_.begin());
        if (found == byName_.end()) continue;
        found->second->isInLine = false;
        makeDue(*found->second);
    }
}

void UnitTable::tick(Clock::time_point now) {
    while (!line_.empty() && line_.begin()->first <= now) storeOldest(1);
    // Before the server holds messages back, because too many are not acknowledged.
    if (unacknowledged_ > static_cast<std::size_t>(tools_.settings.mostUnacknowledged) / 2)
        storeOldest(line_.size() / 2 + 1);
    shrink();
    if (!awaited_.empty() && now - awaited_.begin()->second.since > kPatience)
        throw ServerError("the server does not answer", NATS_TIMEOUT, jsErrCode(0));
}

Clock::time_point UnitTable::nextTick() const {
    Clock::time_point next = Clock::time_point::max();
    if (!line_.empty()) next = line_.begin()->first;
    if (!awaited_.empty()) next = std::min(next, awaited_.begin()->second.since + kPatience);
    return next;
}

void UnitTable::storeAll() { storeOldest(line_.size()); }

bool UnitTable::isSettled() const {
    return awaited_.empty() && line_.empty() &&
           std::all_of(units_.begin(), units_.end(), [](const Unit& unit) { return unit.isSettled(); });
}

void UnitTable::shrink() {
    constexpr int kLooks = 8;
    auto last = units_.end();
    for (int looks = 0; looks < kLooks && units_.size() > limit_ && last != units_.begin(); ++looks) {
        --last;
        if (last == units_.begin()) return;
        if (!last->isSettled()) {
            makeDue(*last);
            continue;
        }
        byName_.erase(last->name);
        last = units_.erase(last);
    }
}

void UnitTable::describe(PartStatus& status) const {
    status.units = units_.size();
    status.verdicts = {};
    for (const Unit& unit : units_) status.verdicts.add(unit.tilt, unit.heading);
}

}  // namespace Kavelin::Cli
