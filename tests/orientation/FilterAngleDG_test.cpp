#include "orientation/FilterAngleDG.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterAngleDG>;

Matrix turnedAbout(const Eigen::Vector3d& axis, double angle) {
    return Eigen::AngleAxisd(angle, axis.normalized()).toRotationMatrix();
}

TEST(FilterAngleDG, PairsOneToOneAndStampsWithTheLater) {
    Harness h;
    h.feed("G", 1.0, turnedAbout({0, 0, 1}, 0.3));
    h.process(2);
    EXPECT_TRUE(h.sends().empty());
    h.feed("D", 1.5, row({1, 0, 0, 0}));
    h.process(2);
    h.feed("G", 2.0, turnedAbout({1, 0, 0}, 0.4));
    h.feed("D", 2.0, row({-2, 0, 0, 0}));  // any length and sign
    h.process(2);
    ASSERT_EQ(h.sends().size(), 8U);
    const char* const pins[] = {"angle", "twist", "swing", "relative"};
    for (std::size_t i = 0; i < 8; ++i) {
        EXPECT_EQ(h.sends()[i].pin, pins[i % 4]);
        EXPECT_EQ(h.sends()[i].t, i < 4 ? 1.5 : 2.0);
    }
    const double expected[] = {0.3, 0.3, 0.0, 0, 0.4, 0.0, 0.4};
    for (const std::size_t i : {0U, 1U, 2U, 4U, 5U, 6U}) {
        EXPECT_NEAR(h.sends()[i].value(0, 0), expected[i], 1e-12) << i;
    }
    EXPECT_THAT(h.sends()[7].value, isNearMatrix(row({std::cos(0.2), std::sin(0.2), 0, 0})));
}

double knee(double t) { return 0.5 + 0.5 * std::sin(5.0 * t); }  // rad; at most 2.5 rad/s

TEST(FilterAngleDG, TakesAttitudesOfOneTimeTogether) {
    const struct {
        const char* name;
        double start, step;  // of G; D has 0 and 0.01 s
        unsigned lostOneIn;
        double error;  // rad: the knee's speed times half of the smaller step
        std::size_t least;
    } rows[] = {
        {"the same clock", 0.0, 0.01, 0, 1e-9, 1990},  // the first step is not known
        {"lost samples", 0.0, 0.01, 50, 1e-9, 1950},
        {"a late start", 3.0, 0.01, 0, 1e-9, 1690},
        {"half the rate", 0.0, 0.02, 0, 1e-9, 990},
        {"a clock of its own", 0.004, 0.0103, 0, 2.5 * 0.0051, 1850},
    };
    for (const auto& r : rows) {
        Harness h;
        unsigned g = 0;
        for (int d = 0; d < 2000; ++d) {
            const double now = 0.01 * d;
            h.feed("D", now, row({1, 0, 0, 0}));
            for (; r.start + r.step * g < now + 1e-9; ++g) {
                if (r.lostOneIn == 0 || g % r.lostOneIn != 7) {
                    const double t = r.start + r.step * g;
                    h.feed("G", t, turnedAbout({0, 0, 1}, knee(t)));
                }
            }
            h.process(2);
        }
        EXPECT_GE(h.sent("angle").size(), r.least) << r.name;
        for (const Sent& angle : h.sent("angle"))
            ASSERT_NEAR(angle.value(0, 0), knee(angle.t), r.error) << r.name << " at " << angle.t;
    }
}

TEST(FilterAngleDG, DropsAPairThatIsNoPairOfRotationsAndKeepsTheRequest) {
    Harness h;
    h.command("Reference");
    const Matrix good = row({1, 0, 0, 0});
    const Matrix bad[] = {row({0, 0, 0, 0}), row({kNaN, 0, 0, 0}),         row({1, 0, 0}),
                          good.transpose(),  Matrix::Constant(3, 3, kNaN), Matrix(0, 0)};
    for (const Matrix& one : bad) {
        h.feed("D", 0.0, one);
        h.feed("G", 0.0, good);
        h.feed("D", 0.0, good);
        h.feed("G", 0.0, one);
    }
    h.process(12);
    EXPECT_TRUE(h.sends().empty());
    h.feed("D", 0.0, good);
    h.feed("G", 0.0, turnedAbout({0, 0, 1}, 0.5));
    h.process();
    EXPECT_NEAR(h.sent("twist").back().value(0, 0), 0.0, 1e-12);
}

TEST(FilterAngleDG, MeasuresTheTwistAboutItsAxis) {
    Harness h;
    h.set("axis", "1 3 5 0 0");
    h.feed("D", 0.0, row({1, 0, 0, 0}));
    h.feed("G", 0.0, turnedAbout({1, 0, 0}, -0.5));
    h.process();
    EXPECT_NEAR(h.sent("twist").back().value(0, 0), -0.5, 1e-12);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
