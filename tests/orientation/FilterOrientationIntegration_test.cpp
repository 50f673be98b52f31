#include "orientation/FilterOrientationIntegration.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

using Harness = FilterHarness<FilterOrientationIntegration>;

/// Feeds one rate sample, processes, returns what came out ("nothing" is 0x0).
Matrix step(Harness& h, double t, const Matrix& rate) {
    h.clear();
    h.feed("omega_t", t, rate);
    h.process();
    return h.sends().empty() ? Matrix() : h.sends().back().value;
}

TEST(FilterOrientationIntegration, StartsFromTheInitialQuaternionWhateverItsShape) {
    struct Row {
        const char* name;
        Matrix initial;
        Matrix first, next;  // the first output, and the one after a step without turn
    };
    const double r = std::sqrt(0.5), s = std::sqrt(8.0);
    const Row rows[] = {{"1x4", row({0, 0, 3, 4}), row({0, 0, 0.6, 0.8}), row({0, 0, 0.6, 0.8})},
                        {"1x3: one row is enough", row({0, 3, 4}), row({0, 0.6, 0.8}), row({0, 0.6, 0.8, 0})},
                        {"1x1", row({-5}), row({-1}), row({-1, 0, 0, 0})},
                        {"1x6", row({1, 0, 0, 1, 0, 0}), row({r, 0, 0, r, 0, 0}), row({r, 0, 0, r})},
                        {"2x4: four columns are enough", Matrix::Ones(2, 4), Matrix::Constant(2, 4, 1 / s),
                         row({.5, .5, .5, .5})},
                        {"4x1: neither", column({0, 0, 3, 4}), row({1, 0, 0, 0}), row({1, 0, 0, 0})},
                        {"no elements, no row", Matrix(0, 0), row({1, 0, 0, 0}), row({1, 0, 0, 0})}};
    for (const Row& row_ : rows) {
        Harness h;
        h.feed("quat_0", 7.0, row_.initial);
        EXPECT_THAT(step(h, 1.0, row({1, 2, 3})), isNearMatrix(row_.first)) << row_.name;
        EXPECT_EQ(h.sends().back().t, 1.0);
        EXPECT_THAT(step(h, 2.0, row({0, 0, 0})), isNearMatrix(row_.next)) << row_.name;
    }
    // Four columns and no row: no norm to divide by, and not a number from the next step on.
    // Never out of bounds.
    Harness h;
    h.feed("quat_0", 0.0, Matrix(0, 4));
    EXPECT_EQ(step(h, 1.0, row({0, 0, 0})).size(), 0);
    EXPECT_TRUE(step(h, 2.0, row({0, 0, 0})).hasNaN());
}

TEST(FilterOrientationIntegration, RestartsByCommandAndByAResetSampleThatIsNotZero) {
    struct Row {
        const char* name;
        Matrix sample;
        bool restarts;
    };
    const Row rows[] = {{"zero", row({0.0}), false},         {"minus zero", row({-0.0}), false},
                        {"one", row({1.0}), true},           {"negative", row({-0.5}), true},
                        {"not a number", row({kNaN}), true}, {"only the first counts", row({0, 1}), false},
                        {"a column", column({1, 0}), true},  {"empty", Matrix(0, 0), false}};
    for (const Row& row_ : rows) {
        Harness h;
        step(h, 0.0, row({0, 0, 0.5}));
        step(h, 1.0, row({0, 0, 0.5}));
        h.feed("reset", 1.5, row_.sample);
        h.process();  // the request is taken although no rate is there
        const bool restarted = step(h, 2.0, row({0, 0, 0.5})) == row({1, 0, 0, 0});
        EXPECT_EQ(restarted, row_.restarts) << row_.name;
    }
    Harness h;
    step(h, 0.0, row({0, 0, 0.5}));
    h.command("reset");
    EXPECT_EQ(step(h, 5.0, row({0, 0, 0.5})), row({1, 0, 0, 0}));
    // the start's rate is the previous rate of the first step: with order 1 the mean of 0.5 and 1.5
    h.set("order", "1");
    EXPECT_THAT(step(h, 6.0, row({0, 0, 1.5})), isNearMatrix(row({std::cos(0.5), 0, 0, std::sin(0.5)})));
}

TEST(FilterOrientationIntegration, IntegratesFromTheReplacementWhenItIsA1x4) {
    Harness h;
    h.feed("quat_t-1", 0.0, row({0, 1, 0, 0}));  // not looked at on the start
    EXPECT_EQ(step(h, 0.0, row({0, 0, 0})), row({1, 0, 0, 0}));
    EXPECT_EQ(step(h, 1.0, row({0, 0, 0})), row({0, 1, 0, 0}));
    EXPECT_EQ(step(h, 2.0, row({0, 0, 0})), row({0, 1, 0, 0}));  // used once
    h.feed("quat_t-1", 2.0, column({0, 0, 1, 0}));
    EXPECT_EQ(step(h, 3.0, row({0, 0, 0})), row({0, 1, 0, 0}));  // a column is consumed and ignored
    h.feed("quat_t-1", 2.0, row({0, 0, 0, 0}));
    EXPECT_TRUE(step(h, 4.0, row({0, 0, 0})).hasNaN());  // no guard against a zero norm
}

TEST(FilterOrientationIntegration, DropsRatesOfOtherShapesWithoutATrace) {
    Harness h;
    step(h, 0.0, row({0, 0, 1}));
    for (const Matrix& bad : {column({0, 0, 9}), row({9, 9}), Matrix(0, 0), Matrix(Matrix::Ones(3, 3))}) {
        EXPECT_EQ(step(h, 0.5, bad).size(), 0);
    }
    // the step is from 0.0, not from 0.5; and stamps that stand still or go back are used as they are
    EXPECT_THAT(step(h, 1.0, row({0, 0, 1})), isNearMatrix(row({std::cos(0.5), 0, 0, std::sin(0.5)})));
    EXPECT_THAT(step(h, 1.0, row({0, 0, 1})), isNearMatrix(row({std::cos(0.5), 0, 0, std::sin(0.5)})));
    EXPECT_THAT(step(h, 0.0, row({0, 0, 1})), isNearMatrix(row({1, 0, 0, 0})));
}

TEST(FilterOrientationIntegration, FollowsAMotionAndReplaysItBitForBitAfterAReset) {
    const auto samples = record(Motion(), 20.0, 100.0);
    const double bounds[] = {0.02, 1e-4};  // rad, after 20 s at 100 Hz
    for (const int order : {0, 1}) {
        Harness h;
        h.set("order", std::to_string(order));
        const auto run = [&] {
            h.clear();
            h.feed("quat_0", 0.0, samples[0].truth.wxyz().transpose());
            for (const auto& sample : samples) {
                h.feed("omega_t", sample.t, sample.rate.transpose());
                h.process();
            }
            return h.sends();
        };
        const auto first = run();
        EXPECT_LT(angleBetween(first.back().value, samples.back().truth.R_earth_sensor), bounds[order]);
        h.command("reset");
        const auto second = run();
        ASSERT_EQ(first.size(), second.size());
        for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(first[i].value, second[i].value) << i;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
