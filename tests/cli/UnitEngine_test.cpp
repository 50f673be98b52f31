#include "cli/fleet/UnitEngine.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseRun.h"
#include "io/SimulatedTable.h"
#include "io/recording/Text.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using nlohmann::json;

/// A recording that is cut into batches: its header and its rows.
struct Lines {
    std::string header;
    std::vector<std::string> rows;

    static Lines of(const std::string& text) {
        std::istringstream stream(text);
        Lines lines;
        std::getline(stream, lines.header);
        for (std::string row; std::getline(stream, row);) lines.rows.push_back(row);
        return lines;
    }
    std::string text() const { return header + '\n' + part(0, rows.size()); }
    std::string part(std::size_t from, std::size_t to) const {
        std::string text;
        for (std::size_t i = from; i < to; ++i) text += rows[i] + '\n';
        return text;
    }
    /// The same rows as CBOR; cells that are no numbers as text.
    std::string cbor(std::size_t from, std::size_t to, bool withColumns) const {
        json table = json::array();
        for (std::size_t i = from; i < to; ++i) {
            json& row = table.emplace_back(json::array());
            for (const std::string& cell : RecordingIO::splitCells(rows[i], ',')) {
                char* end = nullptr;
                const double value = std::strtod(cell.c_str(), &end);
                if (cell.empty() || std::isnan(value))
                    row.push_back(nullptr);
                else if (*end == '\0')
                    row.push_back(value);
                else
                    row.push_back(cell);
            }
        }
        if (withColumns)
            table = {{"columns", RecordingIO::splitCells(header, ',')}, {"rows", std::move(table)}};
        std::string bytes;
        json::to_cbor(table, bytes);
        return bytes;
    }
};

class UnitEngineTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        std::ostringstream out;
        CommandContext context{std::cin, out, std::cerr};
        loadPlugins(context, {});
    }

    Lines simulated(const RecordingIO::SimulationOptions& options, bool truth = false) const {
        RecordingIO::ResultFile file(folder_.path("simulated.csv"));
        RecordingIO::writeSimulation(options, truth, file);
        file.finish();
        return Lines::of(folder_.read("simulated.csv"));
    }

    /// What `kavelin fuse` writes of a recording.
    std::string fused(FuseOptions options, const std::string& text, const std::string& calibration) const {
        options.recording = folder_.write("unit.csv", text);
        options.output = folder_.path("result.csv");
        options.quiet = true;
        if (!calibration.empty()) options.calibration = folder_.write("calibration.json", calibration);
        std::ostringstream out, err;
        CommandContext context{std::cin, out, err};
        FuseRun(options, context).run();
        return folder_.read("result.csv");
    }

    TemporaryFolder folder_;
};

RecordingIO::SimulationOptions shortMotion(std::uint64_t seed, double missing = 0.0,
                                           std::uint64_t every = 1) {
    RecordingIO::SimulationOptions options;
    options.seed = seed;
    options.seconds = 12.0;
    options.firstRest = 2.0;
    options.missing = missing;
    options.magnetometerEvery = every;
    return options;
}

/// Leaves out the columns of the field.
Lines withoutField(Lines lines) {
    lines.header = "t,ax,ay,az,gx,gy,gz";
    for (std::string& row : lines.rows) {
        std::size_t end = 0;
        for (int comma = 0; comma < 7; ++comma) end = row.find(',', end) + 1;
        row.resize(end - 1);
    }
    return lines;
}

/// As a table of another country has them: semicolons, decimal commas, units in the names.
Lines withCommas(Lines lines) {
    lines.header =
        "Time [s];Acc X [m/s^2];Acc Y [m/s^2];Acc Z [m/s^2];Gyr X [rad/s];Gyr Y [rad/s];Gyr Z [rad/s];"
        "Mag X [uT];Mag Y [uT];Mag Z [uT]";
    for (std::string& row : lines.rows) {
        std::ranges::replace(row, ',', ';');
        std::ranges::replace(row, '.', ',');
    }
    return lines;
}

