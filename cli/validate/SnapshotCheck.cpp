#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/Snapshot.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Core/Stateful.h>
#include <Poco/Checksum.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "cli/fuse/SummaryJson.h"
#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"
#include "io/RunParticipant.h"
#include "io/VerdictSource.h"

namespace Kavelin::Cli {

namespace {

using RecordingIO::Random;

/// What is done to a filter, row by row: the same to every instance, wherever it begins.
struct Course {
    std::vector<RecordingIO::SimulatedRow> rows;
    std::uint64_t seed;
    Feeding feeding;
    Buffering buffering;
    double clockStep;         ///< s, by which each pin's clock is behind that of the pin before
    bool hasFaults;           ///< samples that are missing, wrong or late
    bool isSteady;            ///< no property is written, no command given
    std::uint64_t rates = 0;  ///< two bits an input

    /// Whether an input has a sample in a row: it has one in each, or in every second or third.
    bool isSent(std::size_t input, std::size_t row) const {
        return row % (1 + ((rates >> (2 * input % 64)) & 3) % 3) == 0;
    }
};

bool isChosen(Random& random, std::uint64_t oneOf) { return random.bits() % oneOf == 0; }

Course makeCourse(Random& random, bool isSteady) {
    static constexpr double kRates[] = {12.5, 25.0, 50.0, 100.0};
    RecordingIO::SimulationOptions options;
    options.seed = random.bits();
    options.rate = kRates[random.bits() % std::size(kRates)];
    options.seconds = static_cast<double>(150 + random.bits() % 450) / options.rate;
    options.firstRest = random.uniform(0.0, 4.0);
    options.rests = isChosen(random, 2);
    options.disturbance = isChosen(random, 2) ? 40.0 : 0.0;
    options.magnetometerEvery = 1 + random.bits() % 3;
    if (isChosen(random, 2)) options.faults.hardIron = {15.0, -10.0, 5.0};
    if (isChosen(random, 3)) options.faults.magnet = {30.0, 0.0, 20.0};
    options.faults.magnetFrom = random.uniform(0.0, 0.5) * options.seconds;
    if (isChosen(random, 3)) options.faults.gap = random.uniform(0.1, 2.0);
    options.faults.gapEvery = 0.2 * options.seconds;
    Course course{{}, random.bits(), {}, {}, 0.0, isChosen(random, 2), isSteady};
    RecordingIO::Simulator simulator(options);
    for (RecordingIO::SimulatedRow row; simulator.next(row);) course.rows.push_back(row);
    course.feeding = {!isChosen(random, 4), isChosen(random, 2), isChosen(random, 3) ? random.bits() % 4 : 0};
    const auto kinds = bufferKinds();
    course.buffering = isChosen(random, 2) ? kinds[0] : kinds[random.bits() % kinds.size()];
    if (isChosen(random, 4)) course.clockStep = random.uniform(0.0, 0.03);
    if (isChosen(random, 3)) course.rates = random.bits();
    return course;
}

/// Writes a property, or gives a command.
void steer(Core::Filter& filter, Random& random) {
    if (isChosen(random, 100)) writeOne(filter, random);
    if (isChosen(random, 150)) activateOne(filter, random);
}

void sendRow(const Course& course, std::size_t i, FilterRig& rig, Random& random) {
    const RecordingIO::SimulatedRow& row = course.rows[i];
    for (std::size_t input = 0; input < rig.inputs(); ++input) {
        const Fed& fed = rig.fed(input);
        if (!course.feeding.takes(fed) || !course.isSent(input, i)) continue;
        const Core::PinShape shape = course.feeding.shapeOf(fed);
        double t = row.t - course.clockStep * static_cast<double>(input);
        Core::Matrix sample = usualSample(fed, row, shape);
        const std::uint64_t fault = course.hasFaults ? random.bits() % 250 : 249;
        if (fault < 6) continue;
        if (fault < 12) sample = hostileSample(shape, fault < 9, random);
        if (fault == 12) t -= 0.2;
        if (fault == 13) t = std::numeric_limits<double>::quiet_NaN();
        rig.send(input, t, sample);
    }
}

void play(const Course& course, Subject& subject, Core::Filter& filter, FilterRig& rig, std::size_t from,
          std::size_t to) {
    // A property may ask for a million samples a second.
    for (std::size_t i = from; i < to && rig.sentCount() < FilterRig::kMostKept; ++i) {
        Random random(Random(course.seed + i).bits());
        subject.at("sample {} of {}, {}", i + 1, course.rows.size(), course.buffering.name);
        if (!course.isSteady) steer(filter, random);
        sendRow(course, i, rig, random);
        const std::uint64_t calls = isChosen(random, 8) ? random.bits() % 3 : 1;
        for (std::uint64_t call = 0; call < calls; ++call) rig.process();
    }
}

/// An instance in its rig.
struct Instance {
    Instance(Subject& subject, const Course& course)
        : filter(subject.make()), rig(subject, *filter, course.buffering) {}

    std::string saved() const { return Core::saveSnapshot(*filter); }

