// The pins and properties that FilterAGMAttitude_v7 and _v8 have beyond the common frame, and what all three
// of the filters with a bias promise of memory.

#include "attitude/FilterAGMAttitude_v7.h"
#include "attitude/FilterAGMAttitude_v8.h"
#include "attitude/FilterSphericalFilteringAttitude.h"
#include "support/AGMRuns.h"
#include "support/FilterDrive.h"
#include "support/FilterTest.h"
#include "support/HeapCalls.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

template <class F>
void feed(FilterHarness<F>& h, const MotionSample& s) {
    h.feed("3a", s.t, s.acc.transpose());
    h.feed("3m", s.t, s.field.transpose());
    h.feed("3g", s.t, s.rate.transpose());
    h.process();
}

template <class F>
std::vector<std::string> pinsSent(const FilterHarness<F>& h) {
    std::vector<std::string> pins;
    for (const auto& sent : h.sends()) pins.push_back(sent.pin);
    return pins;
}

class FilterV8Test : public testing::Test {
protected:
    FilterV8Test() { h_.set("Settings File Name", shippedSettings("AGMAttitude_v8.par")); }
    FilterHarness<FilterAGMAttitude_v8> h_;
};

TEST_F(FilterV8Test, SendsItsFurtherOutputsAfterTheCommonOnes) {
    feed(h_, recordDisturbed({.duration = 1})[0]);
    EXPECT_THAT(pinsSent(h_), ElementsAre("attitude", "3a_prop", "3pb_mag", "flag_acc", "flag_mag",
                                          "attitudeQ", "3g_bias", "flag_rest", "flag_lock", "innovation"));
    EXPECT_EQ(h_.sent("innovation").back().value.cols(), 6);
    EXPECT_EQ(h_.sent("attitudeQ").back().value.cols(), 4);
}

TEST_F(FilterV8Test, TheLastLockCountsAndTheOneByHandIsBesideIt) {
    const auto samples = recordDisturbed({.duration = 1});
    std::size_t next = 0;
    const auto flag = [&] {
        feed(h_, samples[next++]);
        return h_.sent("flag_lock").back().value(0, 0);
    };
    EXPECT_EQ(flag(), 0.0);
    h_.feed("lock", 0, row({0}));
    h_.feed("lock", 0, row({-2}));
    EXPECT_EQ(flag(), 1.0);
    EXPECT_EQ(flag(), 1.0) << "a lock lasts";
    h_.feed("lock", 0, row({1}));
    h_.feed("lock", 0, row({0}));
    EXPECT_EQ(flag(), 0.0);
    for (const Matrix& ignored : {row({NAN}), row({1, 1}), Matrix()}) {
        h_.feed("lock", 0, ignored);
        EXPECT_EQ(flag(), 0.0) << ignored;
    }
    h_.set("Locked", "1");
    EXPECT_EQ(flag(), 1.0);
    h_.set("Locked", "0");
    EXPECT_EQ(flag(), 0.0);
}

TEST_F(FilterV8Test, AQuaternionHandedInIsTakenAfterRef) {
    const auto samples = recordDisturbed({.duration = 6, .rest = 8});
    const Matrix wanted = row({0.5, 0.5, -0.5, 0.5});
    std::size_t i = 0;
    for (; samples[i].t < 2.5; ++i) feed(h_, samples[i]);
    h_.feed("quat_0", 0, wanted);
    h_.feed("quat_0", 0, row({1, 0, 0}));  // no quaternion
    feed(h_, samples[i++]);
    EXPECT_THAT(h_.sent("attitudeQ").back().value, isSameRotationAs(samples[i].truth.wxyz(), 0.02))
        << "not before a start";
    h_.command("Ref");
    for (; i < samples.size(); ++i) feed(h_, samples[i]);
    EXPECT_THAT(h_.sent("attitudeQ").back().value, isSameRotationAs(wanted, 0.01));
}

TEST(FilterAGMAttitude_v7, SendsTheQuaternionToo) {
    FilterHarness<FilterAGMAttitude_v7> h;
    h.set("Settings File Name", shippedSettings("AGMAttitude_v7.par"));
    for (const MotionSample& s : recordDisturbed({.duration = 4, .rest = 8})) feed(h, s);
    EXPECT_EQ(h.sent("attitude").front().t, 2.0) << "nothing during the start";
    EXPECT_THAT(h.sent("attitudeQ").back().value, isSameRotationAs(row({1, 0, 0, 0}), 0.01));
    h.clear();
    feed(h, recordDisturbed({.duration = 9})[1700]);
    EXPECT_THAT(pinsSent(h),
                ElementsAre("attitude", "3a_prop", "3pb_mag", "flag_acc", "flag_mag", "attitudeQ"));
}

TEST(FilterAGMAttitude, WithoutItsSettingsFileSaysWhichOne) {
    const auto sample = recordDisturbed({.duration = 1})[0];
    FilterHarness<FilterAGMAttitude_v7> v7;
    FilterHarness<FilterAGMAttitude_v8> v8;
    const auto message = [&](auto& h) -> std::string {
        try {
            feed(h, sample);
        } catch (const Poco::IOException& e) {
            return e.message();
        }
        return "nothing raised";
    };
    EXPECT_EQ(message(v7), "Failed to open settings file './FILTER/AGMAttitude_v7.par'");
    EXPECT_EQ(message(v8), "Failed to open settings file './FILTER/AGMAttitude_v8.par'");
}

// Start, rest, motion, a magnet, a missing field and a lost sensor: no path may allocate once the first
// samples went through.
template <class F>
void expectNoAllocation(const char* settings) {
    FilterDrive<F> drive;
    if (settings) drive.set("Settings File Name", shippedSettings(settings).c_str());
    auto samples = recordDisturbed({.duration = 20, .magnetFrom = 12, .magnetTo = 14});
    for (MotionSample& s : samples) {
        if (s.t > 16 && s.t < 17) s.field.setConstant(NAN);
        if (s.t > 17 && s.t < 18) s.acc.setConstant(NAN);
    }
    std::size_t before = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i == 1500) before = heapCalls.load();  // every buffer's ring was filled once
        const auto& inputs = drive.filter().getInputPins();
        for (std::size_t pin = 0; pin < 3; ++pin) {
            const std::string& name = inputs[pin]->getName();
            const auto& s = samples[i];
            drive.send(pin, s.t, (name == "3a" ? s.acc : name == "3g" ? s.rate : s.field).transpose());
        }
        drive.process();
    }
    EXPECT_EQ(heapCalls.load(), before);
}

TEST(FiltersWithABias, AllocateNothingOnceTheyRun) {
    if (!KAVELIN_HEAP_CALLS_COUNTED) GTEST_SKIP() << "skipped: the sanitizer owns the heap";
    expectNoAllocation<FilterSphericalFilteringAttitude>(nullptr);
    expectNoAllocation<FilterAGMAttitude_v7>("AGMAttitude_v7.par");
    expectNoAllocation<FilterAGMAttitude_v8>("AGMAttitude_v8.par");
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
