#include <fmt/format.h>
#include <fmt/ranges.h>
#include <zip.h>

#include "io/formats/Format.h"
#include "io/formats/OpenRecording.h"
#include "support/MatBytes.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

struct File {
    std::string name;
    std::string text;
};

/// "decision; decision | 3a 0.5: 1,2,3 | a note": what was decided, the first value of each pin, and the notes; or why a
/// recording is refused.
std::string told(const std::string& path, const OpenOptions& options = {}) {
    std::string out;
    const std::string refusal = outcome([&] {
        const auto reader = openRecording(path, options);
        out = fmt::format("{}", fmt::join(reader->schema().decisions, "; "));
        std::vector<std::string> firsts(reader->schema().channels.size());
        int faults = 0;
        for (auto next = reader->next(); next != RowReader::Next::kEnd; next = reader->next()) {
            faults += next == RowReader::Next::kFault ? 1 : 0;
            if (next == RowReader::Next::kFault) continue;
            for (std::size_t i = 0; i < firsts.size(); ++i) {
                if (!firsts[i].empty() || !reader->row().has(i)) continue;
                const double* values = reader->row().values(i);
                const std::vector<double> value(values, values + reader->schema().channels[i].size());
                firsts[i] = fmt::format("{} {:.6g}: {:.4g}", reader->schema().channels[i].pin,
                                        reader->row().time(), fmt::join(value, ","));
            }
        }
        for (const std::string& first : firsts) out += " | " + first;
        for (const std::string& note : reader->schema().notes) out += " | " + note;
        if (faults > 0) out += fmt::format(" | {} rows left out", faults);
    });
    return refusal == "accepted" ? out : refusal;
}

std::string writeFolder(const TemporaryFolder& folder, const std::vector<File>& files) {
    for (const File& file : files) {
        const std::filesystem::path path = folder.path("rec/" + file.name);
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << file.text;
    }
    return folder.path("rec");
}

const char* const kZYX = "time,seconds_elapsed,z,y,x\n";
const std::string kGyroscope = std::string(kZYX) + "1000000000,0.5,3,2,1\n";
const std::string kInG = std::string(kZYX) + "1000000000,0.25,-0.99,0.1,0\n";
const std::string kInSi = std::string(kZYX) + "1000000000,0.25,9.7,1,0\n";
const std::string kMetadata = "version,device name,platform,standardisation\n3,P,";

/// Ten rows of a time that counts in this step from a hundred on, each with the same values.
std::string rowsOf(const std::string& names, int step, const std::string& values) {
    std::string text = names;
    for (int i = 0; i < 10; ++i) text += std::to_string((100 + i) * step) + values;
    return text;
}