    Core::FilterPtr filter;
    FilterRig rig;
};

void requireSameBytes(const Subject& subject, const std::string& expected, const std::string& got,
                      const std::string& what) {
    if (got == expected) return;
    const auto place = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end()).first;
    throw Fault(subject.step(),
                fmt::format("{}: the snapshot has {} bytes, and differs from byte {} on", what, got.size(),
                            place - got.begin()),
                fmt::format("the same {} bytes", expected.size()));
}

/// Often in the first seconds, in which filters begin. The next row may be the one before again.
std::size_t placeToSave(Course& course, Random& random) {
    auto& rows = course.rows;
    std::size_t at = random.bits() % rows.size();
    const double early = rows.front().t + random.uniform(0.0, 3.0);
    if (isChosen(random, 2))
        at = std::min<std::size_t>(
            at, static_cast<std::size_t>(
                    std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.t >= early; }) -
                    rows.begin()));
    if (at > 0 && isChosen(random, 4)) rows[at] = rows[at - 1];
    return at;
}

/// What a program asks a filter at the end of a run.
std::string reportOf(const Core::Filter& filter) {
    std::string report;
    if (const auto* participant = dynamic_cast<const RecordingIO::RunParticipant*>(&filter)) {
        for (const std::string& line : participant->runErrors()) report += line + '\n';
        for (const std::string& line : participant->runNotes()) report += line + '\n';
    }
    const auto* verdicts = dynamic_cast<const RecordingIO::VerdictSource*>(&filter);
    const auto judged = verdicts != nullptr ? verdicts->judged() : std::nullopt;
    return judged ? report + evidenceText(judged->evidence) : report;
}

bool showsWallClock(const Core::Filter& filter) {
    const auto outputs = filter.getOutputPins();
    return std::any_of(outputs.begin(), outputs.end(),
                       [](const auto* output) { return output->content().isWallClockStamped; });
}

/// From here on both give the same.
void requireSameCourse(const Course& course, Subject& subject, Instance& whole, Instance& resumed,
                       std::size_t from) {
    for (Instance* instance : {&whole, &resumed}) {
        instance->rig.forget();
        play(course, subject, *instance->filter, instance->rig, from, course.rows.size());
    }
    requireSameBits(whole.rig.sent(), resumed.rig.sent(), "the restored filter");
    if (whole.rig.raisedCount() != resumed.rig.raisedCount() || whole.rig.raised() != resumed.rig.raised())
        throw Fault({}, fmt::format("the restored filter raised {} times", resumed.rig.raisedCount()),
                    fmt::format("{} times, as the other", whole.rig.raisedCount()));
}

// Snapshots that must be refused, in the form of <Kavelin/Core/Snapshot.h>: mark, checksum, content.

constexpr std::size_t kChecksumAt = 16;
constexpr std::size_t kContentAt = kChecksumAt + sizeof(std::uint32_t);

std::string resealed(std::string bytes) {
    Poco::Checksum sum(Poco::Checksum::TYPE_CRC32);
    sum.update(bytes.data() + kContentAt, static_cast<unsigned>(bytes.size() - kContentAt));
    const std::uint32_t value = sum.checksum();
    std::memcpy(bytes.data() + kChecksumAt, &value, sizeof value);
    return bytes;
}

std::string ofOtherVersion(std::string bytes, const std::string& type) {
    ++bytes[bytes.find(type, kContentAt) + type.size()];  // the version follows the type
    return resealed(bytes);
}

class Refusals {
public:
    Refusals(Subject& subject, Core::Filter& filter)
        : subject_(subject), filter_(filter), good_(Core::saveSnapshot(filter)) {}

    void require() {
        Random& random = subject_.random();
        for (int i = 0; i < 3; ++i) {
            std::string flipped = good_;
            flipped[random.bits() % good_.size()] ^= static_cast<char>(1 << random.bits() % 8);
            refuse("a snapshot with a bit changed", flipped);
            refuse("a snapshot cut short", good_.substr(0, random.bits() % good_.size()));
        }
        refuse("a snapshot with a byte more", good_ + '\0');
        refuse("a snapshot of another version", ofOtherVersion(good_, filter_.typeName()));
        if (const std::string other = ofOtherType(); !other.empty())
            refuse("the snapshot of another type", other);
    }

    /// Content that is wrong in a byte may be a state too; one that is refused is refused as a whole. Pins that it has made
    /// on demand stay.
    void takeOrRefuse() {
        const std::size_t pins = filter_.getPins().size();
        std::string wrong = good_;
        wrong[kContentAt + subject_.random().bits() % (good_.size() - kContentAt)] ^= 0x21;
        subject_.at("restoring a snapshot with a byte changed under a right checksum");
        try {
            Core::restoreSnapshot(filter_, resealed(wrong));
            Core::restoreSnapshot(filter_, good_);
        } catch (const Poco::DataFormatException&) {
        }
        if (filter_.getPins().size() != pins) return;
        requireSameBytes(subject_, good_, Core::saveSnapshot(filter_), "after the refusal");
    }

private:
    void refuse(const std::string& what, const std::string& bytes) {
        subject_.at("restoring {}", what);
        try {
            Core::restoreSnapshot(filter_, bytes);
        } catch (const Poco::DataFormatException&) {
            return requireSameBytes(subject_, good_, Core::saveSnapshot(filter_), "after the refusal");
        }
        throw Fault(subject_.step(), "it was taken", "a Poco::DataFormatException");
    }

