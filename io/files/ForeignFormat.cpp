#include "io/files/ForeignFormat.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

namespace Kavelin::RecordingIO {

namespace {

using namespace std::string_view_literals;

/// What to do with a format. The two lines are in the language of `kShared`.
struct Advice {
    std::string_view name;
    std::string_view packages;  ///< of Python; empty where `note` is all
    std::string_view read;
    std::string_view write;
    std::string_view note;
};

struct Shared {
    std::string_view key;
    std::string_view text;
};

/// Parts of several lines, replaced in this order. <FILE> and <TABLE> are the names of the file and its table.
constexpr Shared kShared[] = {
    // The messages of a ROS bag's reader `r`.
    {"<BAG>",
     "r.open(); imu, field = [[r.deserialize(d, c.msgtype) for c, _, d in r.messages() if c.msgtype == "
     "'sensor_msgs/msg/' + k] for k in ('Imu', 'MagneticField')]; <MESSAGES>"},
    // The arrays of the messages `imu` and `field`: stamps of their headers, the field in T.
    {"<MESSAGES>",
     "s = lambda m: m.header.stamp.sec + m.header.stamp.nanosec * 1e-9; v = lambda p: [p.x, p.y, p.z]; "
     "t = np.array([s(m) for m in imu]); acc = np.array([v(m.linear_acceleration) for m in imu]); "
     "gyr = np.array([v(m.angular_velocity) for m in imu]); mag = np.column_stack([np.interp(t, "
     "[s(m) for m in field], [v(m.magnetic_field)[i] * 1e6 for m in field]) for i in range(3)]) if field "
     "else np.full((len(t), 3), np.nan)"},
    {"<ARRAYS>", "np.savetxt('<TABLE>', np.column_stack([t, acc, gyr, mag]), <HEADER>)"},
    {"<HEADER>", "delimiter=',', header='t,ax,ay,az,gx,gy,gz,mx,my,mz', comments=''"},
    {"<SHEETS>", "import pandas as pd; sheets = pd.read_excel('<FILE>', sheet_name=None)"},
    {"<TABLES>", "[sheet.to_csv(name + '.csv', index=False) for name, sheet in sheets.items()]"},
};

constexpr auto kBagNote =
    "Where the bag has several sensors, choose one by its topics: add and c.topic in ('/imu', '/mag')."sv;
constexpr auto kSheetsNote = "They write one table for each sheet. Or in Excel: save the sheet as CSV."sv;

constexpr Advice kRosBag1 = {
    "a ROS 1 bag", "rosbags numpy",
    "import numpy as np; from pathlib import Path; from rosbags.highlevel import AnyReader; "
    "r = AnyReader([Path('<FILE>')]); <BAG>",
    "<ARRAYS>", kBagNote};
constexpr Advice kRosBag2 = {"a ROS 2 bag (SQLite)", "rosbags numpy",
                             "import numpy as np; from pathlib import Path; from rosbags.highlevel import "
                             "AnyReader; from rosbags.typesys "
                             "import Stores, get_typestore; r = AnyReader([Path('<FILE>').parent], "
                             "default_typestore=get_typestore(Stores.ROS2_HUMBLE)); <BAG>",
                             "<ARRAYS>", kBagNote};
constexpr Advice kMcap = {
    "an MCAP log", "mcap mcap-ros2-support numpy",
    "import numpy as np; from mcap.reader import make_reader; from mcap_ros2.decoder import DecoderFactory; "
    "r = make_reader(open('<FILE>', 'rb'), decoder_factories=[DecoderFactory()]); "
    "all = [(k.name, m) for k, _, _, m in r.iter_decoded_messages()]; "
    "imu, field = [[m for n, m in all if n == 'sensor_msgs/msg/' + k] for k in ('Imu', 'MagneticField')]; "
    "<MESSAGES>",
    "<ARRAYS>",
    "They are for messages of ROS 2. Where the log has several sensors, choose one: "
    "iter_decoded_messages(topics=['/imu', '/mag'])."};
constexpr Advice kULog = {"a PX4 log (ULog)", "pyulog numpy",
                          "import numpy as np; from pyulog import ULog; u = ULog('<FILE>'); s = "
                          "u.get_dataset('sensor_combined').data; "
                          "f = u.get_dataset('vehicle_magnetometer').data; t = s['timestamp'] * 1e-6; "
                          "acc, gyr = [np.column_stack([s[n + '[%d]' % i] for i in range(3)]) for n in "
                          "('accelerometer_m_s2', 'gyro_rad')]; "
                          "mag = np.column_stack([np.interp(t, f['timestamp'] * 1e-6, "
                          "f['magnetometer_ga[%d]' % i] * 100) for i in range(3)])",
                          "<ARRAYS>",
                          "The axes are those of the vehicle: forward, right, down. Without "
                          "vehicle_magnetometer in the log, leave out f, mag and "
                          "the columns of mag."};
constexpr Advice kHdf5 = {
    "an HDF5 file", "h5py numpy",
    "import numpy as np, h5py; f = h5py.File('<FILE>', 'r'); "
    "t, acc, gyr, mag = [f[name][()] for name in ('t', 'acc', 'gyr', 'mag')]",
    "<ARRAYS>", "Put in your own names and units; f.visit(print) lists the names that the file has."};
constexpr Advice kMatlab73 = {"a MATLAB 7.3 file", "h5py numpy",
                              "import numpy as np, h5py; f = h5py.File('<FILE>', 'r'); t, acc, gyr, mag = [a "
                              "if a.shape[0] > a.shape[1] else a.T "
                              "for a in (f['meas/' + name][()] for name in ('t', 'acc', 'gyr', 'mag'))]",
                              "<ARRAYS>",
                              "They are for a struct meas with the fields t, acc, gyr and mag. Or in MATLAB, "
                              "for plain arrays and structs: "
                              "save('rec.mat', 'meas', '-v7')"};
constexpr Advice kMatlab = {
    "a MATLAB file, which is no table of text", "", "", "",
    "In MATLAB, writetable(X, 'rec.csv') writes a table, writetimetable(X, 'rec.csv') a timetable."};
constexpr Advice kXlsx = {"an Excel workbook (.xlsx)", "pandas openpyxl", "<SHEETS>", "<TABLES>",
                          kSheetsNote};
constexpr Advice kXls = {"an Excel workbook (.xls) or another old document of Office", "pandas xlrd",
                         "<SHEETS>", "<TABLES>", kSheetsNote};
constexpr Advice kNpz = {"an archive of NumPy arrays (.npz)", "numpy",
                         "import numpy as np; f = np.load('<FILE>'); t, acc, gyr, mag = [f[name] for name in "
                         "('t', 'acc', 'gyr', 'mag')]",
                         "<ARRAYS>",
                         "Put in your own names and units; f.files lists the names that the file has."};
constexpr Advice kNpy = {"an array of NumPy (.npy)", "numpy", "import numpy as np; a = np.load('<FILE>')",
                         "np.savetxt('<TABLE>', a, <HEADER>)",
                         "Put the names and units of its columns into the header."};
constexpr Advice kParquet = {"a Parquet table", "pandas pyarrow",
                             "import pandas as pd; a = pd.read_parquet('<FILE>')",
                             "a.to_csv('<TABLE>', index=False)", ""};
constexpr Advice kFeather = {"an Arrow table (Feather)", "pandas pyarrow",
                             "import pandas as pd; a = pd.read_feather('<FILE>')",
                             "a.to_csv('<TABLE>', index=False)", ""};
constexpr Advice kC3d = {"a motion capture file (C3D)", "", "", "", "Export its analog channels as CSV."};
constexpr Advice kSqlite = {"a SQLite database", "", "", "",
                            "Write its table as CSV: sqlite3 -header -csv OLD 'SELECT * FROM ...' >NEW"};
constexpr Advice kDocument = {"a picture or a PDF document", "", "", "",
                              "A recording is a table of text, such as CSV."};
constexpr Advice kPacked = {"compressed, and not by gzip", "", "", "", "Unpack it first."};
constexpr Advice kZip = {"a zip archive", "", "", "", "Unpack it first."};
constexpr Advice kUtf32 = {"a text in UTF-32", "", "", "",
                           "Convert it to UTF-8: iconv -f UTF-32 -t UTF-8 OLD >NEW"};
constexpr Advice kBinary = {"in a binary format that is not known here", "", "", "", "Export it as CSV."};

struct Mark {
    std::string_view bytes;
    const Advice& advice;
};

const Mark kMarks[] = {
    {"#ROSBAG V"sv, kRosBag1},
    {"\x89MCAP"sv, kMcap},
    {"ULog\x01\x12\x35"sv, kULog},
    {"\x89HDF\r\n"sv, kHdf5},
    {"MATLAB 7.3 MAT-file"sv, kMatlab73},
    {"MATLAB 5.0 MAT-file"sv, kMatlab},
    {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"sv, kXls},
    {"\x93NUMPY"sv, kNpy},
    {"PAR1\x15"sv, kParquet},
    {"ARROW1\0\0"sv, kFeather},
    {"FEA1\0"sv, kFeather},
    {"\x02\x50"sv, kC3d},
    {"%PDF-"sv, kDocument},
    {"\x89PNG"sv, kDocument},
    {"\xFF\xD8\xFF"sv, kDocument},
    {"BZh"sv, kPacked},
    {"\xFD"
     "7zXZ"sv,
     kPacked},
    {"\x28\xB5\x2F\xFD"sv, kPacked},
    {"7z\xBC\xAF"sv, kPacked},
    {"Rar!\x1A"sv, kPacked},
    {"\xFF\xFE\0\0"sv, kUtf32},
    {"\0\0\xFE\xFF"sv, kUtf32},
};

void replaceAll(std::string& text, std::string_view key, std::string_view by) {
    for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + by.size()))
        text.replace(at, key.size(), by);
}

/// A path within the quotes of a Python text.
std::string quoted(const std::string& path) {
    std::string out;
    for (const char c : path) {
        if (c == '\\' || c == '\'') out += '\\';
        out += std::iscntrl(static_cast<unsigned char>(c)) ? '?' : c;
    }
    return out;
}

std::string line(std::string_view pattern, const std::string& path) {
    std::string out(pattern);
    for (const Shared& shared : kShared) replaceAll(out, shared.key, shared.text);
    const bool hasName = path != "-";
    replaceAll(out, "<TABLE>",
               hasName ? quoted(std::filesystem::path(path).stem().string()) + ".csv" : "rec.csv");
    replaceAll(out, "<FILE>", hasName ? quoted(path) : "FILE");
    return out;
}

std::string message(const Advice& advice, const std::string& path) {
    if (advice.packages.empty()) return fmt::format("the file is {}. {}", advice.name, advice.note);
    return fmt::format(
        "the file is {}, which is not read here. Two lines of Python write its values as CSV (pip install "
        "{}):\n"
        "    {}\n    {}\n{}",
        advice.name, advice.packages, line(advice.read, path), line(advice.write, path), advice.note);
}

/// Whether bytes that begin a file are no text: a zero, or more control characters than a line's noise explains.
bool isBinary(std::string_view first) {
    first = first.substr(0, 512);
    const auto isControl = [](unsigned char c) {
        return c < 0x20 && (c < '\t' || c > '\r') && c != 0x1B && c != 0x1A;
    };
    const auto controls = static_cast<std::size_t>(std::count_if(first.begin(), first.end(), isControl));
    return first.find('\0') != std::string_view::npos || controls * 20 > first.size();
}

/// What kind of zip archive, by the names of the members that its first bytes show.
const Advice& zipAdvice(std::string_view first) {
    const std::string_view name = first.substr(std::min<std::size_t>(first.size(), 30));
    if (name.starts_with("[Content_Types].xml") || name.find("xl/") != std::string_view::npos) return kXlsx;
    return name.substr(0, 100).find(".npy") != std::string_view::npos ? kNpz : kZip;
}

const Advice* adviceFor(std::string_view first) {
    for (const Mark& mark : kMarks)
        if (first.starts_with(mark.bytes)) return &mark.advice;
    if (first.starts_with("PK\x03\x04") || first.starts_with("PK\x05\x06")) return &zipAdvice(first);
    if (first.starts_with("SQLite format 3"))
        return first.find("CREATE TABLE topics(") != std::string_view::npos ? &kRosBag2 : &kSqlite;
    return isBinary(first) ? &kBinary : nullptr;
}

}  // namespace

std::string foreignFormat(std::string_view first, const std::string& path) {
    const Advice* advice = adviceFor(first);
    return advice ? message(*advice, path) : "";
}

std::string foreignArchive(const std::vector<std::string>& members, const std::string& path) {
    const auto isArray = [](const std::string& name) { return name.ends_with(".npy"); };
    if (std::find(members.begin(), members.end(), "xl/workbook.xml") != members.end())
        return message(kXlsx, path);
    const bool isNpz = !members.empty() && std::all_of(members.begin(), members.end(), isArray);
    return isNpz ? message(kNpz, path) : "";
}

}  // namespace Kavelin::RecordingIO