TEST(Formats, areReadFromFilesOfTheirOwn) {
    const struct {
        const char* rule;
        std::vector<File> files;
        const char* expected;  ///< "RECORDING" stands for the folder
    } rows[] = {
        {"phyphox: quantities in the headers or in the names of the files, a clock each",
         {{"meta/device.csv", "\"property\",\"value\"\n\"version\",\"1\"\n"},
          {"Accelerometer.csv",
           "\"Time (s)\",\"Acceleration x (m/s^2)\",\"Acceleration y (m/s^2)\",\"Acceleration z (m/s^2)\"\n"
           "1.5E-2,0.1,0.2,9.8E0\n"},
          {"Gyroscope.csv",
           "\"Time (s)\",\"X (rad/s)\",\"Y (rad/s)\",\"Z (rad/s)\"\n1.0E-2,1.0E-1,2.0E-1,3.0E-1\n"},
          {"Linear Accelerometer.csv", "\"Time (s)\",\"X (m/s^2)\",\"Y (m/s^2)\",\"Z (m/s^2)\"\n0,1,1,1\n"},
          {"Location.csv", "\"Time (s)\",\"Latitude (\xC2\xB0)\"\n0,50\n"}},
         "phyphox | 3a 0.015: 0.1,0.2,9.8 | 3g 0.01: 0.1,0.2,0.3"},
        {"phyphox: semicolons and decimal commas, without gravity",
         {{"Linear Acceleration.csv", "\"Time (s)\";\"X (m/s^2)\";\"Y (m/s^2)\";\"Z (m/s^2)\"\n0;1;1;1\n"},
          {"Magnetometer.csv",
           "\"Time (s)\";\"Magnetic field x (\xC2\xB5T)\";\"Magnetic field y (\xC2\xB5T)\";\"Magnetic field "
           "z (\xC2\xB5T)\"\n0,5;1,5;2,5;-3\n"}},
         "phyphox; semicolon; decimal comma | 3m 0.5: 1.5,2.5,-3 | Linear Acceleration.csv holds an "
         "acceleration without gravity, and no orientation can be told from it; record the sensor "
         "\"Accelerometer\", or the experiment \"Acceleration (with g)\""},
        {"phyphox: nothing but an acceleration without gravity",
         {{"Raw Data.csv",
           "\"Time (s)\",\"Linear Acceleration x (m/s^2)\",\"Linear Acceleration y (m/s^2)\",\"Linear "
           "Acceleration z (m/s^2)\"\n0,1,1,1\n"}},
         "Poco::DataFormatException: RECORDING: Raw Data.csv holds an acceleration without gravity, and no "
         "orientation can be told from it; record the sensor \"Accelerometer\", or the experiment "
         "\"Acceleration (with g)\""},
        {"Sensor Logger, iOS: g, sign turned; the calibrated gyroscope",
         {{"Metadata.csv", kMetadata + "ios,false\n"},
          {"Accelerometer.csv", kGyroscope},
          {"AccelerometerUncalibrated.csv", kInG},
          {"Gyroscope.csv", kGyroscope},
          {"GyroscopeUncalibrated.csv", std::string(kZYX) + "0,0,9,9,9\n"}},
         "sensor_logger; time from seconds_elapsed; iOS: acceleration in g, sign turned | 3a 0.25: "
         "-0,-0.9807,9.709 | 3g 0.5: 1,2,3"},
        {"Sensor Logger, iOS with standardised units",
         {{"Metadata.csv", kMetadata + "ios,true\n"}, {"AccelerometerUncalibrated.csv", kInSi}},
         "sensor_logger; time from seconds_elapsed; iOS, standardised: acceleration in m/s^2 | 3a 0.25: "
         "0,1,9.7"},
        {"Sensor Logger, Android: with gravity is TotalAcceleration, the orientation is a reference",
         {{"Metadata.csv", kMetadata + "android,\n"},
          {"TotalAcceleration.csv", kInSi},
          {"Orientation.csv", "time,seconds_elapsed,yaw,qx,qz,roll,qw,qy,pitch\n1,0.125,0,0,1,0,0,0,0\n"}},
         "sensor_logger; time from seconds_elapsed; Android: acceleration in m/s^2 | 3a 0.25: 0,1,9.7 | quat "
         "0.125: 0,0,0,1"},
        {"Sensor Logger without Metadata.csv: the length tells",
         {{"AccelerometerUncalibrated.csv", kInG},
          {"Orientation.csv", "time,seconds_elapsed,qw,qx,qy,qz\n1,0,1,0,0,0\n"}},
         "sensor_logger; time from seconds_elapsed; iOS, as its usual length is 0.995: acceleration in g, "
         "sign turned | 3a 0.25: -0,-0.9807,9.709 | Orientation.csv is not taken as a reference: only "
         "Android's is relative to East-North-Up, and which phone it was is not known without Metadata.csv"},
        {"Sensor Logger without gravity",
         {{"Accelerometer.csv", kInSi}},
         "Poco::DataFormatException: RECORDING: Accelerometer.csv holds an acceleration without gravity, and "
         "no orientation can be told from it; record and keep TotalAcceleration.csv (Android) or "
         "AccelerometerUncalibrated.csv (iOS)"},
        {"Sensor Logger: the length tells nothing",
         {{"AccelerometerUncalibrated.csv", std::string(kZYX) + "1,0.25,3,0,0\n"}},
         "Poco::DataFormatException: RECORDING/AccelerometerUncalibrated.csv: its usual length is 3: the "
         "unit of the acceleration cannot be told, and Metadata.csv, which names the phone, is not there. An "
         "iPhone writes g with the opposite sign: say --units 3a=g --axes \"3a = inverted\"; Android writes "
         "m/s^2: --units 3a=m/s^2"},
        {"Sensor Logger: Metadata.csv contradicts the length",
         {{"Metadata.csv", kMetadata + "android,\n"}, {"AccelerometerUncalibrated.csv", kInG}},
         "Poco::DataFormatException: RECORDING/AccelerometerUncalibrated.csv: its usual length is 0.995: "
         "that does not fit what Metadata.csv says of the phone. Take Metadata.csv out of the folder, and "
         "say what is right"},
        {"files named after their sensors, as MetaWear writes them",
         {{"U_2024-05-01T12.00_C4_Accelerometer_100.000Hz.csv",
           "epoc (ms),timestamp (+0000),elapsed (s),x-axis (g),y-axis (g),z-axis (g)\n"
           "1714564800500,2024-05-01T12:00:00.500,0.5,0,0,1\n"},
          {"U_2024-05-01T12.00_C4_Gyroscope_25.000Hz_1.5.0.csv",
           "epoc (ms),timestamp (+0000),elapsed (s),x-axis (deg/s),y-axis (deg/s),z-axis (deg/s)\n"
           "1714564800250,2024-05-01T12:00:00.250,0.25,180,0,0\n"}},
         "sensor_files | 3a 1.71456e+09: 0,0,9.807 | 3g 1.71456e+09: 3.142,0,0"},
        {"files named after their sensors: steps that tell the unit, in each by itself",
         {{"BackL_acc.csv", rowsOf("timestamp,x,y,z\n", 10, ",1,2,3\n")},
          {"BackL_gyr.csv", rowsOf("timestamp,x,y,z\n", 10000, ",4,5,6\n")}},
         "sensor_files; time from timestamp in ms, as its steps tell; time from timestamp in us, as its "
         "steps tell | 3a 1: 1,2,3 | 3g 1: 4,5,6"},
        {"files named after their sensors: one without columns of a sensor",
         {{"acc.csv", "t;x;y;z\n0,5;1;2;3\n"},
          {"gyr.csv", "t,gx,gy,gz\n1,4,5,6\n"},
          {"mag.csv", "t,low\n0,4\n"}},
         "sensor_files; semicolon; decimal comma | 3a 0.5: 1,2,3 | 3g 1: 4,5,6 | mag.csv is left out: it has "
         "no columns of a sensor"},
        {"files named after their sensors: two of them",
         {{"left_acc.csv", "t,x,y,z\n0,1,2,3\n"}, {"right_gyr.csv", "t,x,y,z\n0,1,2,3\n"}},
         "Poco::DataFormatException: RECORDING: it holds 2 sensors: left, right; choose one with --sensor "
         "NAME (fuse) or the property Sensor, or take each with --all-sensors"},
        {"files named after their sensors: one of them twice",
         {{"acc.csv", "t,x,y,z\n0,1,2,3\n"},
          {"acc_filtered.csv", "t,x,y,z\n0,7,7,7\n"},
          {"gyr.csv", "t,x,y,z\n0,4,5,6\n"}},
         "sensor_files | 3a 0: 1,2,3 | 3g 0: 4,5,6 | 'filtered' (3a) is not taken: there is one without that "
         "word in its name"},
        {"a folder for each recording",
         {{"a/Accelerometer.csv", kInSi}, {"a/Gyroscope.csv", kGyroscope}, {"b/Gyroscope.csv", kGyroscope}},
         "Poco::DataFormatException: RECORDING: no format is known that consists of these files: "
         "a/Accelerometer.csv, a/Gyroscope.csv, b/Gyroscope.csv. Name one of them, or see kavelin formats"},
        {"one file of axes", {{"Gyroscope.csv", "time,x,y,z\n1,4,5,6\n"}}, "sensor_files | 3g 1: 4,5,6"},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        const std::string path = writeFolder(folder, row.files);
        std::string text = told(path);
        if (const std::size_t at = text.find(path); at != std::string::npos)
            text.replace(at, path.size(), "RECORDING");
        EXPECT_EQ(text, row.expected) << row.rule;
    }
}