    /// Empty where the plugin has no other.
    std::string ofOtherType() const {
        for (const std::string& type : subject_.otherTypes()) {
            const Core::FilterPtr other = subject_.makeOther(type);
            if (dynamic_cast<const Core::Stateful*>(other.get()) != nullptr)
                return Core::saveSnapshot(*other);
        }
        return {};
    }

    Subject& subject_;
    Core::Filter& filter_;
    const std::string good_;
};

/// One is saved in mid-course; what another, fresh or in use, makes of the bytes is what the one gives.
void requireResumed(Subject& subject) {
    Random& random = subject.random();
    Course course = makeCourse(random, false);
    const std::size_t at = placeToSave(course, random);
    Instance whole(subject, course), resumed(subject, course);
    for (std::uint64_t writes = random.bits() % 6; writes > 0; --writes) writeOne(*whole.filter, random);
    whole.rig.connectNew();
    play(course, subject, *whole.filter, whole.rig, 0, at);
    if (isChosen(random, 2)) {
        const Course other = makeCourse(random, false);
        play(other, subject, *resumed.filter, resumed.rig, 0, std::min<std::size_t>(at, other.rows.size()));
    }
    subject.at("a snapshot after {} samples of {}, {}", at, course.rows.size(), course.buffering.name);
    const std::string saved = whole.saved();
    requireSameBytes(subject, saved, whole.saved(), "saved twice");
    Core::restoreSnapshot(*resumed.filter, saved);
    resumed.rig.connectNew();
    requireSameBytes(subject, saved, resumed.saved(), "restored and saved again");
    Refusals(subject, *resumed.filter).require();
    Instance third(subject, course);
    Core::restoreSnapshot(*third.filter, saved);
    third.rig.connectNew();
    Refusals(subject, *third.filter).takeOrRefuse();
    requireSameCourse(course, subject, whole, resumed, at);
    subject.at("after {} samples, and a snapshot after {}, {}", course.rows.size(), at,
               course.buffering.name);
    const std::string expected = reportOf(*whole.filter), got = reportOf(*resumed.filter);
    if (got != expected)
        throw Fault(subject.step(), "the restored filter reports " + got,
                    "what the other reports: " + expected);
    if (!showsWallClock(*whole.filter))
        requireSameBytes(subject, whole.saved(), resumed.saved(), "saved at the end");
}

/// The same for an instance that many streams take in turn.
void requireSharable(Subject& subject) {
    Random& random = subject.random();
    Course course = makeCourse(random, true);
    if (course.buffering.options.bufferSize == 1) course.buffering = bufferKinds()[0];  // may be the writer's
    const Course other = makeCourse(random, true);
    const std::size_t at = placeToSave(course, random);
    Instance whole(subject, course), shared(subject, course);
    for (std::uint64_t writes = random.bits() % 6; writes > 0; --writes) writeOne(*whole.filter, random);
    Core::restoreSnapshot(*shared.filter, whole.saved());
    play(course, subject, *whole.filter, whole.rig, 0, at);
    play(other, subject, *shared.filter, shared.rig, 0, other.rows.size());
    subject.at("the state of a stream after {} samples", at);
    const Core::StreamStates saver({whole.filter.get()});
    Core::StreamStates states({shared.filter.get()});
    states.restore(saver.save());
    requireSameBytes(subject, saver.save(), states.save(), "restored and saved again");
    requireSameCourse(course, subject, whole, shared, at);
    if (!showsWallClock(*whole.filter))
        requireSameBytes(subject, saver.save(), states.save(), "saved at the end");
}

/// Why the course does not tell whether it goes on; empty where it does.
std::string whyNot(Core::Filter& filter) {
    if (dynamic_cast<const Core::Stateful*>(&filter) == nullptr) return "it keeps no snapshot";
    if (dynamic_cast<const Core::Source*>(&filter) != nullptr)
        return "it is a source: its state is a place in what it reads";
    for (Core::AbstractProperty* property : valueProperties(filter))
        if (property->describe().kind == "file name") isTaken(*property, "result.csv");
    const auto* participant = dynamic_cast<const RecordingIO::RunParticipant*>(&filter);
    const bool writes = participant != nullptr && !participant->resultFile().empty();
    return writes ? "it writes a file: its state is a place in that" : "";
}

}  // namespace

void checkSnapshot(Subject& subject) {
    const Core::FilterPtr filter = subject.make();
    if (const std::string reason = whyNot(*filter); !reason.empty()) throw Skip(reason);
    for (int trial = 0; trial < 4; ++trial) {
        requireResumed(subject);
        requireSharable(subject);
    }
}

}  // namespace Kavelin::Cli