/// Adds what goes wrong in recordings: text, cells that are missing or too many, times that run backwards, gaps.
Lines withFaults(Lines lines) {
    std::mt19937 engine(5);
    for (std::size_t i = 3; i < lines.rows.size(); i += 1 + engine() % 40) {
        std::string& row = lines.rows[i];
        switch (engine() % 8) {
            case 0:
                row = "nonsense";
                break;
            case 1:
                row += ",7";
                break;
            case 2:
                row = row.substr(0, row.rfind(','));
                break;
            case 3:
                row = row.substr(row.find(','));
                break;  // no time
            case 4:
                row = "0.5" + row.substr(row.find(','));
                break;  // backwards
            case 5:
                row = row.substr(0, row.find(',')) + ",nan,1,2,0,0,0,,,";
                break;
            case 6:
                row = "# " + row;
                break;
            default:
                row.replace(row.find(',') + 1, 1, "x");
                break;
        }
    }
    for (std::string& row : lines.rows) row = row.starts_with("9.") ? "" : row;  // a gap of a second
    return lines;
}

const char* const kCalibration = R"({"format": "kavelin calibration", "version": 1,
  "magnetic": {"unit": "uT", "offset": [3, -2, 1.5], "matrix": [[1.02, 0.01, 0], [0.01, 0.98, 0], [0, 0, 1]], "strength": 48},
  "inertial": {"gravity_m_s2": 9.81,
    "acceleration": {"offset": [0.05, -0.02, 0.1], "matrix": [[1.01, 0, 0], [0, 0.99, 0], [0, 0, 1]]},
    "rate": {"offset": [0.01, 0.002, -0.004], "matrix": [[1, 0, 0], [0, 1, 0], [0, 0, 1]]}}})";

/// A unit on its way through an engine, batch by batch.
struct Unit {
    const char* name;
    Lines lines;
    std::string calibration;
    bool isCbor = false;
    std::size_t next = 0;
    std::string state = {};
    std::string result = {};
};

/// Sends a unit's next rows, however many that are.
void advance(UnitEngine& engine, Unit& unit, std::mt19937& random) {
    const std::size_t most = random() % 4 == 0 ? 400 : 12;
    const std::size_t end = std::min(unit.lines.rows.size(), unit.next + 1 + random() % most);
    const bool isFirst = unit.state.empty();
    const bool isNamed = isFirst || random() % 3 == 0;
    Batch batch;
    if (isNamed && random() % 2 == 0) batch.columns = unit.lines.header;
    const bool isInside = isNamed && batch.columns.empty();
    const std::string payload =
        unit.isCbor ? unit.lines.cbor(unit.next, end, isInside)
                    : (isInside ? unit.lines.header + "\r\n" : "") + unit.lines.part(unit.next, end);
    batch.payload = payload;
    const std::string before = unit.state;
    try {
        const Answer answer = engine.advance(unit.state, batch, unit.calibration);
        if (unit.result.empty()) unit.result = answer.header + '\n';
        unit.result += answer.rows;
    } catch (const Poco::DataFormatException& refusal) {  // all of its rows are left out
        EXPECT_EQ(unit.state, before) << unit.name << ": " << refusal.message();
    }
    unit.next = end;
}

/// Until all rows of all units have been sent.
void runInTurns(UnitEngine& engine, std::vector<Unit>& units, unsigned seed) {
    std::mt19937 random(seed);
    for (bool isUnderWay = true; isUnderWay;) {
        isUnderWay = false;
        for (Unit& unit : units) {
            if (unit.next == unit.lines.rows.size()) continue;
            advance(engine, unit, random);
            isUnderWay = true;
        }
    }
}

