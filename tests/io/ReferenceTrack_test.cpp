#include "io/formats/ReferenceTrack.h"

#include "support/Matchers.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// About the vertical.
Quaternion turnedBy(double degrees) {
    const double half = degrees * M_PI / 360.0;
    return {std::cos(half), 0.0, 0.0, std::sin(half)};
}

TEST(ReferenceTrack, interpolatesOnTheShorterArcBetweenNearNeighbours) {
    const TemporaryFolder folder;
    ReferenceTrack track(
        folder.write("ref.csv",
                     "t,qw,qx,qy,qz\n"
                     "1,1,0,0,0\n"
                     "1.2,nan,nan,nan,nan\n"
                     "1.4,-0.7071067811865476,0,0,-0.7071067811865476\n"  // 90 degrees, other sign
                     "2,1,0,0,0\n"
                     "2.1,0,0,0,0\n"
                     "2.2,1,0,0,0\n"));
    const struct {
        double time;
        std::optional<double> degrees;
    } rows[] = {{0.5, {}},   {1.0, 0.0},  {1.1, 22.5},
                {1.3, 67.5}, {1.4, 90.0}, {1.7, {}},  // 0.6 s between neighbours
                {2.0, 0.0},  {2.15, 0.0}, {2.3, {}}};
    for (const auto& row : rows) {
        const auto pose = track.at(row.time);
        ASSERT_EQ(pose.has_value(), row.degrees.has_value()) << row.time;
        if (!pose) continue;
        EXPECT_LT(angleBetween(*pose, turnedBy(*row.degrees)), 1e-7) << row.time;
        EXPECT_NEAR(pose->norm(), 1.0, 1e-12);
    }
    EXPECT_THROW(ReferenceTrack(folder.write("none.csv", "t,ax,ay,az\n")), Poco::DataFormatException);
}

TEST(ReferenceTrack, isOneOfSeveralSensorsByItsName) {
    const TemporaryFolder folder;
    const std::string path = folder.write("o.sto",
                                          "DataType=Quaternion\nendheader\ntime\tthigh\tshank\n"
                                          "0\t1,0,0,0\t0,0,0,1\n0.4\t1,0,0,0\t0,0,0,1\n");
    EXPECT_NEAR(ReferenceTrack(path + "#shank").at(0.2).value()[3], 1.0, 1e-12);
    EXPECT_THAT(outcome([&] { ReferenceTrack track(path); }),
                HasSubstr("it holds 2 sensors: thigh, shank; choose one: " + path + "#thigh"));
    EXPECT_THAT(outcome([&] { ReferenceTrack track(path + "#foot"); }), HasSubstr("no sensor 'foot'"));
    const std::string marked = folder.write("take#2.csv", "t,qw,qx,qy,qz\n0,0,0,1,0\n");
    EXPECT_EQ(ReferenceTrack(marked).at(0.0).value()[2], 1.0);
}

TEST(Intervals, containTheirStartAndNotTheirEnd) {
    const TemporaryFolder folder;
    const Intervals some = Intervals::open(folder.write("m.csv", "t_start,t_end\n1,2\n5,6.5\n"));
    for (const double inside : {1.0, 1.999, 5.0, 6.0}) EXPECT_TRUE(some.contains(inside)) << inside;
    for (const double outside : {0.0, 2.0, 4.9, 6.5}) EXPECT_FALSE(some.contains(outside)) << outside;
    EXPECT_TRUE(Intervals().contains(-1e9));
    EXPECT_THROW(Intervals::open(folder.write("x.csv", "from,to\n1,2\n")), Poco::DataFormatException);
    EXPECT_THROW(Intervals::open(folder.write("y.csv", "t_start,t_end\n1,2\n4,3\n")),
                 Poco::DataFormatException);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
