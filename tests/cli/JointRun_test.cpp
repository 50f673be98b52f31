#include "cli/joint/JointRun.h"

#include <fmt/format.h>

#include <cstdlib>
#include <iostream>
#include <map>

#include "attitude/rotation/AngleConstants.h"
#include "cli/Plugins.h"
#include "support/HingeMotion.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using Eigen::AngleAxisd, Eigen::Quaterniond, Eigen::Vector3d;
using OrientationInternal::kRadiansToDegrees;

/// Both units of a hinge as recordings "thigh.csv" and "shank.csv", at rest in a pose at first.
struct Recordings {
    double rate_g = 100.0;  // Hz
    double shift_g = 0.0;   // s, of its samples
    bool hasField = true;
    double tilt = 0.0;  // rad, of the hinge against the horizon at the start
    double bend = 0.0;  // rad, by which the field at G is turned from 12 s on
};

constexpr double kSeconds = 40.0;
constexpr double kStart = 4.0;  // s, of the motion

HingeMotion motionOf(const Recordings& wanted) {
    MotionSettings d;
    d.rests = {{0.5, kStart - 0.5}};
    d.roll.slow.phase = d.roll.fast.phase = 0.0;
    d.position[0] = {0.05, 0.7, 0.0};
    const Vector3d axis = AngleAxisd(wanted.tilt, Vector3d::UnitY()) * Vector3d::UnitX();
    return HingeMotion({d,
                        {0.6, 0.0, {0.6, 0.4, -1.5707963}, {}},
                        axis,
                        Quaterniond(AngleAxisd(1.1, Vector3d(1, -2, 0.5).normalized())),
                        Quaterniond(AngleAxisd(2.4, Vector3d(-0.3, 1, 1).normalized()))});
}

void write(const TemporaryFolder& folder, const std::string& name, const Recordings& wanted, bool isG) {
    const HingeMotion motion = motionOf(wanted);
    std::mt19937 engine(isG ? 3 : 4);
    std::normal_distribution<double> normal;
    const double bias = isG ? -0.02 : 0.03, step = isG ? 1.0 / wanted.rate_g : 0.01;
    std::string text = wanted.hasField ? "t,ax,ay,az,gx,gy,gz,mx,my,mz\n" : "t,ax,ay,az,gx,gy,gz\n";
    const auto add = [&](const Vector3d& v, double offset, double noise) {
        for (int i = 0; i < 3; ++i) text += fmt::format(",{:.5f}", v[i] + offset + noise * normal(engine));
    };
    for (double t = isG ? wanted.shift_g : 0.0; t < kSeconds; t += step) {
        const auto both = motion.at(t);
        const MotionState& unit = isG ? both.g : both.d;
        text += fmt::format("{:.4f}", t);
        add(unit.acc, 0.0, 0.03);
        add(unit.rate, bias, 0.003);
        const Vector3d up = unit.R_earth_sensor.transpose() * Vector3d::UnitZ();
        const double bend = isG && t > 12.0 ? wanted.bend : 0.0;
        if (wanted.hasField) add(AngleAxisd(bend, up) * unit.field, 0.0, 0.3);
        text += "\n";
    }
    folder.write(name, text);
}

struct Result {
    int status = 0;
    std::string messages = {};
    double rms = 0.0;  // degrees, of the flexion against the truth
    std::size_t rows = 0;
};

class JointRunTest : public testing::Test {
protected:
    Result run(const Recordings& wanted, JointOptions joint) {
        write(folder_, "thigh.csv", wanted, false);
        write(folder_, "shank.csv", wanted, true);
        joint.joint = "thigh:shank";
        joint.recordings = {folder_.path("shank.csv"), folder_.path("thigh.csv")};
        Result result = runOn(joint);
        if (result.status != kUnusable) compare(motionOf(wanted), result);
        return result;
    }

    Result runOn(const JointOptions& joint) {
        FuseOptions options;
        options.output = folder_.path("angles.csv");
        options.type = "FilterSO3Attitude";
        std::istringstream in;
        std::ostringstream out, err;
        CommandContext context{in, out, err};
        try {
            loadPlugins(context, {});
            JointRun(options, joint, context).run();
        } catch (const std::exception& error) {
            context.status = reportError(context, error);
        }
        return {.status = context.status, .messages = err.str()};
    }

    void compare(const HingeMotion& motion, Result& result) const {
        std::istringstream table(folder_.read("angles.csv"));
        std::string line;
        std::getline(table, line);
        EXPECT_EQ(line, "t,angle (deg),flexion (deg),swing (deg),qw,qx,qy,qz");
        double sum = 0.0;
        for (double t, angle, flexion; std::getline(table, line); ++result.rows) {
            EXPECT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf", &t, &angle, &flexion), 3);
            const double truth = (motion.at(t).angle - motion.at(2.0).angle) * kRadiansToDegrees;
            sum += (flexion - truth) * (flexion - truth);
        }
        result.rms = std::sqrt(sum / static_cast<double>(result.rows));
    }