TEST_F(UnitEngineTest, GivesTheRowsOfFuseHoweverTheyAreCut) {
    struct Row {
        const char* type;
        std::vector<std::string> settings;
        AttitudeForm form;
        bool needsField;
        const char* units = "";
        const char* axes = "";
        const char* frame = "";
    };
    const Row rows[] = {
        {"FilterSO3Attitude", {}, AttitudeForm::kQuaternion, false},
        {"FilterSO3Attitude", {"Use 3m=0"}, AttitudeForm::kEuler, false, "3g=deg/s", "y,-x,z", "ned"},
        {"FilterSphericalFilteringAttitude", {}, AttitudeForm::kMatrix, false},
        {"FilterAGMAttitude_v8", {}, AttitudeForm::kQuaternion, true},
        {"FilterAttitude", {}, AttitudeForm::kQuaternion, true}};
    const Lines plain = simulated(shortMotion(1)), slow = simulated(shortMotion(2, 0.02, 4));
    for (const Row& row : rows) {
        FuseOptions options;
        options.type = row.type;
        options.settings = row.settings;
        options.form = row.form;
        options.units = row.units;
        options.axes = row.axes;
        options.frame = row.frame;
        UnitEngine engine(options);
        std::vector<Unit> units = {
            {"plain", plain, ""},
            {"as CBOR", plain, "", true},
            {"a slow magnetometer, with the truth", simulated(shortMotion(3, 0.0, 3), true), ""},
            {"calibrated", slow, kCalibration},
            {"semicolons", withCommas(plain), ""},
            {"faulty", withFaults(plain), ""},
            {"faulty, as CBOR", withFaults(plain), "", true}};
        if (!row.needsField) units.push_back({"no magnetometer", withoutField(plain), ""});
        runInTurns(engine, units, 7);
        for (const Unit& unit : units) {
            const std::string expected = fused(options, unit.lines.text(), unit.calibration);
            EXPECT_TRUE(unit.result == expected) << row.type << ", " << unit.name << ": "
                                                 << unit.result.size() << " bytes, not " << expected.size();
            EXPECT_LE(unit.state.size(), 16384U) << row.type << ", " << unit.name;
        }
    }
}

TEST_F(UnitEngineTest, GivesTheRowsOfFuseForRecordings) {
    const char* root = std::getenv("KAVELIN_DATA");
    std::vector<Unit> units;
    for (const char* name :
         {"broad_05_excerpt/recording.csv", "broad_07/recording.csv", "phone_ar_magnets/imu.csv",
          "phone_pocket/imu.csv", "robot_path1/imu.csv", "single_table_form/recording.csv",
          "so3/combined.csv", "so3/gaps.csv", "so3/iron.csv"}) {
        std::ifstream file(std::filesystem::path(root ? root : "") / name);
        std::ostringstream text;
        text << file.rdbuf();
        if (!text.str().empty()) units.push_back({name, Lines::of(text.str()), ""});
    }
    if (units.empty()) GTEST_SKIP() << "skipped: KAVELIN_DATA names no folder with recordings";
    FuseOptions options;
    options.type = "FilterSO3Attitude";
    UnitEngine engine(options);
    runInTurns(engine, units, 8);
    for (const Unit& unit : units) {
        EXPECT_TRUE(unit.result == fused(options, unit.lines.text(), "")) << unit.name;
        std::cout << fmt::format("  {}: {} rows, {} bytes\n", unit.name, unit.lines.rows.size(),
                                 unit.state.size());
    }
}

TEST_F(UnitEngineTest, RefusesOptionsBeforeTheFirstBatch) {
    struct Row {
        const char* message;
        FuseOptions options;
    };
    std::vector<Row> rows(5);
    rows[0].message = "FilterCompass";
    rows[0].options.type = "FilterCompass";
    rows[1].message = "no such property";
    rows[1].options.settings = {"no such property=1"};
    rows[2].message = "--output-rate";
    rows[2].options.outputRate = 50.0;
    rows[3].message = "--set Repeat";
    rows[3].options.settings = {"Repeat=3g"};
    rows[4].message = "--mount";
    rows[4].options.mount = "mount.json";
    for (const Row& row : rows) {
        try {
            UnitEngine engine(row.options);
            ADD_FAILURE() << row.message << " is taken";
        } catch (const UsageError& refusal) {
            EXPECT_NE(std::string(refusal.what()).find(row.message), std::string::npos) << refusal.what();
        }
    }
}

TEST_F(UnitEngineTest, JudgesTheUnitThatWasAdvancedLast) {
    RecordingIO::SimulationOptions bad = shortMotion(1);
    bad.faults.gyroOffset = {0.5, -0.6, 0.4};
    const Lines good = simulated(shortMotion(1)), wrong = simulated(bad);
    UnitEngine engine({});
    EXPECT_EQ(engine.verdict().tilt, "");
    std::string a, b;
    for (std::size_t i = 0; i < 1200; i += 100) {
        engine.advance(a, {good.header, good.part(i, i + 100)});
        if (i == 1100) {
            EXPECT_EQ(engine.verdict().tilt, "good");
        }
        engine.advance(b, {good.header, wrong.part(i, i + 100)});
    }
    EXPECT_NE(engine.verdict().tilt, "good");
}

