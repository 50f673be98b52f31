#include "orientation/FilterQuaternionFilter.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterQuaternionFilter>;

Matrix turned(double angle) { return row({std::cos(angle / 2), 0, 0, std::sin(angle / 2)}); }

/// How many of the next samples pass unchanged; those after the history is full do not,
/// as the motion is not steady.
int passedUnchanged(Harness& h) {
    for (int i = 0; i < 12; ++i) {
        const Matrix q = turned(0.01 * i * i);
        h.clear();
        h.feed("in", i, q);
        h.process();
        if (h.sends().empty() || h.sends().back().value != q) return i;
    }
    return 12;
}

TEST(FilterQuaternionFilter, PassesSamplesWhileItsHistoryFills) {
    Harness h;
    EXPECT_EQ(passedUnchanged(h), 2);
    h.set("alphas", "1 5 1 2 3 2 1");
    EXPECT_EQ(passedUnchanged(h), 4);  // emptied, and longer
    h.set("alphas", "1 5 1 2 3 2 1");
    EXPECT_EQ(passedUnchanged(h), 4);  // the same value again empties it too
    EXPECT_THROW(h.set("alphas", "1 4 1 2 3 4"), Poco::DataFormatException);
    EXPECT_EQ(passedUnchanged(h), 0);  // a refused value does not
}

TEST(FilterQuaternionFilter, TakesFourElementsOfAnyShapeAndDropsOthers) {
    Harness h;
    const Matrix square = (Matrix(2, 2) << 0.5, 0.5, -0.5, 0.5).finished();
    for (const Matrix& sample : {square, row({1, 2, 3}), column({0.5, 0.5, -0.5, 0.5}), Matrix(0, 4)}) {
        h.feed("in", 3.0, sample);
    }
    h.process(4);
    ASSERT_EQ(h.sends().size(), 2U);
    for (const auto& sent : h.sends()) EXPECT_EQ(sent.value, row({0.5, 0.5, -0.5, 0.5}));
    // third in the history: -0.25 and 0.25 of the turns 0 and 0.4 about z, onto the newest
    const Eigen::Quaterniond start(0.5, 0.5, -0.5, 0.5);
    const auto onto = [&](double angle) -> Matrix {
        const Matrix turn = turned(angle);
        const Eigen::Quaterniond q = start * Eigen::Quaterniond(turn(0), turn(1), turn(2), turn(3));
        return row({q.w(), q.x(), q.y(), q.z()});
    };
    h.feed("in", 4.0, onto(0.4));
    h.process();
    EXPECT_EQ(h.sends().back().t, 4.0);
    EXPECT_THAT(h.sends().back().value, isNearMatrix(onto(0.5)));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
