#include "io/recording/SampleTrack.h"

#include <Kavelin/Testing/FilterHarness.h>

#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using At = SampleTrack::At;

Matrix turned(double angle) { return Eigen::AngleAxisd(angle, Eigen::Vector3d::UnitZ()).toRotationMatrix(); }
Matrix quaternion(double angle) { return row({std::cos(angle / 2), 0, 0, std::sin(angle / 2)}); }

TEST(SampleTrack, InterpolatesOnTheLineAndOnTheArc) {
    const struct {
        const char* name;
        Matrix a, b;
        At at;
        Matrix expected;  // a quarter of the way
    } rows[] = {
        {"a vector", row({0, 4, 8}), row({4, 4, 0}), At::kValue, row({1, 4, 6})},
        {"a quaternion", quaternion(0.2), quaternion(2.2), At::kValue, quaternion(0.7)},
        {"of the other sign", quaternion(0.2), -quaternion(2.2), At::kValue, quaternion(0.7)},
        {"a rotation", turned(0.2), turned(2.2), At::kValue, turned(0.7)},
        {"four numbers", row({0, 4, 8, 0}), row({4, 4, 0, 0}), At::kValue, row({1, 4, 6, 0})},
        {"another shape", row({0, 4, 8}), row({4, 4}), At::kMissing, {}},
    };
    for (const auto& r : rows) {
        SampleTrack track;
        Matrix value;
        ASSERT_TRUE(track.add(1.0, r.a));
        EXPECT_EQ(track.between(1.1, 0.5, value), At::kLater) << r.name;
        ASSERT_TRUE(track.add(1.4, r.b));
        EXPECT_EQ(track.between(1.0, 0.1, value), At::kValue) << r.name;
        EXPECT_EQ(value, r.a) << r.name;
        EXPECT_EQ(track.between(1.1, 0.5, value), r.at) << r.name;
        if (r.at == At::kValue) {
            EXPECT_THAT(value, isNearMatrix(r.expected)) << r.name;
        }
        EXPECT_EQ(track.between(1.1, 0.3, value), At::kMissing) << r.name << ": the gap is too long";
        EXPECT_EQ(track.between(1.4, 0.1, value), At::kValue) << r.name;
        EXPECT_EQ(value, r.b) << r.name;
    }
}

TEST(SampleTrack, HoldsTheNewestForAWhile) {
    SampleTrack track;
    Matrix value;
    EXPECT_EQ(track.newest(1.0, 1.0, value), At::kMissing);
    track.add(1.0, row({1}));
    EXPECT_EQ(track.newest(0.9, 1.0, value), At::kMissing);
    track.add(2.0, row({2}));
    EXPECT_FALSE(track.add(2.0, row({3})));
    for (const double t : {1.0, 1.9, 2.0, 2.5}) {
        EXPECT_EQ(track.newest(t, 1.0, value), At::kValue);
        EXPECT_EQ(value, row({t < 2.0 ? 1.0 : 2.0})) << t;
    }
    EXPECT_EQ(track.newest(3.1, 1.0, value), At::kMissing);
    EXPECT_EQ(track.between(0.9, 5.0, value), At::kMissing) << "before the first";
}

}  // namespace
}  // namespace Kavelin::RecordingIO
