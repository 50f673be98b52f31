#include "cli/plot/Trace.h"

#include <gmock/gmock.h>

#include <cmath>

namespace Kavelin::Cli {
namespace {

using Points = std::vector<Trace::Point>;

/// What a drawn line has at a time; NaN where it is parted.
double at(const Points& points, double t) {
    for (std::size_t i = 1; i < points.size(); ++i) {
        if (points[i].t < t || points[i - 1].t > t) continue;
        const double share =
            points[i].t > points[i - 1].t ? (t - points[i - 1].t) / (points[i].t - points[i - 1].t) : 0;
        return points[i - 1].value + share * (points[i].value - points[i - 1].value);
    }
    return std::nan("");
}

TEST(Trace, KeepsEndsPeaksAndGapsHoweverManySamplesThereAre) {
    Trace trace;
    for (int i = 0; i < 300000; ++i) {
        if (i > 100000 && i < 120000) continue;
        trace.add(0.01 * i, i == 54321 ? 7.0 : i == 200000 ? std::nan("") : std::sin(0.001 * i));
    }
    for (const std::size_t most : {100u, 1000u, 8000u}) {
        const Points points = trace.points(most);
        EXPECT_LE(points.size(), most + 10) << most;
        EXPECT_EQ(points.front().t, 0.0);
        EXPECT_EQ(points.back().t, 0.01 * 299999);
        EXPECT_THAT(points, testing::Contains(testing::Field(&Trace::Point::value, 7.0)));
        const auto parted = std::count_if(points.begin(), points.end(),
                                          [](const Trace::Point& p) { return std::isnan(p.value); });
        EXPECT_EQ(parted, 2);
        EXPECT_TRUE(std::isnan(at(points, 1100.0))) << "bridges the gap";
    }
    for (double t = 0.0; t < 500.0; t += 1.0)
        EXPECT_NEAR(at(trace.points(8000), t), std::sin(0.1 * t), 0.1) << t;
}

TEST(Trace, ASimplifiedLineStaysWithinTheTolerance) {
    Points points;
    for (int i = 0; i <= 1000; ++i) points.push_back({0.01 * i, i < 500 ? 3.0 : std::sin(0.01 * i)});
    const Points few = simplified(points, {0.01, 0.02});
    EXPECT_LT(few.size(), 40u);
    for (const Trace::Point& point : points) EXPECT_NEAR(at(few, point.t), point.value, 0.025) << point.t;
}

}  // namespace
}  // namespace Kavelin::Cli