const std::string kMt = "// Start Time: Unknown\n// Update Rate: 100.0Hz\n";
const std::string kMtNames = "PacketCounter\tSampleTimeFine\tAcc_X\tAcc_Y\tAcc_Z\tRoll\tPitch\tYaw\n";
const std::string kMatrix =
    "// Firmware Version: "
    "4.4.0\nPacketCounter;Mat[1][1];Mat[2][1];Mat[3][1];Mat[1][2];Mat[2][2];Mat[3][2];Mat[1][3];Mat[2][3];"
    "Mat[3][3]\n51400;0,6;0;-0,8;0;1;0;0,8;0;0,6\n";
const std::string kDot =
    "sep=,\nDeviceTag:,zdt\nSyncStatus:,Synced\nOutputRate:,50Hz\nMeasurement Mode:,M\n\n";
const std::string kDotNames = "PacketCounter,SampleTimeFine,Acc_X,Acc_Y,Acc_Z,Gyr_X,Gyr_Y,Gyr_Z\n";
const std::string kXimu1 =
    "Packet number,Gyroscope X (deg/s),Gyroscope Y (deg/s),Gyroscope Z (deg/s)\n3,180,0,0\n5,0,0,0\n";
const std::string kShimmer =
    "Shimmer_A1_Timestamp_Unix_CAL;Shimmer_A1_Accel_LN_X_CAL;Shimmer_A1_Accel_LN_Y_CAL;Shimmer_A1_Accel_LN_Z_"
    "CAL;Shimmer_A1_Accel_WR_X_CAL;Shimmer_A1_Accel_WR_Y_CAL;Shimmer_A1_Accel_WR_Z_CAL;\r\n"
    "ms;m/(s^2);m/(s^2);m/(s^2);m/(s^2);m/(s^2);m/(s^2);\r\n1.5E12;1;2;3;4;5;6;\r\n1.5E12;1;2;3;4;5;6;\r\n";

