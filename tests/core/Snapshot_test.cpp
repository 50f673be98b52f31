#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/Snapshot.h>
#include <Kavelin/Typed/FilterKit.h>
#include <Poco/Exception.h>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

class Sender : public Filter, public WithoutState {
public:
    explicit Sender(const std::string& name = "sender") : Filter(name, true) {}
    void process() override {}
    std::string typeName() const override { return "Sender"; }

    void send(double t) {
        out.value() = Matrix::Constant(1, 1, 10.0 * t);
        out.send(t);
    }

    OutputPin<Matrix> out{"out", this};
};

/// Sums what it takes; `held` stays in the pin until "a" has samples too.
class Summer : public Filter, public WithState<Summer> {
public:
    static constexpr unsigned kStateVersion = 3;

    explicit Summer(const std::string& name = "summer") : Filter(name, true) {}
    void process() override {
        if (!holdAndTakeTogether(a, held)) return;
        sum_ += gain.value() * a.value()(0, 0) + held.value()(0, 0);
        out.value() = Matrix::Constant(1, 1, sum_);
        out.send(newestStamp(a, held));
    }
    std::string typeName() const override { return "Summer"; }
    template <class Archive>
    void serialize(Archive& archive) {
        archive(sum_);
        if (std::is_same_v<Archive, StateReader> && sum_ == kForbidden)
            throw Poco::DataFormatException("a forbidden sum");
    }

    static constexpr double kForbidden = -1.0;
    InputPin<Matrix> a{"a", this};
    InputPin<Matrix> held{"held", this};
    OutputPin<Matrix> out{"out", this};
    ValueProperty<double> gain{"gain", this, 1.0};
    double sum_ = 0.0;
};

/// A sender for each pin and the filter, wired with one kind of buffer.
struct Rig {
    explicit Rig(const ConnectionOptions& options) {
        connect(first.out, summer.a, options);
        connect(second.out, summer.held, options);
        connect(summer.out, result.a, {.bufferSize = 64, .direct = true});
        result.a.reset();
    }
    std::vector<double> received() {
        std::vector<double> values;
        while (result.a.readNext()) values.push_back(result.a.value()(0, 0));
        return values;
    }
    void run(double from, double to) {
        for (double t = from; t < to; ++t) {
            first.send(t);
            if (static_cast<int>(t) % 3 != 0) second.send(t + 0.5);
            if (static_cast<int>(t) % 4 != 1) summer.processOnce();
        }
    }

    Sender first{"first"}, second{"second"};
    Summer summer;
    Relay result{"result"};
};

TEST(Snapshot, AFilterGoesOnWithWhatItsPinsHeldInEveryKindOfBuffer) {
    for (const unsigned size : {1U, 2U, 5U, 64U}) {
        for (const bool lifo : {false, true}) {
            for (const bool direct : {false, true}) {
                for (int n = 0; n < 9; ++n) {
                    const ConnectionOptions options{.bufferSize = size, .lifo = lifo, .direct = direct};
                    Rig whole(options), again(options);
                    whole.summer.gain.set(0.5);
                    whole.run(1, 1 + n);
                    whole.received();
                    again.run(5, 8);  // another past
                    restoreSnapshot(again.summer, saveSnapshot(whole.summer));
                    again.received();
                    EXPECT_EQ(saveSnapshot(again.summer), saveSnapshot(whole.summer));
                    whole.run(1 + n, 30);
                    again.run(1 + n, 30);
                    EXPECT_EQ(again.received(), whole.received()) << size << lifo << direct << n;
                    EXPECT_EQ(saveSnapshot(again.summer), saveSnapshot(whole.summer));
                }
            }
        }
    }
}

TEST(Snapshot, WhatCannotBeTakenBackIsRefusedAndChangesNothing) {
    const ConnectionOptions options{.bufferSize = 4, .direct = true};
    Rig rig(options);
    rig.summer.gain.set(2.0);
    rig.run(1, 6);
    const std::string good = saveSnapshot(rig.summer);
    const auto refusal = [&](const std::string& bytes) -> std::string {
        try {
            restoreSnapshot(rig.summer, bytes);
        } catch (const Poco::DataFormatException& error) {
            EXPECT_EQ(saveSnapshot(rig.summer), good);
            return error.message();
        }
        return "taken";
    };
    std::string flipped = good;
    flipped[good.size() / 2] ^= 4;
    EXPECT_EQ(refusal(flipped),
              "a snapshot of a filter's state is damaged: its checksum is not that of its bytes");
    for (std::size_t size = 0; size < good.size(); ++size) EXPECT_NE(refusal(good.substr(0, size)), "taken");
    EXPECT_EQ(refusal("{}"), "this is not a snapshot of a filter's state");
    EXPECT_EQ(refusal(saveSnapshot(Sender("other"))),
              "the snapshot of 'other' is of a Sender, not of a Summer");
    Summer forbidden("forbidden");
    forbidden.sum_ = Summer::kForbidden;
    forbidden.gain.set(9.0);
    EXPECT_EQ(refusal(saveSnapshot(forbidden)),
              "the snapshot of 'forbidden' cannot be restored: a forbidden sum");
    Relay silent("silent");
    EXPECT_THROW(saveSnapshot(silent), Poco::NotImplementedException);
}

TEST(Snapshot, StreamsTakeTurnsInTheSameFilters) {
    const ConnectionOptions options{.bufferSize = 1, .direct = true};
    Rig one(options), two(options), shared(options);
    StreamStates states({&shared.first, &shared.second, &shared.summer});
    std::string a = states.save(), b = a;
    std::vector<double> ofA, ofB;
    const auto advance = [&](std::string& state, std::vector<double>& results, double from) {
        states.restore(state);
        shared.run(from, from + 3);
        state = states.save();
        const auto got = shared.received();
        results.insert(results.end(), got.begin(), got.end());
    };
    for (double t = 0; t < 30; t += 3) {
        advance(a, ofA, t);
        advance(b, ofB, t + 100);
        one.run(t, t + 3);
        two.run(t + 100, t + 103);
    }
    EXPECT_EQ(ofA, one.received());
    EXPECT_EQ(ofB, two.received());
    a.back() ^= 1;
    EXPECT_THROW(states.restore(a), Poco::DataFormatException);
    shared.summer.gain.set(3.0);
    EXPECT_THROW(StreamStates({&shared.first, &shared.second, &shared.summer}).restore(b),
                 Poco::DataFormatException);
}

}  // namespace
}  // namespace Kavelin::Core
