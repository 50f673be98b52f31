#include <Kavelin/Core/FlowManager.h>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

std::vector<std::string> namesOf(const std::vector<Filter*>& filters) {
    std::vector<std::string> names;
    for (const Filter* filter : filters) names.push_back(filter->getName());
    return names;
}

TEST(LayoutManager, CallsAfterWhatFeedsAndKeepsTheListInCircles) {
    Relay d("d"), a("a"), b("b"), c("c");
    LayoutManager layout("layout");
    addTo(layout, d, a, b, c);
    EXPECT_THAT(namesOf(layout.getCallOrder()), ElementsAre("d", "a", "b", "c"));
    connect(b.out, d.a);  // d hangs on the cycle of a and b
    connect(a.out, b.a);
    connect(b.out, a.a);
    EXPECT_THAT(namesOf(layout.getCallOrder()), ElementsAre("a", "b", "d", "c"));
    disconnect(a.a);
    connect(c.out, a.a);
    EXPECT_THAT(namesOf(layout.getCallOrder()), ElementsAre("c", "a", "b", "d"));
}

TEST(LayoutManager, OneRoundBringsAllOfATimeStampTogether) {
    CountingSource fast("fast", 5), slow("slow", 5, 0, 2);
    std::vector<std::string> calls;
    ScriptedFilter both("both", [&](ScriptedFilter& self) {
        const bool a = self.a.readNext();
        const bool b = self.b.readNext();
        if (a) calls.push_back(std::to_string(static_cast<int>(self.a.lastTimeStamp())) + (b ? "ab" : "a"));
    });
    LayoutManager layout("layout");
    addTo(layout, both, slow, fast);
    connect(fast.out, both.a);
    connect(slow.out, both.b);
    layout.runToEnd();
    EXPECT_THAT(calls, ElementsAre("0ab", "1a", "2ab", "3a", "4ab"));
    EXPECT_TRUE(layout.hasEnded());
}

TEST(LayoutManager, FeedbackIsReadInTheNextRound) {
    CountingSource source("source", 3);
    std::vector<double> fedBack;
    ScriptedFilter first("first", [&](ScriptedFilter& self) {
        if (self.b.readNext()) fedBack.push_back(self.b.value()(0, 0));
        if (!self.a.readNext()) return;
        self.out.value()(0, 0) = self.a.value()(0, 0) + 10.0 * static_cast<double>(fedBack.size());
        self.out.send(self.a.lastTimeStamp());
    });
    Relay second("second");
    LayoutManager layout("layout");
    addTo(layout, source, first, second);
    connect(source.out, first.a);
    connect(first.out, second.a);
    connect(second.out, first.b);
    layout.runToEnd();
    EXPECT_THAT(second.seen, ElementsAre(0, 11, 22));
    EXPECT_THAT(fedBack, ElementsAre(0, 11, 22)) << "the last is taken when the source has ended";
}

TEST(LayoutManager, AFilterWithAnEmptySynchronousPinIsNotCalled) {
    CountingSource source("source", 3), late("late", 13, 10);
    int calls = 0;
    ScriptedFilter reader("reader", [&](ScriptedFilter& self) {
        ++calls;
        self.a.readNext();
        self.b.readNext();
    });
    LayoutManager layout("layout"), other("other");
    layout.add(reader);
    addTo(other, source, late);
    connect(source.out, reader.a, {.synchronous = true});
    connect(late.out, reader.b, {.synchronous = true});
    other.runToEnd();
    EXPECT_EQ(calls, 0);
    while (layout.runPending()) {
    }
    EXPECT_EQ(calls, 3);
    EXPECT_TRUE(reader.a.getIsSynchronous());
    reader.a.setIsBlocking(false);
    EXPECT_FALSE(reader.a.getIsSynchronous()) << "a pin that never blocks is not synchronous";
}

TEST(LayoutManager, AFailingFilterIsReportedOnceAndTheRunGoesOn) {
    CountingSource source("source", 4);
    ScriptedFilter failing("failing", [](ScriptedFilter& self) {
        self.a.readNext();
        if (self.a.lastTimeStamp() >= 1) throw Poco::RangeException("too far");
    });
    Relay after("after");
    LayoutManager layout("layout");
    addTo(layout, source, failing, after);
    connect(source.out, failing.a);
    connect(source.out, after.a);
    layout.runToEnd();
    EXPECT_THAT(after.seen, ElementsAre(0, 1, 2, 3));
    ASSERT_EQ(layout.getErrors().getErrors().size(), 1u);
    const ProcessError error = layout.getErrors().getErrors()[0];
    EXPECT_EQ(error.type, "Poco::RangeException");
    EXPECT_EQ(error.message, "too far");
    EXPECT_EQ(error.filter, "failing");
    EXPECT_EQ(error.timeStamp, 1.0);
    EXPECT_EQ(error.count, 3u);
    EXPECT_FALSE(layout.wasStopped());
}

TEST(LayoutManager, StopOnErrorEndsTheRun) {
    CountingSource source("source", 4);
    ScriptedFilter failing("failing", [](ScriptedFilter& self) {
        self.a.readNext();
        throw std::out_of_range("no");
    });
    LayoutManager layout("layout");
    addTo(layout, source, failing);
    connect(source.out, failing.a);
    layout.setStopOnError(true);
    layout.runToEnd();
    EXPECT_EQ(layout.getErrors().getCount(), 1u);
    EXPECT_TRUE(layout.wasStopped());
}

