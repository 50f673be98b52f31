#include "attitude/FilterAbsoluteAttitude.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

// What it sends is in the program's cases; here, what each call takes.
TEST(FilterAbsoluteAttitude, TakesOnePairForEachRelativeSample) {
    const Matrix rel = (Matrix(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 9).finished();
    const Matrix inFrame = (Matrix(3, 3) << 4, 5, 6, -1, -2, -3, 7, 8, 9).finished();  // north lies along y
    const Matrix up = row({0, 0, 9.81}), field = row({0, 0.2, -0.4}), four = row({0, 0, 1, 1});
    struct Row {
        const char* rule;
        std::vector<Matrix> acc, mag;
        int rels;
        bool hasFrame, accLeft, magLeft;
    };
    const Row rows[] = {
        {"a pair without rel waits", {up}, {field}, 0, false, true, true},
        {"a pair counts for its rel and those after", {up}, {field}, 2, true, false, false},
        {"3a alone is taken, and not kept", {up}, {}, 2, false, false, false},
        {"3m alone stays", {}, {field}, 1, false, false, true},
        {"a 3a of four elements takes its 3m with it", {four}, {field}, 1, false, false, false},
        {"a bad pair keeps the frame", {up, up}, {field, four}, 2, true, false, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.rule);
        FilterHarness<FilterAbsoluteAttitude> h;
        h.feed("rel", 0, row({1, 2}));  // dropped, and takes no pair with it
        h.process();
        for (const Matrix& m : r.acc) h.feed("3a", 0, m);
        for (const Matrix& m : r.mag) h.feed("3m", 0, m);
        for (int i = 0; i < r.rels; ++i) h.feed("rel", i, rel);
        h.process(r.rels + 1);
        ASSERT_EQ(h.sends().size(), static_cast<std::size_t>(r.rels));
        if (r.rels > 0) {
            EXPECT_THAT(h.sends().back().value, isNearMatrix(r.hasFrame ? inFrame : rel));
        }
        EXPECT_EQ(!h.filter().getInputPin("3a").isEmpty(), r.accLeft);
        EXPECT_EQ(!h.filter().getInputPin("3m").isEmpty(), r.magLeft);
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
