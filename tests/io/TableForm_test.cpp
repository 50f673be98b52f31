#include <fmt/format.h>
#include <fmt/ranges.h>

#include "io/recording/RecordingReader.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// "decisions | 3a 0.1,0.2,9.8 3g 0.01,0.02,0.03 | 0 to 0.29 s, 3 lost": how a table is read, the first values in base
/// units, and the times; or why it is refused.
std::string told(const std::string& text, double rate) {
    std::string out;
    const std::string refusal = outcome([&] {
        ReaderOptions options;
        options.rate = rate;
        RecordingReader reader(memorySource(text), "rec", options);
        out = fmt::format("{} |", fmt::join(reader.schema().decisions, "; "));
        double first = 0.0, last = 0.0;
        std::uint64_t rows = 0, lost = 0;
        for (auto next = reader.next(); next != RowReader::Next::kEnd; next = reader.next(), ++rows) {
            if (next == RowReader::Next::kFault) throw Poco::DataFormatException(reader.message());
            last = reader.row().time();
            lost += reader.row().lost();
            if (rows > 0) continue;
            first = last;
            for (std::size_t i = 0; i < reader.schema().channels.size(); ++i) {
                const Channel& channel = reader.schema().channels[i];
                const double* values = reader.row().values(i);
                out += fmt::format(" {} {:.3g}", channel.pin,
                                   fmt::join(std::vector<double>(values, values + channel.size()), ","));
            }
        }
        out += fmt::format(" | {:.9g} to {:.6g} s{}", first, last - first,
                           lost > 0 ? fmt::format(", {} lost", lost) : std::string());
    });
    return refusal == "accepted" ? out : refusal;
}

const std::string kNames = "ax,ay,az,gx,gy,gz\n";
const std::string kValues = ",0,1,9.5,1,2,3";
const std::string kRead = " | 3a 0,1,9.5 3g 1,2,3 | ";

/// Rows 0 to 19, each with a time of its own.
std::string table(const std::string& top, const std::function<std::string(int)>& time,
                  const std::string& rest) {
    std::string text = top;
    for (int i = 0; i < 20; ++i) text += time(i) + rest + "\n";
    return text;
}

std::string inSeconds(int i) { return fmt::format("{:.2f}", i * 0.01); }

