#include "converters/FilterOmegaToMatrix.h"

#include "support/FilterHarness.h"
#include "support/Matchers.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Testing::row;
using Tests::isNearMatrix;

const Matrix kIdentity = Matrix::Identity(3, 3);

TEST(FilterOmegaToMatrix, SendsTheTurnSinceThePreviousAcceptedSample) {
    FilterHarness<FilterOmegaToMatrix> h;
    h.feed("omega", 1, row({1, 2, 3}));
    for (const Matrix& wrong : {column({0, 0, 1}), row({0, 0}), row({0, 0, 1, 0}), Matrix()})
        h.feed("omega", 1.2, wrong);
    h.feed("omega", 1.5, row({0, 0, 1}));
    h.process(6);
    ASSERT_EQ(h.sends().size(), 2u);
    EXPECT_EQ(h.sends()[0].value, kIdentity);
    EXPECT_EQ(h.sends()[0].t, 1);
    EXPECT_THAT(h.sends()[1].value,
                isNearMatrix(Eigen::AngleAxisd(0.5, Eigen::Vector3d::UnitZ()).toRotationMatrix()))
        << "what was dropped did not move the time";
    EXPECT_EQ(h.sends()[1].t, 1.5);
}

TEST(FilterOmegaToMatrix, ClearForgetsThePreviousSample) {
    FilterHarness<FilterOmegaToMatrix> h;
    h.feed("omega", 1, row({1, 2, 3}));
    h.process();
    h.command("Clear");
    h.feed("omega", 2, row({1, 2, 3}));
    h.process();
    EXPECT_EQ(h.sends().at(1).value, kIdentity);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
