#include "calibration/file/CalibrationFile.h"

#include <nlohmann/json.hpp>
#include <set>

#include "support/TestKit.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;
using nlohmann::json;

const json& schema() {
    static const json root = json::parse(std::ifstream(KAVELIN_SOURCE_DIR "/docs/calibration.schema.json"));
    return root;
}

Calibration fullCalibration() {
    const Origin origin{"walk \"1\"\n.csv", "2024-05-01T10:00:00Z", "2024-05-01T11:00:00Z",
                        "2024-05-02T11:00:00Z", "kavelin 1.3.1"};
    const Eigen::Matrix3d matrix{{1.0 / 3, 0.1, -1e-17}, {0.1, 1.1, 0.2}, {-0.0, 0.2, 0.9}};
    const AffineModel model{{0.1, -1.0 / 7, 5e-324}, matrix};
    Calibration full;
    full.magnetic =
        MagneticCalibration{origin, model, "uT", 48.0 + 1e-13, -0.0,   0.25,
                            0.1,    0.01,  0.75, 0.125,        60'000, {Grade::kFair, {"turn it"}}};
    full.inertial.emplace();
    full.inertial->acceleration = model;
    full.inertial->rate = AffineModel{};
    full.inertial->opinion = {Grade::kPoor, {"one", "two"}};
    full.noise.emplace();
    full.noise->acceleration = full.noise->rate = full.noise->field = NoiseFigures{};
    full.noise->rate->randomWalk = {1e-5, kNaN, 0.3};
    full.mount = MountCalibration{
        origin, Eigen::Quaterniond(0.5, -0.5, 0.5, 0.5), 1, 3, 5, 12, 6.5, 0.1, 0.02, 0.3, {}};
    return full;
}

TEST(CalibrationFile, ReadsBackWhatItWroteToTheBit) {
    const Calibration full = fullCalibration();
    const std::string text = calibrationText(full);
    const Calibration back = parseCalibration(text, "cal.json");
    EXPECT_EQ(calibrationText(back), text);
    EXPECT_EQ(back.magnetic->model.matrix, full.magnetic->model.matrix);
    EXPECT_EQ(back.magnetic->model.offset, full.magnetic->model.offset);
    EXPECT_TRUE(std::signbit(back.magnetic->model.matrix(2, 0)));
    EXPECT_EQ(back.magnetic->strength, full.magnetic->strength);
    EXPECT_EQ(back.magnetic->origin.recording, full.magnetic->origin.recording);
    EXPECT_EQ(back.inertial->opinion.remarks, full.inertial->opinion.remarks);
    EXPECT_TRUE(std::isnan(back.noise->rate->randomWalk.y()));
    EXPECT_EQ(back.mount->q_segment_sensor.coeffs(), full.mount->q_segment_sensor.coeffs());
}

TEST(CalibrationFile, IsDescribedByTheSchemaKeyByKey) {
    const json written = json::parse(calibrationText(fullCalibration()));
    for (const char* section : {"magnetic", "inertial", "noise", "mount"}) {
        std::set<std::string> inSchema, inFile;
        for (const auto& [key, _] : schema()["$defs"][section]["properties"].items()) inSchema.insert(key);
        for (const auto& [key, _] : written[section].items()) inFile.insert(key);
        EXPECT_EQ(inSchema, inFile) << section;
    }
}

TEST(CalibrationFile, TheGuideShowsOne) {
    std::ifstream guide(KAVELIN_SOURCE_DIR "/docs/calibration.md");
    const std::string text{std::istreambuf_iterator<char>(guide), {}};
    const std::size_t begin = text.find("```json\n") + 8, end = text.find("```", begin);
    ASSERT_LT(begin, end);
    const Calibration shown = parseCalibration(text.substr(begin, end - begin), "guide");
    EXPECT_TRUE(shown.magnetic && shown.mount);
}

/// A file whose parts are left out, or written by hand.
std::string file(const std::string& sections) {
    return R"({"format": "kavelin calibration", "version": 1, )" + sections + "}";
}

TEST(CalibrationFile, ReadsWhatAPersonWrote) {
    const Calibration read = parseCalibration(
        file(R"("description": "mine", "magnetic": {"offset": [1, -2, 3.5]}, "noise": null)"), "mine");
    EXPECT_EQ(read.magnetic->model.offset, Eigen::Vector3d(1, -2, 3.5));
    EXPECT_EQ(read.magnetic->model.matrix, Eigen::Matrix3d::Identity());
    EXPECT_EQ(parseCalibration(calibrationText(read), "again").description, "mine");
    EXPECT_TRUE(std::isnan(read.magnetic->strength)) << "not known";
    EXPECT_TRUE(std::isnan(read.magnetic->coverage)) << "not known";
    EXPECT_FALSE(read.noise || read.inertial || read.mount);
}

TEST(CalibrationFile, SaysWhatIsWrongAndWhere) {
    const std::string offset = R"("offset": [0, 0, 0])";
    const auto magnetic = [&](const std::string& more) {
        return file(R"("magnetic": {"offset": [0, 0, 0], )" + more + "}");
    };
    const struct {
        std::string text, message;
    } rows[] = {
        {"", "not JSON: parse error at line 1, column 1"},
        {"{\n \"a\" 1}", "line 2, column 6"},
        {"\xff\xfe", "not JSON"},
        {std::string(100'000, '['), "nested deeper than 16 levels"},
        {"[]", "not a calibration: \"format\" with the value \"kavelin calibration\" is missing"},
        {R"({"layouts": []})", "not a calibration"},
        {R"({"format": "kavelin calibration", "version": 2})",
         "version: 1 is expected, which this program reads; this is 2"},
        {R"({"format": "kavelin calibration", "version": 1})", "one of magnetic, inertial, noise and mount"},
        {file(R"("magnetic": {}, "magnetic": {})"), "key \"magnetic\" stands twice"},
        {file(R"("magnetics": {})"), "unknown key \"magnetics\"; it takes"},
        {file(R"("magnetic": [])"), "magnetic: an object {...} is expected; this is []"},
        {file(R"("magnetic": {})"), "magnetic: an object with \"offset\" is expected"},
        {magnetic(R"("offsett": 1)"), "magnetic: unknown key \"offsett\""},
        {magnetic(R"("unit": "G")"), R"(magnetic.unit: "uT" or "" is expected; this is "G")"},
        {magnetic(R"("strength": 0)"), "magnetic.strength: a number above 0, or null is expected"},
        {magnetic(R"("coverage": 1.5)"), "magnetic.coverage: a number from 0 to 1, or null"},
        {magnetic(R"("samples": -1)"), "magnetic.samples: a whole number of at least 0"},
        {magnetic(R"("grade": "excellent")"), R"("good", "fair" or "poor" is expected)"},
        {magnetic(R"("remarks": [1])"), "magnetic.remarks[0]: a text"},
        {magnetic(R"("matrix": [[1, 0, 0], [0, 1, 0]])"), "magnetic.matrix: a matrix of three rows"},
        {magnetic(R"("matrix": [[1, 0, 0], [0, 1, 0], [0, 0, "1"]])"), "magnetic.matrix[2][2]: a number"},
        {magnetic(R"("matrix": [[1, 0, 0], [0, 1, 0], [0, 0, null]])"), "magnetic.matrix[2][2]: a number"},
        {magnetic(R"("matrix": [[1, 0, 0], [0, 1, 0], [0, 0, 1e999]])"), "not JSON"},
        {magnetic(R"("matrix": [[1, 0, 0], [0, 1, 0], [1, 1, 0]])"), "a matrix that can be inverted"},
        {magnetic(R"("matrix": [[0, 0, 0], [0, 0, 0], [0, 0, 0]])"), "a matrix that can be inverted"},
        {file(R"("inertial": {"rate": {"offset": [0, 0]}})"), "inertial.rate.offset: an array of three"},
        {file(R"("inertial": {"acceleration_unit": "g"})"), R"("m/s^2" is expected; this is "g")"},
        {file(R"("mount": {"q_segment_sensor": [1, 0, 0]})"), "a quaternion of four numbers, w, x, y, z,"},
        {file(R"("mount": {"q_segment_sensor": [1, 1, 0, 0]})"), "a quaternion of norm 1"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(outcome([&] { parseCalibration(row.text, "cal.json"); }),
                    AllOf(HasSubstr("Poco::DataFormatException: cal.json: "), HasSubstr(row.message)));
    }
    EXPECT_THAT(outcome([] { readCalibration("/nowhere/cal.json"); }),
                HasSubstr("no file '/nowhere/cal.json'"));
    EXPECT_THAT(outcome([] { readCalibration("/"); }), HasSubstr("it is a folder"));
}

}  // namespace
}  // namespace Kavelin::Calibration
