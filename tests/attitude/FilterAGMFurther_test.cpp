// The pins and properties that FilterAGMAttitude_v7 and _v8 have beyond the common frame.
#include "attitude/FilterAGMAttitude_v5.h"
#include "attitude/FilterAGMAttitude_v6.h"
#include "attitude/FilterAGMAttitude_v7.h"
#include "attitude/FilterAGMAttitude_v8.h"
#include "support/Estimators.h"
#include "support/FilterTest.h"

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

template <class F>
class FilterWithoutSettings : public testing::Test {};
using AllVersions =
    testing::Types<FilterAGMAttitude_v5, FilterAGMAttitude_v6, FilterAGMAttitude_v7, FilterAGMAttitude_v8>;
TYPED_TEST_SUITE(FilterWithoutSettings, AllVersions);

TYPED_TEST(FilterWithoutSettings, SaysWhichFileItLacksAtEachTriple) {
    FilterHarness<TypeParam> h;
    const std::string file = std::string(TypeParam::kTypeName).replace(0, 6, "./FILTER/") + ".par";
    for (int i = 0; i < 2; ++i) {
        h.command("Ref");  // with nothing loaded: still not ready
        EXPECT_EQ(outcome([&] { feed(h, recordDisturbed({.duration = 1})[0]); }),
                  "Poco::IOException: Failed to open settings file '" + file + "'");
    }
    EXPECT_TRUE(h.sends().empty());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
