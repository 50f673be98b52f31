#include <Kavelin/Core/FlowManager.h>

#include <array>
#include <memory>
#include <random>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

/// Takes at most one sample a pin and call, notes what every call saw, and answers each sample on its first
/// pin with what depends on all of it.
class Witness : public Filter {
public:
    explicit Witness(const std::string& name) : Filter(name, true) {}
    void process() override {
        bool asked = false;
        for (auto& pin : pins) {
            const bool there = pin.readNext();
            seen.push_back(there ? pin.value()(0, 0) : -1);
            if (there) state = 0.5 * state + pin.value()(0, 0);
            asked |= there && &pin == &pins[0];
        }
        if (!asked) return;
        out.value()(0, 0) = state;
        out.send(pins[0].lastTimeStamp());
    }
    std::string typeName() const override { return "Witness"; }

    std::array<InputPin<Matrix>, 3> pins{InputPin<Matrix>("0", this), InputPin<Matrix>("1", this),
                                         InputPin<Matrix>("2", this)};
    OutputPin<Matrix> out{"out", this, Matrix::Zero(1, 1)};
    std::vector<double> seen;
    double state = 0;
};

/// A set of layouts drawn by chance: sources of several rates that begin at several times, connections of all
/// kinds, a few of them back.
class RandomLayouts {
public:
    explicit RandomLayouts(unsigned seed) : random_(seed) {
        const int layouts = 2 + draw(4);
        for (int i = 0; i < layouts; ++i) {
            LayoutManager& layout = FlowManager::instance().createLayout("layout " + std::to_string(i));
            for (int f = draw(3); f >= 0; --f) {
                const std::string name = std::to_string(i) + "/" + std::to_string(f);
                layout.add(*witnesses_.emplace_back(std::make_unique<Witness>(name)));
            }
            if (i > 0 && draw(2) == 0) continue;
            const double first = draw(20), step = 1 + draw(3);
            layout.add(*sources_.emplace_back(
                std::make_unique<CountingSource>("s" + std::to_string(i), first + 150 * step, first, step)));
        }
        // A first pin is fed by earlier filters of the list, so that no cycle keeps itself going.
        for (std::size_t w = 0; w < witnesses_.size(); ++w) {
            for (auto& pin : witnesses_[w]->pins)
                connectByChance(pin, &pin == &witnesses_[w]->pins[0] ? w : witnesses_.size());
        }
    }
    ~RandomLayouts() { FlowManager::instance().clear(); }

    /// What every filter saw, call by call, and what became of the samples of its pins.
    std::vector<std::vector<double>> account() const {
        std::vector<std::vector<double>> all;
        for (const auto& witness : witnesses_) {
            all.push_back(witness->seen);
            for (const auto& pin : witness->pins) {
                const PinCounts counts = pin.getCounts();
                for (const auto count : {counts.put, counts.taken, counts.dropped, counts.buffered})
                    all.back().push_back(static_cast<double>(count));
            }
        }
        return all;
    }

private:
    int draw(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }
    void connectByChance(InputPin<Matrix>& pin, std::size_t witnesses) {
        const unsigned sizes[] = {1, 2, 3, 64};
        const ConnectionOptions options{
            .bufferSize = sizes[draw(4)], .lifo = draw(4) == 0, .synchronous = draw(4) == 0};
        const auto pick = [this](std::size_t below) {
            return static_cast<std::size_t>(draw(static_cast<int>(below)));
        };
        const int choice = draw(4);
        if (choice == 0) return;
        if (choice == 1 || witnesses == 0) return connect(sources_[pick(sources_.size())]->out, pin, options);
        connect(witnesses_[pick(witnesses)]->out, pin, options);
    }

    std::mt19937 random_;
    std::vector<std::unique_ptr<Witness>> witnesses_;
    std::vector<std::unique_ptr<CountingSource>> sources_;
};

TEST(FlowManager, ThreadsMakeNoDifference) {
    std::size_t calls = 0;
    for (unsigned seed = 0; seed < 60; ++seed) {
        std::vector<std::vector<double>> expected;
        for (int run = 0; run < 4; ++run) {
            const RandomLayouts layouts(seed);
            if (run == 0) {
                FlowManager::instance().runToEnd();
                expected = layouts.account();
            } else {
                FlowManager::instance().runToEndInThreads();
                ASSERT_EQ(layouts.account(), expected) << "seed " << seed << ", run " << run;
            }
        }
        for (const auto& one : expected) calls += one.size();
    }
    EXPECT_GT(calls, 60u * 1000u) << "the layouts do something";
}

