#include "orientation/FilterFlipDetectionLib.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterFlipDetectionLib>;

/// Gravity seen from a unit that is tilted by `angle` about x.
Vector3 tilted(double angle) { return {0, 9.81 * std::sin(angle), 9.81 * std::cos(angle)}; }

struct Outcome {
    double flip = 0, count = 0, angle = 0;
    double since = -1;  // time of the last change of "flip"
};

Outcome run(Harness& h, double from, double to, double frequency,
            const std::function<Vector3(double)>& acceleration) {
    Outcome outcome;
    const auto steps = static_cast<int>(std::lround((to - from) * frequency));
    for (int i = 0; i < steps; ++i) {
        const double t = from + i / frequency;
        h.clear();
        h.feed("3a", t, acceleration(t).transpose());
        h.process();
        if (h.sends().size() != 3) continue;
        const double flip = h.sends()[0].value(0, 0);
        if (flip != outcome.flip || i == 0) outcome.since = t;
        outcome = {flip, h.sends()[1].value(0, 0), h.sends()[2].value(0, 0), outcome.since};
    }
    return outcome;
}

TEST(FilterFlipDetectionLib, FollowsTurnsWithHysteresisAndDwell) {
    struct Row {
        const char* name;
        double first, second;  // rad, tilt from 1 s and from 3 s on
        double flip, count;    // at 5 s
    };
    const Row rows[] = {{"not far enough", 1.9, 1.9, 0, 0},     {"far enough", 2.3, 2.3, 1, 1},
                        {"between the angles", 2.3, 1.5, 1, 1}, {"back", 2.3, 0.9, 0, 1},
                        {"to the other side", kPi, -2.3, 1, 1}, {"turned over, later", 0, kPi, 1, 1}};
    for (const double frequency : {50.0, 400.0}) {
        for (const Row& row_ : rows) {
            Harness h;
            const Outcome end = run(h, 0, 5, frequency, [&](double t) {
                return tilted(t < 1 ? 0 : (t < 3 ? row_.first : row_.second));
            });
            EXPECT_EQ(end.flip, row_.flip) << row_.name;
            EXPECT_EQ(end.count, row_.count) << row_.name;
            EXPECT_NEAR(end.angle, std::abs(row_.second), 1e-3) << row_.name;
        }
    }
    // low-pass and dwell: a turn to pi at 1 s is past 120 degrees for the length that gravity needs,
    // then for 0.3 s
    Harness h;
    const Outcome end = run(h, 0, 3, 1000, [](double t) { return tilted(t < 1 ? 0 : kPi); });
    const double reached = 0.2 * std::log(2 / 0.5);  // the low-passed vector is half as long, the other way
    EXPECT_NEAR(end.since, 1 + reached + 0.3, 0.01);
}

TEST(FilterFlipDetectionLib, IsNotMovedByStrongShaking) {
    std::mt19937 random(8);
    std::normal_distribution<double> noise(0, 2.0);
    for (const double frequency : {1.0, 2.0, 4.0, 9.0}) {
        for (const double strength : {1.0, 2.0, 4.0}) {  // of gravity
            Harness h;
            const Outcome end = run(h, 0, 20, 100, [&](double t) -> Vector3 {
                const double wave = t < 1 ? 0 : strength * 9.81 * std::sin(2 * kPi * frequency * t);
                return tilted(0) + Vector3(0.5 * wave + noise(random), noise(random), wave + noise(random));
            });
            EXPECT_EQ(end.count, 0) << frequency << " Hz, " << strength << " g";
        }
    }
    Harness h;  // a shock of 20 g and a fall
    const Outcome end = run(h, 0, 5, 200, [](double t) -> Vector3 {
        return t > 2 && t < 2.02 ? Vector3(0, 0, -200)
                                 : (t > 3 && t < 3.5 ? Vector3(0, 0, -0.05) : tilted(0));
    });
    EXPECT_EQ(end.count, 0);
}

TEST(FilterFlipDetectionLib, TakesANewReferenceAndOutlastsGapsAndBadSamples) {
    Harness h;
    run(h, 0, 1, 100, [](double) { return tilted(0); });
    EXPECT_EQ(run(h, 1, 3, 100, [](double) { return tilted(kPi); }).flip, 1);
    h.command("Reference");
    const Outcome after = run(h, 3, 5, 100, [](double) { return tilted(kPi); });
    EXPECT_EQ(after.flip, 0);
    EXPECT_EQ(after.count, 1);
    EXPECT_NEAR(after.angle, 0, 1e-6);
    // one sample after a gap decides nothing; time that goes back and samples without meaning neither
    EXPECT_EQ(run(h, 60, 60.01, 100, [](double) { return tilted(0); }).flip, 0);
    EXPECT_EQ(run(h, 1, 1.2, 100, [](double) { return tilted(0); }).flip, 0);
    h.clear();
    h.feed("3a", 70, row({kNaN, 0, 0}));
    h.feed("3a", 70, row({0, 0}));
    h.process(2);
    EXPECT_TRUE(h.sends().empty());
    // no reference yet: zeros have no direction
    Harness still;
    EXPECT_EQ(run(still, 0, 2, 100, [](double) { return Vector3::Zero().eval(); }).angle, 0);
    EXPECT_EQ(run(still, 2, 4, 100, [](double) { return tilted(kPi); }).flip, 0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
