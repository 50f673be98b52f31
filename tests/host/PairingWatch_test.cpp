#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

void takeOneOfEach(ScriptedFilter& self) {
    if (!self.a.fetch() || !self.b.fetch()) return;
    self.a.consume();
    self.b.consume();
}
void takeNewestOfB(ScriptedFilter& self) {
    if (!self.a.readNext()) return;
    while (self.b.readNext()) {
    }
}

struct Stream {
    double first, step, end;
};
struct Row {
    const char* name;
    ScriptedFilter::Script script;
    Stream a, b;
    std::uint64_t sets, unlike;
    double largest, at;
    std::uint64_t leftOfA, leftOfB;
};

PairingReport runToEnd(CountingSource& a, CountingSource& b, ScriptedFilter& filter) {
    LayoutManager layout("layout");
    addTo(layout, a, b, filter);
    connect(a.out, filter.a);
    connect(b.out, filter.b);
    layout.runToEnd();
    return filter.getPairing();
}

TEST(PairingWatch, ComparesWhatAFilterTakesTogether) {
    const Row rows[] = {
        {"equal stamps", takeOneOfEach, {0, 1, 100}, {0, 1, 100}, 100, 0, 0.0, 0.0, 0, 0},
        {"own phase", takeOneOfEach, {0, 1, 100}, {0.25, 1, 100}, 100, 0, 0.25, 0.25, 0, 0},
        {"too far apart", takeOneOfEach, {0, 1, 100}, {0.75, 1, 100}, 100, 100, 0.75, 0.75, 0, 0},
        // Of sets k and 4k/3: the difference grows by a third of a second with each.
        {"own rates", takeOneOfEach, {0, 1, 101}, {0, 0.75, 75}, 100, 98, 24.75, 99.0, 1, 0},
        {"nothing at all on one", takeOneOfEach, {0, 1, 10}, {0, 1, 0}, 0, 0, 0.0, 0.0, 10, 0},
        {"chooses by itself", takeNewestOfB, {0, 1, 100}, {0, 0.3, 100}, 0, 0, 0.0, 0.0, 0, 0},
        {"can do without one", takeNewestOfB, {0, 1, 100}, {0.5, 7, 100}, 0, 0, 0.0, 0.0, 0, 0},
    };
    for (const Row& row : rows) {
        CountingSource a("a", row.a.end, row.a.first, row.a.step);
        CountingSource b("b", row.b.end, row.b.first, row.b.step);
        ScriptedFilter filter("pairs", row.script);
        const PairingReport report = runToEnd(a, b, filter);
        EXPECT_EQ(report.sets, row.sets) << row.name;
        EXPECT_EQ(report.unlike, row.unlike) << row.name;
        EXPECT_NEAR(report.largestDifference, row.largest, 1e-9) << row.name;
        EXPECT_NEAR(report.at, row.at, 1e-9) << row.name;
        std::uint64_t left[2] = {0, 0};
        for (const auto& one : report.unpaired) left[one.pin == "b"] = one.count;
        EXPECT_EQ(left[0], row.leftOfA) << row.name;
        EXPECT_EQ(left[1], row.leftOfB) << row.name;
    }
}

TEST(PairingWatch, LeavesStampsOfTheWallClockAlone) {
    CountingSource measured("measured", 50);
    CountingSource again("again", 50);
    ScriptedFilter now("now", [](ScriptedFilter& self) {
        if (self.a.readNext()) self.out.sendNow();
    });
    ScriptedFilter filter("pairs", takeOneOfEach);
    LayoutManager layout("layout");
    addTo(layout, measured, again, now, filter);
    connect(measured.out, now.a);
    connect(now.out, filter.a);
    connect(again.out, filter.b);
    layout.runToEnd();
    EXPECT_EQ(filter.getPairing().sets, 50u);
    EXPECT_EQ(filter.getPairing().unlike, 0u);
}

TEST(PairingWatch, CountsWhatAFilterPassedOver) {
    CountingSource a("a", 10), b("b", 10);
    ScriptedFilter filter("passes over", [](ScriptedFilter& self) {
        if (!self.a.fetch() || !self.b.fetch()) return;
        if (self.a.heldTimeStamp() == 3.0 && self.b.heldTimeStamp() == 3.0) return self.a.passOver();
        self.a.consume();
        self.b.consume();
    });
    const PairingReport report = runToEnd(a, b, filter);
    EXPECT_EQ(report.sets, 9u);
    ASSERT_EQ(report.unpaired.size(), 2u);
    EXPECT_EQ(report.unpaired[0].count, 1u) << "passed over";
    EXPECT_EQ(report.unpaired[1].count, 1u) << "left in the buffer";
}

}  // namespace
}  // namespace Kavelin::Core