const std::string kShimmerRaw =
    "Shimmer_left_thigh_Timestamp_Unix_CAL,Shimmer_left_thigh_Gyro_X_RAW,Shimmer_left_thigh_Gyro_X_CAL,"
    "Shimmer_left_thigh_Gyro_Y_RAW,Shimmer_left_thigh_Gyro_Y_CAL,Shimmer_left_thigh_Gyro_Z_RAW,Shimmer_left_"
    "thigh_Gyro_Z_CAL\n1.5E12,7,180,7,0,7,0\n";

TEST(Formats, areReadFromExportsOfUnits) {
    const struct {
        const char* rule;
        std::vector<File> files;
        const char* sensor;
        double rate;
        const char* expected;
    } rows[] = {
        {"text of inertial units: packets at a rate, angles in degrees from North-West-Up",
         {{"MT_01.txt", kMt + kMtNames + "65535\t\t1\t2\t3\t0\t0\t0\n2\t\t1\t2\t3\t0\t0\t0\n"}},
         "",
         0,
         "xsens_mt_txt; tab; time from PacketCounter at 100 Hz; orientations from North-West-Up | quat 0: "
         "0.7071,0,0,0.7071 | 3a 0: 1,2,3"},
        {"a file a unit: one counter for all",
         {{"MT_01_00B42D4B.txt", kMt + kMtNames + "65535\t\t1\t2\t3\t0\t0\t0\n"},
          {"MT_01_00B42D4C.txt", kMt + kMtNames + "2\t\t1\t2\t3\t0\t0\t0\n"},
          {"readme.txt", "Two units.\n"}},
         "00b42d4c",
         0,
         "xsens_mt_txt; sensor 00B42D4C; tab; time from PacketCounter at 100 Hz; orientations from "
         "North-West-Up | quat 0.03: 0.7071,0,0,0.7071 | 3a 0.03: 1,2,3"},
        {"two recordings of one unit are none",
         {{"MT_01_00B42D4B.txt", kMt + kMtNames}, {"MT_02_00B42D4B.txt", kMt + kMtNames}},
         "",
         0,
         "Poco::DataFormatException: RECORDING: no format is known that consists of these files: "
         "MT_01_00B42D4B.txt, MT_02_00B42D4B.txt. Name one of them, or see kavelin formats"},
        {"a matrix column by column, in a file that tells no rate: only orientations",
         {{"MT_00B42D4B.txt", kMatrix}},
         "",
         60,
         "xsens_mt_txt; semicolon; decimal comma; time from PacketCounter at 60 Hz; orientations from "
         "North-West-Up | quat 0: 0.6325,-0.3162,0.3162,0.6325 | it holds orientations only, neither "
         "accelerations nor rates: it can be a --reference; to fuse it, export the inertial data "
         "(calibrated) as well"},
        {"the same without a rate",
         {{"MT_00B42D4B.txt", kMatrix}},
         "",
         0,
         "Poco::DataFormatException: RECORDING/MT_00B42D4B.txt:2: no time column: found quat (Mat[1][1], "
         "Mat[1][2], Mat[1][3], Mat[2][1], Mat[2][2], Mat[2][3], Mat[3][1], Mat[3][2], Mat[3][3]); unknown: "
         "PacketCounter. PacketCounter counts packets, and the file does not say how many a second: give the "
         "rate with --rate HZ, or the property Rate"},
        {"the app's sensors: clocks that are synchronised and start over",
         {{"LFemur_20210820_202113.csv", kDot + kDotNames + "1,4294957296,0,0,9,180,0,0\n"},
          {"20210820_202113.csv", kDot + kDotNames + "1,10000,0,0,9,180,0,0\n2,30000,0,0,9,180,0,0\n"}},
         "zdt",
         0,
         "movella_dot_csv; sensor zdt; time from SampleTimeFine in us | 3a 0.02: 0,0,9 | 3g 0.02: 3.142,0,0"},
        {"the app's modes without rates",
         {{"LFemur.csv", kDot + "PacketCounter,SampleTimeFine,Quat_W,Quat_X,Quat_Y,Quat_Z,FreeAcc_X,FreeAcc_"
                                "Y,FreeAcc_Z,Status\n1,0,1,0,0,0,0,0,0,0\n"}},
         "",
         0,
         "movella_dot_csv; time from SampleTimeFine in us | quat 0: 1,0,0,0 | the mode 'M' records no rates "
         "and no accelerations with gravity: it can be a --reference; to fuse it, choose the mode 'Rate "
         "quantities (with mag)' in the app before recording | FreeAcc_X, FreeAcc_Y, FreeAcc_Z are linear "
         "acceleration, without gravity: no orientation can be told from it; take the columns, or the file, "
         "of the acceleration with gravity, as the accelerometer measures it"},
        {"increments only",
         {{"MT_01.txt", kMt + "PacketCounter\tSampleTimeFine\tOriInc_q0\tVelInc_X\n1\t1\t1\t0\n"}},
         "",
         0,
         "Poco::DataFormatException: RECORDING/MT_01.txt: it holds increments of orientation and velocity "
         "only, which no filter takes: export Acc and Gyr (inertial data, calibrated)"},
        {"a folder of a unit, as a spreadsheet saves it",
         {{"sensors.csv",
           "Time (s);Gyroscope X (deg/s);Gyroscope Y (deg/s);Gyroscope Z (deg/s)\n0,5;180;0;0\n"}},
         "",
         0,
         "ngimu_folder; semicolon; decimal comma | 3g 0.5: 3.142,0,0"},
        {"packet numbers that are no time",
         {{"a_CalInertialAndMag.csv", kXimu1}, {"a_Quaternion.csv", "Packet number,Element 1\n4,1\n"}},
         "",
         0,
         "Poco::DataFormatException: RECORDING/a_CalInertialAndMag.csv:1: no time column: found 3g "
         "(Gyroscope X (deg/s), Gyroscope Y (deg/s), Gyroscope Z (deg/s)); unknown: Packet number. The "
         "packet numbers are counted over messages of all kinds, so they are no time (256 Hz fits the known "
         "recordings of these units; the unit's registers tell): give the rate with --rate HZ, or the "
         "property Rate"},
        {"the same with a rate",
         {{"a_CalInertialAndMag.csv", kXimu1}, {"a_Quaternion.csv", "Packet number,Element 1\n4,1\n"}},
         "",
         256,
         "ximu1_csv; time from the rows at 256 Hz | 3g 0: 3.142,0,0 | the unit's quaternions are not read: "
         "their file has no time either"},
        {"three lines of names for several units",
         {{"o.csv",
           "Format=7,5718,,,Lumbar,,5778,,\nTime,Gyroscope,,,Barometer,,Orientation,,\n,X,Y,Z,,S,X,Y,Z\n"
           "1550879504438281,1,2,3,4.6E18,1,0,0,0\n"}},
         "lumbar",
         0,
         "apdm_csv; sensor Lumbar; time in us since 1970; accelerations in m/s^2, rates in rad/s, the field "
         "in uT | 3g 1.55088e+09: 1,2,3"},
        {"names with the unit in front, units below",
         {{"o.csv",
           "Test Name:,Walk\nSample "
           "Rate:,128,Hz\nTime,L/Acceleration/X,L/Acceleration/Y,L/Acceleration/Z,R/Orientation/Scalar,R/"
           "Orientation/X,R/Orientation/Y,R/Orientation/Z\n"
           "s,m/s^2,m/s^2,m/s^2,,,,\n0.0075,1,2,3,1,0,0,0\n"}},
         "R",
         0,
         "apdm_csv; sensor R; units in line 4 | quat 0.0075: 0.7071,0,0,0.7071"},
        {"the accelerometer of low noise",
         {{"s.csv", "\"sep=;\"\r\n" + kShimmer}},
         "",
         0,
         "shimmer_csv; semicolon; units in line 3; accelerometer of low noise, not that of wide range (--map "
         "chooses); time from Shimmer_A1_Timestamp_Unix_CAL | 3a 1.5e+09: 1,2,3"},
        {"raw and calibrated values, a device with a name of its own, and no units",
         {{"s.csv", kShimmerRaw}},
         "left_thigh",
         0,
         "shimmer_csv; no units in the file, rates taken for deg/s; time from "
         "Shimmer_left_thigh_Timestamp_Unix_CAL | 3g 1.5e+09: 3.142,0,0"},
        {"raw values only",
         {{"s.csv", "Shimmer_A1_Timestamp_Unix_CAL,Shimmer_A1_Gyro_X_RAW\n1.5E12,7\n"}},
         "",
         0,
         "Poco::DataFormatException: RECORDING/s.csv: it holds raw values only: export the calibrated ones "
         "(CAL), or say what is what with --map and --units"},
        {"lines about the test that are no pairs with colons",
         {{"o.csv",
           "Test Name,Walk\nDate,2020-03-04 10:11:12\nSample Rate,128,Hz\n"
           "Time,L/Acceleration/X,L/Acceleration/Y,L/Acceleration/Z\ns,m/s^2,m/s^2,m/s^2\n0.5,1,2,3\n"}},
         "",
         0,
         "apdm_csv; units in line 5 | 3a 0.5: 1,2,3"},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        OpenOptions options;
        options.sensor = row.sensor;
        options.rate = row.rate;
        const std::string path = writeFolder(folder, row.files);
        std::string text = told(path, options);
        if (const std::size_t at = text.find(path); at != std::string::npos)
            text.replace(at, path.size(), "RECORDING");
        EXPECT_EQ(text, row.expected) << row.rule;
    }
}

