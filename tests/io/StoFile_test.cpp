#include "io/writing/StoFile.h"

#include <fmt/ranges.h>

#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

CollectedTable tableOf(const std::vector<double>& times) {
    CollectedTable table{times, {{"pelvis_imu", {}, 1, 4, {}}, {"femur_r_imu", {}, 1, 4, {}}}};
    for (std::size_t row = 0; row < times.size(); ++row) {
        for (const double element : {1.0, 0.0, -0.5, 0.25}) table.arrays[0].values.push_back(element);
        for (const double element : {0.0, 1.0, 0.0, 0.0}) table.arrays[1].values.push_back(element);
    }
    return table;
}

TEST(StoFile, isATableOfOrientations) {
    const TemporaryFolder folder;
    writeSto(tableOf({678, 678.01, 678.01, 678.02}), folder.path("out.sto"));
    EXPECT_EQ(folder.read("out.sto"),
              "DataRate=100.000000\nDataType=Quaternion\nversion=3\nOpenSimVersion=4.2\nendheader\n"
              "time\tpelvis_imu\tfemur_r_imu\n678\t1,0,-0.5,0.25\t0,1,0,0\n678.01\t1,0,-0.5,0.25\t0,1,0,0\n"
              "678.02\t1,0,-0.5,0.25\t0,1,0,0\n");
    writeSto(tableOf({1}), folder.path("out.sto"));
    EXPECT_THAT(folder.read("out.sto"), testing::StartsWith("DataType=Quaternion\nversion=3\n"))
        << "no rate known";
}

TEST(StoFile, saysWhereItsRowsAreNotEvenlySpaced) {
    const auto notes = [](const std::vector<double>& times) {
        return fmt::format("{}", fmt::join(stoNotes(tableOf(times)), "; "));
    };
    EXPECT_EQ(notes({0, 0.007, 0.015, 0.023, 0.031}), "") << "128 Hz in whole milliseconds";
    EXPECT_EQ(notes({0, 0.01, 0.02, 0.5, 0.51, 0.52}),
              "the rows have 1 gap, the longest of 0.48 s, and DataRate 100 otherwise");
    EXPECT_EQ(notes({0, 0.01, 0.02, 0.033, 0.04}),
              "the rows are not evenly spaced: steps of 0.007 to 0.013 s, DataRate 100; resample the result");
    EXPECT_EQ(notes({0, 1, 1, 0.5, 2}), "2 rows left out: not later than the one before");
    CollectedTable lacking = tableOf({0, 1, 2});
    lacking.arrays[1].values[4] = std::nan("");
    EXPECT_THAT(stoNotes(lacking), ElementsAre("1 row without the orientation of every sensor: nan there"));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