TEST_F(UnitEngineTest, RefusesWhatCannotBeUsedAndChangesNothing) {
    const Lines lines = simulated(shortMotion(1));
    UnitEngine engine({});
    std::string begun;
    engine.advance(begun, {lines.header, lines.part(0, 50)});
    UnitEngine other([] {
        FuseOptions options;
        options.settings = {"Use 3m=0"};
        return options;
    }());
    std::string foreign;
    other.advance(foreign, {lines.header, lines.part(0, 50)});
    std::string damaged = begun;
    damaged[damaged.size() / 2] = static_cast<char>(damaged[damaged.size() / 2] ^ 1);
    std::string ms = lines.header + '\n';
    for (int i = 0; i < 20; ++i) ms += fmt::format("{}{}\n", 10 * i, lines.rows[0].substr(1));
    const std::string deep(100000, '\x81');
    struct Row {
        const char* name;
        std::string state;
        std::string columns;
        std::string payload;
        const char* message;
        std::string calibration = {};
    };
    const Row rows[] = {
        {"nothing", begun, "", "", "holds no row"},
        {"columns and no row", "", "", lines.header + "\n", "holds no row"},
        {"no columns", "", "", lines.part(0, 9), "does not name its columns"},
        {"columns without a time", "", "ax,ay,az,gx,gy,gz", "1,2,3,4,5,6\n", "have a time each"},
        {"unknown columns", "", "t,u,v", "1,2,3\n", "no sensor columns found"},
        {"sensors that the filter needs", "", "t,mx,my,mz", "1,2,3,4\n", "needs \"3a\""},
        {"columns of several sensors", "", "t,id,ax,ay,az,gx,gy,gz", "1,2,3,4,5,6,7,8\n", "leave it out"},
        {"other columns", begun, "t,ax,ay,az,gx,gy,gz", lines.part(50, 60), "the unit began with"},
        {"other columns in the payload", begun, "", "t,gx,gy,gz,ax,ay,az,mx,my,mz\n" + lines.part(50, 60),
         "and the unit has"},
        {"no row that can be used", begun, "", "0,1,2\nx\n", "no row can be used: row 1: too few cells"},
        {"rows of the past", begun, "", lines.part(0, 2), "time runs backwards"},
        {"milliseconds that are not named", "", "", ms, "do not look like seconds"},
        {"units below the names", "", "",
         lines.header + "\ns,g,g,g,deg/s,deg/s,deg/s,uT,uT,uT\n" + lines.part(0, 9), "holds units"},
        {"a time that is no text", "", "t,ax,ay,az,gx,gy,gz", "\xff\x1b,1,2,3,4,5,6\n", "'\\xFF\\x1B'"},
        {"no CBOR", begun, "", "\x82\x01", "cannot be read as CBOR"},
        {"CBOR of other things", begun, "", "\xa1\x61x\x80", "the map has a key 'x'"},
        {"CBOR in CBOR", begun, "", deep, "an array stands where"},
        {"a length that is forged", begun, "", "\x9b\x7f\xff\xff\xff\xff\xff\xff\xff\x81\x01", "ends early"},
        {"bytes that are no state", "something", "", lines.part(50, 60), "not that of a unit"},
        {"a damaged state", damaged, "", lines.part(50, 60), "damaged"},
        {"a state of other settings", foreign, "", lines.part(50, 60), "other filters or settings"},
        {"no calibration", "", lines.header, lines.part(0, 9), "not a calibration", "{}"},
    };
    for (const Row& row : rows) {
        std::string state = row.state;
        try {
            engine.advance(state, {row.columns, row.payload}, row.calibration);
            ADD_FAILURE() << row.name << " is taken";
        } catch (const Poco::DataFormatException& refusal) {
            EXPECT_NE(refusal.message().find(row.message), std::string::npos)
                << row.name << ": " << refusal.message();
        }
        EXPECT_EQ(state, row.state) << row.name;
    }
}

}  // namespace
}  // namespace Kavelin::Cli
