#include <Kavelin/Core/SampleInterval.h>

#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

TEST(SampleInterval, IsTheMedianOfTheLastSixteenStepsForward) {
    const auto usual = [](const std::vector<double>& times) {
        SampleInterval interval;
        for (const double t : times) interval.add(t);
        return interval.usual();
    };
    EXPECT_EQ(usual({7}), 0.0) << "no step yet";
    EXPECT_EQ(usual({0, 0.25, 6, 6.25}), 0.25);
    EXPECT_EQ(usual({0, 3, 3, 3, 2, 5}), 3.0) << "a time again, or an earlier one, is no step";
    EXPECT_EQ(usual({-kInfinity, 0, 3, kInfinity, kNaN}), 3.0);
    std::vector<double> slower;
    for (int i = 0; i < 40; ++i) slower.push_back(i < 20 ? i : 20 + 2 * (i - 20));
    EXPECT_EQ(usual(slower), 2.0);
    EXPECT_EQ(usual({0, 1, 3, 6, 10, 15}), 3.0);
}

}  // namespace
}  // namespace Kavelin::Core