TEST(TableForm, isFoundOut) {
    const auto counter = [](std::uint64_t from, std::uint64_t range, std::uint64_t step) {
        return [=](int i) { return std::to_string((from + step * static_cast<std::uint64_t>(i)) % range); };
    };
    const std::uint64_t k16 = 1 << 16, k32 = std::uint64_t{1} << 32;
    const struct {
        const char* rule;
        std::string text;
        double rate;
        std::string expected;
    } rows[] = {
        {"the plain table decides nothing", table("t," + kNames, inSeconds, kValues), 0,
         kRead + "0 to 0.19 s"},
        {"semicolons and decimal commas",
         table(
             "Zeit;ax;ay;az;gx;gy;gz\n", [](int i) { return fmt::format("0,{:02}", i); }, ";0;1;9,5;1;2;3"),
         0, "semicolon; decimal comma" + kRead + "0 to 0.19 s"},
        {"decimal commas in quotes",
         table(
             "t,ax,ay,az,gx,gy,gz\n", [](int i) { return fmt::format("\"0,{:02}0\"", i); },
             ",0,1,\"9,5\",1,2,3"),
         0, "decimal comma" + kRead + "0 to 0.19 s"},
        {"each blank separates where it fits: here is an empty cell",
         table("t ax ay az gx gy gz\n", inSeconds, "  1 9.5 1 2 3"), 0,
         "blank | 3a nan,nan,nan 3g 1,2,3 | 0 to 0.19 s"},
        {"blanks that align",
         table(
             "   t   ax ay az    gx gy gz\n", [](int i) { return "  " + inSeconds(i); },
             "   0  1   9.5   1 2  3"),
         0, "blank" + kRead + "0 to 0.19 s"},
        {"lines about the file, with a rate, above a counter of 16 bits",
         table("Device: X\nSample Rate:,50,Hz\nPacketCounter," + kNames, counter(65530, k16, 1), kValues), 0,
         "time from PacketCounter at 50 Hz" + kRead + "0 to 0.38 s"},
        {"lines about the file without a mark, with a rate and a date",
         table(
             "Export v2.1\nDate,2020-01-02 10:11:12\nSampling rate,50\nSerial 12345\nPacketCounter," + kNames,
             counter(0, k16, 1), kValues),
         0, "time from PacketCounter at 50 Hz" + kRead + "0 to 0.38 s"},
        {"a counter of a byte", table("PacketCounter," + kNames, counter(250, 256, 1), kValues), 100,
         "time from PacketCounter at 100 Hz" + kRead + "0 to 0.19 s"},
        {"a counter of 32 bits in steps of two",
         table("Sample," + kNames, counter(k32 - 10, k32, 2), kValues), 100,
         "time from Sample at 100 Hz" + kRead + "0 to 0.19 s"},
        {"packets that are lost are a gap, and counted",
         table(
             "PacketCounter," + kNames, [](int i) { return std::to_string(i < 9 ? i : i + 3); }, kValues),
         100, "time from PacketCounter at 100 Hz" + kRead + "0 to 0.22 s, 3 lost"},
        {"rates of other sensors above the table",
         table("EMG Sampling Rate: 2000\nIMU Sampling Rate: 100\nSample," + kNames, counter(0, k32, 1),
               kValues),
         0,
         "Poco::DataFormatException: rec:3: no time column: found 3a (ax, ay, az), 3g (gx, gy, gz); unknown: "
         "Sample. The lines above it give two rates, 2000 and 100 Hz: give the rate with --rate HZ, or the "
         "property Rate"},
        {"packets of which most are lost are counted too",
         table(
             "Update Rate:,100,Hz\nPacketCounter," + kNames,
             [](int i) { return std::to_string(i / 2 * 5 + i % 2 * 3); }, kValues),
         0, "time from PacketCounter at 100 Hz" + kRead + "0 to 0.48 s, 29 lost"},
        {"a counter that counts more than the packets of a rate",
         table("Update Rate:,100,Hz\nPacketCounter," + kNames, counter(0, k32, 2), kValues), 0,
         "Poco::DataFormatException: rec:2: PacketCounter counts by 2 from row to row, and the file says 100 "
         "Hz: is that the rate of the counts, so that rows come at 50 Hz, or of the rows? Give the rate of "
         "the rows with --rate HZ, or the property Rate"},
        {"dates in whole seconds of rows that come faster",
         table(
             "Time," + kNames, [](int i) { return fmt::format("2023-05-06 07:08:{:02}", 9 + i / 10); },
             kValues),
         0,
         "Poco::DataFormatException: rec:1: the time column 'Time' stands still in 18 of the first 20 rows: "
         "name the column of the time with --map \"t = NAME\""},
        {"a baud rate is none of rows",
         table("# Baud rate: 9600\nSample," + kNames, counter(0, k32, 1), kValues), 0,
         "Poco::DataFormatException: rec:2: no time column: found 3a (ax, ay, az), 3g (gx, gy, gz); unknown: "
         "Sample. Sample counts packets, and the file does not say how many a second: give the rate with "
         "--rate HZ, or the property Rate"},
        {"ticks of a tenth of a millisecond",
         table("SampleTimeFine," + kNames, counter(k32 - 500, k32, 100), kValues), 0,
         "time from SampleTimeFine in 0.1 ms" + kRead + "0 to 0.19 s"},
        {"a byte order mark and names in a comment", table("\xEF\xBB\xBF# t," + kNames, inSeconds, kValues),
         0, kRead + "0 to 0.19 s"},
        {"names in the manner of printf",
         table(" # Data format: "
               "\"%int(ChipTimeUS),%float(RawAccelX),%float(RawAccelY),%float(RawAccelZ),%float(RawGyroX),%"
               "float(RawGyroY),%float(RawGyroZ)\"\n",
               counter(7, k32, 10000), kValues),
         0, kRead + "7e-06 to 0.19 s"},
        {"a rate by another name, with a decimal comma, and cells without values",
         table("# Sampling frequency [kHz] = 0.1\nSample Rate:;100,0;Hz\nSample;aX;aY;aZ;wX;wY;wZ;Bx;By;Bz\n",
               counter(0, k32, 1), ";0;1;9,5;1;2;3;NA;#N/A;null"),
         0,
         "semicolon; decimal comma; time from Sample at 100 Hz | 3a 0,1,9.5 3g 1,2,3 3m nan,nan,nan | 0 to "
         "0.19 s"},
        {"whole numbers that grow by one every few rows",
         table(
             "time," + kNames, [](int i) { return std::to_string(i / 2); }, kValues),
         0,
         "Poco::DataFormatException: rec:1: the time column 'time' grows by 0.47 a row, in whole numbers: "
         "are those ms, or s without their fractions? Say --units t=ms, or name another column with --map "
         "\"t = NAME\""},
        {"messages of ROS, several in a row",
         table(
             "%time,/a/angular_velocity/x,/a/angular_velocity/y,/a/angular_velocity/z,/a/linear_acceleration/"
             "x,/a/linear_acceleration/y,/a/linear_acceleration/z,/a/angular_velocity_covariance/0\n",
             counter(1600000000000000000, ~0ull, 10000000), ",1,2,3,0,1,9.5,0"),
         0,
         "linear_acceleration includes gravity, as ROS has it; time from time in ns since 1970 | 3a 0,1,9.5 "
         "3g 1,2,3 | 1.6e+09 to 0.19 s"},
        {"gravity by another name, next to an acceleration without",
         table("time,gFx,gFy,gFz,ax,ay,az,wx,wy,wz\n", inSeconds, ",0,0,1,0,0,0,1,2,3"), 0,
         "acceleration from gFx in g: ax is without gravity | 3a 0,0,9.81 3g 1,2,3 | 0 to 0.19 s"},
        {"the accelerations of a telephone, and the axes' names in front",
         table(
             "loggingTime(txt),accelerometerAccelerationX(G),accelerometerAccelerationY(G),"
             "accelerometerAccelerationZ(G),gyroRotationX(rad/s),gyroRotationY(rad/s),gyroRotationZ(rad/"
             "s),x_mag,y_mag,z_mag\n",
             [](int i) { return fmt::format("1970-1-1T00:00:10.{:02}", i); }, ",0,0,-1,1,2,3,4,5,6"),
         0,
         "iOS: acceleration in g, sign turned; time from the dates in loggingTime(txt) | 3a -0,-0,9.81 3g "
         "1,2,3 3m 4,5,6 | 10 to 0.19 s"},
        {"groups above the axes, units below",
         table(",Accelerometer,,,Gyroscope,,\nTime,X,Y,Z,X,Y,Z\nms,mg,mg,mg,deg/s,deg/s,deg/s\n",
               counter(0, k32, 10), ",0,0,1000,0,0,180"),
         0, "units in line 3 | 3a 0,0,9.81 3g 0,0,3.14 | 0 to 0.19 s"},
        {"raw and calibrated values below the names, then units",
         table("A,A,A,A,A,A\nTimestamp,acc x,acc x,acc y,acc z,note\nCAL,RAW,CAL,CAL,CAL,CAL\n"
               "mSecs,no_units,m/(sec^2),m/(sec^2),m/(sec^2),\n",
               counter(0, k32, 10), ",7,0,1,9.5,"),
         0, "units in line 4; devices in line 1 | 3a 0,1,9.5 | 0 to 0.19 s"},
        {"devices above the names", table("a1,a1,a1,a1,a1,a1,a1\nt," + kNames, inSeconds, kValues), 0,
         "devices in line 1" + kRead + "0 to 0.19 s"},
        {"units at the ends of names",
         table("millis,acc_x_g,acc_y_g,acc_z_g,gyro_x_dps,gyro_y_dps,gyro_z_dps\n", counter(0, k32, 10),
               ",0,0,1,0,0,180"),
         0, " | 3a 0,0,9.81 3g 0,0,3.14 | 0 to 0.19 s"},
        {"a time that says seconds",
         table("time_s,acc x m/s2,acc y m/s2,acc z m/s2,gyro x deg/s,gyro y deg/s,gyro z deg/s\n", inSeconds,
               ",0,0,9,0,0,180"),
         0, " | 3a 0,0,9 3g 0,0,3.14 | 0 to 0.19 s"},
        {"steps that tell the unit", table("time," + kNames, counter(0, k32, 10000), kValues), 0,
         "time from time in us, as its steps tell" + kRead + "0 to 0.19 s"},
        {"ticks of a clock that no unit fits", table("time," + kNames, counter(0, k32, 328), kValues), 0,
         "Poco::DataFormatException: rec:1: the time column 'time' grows by 328 a row: in us that is 3049 "
         "Hz, or it counts ticks of another clock: give the unit with --units t=us, or convert it to "
         "seconds"},
        {"Unix time in ns",
         table("timestamp," + kNames, counter(1595933810000000000, ~0ull, 10000000), kValues), 0,
         "time from timestamp in ns since 1970" + kRead + "1.59593381e+09 to 0.19 s"},
        {"dates",
         table(
             "Timestamp," + kNames, [](int i) { return fmt::format("1970-01-01T01:00:10.{:02}0+0100", i); },
             kValues),
         0, "time from the dates in Timestamp" + kRead + "10 to 0.19 s"},
        {"dates with the day in front",
         table(
             "Datum;ax;ay;az;gx;gy;gz\n", [](int i) { return fmt::format("02.01.1970 00:00:00,{:02}", i); },
             ";0;1;9,5;1;2;3"),
         0, "semicolon; decimal comma; time from the dates in Datum" + kRead + "86400 to 0.19 s"},
        {"a time of day next to a date",
         table(
             "Date,Time," + kNames, [](int i) { return fmt::format("2023-05-06,00:00:01.{:02}", i); },
             kValues),
         0, "time from the dates in Time" + kRead + "1 to 0.19 s"},
        {"a date that can be read in two ways",
         table(
             "Time," + kNames, [](int) { return "05/06/2023 07:08:00"; }, kValues),
         0,
         "Poco::DataFormatException: rec:1: the time column 'Time' holds '05/06/2023 07:08:00', which is "
         "neither a number nor a date such as 2023-05-06 07:08:09.123, 06.05.2023 07:08:09.123 or "
         "07:08:09.123"},
        {"a time that stands still",
         table(
             "t," + kNames, [](int i) { return std::to_string(i / 10); }, kValues),
         0,
         "Poco::DataFormatException: rec:1: the time column 't' stands still in 18 of the first 20 rows: "
         "name the column of the time with --map \"t = NAME\""},
        {"an empty time gives way to the next",
         table(
             "time,timestamp," + kNames, [](int i) { return "," + inSeconds(i); }, kValues),
         0, kRead + "0 to 0.19 s"},
        {"gravity next to a gyroscope",
         table("t," + kNames.substr(0, 17) + ",gyro_x,gyro_y,gyro_z\n", inSeconds, kValues + ",4,5,6"), 0,
         "Poco::DataFormatException: rec:1: gx, gy, gz or gyro_x, gyro_y, gyro_z may be pin '3g': say which "
         "with --map (fuse) or the property Mapping"},
        {"lines that end in carriage returns alone", "t," + kNames.substr(0, 17) + "\r0" + kValues + "\r", 0,
         "Poco::DataFormatException: rec:1: its lines end in carriage returns alone: save it with line "
         "feeds"},
    };
    for (const auto& row : rows) EXPECT_EQ(told(row.text, row.rate), row.expected) << row.rule;
}

}  // namespace
}  // namespace Kavelin::RecordingIO