TEST(Formats, ofAZipArchiveAreThoseOfItsFiles) {
    const TemporaryFolder folder;
    ::zip_t* archive = ::zip_open(folder.path("r.zip").c_str(), ZIP_CREATE, nullptr);
    for (const char* name : {"Gyroscope.csv", "AccelerometerUncalibrated.csv"}) {
        const std::string& text = name[0] == 'G' ? kGyroscope : kInG;
        ::zip_file_add(archive, name, ::zip_source_buffer(archive, text.data(), text.size(), 0), 0);
    }
    ASSERT_EQ(::zip_close(archive), 0);
    EXPECT_THAT(told(folder.path("r.zip")),
                HasSubstr("sign turned | 3a 0.25: -0,-0.9807,9.709 | 3g 0.5: 1,2,3"));
    OpenOptions turned;
    turned.axes = parseAxes("y,-x,z");
    EXPECT_THAT(told(folder.path("r.zip"), turned), HasSubstr("3a 0.25: -0.9807,0,9.709 | 3g 0.5: 2,-1,3"));
}

TEST(Formats, haveSeveralOrientationsInOneFileOfOpenSim) {
    const TemporaryFolder folder;
    const std::string path =
        folder.write("o.sto",
                     "\nDataType=Quaternion\nversion=3\nendheader\ntime\tpelvis_imu\tfemur_imu\n"
                     "678\t1,0,0,0\tnan,nan,nan,nan\n678.01\t1,0,0,0\t0.6,0,0.8,0\n");
    EXPECT_THAT(sensorsOf(path, {}), ElementsAre("pelvis_imu", "femur_imu"));
    OpenOptions options;
    options.sensor = "femur_imu";
    EXPECT_EQ(told(path, options),
              "opensim_sto; sensor femur_imu | quat 678.01: 0.6,0,0.8,0 | the file holds orientations only, "
              "neither acceleration nor rate: give it as a reference, --reference FILE.sto#SENSOR");
}

