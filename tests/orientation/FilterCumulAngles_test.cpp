#include "orientation/FilterCumulAngles.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterCumulAngles>;

/// Feeds one sample, processes, returns the last value of a pin ("nothing" is 0x0).
Matrix step(Harness& h, const Matrix& angles, const std::string& pin = "cumul") {
    h.clear();
    h.feed("angles", 1.5, angles);
    h.process();
    const auto sent = h.sent(pin);
    return sent.empty() ? Matrix() : sent.back().value;
}

TEST(FilterCumulAngles, FollowsAnglesOverManyTurnsHoweverTheyAreWrapped) {
    Harness h;
    for (int i = 0; i <= 300; ++i) {
        const double up = 0.3 + 0.5 * i, down = -0.2 - 1.1 * i;
        const double wrapped = std::remainder(up, 2 * kPi);                // to -pi .. pi
        const double oddly = down - 2 * kPi * std::floor(down / 2 / kPi);  // to 0 .. 2 pi
        const Matrix cumul = step(h, column({wrapped, oddly + (i % 3) * 20 * kPi}));
        const double start = 2 * kPi - 0.2;  // as it came in first
        ASSERT_THAT(cumul, isNearMatrix(column({up, start - 1.1 * i}), 1e-10)) << i;
        const Matrix turns = h.sent("turns").back().value;
        EXPECT_THAT(turns,
                    isNearMatrix(column({std::trunc(0.5 * i / 2 / kPi), -std::floor(1.1 * i / 2 / kPi)})));
        EXPECT_EQ(h.sends()[0].pin, "cumul");
        EXPECT_EQ(h.sends()[1].t, 1.5);
    }
}

TEST(FilterCumulAngles, StartsAnewWhereItMust) {
    const auto restartedBy = [](auto event) {
        Harness h;
        step(h, row({3.0, 3.0}));
        step(h, row({-3.0, -3.0}));
        event(h);
        return step(h, row({-2.0, -2.0})) == row({-2.0, -2.0});
    };
    EXPECT_FALSE(restartedBy([](Harness&) {}));
    EXPECT_TRUE(restartedBy([](Harness& h) { h.command("Reset"); }));
    EXPECT_TRUE(restartedBy([](Harness& h) { h.feed("reset", 0.0, row({kNaN})); }));
    EXPECT_FALSE(restartedBy([](Harness& h) { h.feed("reset", 0.0, row({0.0, 1.0})); }));
    EXPECT_FALSE(restartedBy([](Harness& h) { h.feed("reset", 0.0, Matrix(0, 0)); }));
    EXPECT_FALSE(restartedBy([](Harness& h) { step(h, Matrix(0, 2)); }));  // dropped
    EXPECT_TRUE(restartedBy([](Harness& h) {
        step(h, column({-3.0, -3.0}));
    }));  // as many, but another shape

    Harness h;
    step(h, row({3.0, 3.0}));
    const Matrix gap = step(h, row({-3.0, kNaN}));
    EXPECT_NEAR(gap(0), 2 * kPi - 3.0, 1e-12);
    EXPECT_TRUE(std::isnan(gap(1)) && std::isnan(h.sent("turns").back().value(1)));
    EXPECT_THAT(step(h, row({-2.0, -2.0})), isNearMatrix(row({2 * kPi - 2.0, -2.0})));  // only that element
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
