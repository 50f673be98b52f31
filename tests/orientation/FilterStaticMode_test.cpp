#include "orientation/FilterStaticMode.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterStaticMode>;
/// The 5x2 score matrix as "score/flag score/flag ...".
std::string textOf(const Matrix& scores) {
    std::ostringstream text;
    for (Eigen::Index i = 0; i < scores.rows(); ++i) text << scores(i, 0) << '/' << scores(i, 1) << ' ';
    return text.str();
}

TEST(FilterStaticMode, WritesScoresAsComputedAndFlagsAsUsed) {
    const Matrix acc = row({0, 0, 10}), mag = row({40, 0, 0}), none;
    struct Row {
        const char* name;
        Matrix acc, mag;
        const char *settings, *scores;
    };
    const Row rows[] = {
        {"the reference", acc, mag, "", "1/1 1/1 1/1 1/1 1/1 "},
        {"twice and half", 2 * acc, 0.5 * mag, "", "0.25/0 0.5/0 0.5/0 1/1 1/1 "},
        {"equal to the threshold does not pass", 2 * acc, mag, "ThresholdAcc=0.5 ThresholdAll=0.49",
         "0.5/1 0.5/0 1/1 1/1 1/1 "},
        {"only an acceleration", acc, none, "", "0/0 1/1 0/0 0/0 1/1 "},
        {"the others not used", acc, none, "UseMag=0 UseCosGB=0", "1/1 1/1 0/1 0/1 1/1 "},
        {"nothing used, nothing matching", 2 * acc, 4 * mag, "UseAcc=0 UseMag=0 UseCosGB=0 UseGyr=0",
         "1/1 0.5/1 0.25/1 1/1 1/1 "},
        {"a threshold of one is never passed", acc, mag,
         "ThresholdAll=1 ThresholdAcc=1 ThresholdMag=1 ThresholdCosGB=1 ThresholdGyr=1",
         "1/0 1/0 1/0 1/0 1/0 "},
        {"a right angle became a straight one", row({10, 0, 0}), mag, "", "0/0 1/1 1/1 0/0 1/1 "},
    };
    for (const Row& row_ : rows) {
        Harness h;
        h.feed("3a", 0.0, acc);
        h.feed("3m", 0.0, mag);
        h.process();
        h.clear();
        h.setAll(row_.settings);
        if (row_.acc.size() > 0) h.feed("3a", 1.0, row_.acc);
        if (row_.mag.size() > 0) h.feed("3m", 2.0, row_.mag);
        h.process();
        ASSERT_EQ(h.sends().size(), 1U) << row_.name;
        EXPECT_EQ(textOf(h.sends()[0].value), row_.scores) << row_.name;
        EXPECT_EQ(h.sends()[0].t, row_.mag.size() > 0 ? 2.0 : 1.0) << row_.name << ": the field's time wins";
    }
}

TEST(FilterStaticMode, SendsNothingWithoutAVectorAndKeepsTheRequest) {
    Harness h;
    h.feed("3g", 0.0, row({1, 2, 3}));
    h.feed("3a", 0.0, column({0, 0, 10}));
    h.feed("3m", 0.0, row({1, 2}));
    h.process(2);
    EXPECT_TRUE(h.sends().empty());
    EXPECT_TRUE(h.filter().getInputPin("3g").isEmpty()) << "taken, though nothing uses it";
    for (const double scale : {1.0, 0.5}) {  // the first is the reference
        h.feed("3a", 1.0, scale * row({0, 0, 10}));
        h.process();
        EXPECT_EQ(h.sends().back().value(1, 0), scale);
    }
    h.command("Reference");
    h.process();
    h.feed("3a", 2.0, row({0, 0, 5}));
    h.process();
    EXPECT_EQ(h.sends().back().value(1, 0), 1.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
