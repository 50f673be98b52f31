#include "io/files/ForeignFormat.h"

#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using namespace std::string_view_literals;

TEST(ForeignFormat, isToldByItsFirstBytes) {
    const struct {
        std::string_view first;
        const char* name;
    } rows[] = {
        {"#ROSBAG V2.0\n"sv, "a ROS 1 bag"},
        {"#ROSE,t,ax"sv, ""},
        {"\x89MCAP0\r\n"sv, "an MCAP log"},
        {"ULog\x01\x12\x35\x01"sv, "a PX4 log"},
        {"ULog time,ax"sv, ""},
        {"\x89HDF\r\n\x1A\n"sv, "an HDF5 file"},
        {"MATLAB 7.3 MAT-file, Platform"sv, "a MATLAB 7.3 file"},
        {"MATLAB 5.0 MAT-file, Platform"sv, "a MATLAB file"},
        {"PK\3\4\x14\0\6\0\b\0\0\0!\0\0\0\0\0\0\0\0\0\0\0\0\0\x13\0\0\0[Content_Types].xml"sv,
         "an Excel workbook"},
        {"PK\3\4\x14\0\0\0\0\0\0\0!\0\0\0\0\0\0\0\0\0\0\0\0\0\5\0\0\0t.npy"sv, "an archive of NumPy"},
        {"PK\3\4\x14\0\0\0\0\0\0\0!\0\0\0\0\0\0\0\0\0\0\0\0\0\5\0\0\0t.csv"sv, "a zip archive"},
        {"SQLite format 3\0 CREATE TABLE messages(id) CREATE TABLE topics(id"sv, "a ROS 2 bag"},
        {"SQLite format 3\0 CREATE TABLE imu(t"sv, "a SQLite database"},
        {"PAR1\x15\4"sv, "a Parquet table"},
        {"PAR1,PAR2\n"sv, ""},
        {"\0\0\xFE\xFF\0\0\0t"sv, "a text in UTF-32"},
        {"\xFD\x37zXZ\0"sv, "compressed"},
        {"t,ax\n1,\0\n"sv, "in a binary format"},
        {"\1\2\3abcdefghijk"sv, "in a binary format"},
        {"t;Winkel (\xB0);Feld (\xB5T)\n\x1A"sv, ""},
        {"t,ax,ay\r\n\v\f\x1B[0m"sv, ""},
        {""sv, ""},
    };
    for (const auto& row : rows) {
        const std::string said = foreignFormat(row.first, "rec.x");
        if (*row.name == '\0')
            EXPECT_EQ(said, "") << row.first;
        else
            EXPECT_THAT(said, testing::StartsWith(std::string("the file is ") + row.name)) << row.first;
        EXPECT_THAT(said, testing::Not(HasSubstr("<"))) << "a part that is not replaced";
    }
    EXPECT_THAT(
        foreignFormat("\x93NUMPY\1", "/data/Tom's.npy"),
        AllOf(HasSubstr("np.load('/data/Tom\\'s.npy')\n"), HasSubstr("np.savetxt('Tom\\'s.csv', a, ")));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