TEST(Formats, takeTheArraysOfMatlabFiles) {
    const MatBytes w;
    const auto matrix = [&](const char* name, std::uint32_t rows, std::vector<double> values) {
        const auto columns = static_cast<std::uint32_t>(values.size()) / rows;
        return w.array(6, {rows, columns}, name, w.element(9, w.values(std::move(values))));
    };
    const auto record = [&](const char* name, const std::vector<std::string>& fields,
                            const std::string& values) {
        std::string names;
        for (std::string field : fields) names += (field.resize(8), field);
        return w.array(2, {1, 1}, name, w.element(5, w.words({8})) + w.element(1, names) + values);
    };
    const auto text = [&](const char* name, const std::vector<std::string>& rows) {
        std::vector<std::uint16_t> codes;
        for (std::size_t c = 0; c < rows.front().size(); ++c)
            for (const std::string& row : rows) codes.push_back(static_cast<unsigned char>(row[c]));
        return w.array(
            4, {static_cast<std::uint32_t>(rows.size()), static_cast<std::uint32_t>(rows.front().size())},
            name, w.element(4, w.values(codes)));
    };
    const std::string acc = matrix("", 3, {1, 2, 3, kNaN, kNaN, kNaN});
    const struct {
        const char* rule;
        std::string variables;
        const char* sensor;
        const char* expected;
    } rows[] = {
        {"a struct, samples in columns, NaN for no sample",
         matrix("mag_0", 3, {1, 1, 1, 1, 1, 1}) +
             record("meas", {"t", "acc", "gyr"},
                    matrix("", 1, {10, 10.5}) + acc + matrix("", 3, {kNaN, kNaN, kNaN, 4, 5, 6})),
         "",
         "matlab_mat; no units in the file, taken for m/s^2, rad/s | 3a 10: 1,2,3 | 3g 10.5: 4,5,6 | mag_0 "
         "is left out: no times are known for it"},
        {"streams put together, each in order",
         matrix("t", 1, {1, 2, 1.5, 3}) +
             matrix("acc", 3, {1, 2, 3, 4, 5, 6, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN}) +
             matrix("gyr", 3, {kNaN, kNaN, kNaN, kNaN, kNaN, kNaN, 7, 8, 9, 7, 8, 9}),
         "",
         "matlab_mat; no units in the file, taken for m/s^2, rad/s; sensors apart, as the times of all "
         "together run backwards | 3a 1: 1,2,3 | 3g 1.5: 7,8,9"},
        {"variables, samples in rows, a rate, a unit in a name",
         matrix("Fs", 1, {50}) + matrix("accel_g", 2, {0, 0, 0, 0, 1, 1}) +
             matrix("gyro", 2, {1, 4, 2, 5, 3, 6}) + matrix("q", 2, {1, 1, 0, 0, 0, 0, 0, 0}),
         "",
         "matlab_mat; no units in the file, taken for rad/s; time from the rows at 50 Hz | 3a 0: 0,0,9.807 | "
         "3g 0: 1,2,3 | quat 0: 1,0,0,0"},
        {"single axes, and a clock each in structs of their own",
         record(
             "acc", {"x", "y", "z", "time"},
             matrix("", 1, {1, 1}) + matrix("", 1, {2, 2}) + matrix("", 1, {3, 3}) + matrix("", 1, {0, 1})) +
             record("gyr", {"data", "t"}, matrix("", 3, {4, 5, 6, 7, 8, 9}) + matrix("", 1, {0.5, 1})),
         "",
         "matlab_mat; no units in the file, taken for m/s^2; no units in the file, taken for rad/s | 3a 0: "
         "1,2,3 | 3g 0.5: 4,5,6"},
        {"arrays with times of their own",
         matrix("t_acc", 1, {1, 2}) + matrix("acc", 3, {1, 2, 3, 4, 5, 6}) + matrix("t_gyr", 1, {1.5, 2}) +
             matrix("gyr", 3, {7, 8, 9, 7, 8, 9}),
         "",
         "matlab_mat; no units in the file, taken for m/s^2; no units in the file, taken for rad/s | 3a 1: "
         "1,2,3 | 3g 1.5: 7,8,9"},
        {"arrays that begin with the time, and one that does not",
         matrix("acc", 2, {7, 8, 1, 1, 2, 2, 3, 3}) + matrix("mag", 2, {8, 7, 1, 1, 2, 2, 3, 3}), "",
         "matlab_mat; no units in the file, taken for m/s^2 | 3a 7: 1,2,3"},
        {"several sensors",
         record("left", {"t", "acc"}, matrix("", 1, {0, 1}) + acc) +
             record("right", {"t", "acc"}, matrix("", 1, {7, 8}) + acc),
         "right", "matlab_mat; sensor right; no units in the file, taken for m/s^2 | 3a 7: 1,2,3"},
        {"channels of Trigno units, padded",
         text("Channels", {"Calf: ACC.X 1", "Calf: ACC.Y 1", "Calf: ACC.Z 1", "Calf: EMG 1  "}) +
             matrix("Time", 4, {0, 0, 0, 0, 0.5, 0.5, 0.5, 0.5, 0, 0, 0, 1}) +
             matrix("Data", 4, {1, 2, 3, 9, 0, 0, 1, 9, 0, 0, 0, 9}),
         "", "matlab_mat; Trigno: acceleration in g, rate in deg/s | 3a 0: 9.807,19.61,29.42"},
        {"no times", matrix("acc", 3, {1, 2, 3, 4, 5, 6}) + w.opaque("t", "datetime"), "",
         "Poco::DataFormatException: RECORDING: no times are known for acc: neither an array t or time of as "
         "many elements, nor a rate Fs; not read: t (datetime). Give the rate, --rate HZ"},
        {"nothing of a sensor", matrix("emg", 1, {1, 2, 3}), "",
         "Poco::DataFormatException: RECORDING: no sensor's arrays found among: emg (1x3). A recording has "
         "variables, or fields of a struct, such as t (N x 1), acc, gyr and mag (N x 3 or 3 x N)"},
    };
    for (const auto& row : rows) {
        const TemporaryFolder folder;
        OpenOptions options;
        options.sensor = row.sensor;
        const std::string path = folder.write("r.mat", w.file(row.variables));
        std::string out = told(path, options);
        if (const std::size_t at = out.find(path); at != std::string::npos)
            out.replace(at, path.size(), "RECORDING");
        EXPECT_EQ(out, row.expected) << row.rule;
    }
}

}  // namespace
}  // namespace Kavelin::RecordingIO
