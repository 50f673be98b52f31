#include "converters/FilterCompass.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(FilterCompass, TurnsFieldsIntoAngles) {
    struct {
        Matrix field, out;
    } const rows[] = {
        {row({1, 0, 0}), row({0, 0, 1})},
        {row({0, 1, 0}), row({-kPi / 2, 0, 1})},
        {row({0, 0, 0}), row({0, 0, 0})},
        {row({0, 0, 2}), row({0, kPi / 2, 2})},
        {row({1e-6, 0, 0}), row({0, 0, 1e-6})},        // exactly at the threshold: no direction
        {row({-2e-6, 0, 0}), row({-kPi, kPi, 2e-6})},  // above it; the negated y is -0.0
        {row({3, -3, 3}), row({kPi / 4, kPi / 4, std::sqrt(27.0)})},
        {row({1, 0, 0, 9}), row({0, 0, 1})},  // what follows the third element does not count
    };
    for (const auto& [field, out] : rows) {
        FilterHarness<FilterCompass> compass;
        compass.feed("inMag", 1.5, field);
        compass.process();
        ASSERT_EQ(compass.sends().size(), 1u) << field;
        EXPECT_EQ(compass.sends()[0].t, 1.5);
        EXPECT_TRUE(compass.sends()[0].value.isApprox(out, 1e-15) ||
                    (compass.sends()[0].value - out).isZero(1e-15))
            << compass.sends()[0].value << " for " << field;
    }
}

TEST(FilterCompass, NotANumberHasNoDirection) {
    FilterHarness<FilterCompass> compass;
    compass.feed("inMag", 0, row({kNaN, 1, 1}));
    compass.process();
    ASSERT_EQ(compass.sends().size(), 1u);
    EXPECT_EQ(compass.sends()[0].value(0, 0), 0.0);
    EXPECT_EQ(compass.sends()[0].value(0, 1), 0.0);
    EXPECT_TRUE(std::isnan(compass.sends()[0].value(0, 2)));
}

TEST(FilterCompass, DropsOtherShapesButConsumesThem) {
    for (const Matrix& shape : {column({1, 2, 3}), row({1, 2}), Matrix(), Matrix(Matrix::Ones(0, 3))}) {
        FilterHarness<FilterCompass> compass;
        compass.feed("inMag", 7, shape);
        compass.process();
        EXPECT_TRUE(compass.sends().empty());
        EXPECT_EQ(compass.filter().getInputPin("inMag").getLastTimeStamp(), 7.0);
        EXPECT_TRUE(compass.filter().getInputPin("inMag").isEmpty());
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
