#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Typed/StampMatcher.h>
#include <Kavelin/Typed/TakeTogether.h>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

/// Three inputs and what feeds them.
struct Three {
    OutputPin<Matrix> out[3]{{"x", nullptr}, {"y", nullptr}, {"z", nullptr}};
    InputPin<Matrix> in[3]{{"a", nullptr, kRate}, {"b", nullptr, kRate}, {"c", nullptr, kRate}};
    Three() {
        for (int i = 0; i < 3; ++i) connect(out[i], in[i], {.direct = true});
    }
    void send(int pin, double t, Eigen::Index cols = 3) {
        out[pin].value() = Matrix::Constant(1, cols, t);
        out[pin].send(t);
    }
};

TEST(TakeTogether, TakesAllOrNoneAndHoldsWhatTheRuleSays) {
    for (const bool holdsAll : {false, true}) {
        Three pins;
        const auto take = [&] {
            return holdsAll ? holdAndTakeTogether(pins.in[0], pins.in[1], pins.in[2])
                            : takeTogether(pins.in[0], pins.in[1], pins.in[2]);
        };
        pins.send(0, 1);
        pins.send(2, 3);
        EXPECT_FALSE(take());
        EXPECT_TRUE(pins.in[0].isHolding());
        EXPECT_EQ(pins.in[2].isHolding(), holdsAll) << "behind the first that has none";
        pins.send(1, 2, 4);
        pins.send(1, 9);
        EXPECT_TRUE(take());
        EXPECT_EQ(newestStamp(pins.in[0], pins.in[1], pins.in[2]), 3);
        EXPECT_FALSE(allFit(pins.in[0], pins.in[1], pins.in[2])) << "1x4";
        EXPECT_TRUE(allFit(pins.in[0], pins.in[2]));
        EXPECT_EQ(pins.in[1].getMisfits(), 1u);
        EXPECT_FALSE(take()) << "what waits of one input stays";
        EXPECT_EQ(pins.in[1].getConsumed(), 1u);
    }
}

TEST(TakeTogether, StampsDecideWhichSamplesBelongTogether) {
    using Taken = StampMatcher::Taken;
    for (const bool mayStandAlone : {false, true}) {
        Three pins;
        StampMatcher matcher;
        for (const double t : {0.0, 1.0, 2.0, 3.0}) pins.send(0, t);
        for (const double t : {-1.0, 0.4, 2.4, 3.0}) pins.send(1, t);
        std::string taken;
        for (Taken what; (what = matcher.take(pins.in[0], pins.in[1], mayStandAlone)) != Taken::kNothing;)
            taken += what == Taken::kPair ? 'p' : 'f';
        EXPECT_EQ(taken, mayStandAlone ? "pfpp" : "ppp");
        EXPECT_EQ(pins.in[0].getPassedOver(), mayStandAlone ? 0u : 1u) << "at 1, whose partner did not come";
        EXPECT_EQ(pins.in[1].getPassedOver(), 1u) << "at -1";
    }
    const struct {
        const char* rule;
        std::vector<double> first, second;
        const char* pairs;
    } rows[] = {
        {"up to half a step apart",
         {0, .1, .2, .3, .4, .5},
         {0, .1, .25, .351},
         "0:0 0.1:0.1 0.2:0.25 0.4:0.351 "},
        {"the smaller step counts",
         {0, .1, .2, .3, .4, .5, .6},
         {0, .2, .46, .63},
         "0:0 0.2:0.2 0.5:0.46 0.6:0.63 "},
        {"whichever has it",
         {0, .2, .46, .63},
         {0, .1, .2, .3, .4, .5, .6, .7},
         "0:0 0.2:0.2 0.46:0.5 0.63:0.6 "},
        {"a step is known of one alone", {0, .1, .2}, {9}, ""},
        {"of the other alone", {9}, {0, .1, .2}, ""},
        {"no step is known, and a newer one waits", {0, 9}, {8}, "9:8 "},
        {"no step is known, and no newer one waits", {0}, {8}, "0:8 "},
    };
    for (const auto& row : rows) {
        Three pins;
        StampMatcher matcher;
        for (const double t : row.first) pins.send(0, t);
        for (const double t : row.second) pins.send(1, t);
        std::ostringstream pairs;
        while (matcher.take(pins.in[0], pins.in[1]) == Taken::kPair)
            pairs << pins.in[0].lastTimeStamp() << ':' << pins.in[1].lastTimeStamp() << ' ';
        EXPECT_EQ(pairs.str(), row.pairs) << row.rule;
    }
}

}  // namespace
}  // namespace Kavelin::Core