TEST(FlowManager, ALayoutIsCalledOnceForAllThatOneRowBringsToIt) {
    // Listed against the flow: what the source sends reaches the sink directly and over the middle.
    for (const bool threads : {false, true}) {
        FlowManager& flow = FlowManager::instance();
        CountingSource source("source", 2000);
        Relay middle("middle");
        Witness sink("sink");
        flow.createLayout("three").add(sink);
        flow.createLayout("two").add(middle);
        flow.createLayout("one").add(source);
        connect(source.out, middle.a);
        connect(source.out, sink.pins[0]);
        connect(middle.out, sink.pins[1]);
        threads ? flow.runToEndInThreads() : flow.runToEnd();
        ASSERT_EQ(sink.seen.size(), 3u * 2000u);
        for (std::size_t i = 0; i < 2000; ++i) ASSERT_EQ(sink.seen[3 * i], sink.seen[3 * i + 1]) << i;
        flow.clear();
    }
}

TEST(FlowManager, ALayoutStoppedDuringARunWithThreadsLetsTheOthersEnd) {
    FlowManager& flow = FlowManager::instance();
    CountingSource source("source", 20000);
    Relay kept("kept");
    LayoutManager* stopping = nullptr;
    ScriptedFilter stopped("stopped", [&](ScriptedFilter& self) {
        if (self.a.readNext() && self.a.lastTimeStamp() >= 100) stopping->stop();
    });
    flow.createLayout("one").add(source);
    flow.createLayout("two").add(kept);
    stopping = &flow.createLayout("three");
    stopping->add(stopped);
    connect(source.out, kept.a);
    connect(source.out, stopped.a, {.bufferSize = 8});
    flow.runToEndInThreads();
    EXPECT_EQ(kept.seen.size(), 20000u);
    const PinCounts counts = stopped.a.getCounts();
    EXPECT_EQ(counts.put, 20000u);
    EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.buffered);
    flow.clear();
}

TEST(FlowManager, ConnectionsChangeDuringARunWithThreads) {
    FlowManager& flow = FlowManager::instance();
    CountingSource source("source", 1e9);
    Relay reader("reader"), late("late");
    LayoutManager& sources = flow.createLayout("sources");
    sources.add(source);
    flow.createLayout("readers").add(reader);
    flow.createLayout("late").add(late);
    connect(source.out, reader.a, {.bufferSize = 4});
    flow.start();
    for (int i = 0; i < 200; ++i) {
        disconnect(reader.a);
        connect(source.out, reader.a, {.bufferSize = 4});
        if (i == 100) connect(source.out, late.a, {.bufferSize = 4});
    }
    while (late.a.getCounts().taken == 0) std::this_thread::yield();
    flow.stop();
    flow.wait();
    for (const Relay* relay : {&reader, &late}) {
        const PinCounts counts = relay->a.getCounts();
        EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.discarded + counts.buffered);
    }
    flow.clear();
}

TEST(FlowManager, ConnectionsMadeDuringARunWithThreadsMayCloseACircle) {
    FlowManager& flow = FlowManager::instance();
    for (const bool fedFromTheStart : {true, false}) {
        CountingSource a("a", 100), b("b", 100);
        Relay ofA("of a"), ofB("of b");
        LayoutManager &one = flow.createLayout("one"), &two = flow.createLayout("two");
        addTo(one, a, ofB);
        addTo(two, b, ofA);
        const auto connectOnce = [](CountingSource& source, Relay& reader) {
            if (reader.a.getConnectedOutput() == nullptr) connect(source.out, reader.a);
        };
        if (fedFromTheStart) connectOnce(a, ofA);
        one.setRoundHook([&](double) { connectOnce(b, ofB); });
        two.setRoundHook([&](double) { connectOnce(a, ofA); });
        flow.runToEndInThreads();  // neither waits for the other's end
        EXPECT_TRUE(a.atEnd() && b.atEnd());
        flow.clear();
    }
}

}  // namespace
}  // namespace Kavelin::Core