TEST(LayoutManager, ASourceThatFailsWithoutGettingOnIsLeftAlone) {
    struct Stuck : CountingSource {
        using CountingSource::CountingSource;
        void process() override { throw Poco::IOException("gone"); }
    } stuck("stuck", 5);
    LayoutManager layout("layout");
    layout.add(stuck);
    layout.runToEnd();
    EXPECT_EQ(layout.getErrors().getCount(), 1u);
    EXPECT_EQ(layout.getErrors().getErrors()[0].timeStamp, 0.0);
}

TEST(LayoutManager, FiltersCanDieFirstOrLast) {
    for (const bool filterFirst : {true, false}) {
        auto source = std::make_unique<CountingSource>("source", 2);
        auto relay = std::make_unique<Relay>("relay");
        auto layout = std::make_unique<LayoutManager>("layout");
        layout->add(*source);
        layout->add(*relay);
        connect(source->out, relay->a);
        if (filterFirst) {
            relay.reset();
            layout->runToEnd();
            EXPECT_TRUE(source->out.getAttachedInputs().empty());
        } else {
            source.reset();
            EXPECT_EQ(relay->a.getConnectedOutput(), nullptr);
            layout->runToEnd();
        }
    }
}

TEST(LayoutManager, WhatWasTakenOrDroppedBeforeDoesNotHideSamples) {
    Relay writer("writer"), relay("relay");
    connect(writer.out, relay.a, {.bufferSize = 4, .direct = true});
    for (int i = 0; i < 3; ++i) {
        writer.out.send(i);
        relay.process();  // outside any layout
    }
    LayoutManager layout("layout");
    addTo(layout, writer, relay);
    for (int i = 0; i < 9; ++i) writer.out.send(i);  // drops five
    while (layout.runPending()) {
    }
    EXPECT_EQ(relay.seen.size(), 3u + 4u);
    for (int i = 0; i < 4; ++i) writer.out.send(i);
    while (layout.runPending()) {
    }
    EXPECT_EQ(relay.seen.size(), 3u + 4u + 4u);
    EXPECT_TRUE(relay.a.isEmpty());
}

TEST(LayoutManager, RefusesWhatCannotBe) {
    Relay relay("relay"), twin("relay");
    LayoutManager layout("layout"), other("other");
    layout.add(relay);
    EXPECT_THROW(other.add(relay), Poco::ExistsException);
    EXPECT_THROW(layout.add(twin), Poco::ExistsException);
}

TEST(FlowManager, RunsAllLayoutsInOneThreadWithoutLoss) {
    FlowManager& flow = FlowManager::instance();
    CountingSource source("source", 5000);
    Relay middle("middle"), sink("sink");
    flow.createLayout("one").add(source);
    flow.createLayout("three").add(sink);
    flow.createLayout("two").add(middle);
    flow.connect("source:out", "two/middle:a", {.bufferSize = 2});
    flow.connect("middle:out", "sink:a", {.bufferSize = 2});
    flow.runToEnd();
    EXPECT_EQ(sink.seen.size(), 5000u);
    EXPECT_EQ(sink.a.getCounts().dropped, 0u);
    flow.clear();
    EXPECT_EQ(sink.getManager(), nullptr);
}

TEST(FlowManager, SaysWhatExistsWhenAConnectionCannotBe) {
    FlowManager& flow = FlowManager::instance();
    CountingSource source("source", 1), other("other", 1);
    Relay relay("relay");
    LayoutManager& layout = flow.createLayout("layout");
    addTo(layout, source, other, relay);
    const auto refusal = [&](const char* from, const char* to) -> std::string {
        try {
            flow.connect(from, to);
        } catch (const Poco::Exception& error) {
            return exceptionType(error) + ": " + error.message();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal("source:out", "relay:a"), "accepted");
    EXPECT_THAT(refusal("other:out", "relay:a"),
                AllOf(HasSubstr("Poco::ExistsException"), HasSubstr("'source:out'")));
    EXPECT_THAT(refusal("sauce:out", "relay:b"), HasSubstr("'sauce'; there are 'source', 'other', 'relay'"));
    EXPECT_THAT(refusal("source:out", "relay:c"), HasSubstr("no input pin 'c'; it has 'a', 'b'"));
    EXPECT_THAT(refusal("source:in", "relay:b"), HasSubstr("no output pin 'in'; it has 'out'"));
    EXPECT_THAT(refusal("source", "relay:b"), HasSubstr("filter:pin"));
    EXPECT_EQ(relay.a.getConnectedOutput(), &source.out) << "what was there stays";
    flow.clear();
}

TEST(FlowManager, ExpandsVariables) {
    FlowManager& flow = FlowManager::instance();
    flow.setVariable("KAVELIN_TEST_A", "x${KAVELIN_TEST_B}");
    ::setenv("KAVELIN_TEST_B", "env", 1);
    const std::pair<const char*, const char*> rows[] = {
        {"${KAVELIN_TEST_A}/f", "x${KAVELIN_TEST_B}/f"},  // what was put in is not expanded again
        {"${KAVELIN_TEST_B}${KAVELIN_TEST_B}", "envenv"},
        {"a ${KAVELIN_NO_SUCH} b", "a ${KAVELIN_NO_SUCH} b"},
        {"${open", "${open"},
        {"$KAVELIN_TEST_B {}", "$KAVELIN_TEST_B {}"},
        {"", ""},
    };
    for (const auto& [text, expanded] : rows) EXPECT_EQ(flow.expandVariables(text), expanded);
    flow.removeVariable("KAVELIN_TEST_A");
}

}  // namespace
}  // namespace Kavelin::Core