    TemporaryFolder folder_;
};

TEST_F(JointRunTest, MeasuresAHingeWithinADegreeOrTwo) {
    struct Row {
        const char* name;
        Recordings recordings;
        bool alike;
        std::size_t rows;
        double tolerance;  // degrees
    };
    const Row rows[] = {
        {"same stamps", {}, false, 4000, 1.0},
        {"a rate and a clock of its own", {.rate_g = 60.0, .shift_g = 0.0037}, false, 3990, 1.0},
        {"a field that differs at G by 40 degrees", {.bend = 0.7}, false, 4000, 3.5},
        {"no field", {.hasField = false, .tilt = 0.5}, false, 4000, 2.0},
    };
    for (const Row& row : rows) {
        const Result result = run(row.recordings, {.pose = "1..3", .hinge = true, .alike = row.alike});
        EXPECT_EQ(result.status, kDone) << row.name << "\n" << result.messages;
        EXPECT_GE(result.rows, row.rows) << row.name;
        EXPECT_LT(result.rms, row.tolerance) << row.name << "\n" << result.messages;
        std::cout << fmt::format("  {}: flexion within {:.2f} degrees RMS\n", row.name, result.rms);
    }
}

TEST_F(JointRunTest, RefusesWhatWouldGiveWrongAngles) {
    struct Row {
        const char* name;
        Recordings recordings;
        JointOptions joint;
        const char* message;
    };
    const Row rows[] = {
        {"the pose is in motion", {}, {.pose = "10..12"}, "--pose 10..12: thigh moves there"},
        {"the pose is outside", {}, {.pose = "50..52"}, "have samples from 0 s to "},
        {"headings apart", {.hasField = false}, {.pose = "1..3"}, "have no common zero"},
        {"no time together", {.shift_g = 39.0}, {.pose = "1..3"}, "have samples from 39 s"},
    };
    for (const Row& row : rows) {
        const Result result = run(row.recordings, row.joint);
        EXPECT_EQ(result.status, kUnusable) << row.name;
        EXPECT_NE(result.messages.find(row.message), std::string::npos) << row.name << "\n"
                                                                        << result.messages;
        EXPECT_FALSE(std::filesystem::exists(folder_.path("angles.csv"))) << row.name;
    }
}

/// t and the quaternion in four columns from `column` on; rows without one are left out.
std::map<long, Quaterniond> quaternionsIn(const std::string& file, int column) {
    std::ifstream table(file);
    std::map<long, Quaterniond> found;
    std::string line, cell;
    for (std::getline(table, line); std::getline(table, line);) {
        std::istringstream cells(line);
        std::vector<double> row;
        while (std::getline(cells, cell, ',')) row.push_back(std::atof(cell.c_str()));
        const double* q = row.data() + column;
        if (!std::isnan(q[0])) found[std::lround(row[0] * 1e4)] = Quaterniond(q[0], q[1], q[2], q[3]);
    }
    return found;
}

TEST_F(JointRunTest, TwoRealUnitsThatMoveOnTheirOwnAreMeasuredAndAreNoHinge) {
    const char* root = std::getenv("KAVELIN_DATA");
    const std::string data = root ? root : "";
    const std::string d = data + "/broad_07/recording.csv", g = data + "/broad_15/recording.csv";
    if (!root || !std::filesystem::exists(d) || !std::filesystem::exists(g))
        GTEST_SKIP() << "skipped: KAVELIN_DATA names no folder with recordings in broad_07/ and broad_15/";
    JointOptions joint{.joint = "broad_07:broad_15", .pose = "3..9", .recordings = {d, g}};
    EXPECT_EQ(runOn(joint).status, kDone);
    const auto truth_d = quaternionsIn(d, 10), truth_g = quaternionsIn(g, 10);
    const Quaterniond zero =  // both lie still at 6 s
        truth_g.lower_bound(60000)->second.inverse() * truth_d.lower_bound(60000)->second;
    double sum = 0.0, count = 0.0;
    for (const auto& [t, relative] : quaternionsIn(folder_.path("angles.csv"), 4)) {
        if (!truth_d.contains(t) || !truth_g.contains(t)) continue;
        const double error = relative.angularDistance(truth_d.at(t).inverse() * truth_g.at(t) * zero);
        sum += error * error;
        ++count;
    }
    EXPECT_GT(count, 50000.0);
    EXPECT_LT(std::sqrt(sum / count) * kRadiansToDegrees, 2.5);
    std::cout << fmt::format("  rotation between two real units: within {:.2f} degrees RMS\n",
                             std::sqrt(sum / count) * kRadiansToDegrees);
    joint.hinge = true;
    EXPECT_NE(runOn(joint).messages.find("the motion is not that of a hinge"), std::string::npos);
}

}  // namespace
}  // namespace Kavelin::Cli
