#include "attitude/FilterAbsoluteAttitude.h"

#include "support/FilterHarness.h"
#include "support/Matchers.h"
#include "support/RotationCases.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Testing::row;
using Tests::isNearMatrix;

const Matrix kRel = (Matrix(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 9).finished();
const Matrix kUp = row({0, 0, 9.81});
const Matrix kWestward = row({0, 0.2, -0.4});  // a field that lies along the sensor's y axis
const Matrix kWestwardFrame = (Matrix(3, 3) << 0, 1, 0, -1, 0, 0, 0, 0, 1).finished();

TEST(FilterAbsoluteAttitude, MultipliesByTheLatestCompletePair) {
    FilterHarness<FilterAbsoluteAttitude> h;
    h.feed("rel", 1, kRel);
    h.process();
    h.feed("3a", 1.4, kUp);
    h.feed("3m", 1.5, kWestward);
    h.feed("rel", 2, kRel);
    h.feed("rel", 3, kRel);
    h.process(2);
    ASSERT_EQ(h.sends().size(), 3u);
    EXPECT_EQ(h.sends()[0].value, kRel) << "the identity before any pair";
    for (const std::size_t i : {1u, 2u}) {
        EXPECT_EQ(h.sends()[i].t, i == 1 ? 2 : 3) << "stamped like rel";
        EXPECT_THAT(h.sends()[i].value, isNearMatrix(kWestwardFrame * kRel));
    }
}

TEST(FilterAbsoluteAttitude, TakesOnePairForEachRelativeSample) {
    struct Row {
        const char* rule;
        std::vector<Matrix> acc, mag;
        int rels;
        bool hasFrame;
        bool accLeft, magLeft;
    };
    const Matrix four = row({0, 0, 1, 1});
    const Row rows[] = {
        {"a pair without rel waits", {kUp}, {kWestward}, 0, false, true, true},
        {"3a alone is taken", {kUp}, {}, 1, false, false, false},
        {"3m alone stays", {}, {kWestward}, 1, false, false, true},
        {"3a is not kept for a later 3m", {kUp}, {}, 2, false, false, false},
        {"columns do", {kUp.transpose()}, {kWestward.transpose()}, 1, true, false, false},
        {"a 3a of four elements takes its 3m with it", {four}, {kWestward}, 1, false, false, false},
        {"a 3m of four elements", {kUp}, {four}, 1, false, false, false},
        {"the second pair counts from the second rel on",
         {four, kUp},
         {four, kWestward},
         2,
         true,
         false,
         false},
        {"the first pair is not skipped", {kUp, four}, {kWestward, four}, 2, true, false, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.rule);
        FilterHarness<FilterAbsoluteAttitude> h;
        for (const Matrix& m : r.acc) h.feed("3a", 0, m);
        for (const Matrix& m : r.mag) h.feed("3m", 0, m);
        for (int i = 0; i < r.rels; ++i) h.feed("rel", i, kRel);
        h.process(r.rels + 1);
        EXPECT_EQ(h.sends().size(), static_cast<std::size_t>(r.rels));
        if (!h.sends().empty()) {
            const Matrix expected = r.hasFrame ? Matrix(kWestwardFrame * kRel) : kRel;
            EXPECT_THAT(h.sends().back().value, isNearMatrix(expected));
        }
        EXPECT_EQ(!h.filter().getInputPin("3a").isEmpty(), r.accLeft);
        EXPECT_EQ(!h.filter().getInputPin("3m").isEmpty(), r.magLeft);
    }
}

TEST(FilterAbsoluteAttitude, RelativeSampleNeedsNineElementsInAnyShape) {
    FilterHarness<FilterAbsoluteAttitude> h;
    h.feed("3a", 0, kUp);
    h.feed("3m", 0, kWestward);
    for (const Matrix& wrong : {Matrix(Matrix::Ones(2, 4)), Matrix(Matrix::Ones(3, 4)), Matrix()})
        h.feed("rel", 0, wrong);
    h.process(3);
    EXPECT_TRUE(h.sends().empty());
    EXPECT_FALSE(h.filter().getInputPin("3a").isEmpty()) << "a dropped rel leaves the pair";
    h.feed("rel", 1, row({1, 2, 3, 4, 5, 6, 7, 8, 9}));
    h.feed("rel", 2, column({1, 2, 3, 4, 5, 6, 7, 8, 9}));
    h.process(2);
    ASSERT_EQ(h.sends().size(), 2u);
    for (const auto& sent : h.sends())
        EXPECT_THAT(sent.value, isNearMatrix(kWestwardFrame * kRel)) << "row by row";
}

TEST(FilterAbsoluteAttitude, DegenerateVectorsGiveAFrameWithZeroRows) {
    FilterHarness<FilterAbsoluteAttitude> h;
    h.feed("3a", 0, kUp);
    h.feed("3m", 0, 3 * kUp);
    h.feed("rel", 0, Matrix::Identity(3, 3));
    h.process();
    Matrix onlyUp = Matrix::Zero(3, 3);
    onlyUp(2, 2) = 1;
    EXPECT_THAT(h.sends().at(0).value, isNearMatrix(onlyUp));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
