#include "converters/FilterInclinometer.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(FilterInclinometer, TurnsGravityIntoPitchAndRoll) {
    struct {
        Matrix acc;
        double pitch, roll;
    } const rows[] = {
        {row({0, 0, 1}), -0.0, 0.0}, {row({1, 0, 0}), -kPi / 2, 0.0}, {column({0, 1, 0}), -0.0, kPi / 2},
        {row({0, 0, 0}), -0.0, 0.0}, {row({-1, 0, 1}), kPi / 4, 0.0}, {row({0, -2, -2}), -0.0, -kPi / 4},
    };
    for (const auto& [acc, pitch, roll] : rows) {
        FilterHarness<FilterInclinometer> inclinometer;
        inclinometer.feed("3a", 2, acc);
        inclinometer.process();
        ASSERT_EQ(inclinometer.sends().size(), 2u) << acc;
        EXPECT_EQ(inclinometer.sends()[0].pin, "pitch");
        EXPECT_EQ(inclinometer.sends()[1].pin, "roll");
        EXPECT_DOUBLE_EQ(inclinometer.sends()[0].value(0, 0), pitch) << acc;
        EXPECT_DOUBLE_EQ(inclinometer.sends()[1].value(0, 0), roll) << acc;
        EXPECT_EQ(std::signbit(inclinometer.sends()[0].value(0, 0)), std::signbit(pitch)) << acc;
        EXPECT_EQ(inclinometer.sends()[1].t, 2.0);
    }
}

TEST(FilterInclinometer, DropsOtherCounts) {
    FilterHarness<FilterInclinometer> inclinometer;
    inclinometer.feed("3a", 1, row({1, 2, 3, 4}));
    inclinometer.feed("3a", 2, row({1, 2}));
    inclinometer.process(3);
    EXPECT_TRUE(inclinometer.sends().empty());
    EXPECT_EQ(inclinometer.filter().getInputPin("3a").getLastTimeStamp(), 2.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
