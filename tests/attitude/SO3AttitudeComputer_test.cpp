#include "attitude/so3/SO3AttitudeComputer.h"

#include <cstdlib>

#include "support/Estimators.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Vector3d;

// Rows of numbers below a header line; "nan" is read as such.
std::vector<std::vector<double>> readTable(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::vector<std::vector<double>> rows;
    std::string line, cell;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::istringstream cells(line);
        for (rows.emplace_back(); std::getline(cells, cell, ',');) rows.back().push_back(std::stod(cell));
    }
    return rows;
}

// Recordings with gaps, lost fields, magnets on the sensor and in the room, with the output of another
// implementation of the same equations at every tenth row.
TEST(SO3AttitudeComputer, AgreesWithAnotherImplementation) {
    const char* root = std::getenv("KAVELIN_DATA");
    const std::filesystem::path folder = std::filesystem::path(root ? root : "") / "so3";
    if (!root || !std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "skipped: KAVELIN_DATA names no folder with recordings in so3/";
    }
    for (const char* name : {"gaps", "iron", "iron_from_start", "combined", "nan_samples", "magnets"}) {
        const auto expected = readTable(folder / (std::string(name) + ".expected.csv"));
        ASSERT_FALSE(expected.empty()) << name;
        ErrorState estimator;
        std::size_t next = 0, row = 0;
        double angle = 0, others = 0;  // degrees; largest difference of all other outputs
        for (const std::vector<double>& s : readTable(folder / (std::string(name) + ".csv"))) {
            estimator.advance(s[0], {s[1], s[2], s[3]}, {s[4], s[5], s[6]}, {s[7], s[8], s[9]});
            if (row++ % 10 != 0 || next == expected.size()) continue;
            const std::vector<double>& e = expected[next++];
            angle = std::max(angle, errorDegrees(estimator.attitude(), {e[1], e[2], e[3], e[4]}));
            Eigen::Matrix<double, 16, 1> is;
            is << estimator.tiltDeviation(), estimator.headingDeviation(), estimator.bias(),
                estimator.hardIron(), estimator.atRest(), estimator.fieldDisturbed(), estimator.accBias(),
                estimator.linearAcceleration();
            others = std::max(others, (is - Eigen::Matrix<double, 16, 1>::Map(&e[5])).cwiseAbs().maxCoeff());
        }
        EXPECT_EQ(next, expected.size()) << name;
        EXPECT_LT(angle, 1e-6) << name;
        EXPECT_LT(others, 1e-7) << name;
    }
}

using Samples = std::vector<MotionSample>;

MotionSettings handheld() {
    MotionSettings motion;
    motion.position = {Wave{0.05, 0.5, 0}, Wave{0.04, 0.7, 1}, Wave{0.03, 0.6, 2}};
    return motion;
}

void addToField(Samples& samples, double from, double to, const Vector3d& magnet) {
    for (MotionSample& s : samples) {
        if (s.t >= from && s.t < to) s.field += magnet;
    }
}

// For the first 20 s the room's field is another: turned about the vertical by half a radian, and weaker.
void startElsewhere(Samples& samples) {
    for (MotionSample& s : samples) {
        if (s.t >= 20) continue;
        const Eigen::Matrix3d& r = s.truth.R_earth_sensor;
        s.field = 0.7 * r.transpose() * (Eigen::AngleAxisd(0.5, Vector3d::UnitZ()) * (r * s.field));
    }
}

void lose(Samples& samples, double period, double duration) {
    std::erase_if(samples, [&](const MotionSample& s) { return std::fmod(s.t, period) > period - duration; });
}

// One rule of the filter each: without it the row's error, hard iron or flag is beyond its bound.
TEST(SO3AttitudeComputer, IsRightWhere) {
    struct Row {
        const char* name;
        double duration, from;  // s; errors count from there on
        double degrees;         // largest error
        std::function<void(MotionSettings&, SensorErrors&)> prepare = {};
        std::function<void(Samples&)> change = {};
        Vector3d hardIron = Vector3d::Zero();  // uT, to be known at the end to within 1.5
        bool headingCounts = true;
    };
    const Vector3d magnet(12, -5, 4);
    const Row rows[] = {
        {"a bias shows in motion", 60, 30, 1.1,
         [](auto&, auto& e) {
             e.rateBias = {0.06, -0.04, 0.05};
         }},
        {"the accelerometer has a bias", 120, 60, 1.0,
         [](auto&, auto& e) {
             e.accBias = {0.2, -0.1, 0.1};
         }},
        {"the gyroscope has a scale error", 120, 60, 3,
         [](auto& m, auto&) {
             m.yaw.slow = {6, 0.04, 0};
         },
         [](Samples& all) {
             for (auto& s : all) s.rate *= 1.01;
         }},
        {"the unit starts upside down", 30, 10, 1, [](auto& m, auto&) { m.roll.offset = kPi; }},
        {"the hand reaches far", 60, 20, 2.2,
         [](auto& m, auto&) {
             m.position = {Wave{0.7, 0.4, 0}, Wave{0.5, 0.5, 1}, {}};
         }},
        {"rest shows the vertical bias", 90, 10, 1.2,
         [](auto& m, auto& e) {
             m.rests = {{0, 6}};
             e.rateBias = {0, 0, 0.03};
         },
         [](Samples& all) {
             for (auto& s : all)
                 if (s.t > 0.5) s.field.setConstant(kNaN);
         }},
        {"a magnet is put on the sensor",
         60,
         5,
         1.1,
         {},
         [&](Samples& all) { addToField(all, 20, 99, magnet); },
         magnet},
        {"a magnet was on it before",
         90,
         60,
         2.9,
         {},
         [&](Samples& all) { addToField(all, 0, 99, magnet); },
         magnet},
        {"a weak magnet was on it before",
         90,
         60,
         1.3,
         {},
         [&](Samples& all) { addToField(all, 0, 99, magnet / 4); },
         magnet / 4},
        {"the start was elsewhere", 90, 60, 1.4, {}, startElsewhere},
        {"the unit rests long near a magnet", 120, 105, 0.8,
         [](auto& m, auto&) {
             m.rests = {{0, 60}};
         },
         [](Samples& all) {
             for (auto& s : all)
                 if (s.t < 63) s.field += s.truth.R_earth_sensor.transpose() * Vector3d(20, -6, 9);
         }},
        {"80 ms are lost every 2 s", 60, 5, 1.1, {}, [](Samples& all) { lose(all, 2, 0.08); }},
        {"1 s is lost every 40 s", 75, 55, 1.1, {}, [](Samples& all) { lose(all, 40, 1); }},
        {"an hour is lost",
         60,
         3655,
         0.8,
         {},
         [](Samples& all) {
             lose(all, 40, 10);
             for (auto& s : all)
                 if (s.t > 35) s.t += 3600;
         }},
        {"every third acceleration is none",
         60,
         5,
         1.3,
         {},
         [](Samples& all) {
             for (std::size_t i = 0; i < all.size(); i += 3) all[i].acc.setConstant(kNaN);
         }},
    };
    for (const Row& row : rows) {
        MotionSettings motion = handheld();
        SensorErrors errors{.rateNoise = 0.003, .accNoise = 0.05, .fieldNoise = 0.4};
        if (row.prepare) row.prepare(motion, errors);
        Samples samples = record(Motion(motion), row.duration, 100, errors);
        if (row.change) row.change(samples);
        ErrorState estimator;
        EXPECT_LT(worst(errorsOver(estimator, samples, row.headingCounts), row.from), row.degrees)
            << row.name;
        EXPECT_LT((estimator.hardIron() - row.hardIron).norm(), 1.5) << row.name;
        EXPECT_FALSE(estimator.fieldDisturbed()) << row.name;
    }
}

TEST(SO3AttitudeComputer, TakesAnAttitudeHandedInWithItsHeading) {
    MotionSettings motion = handheld();
    motion.rests = {{0, 3}};
    const Samples samples = record(Motion(motion), 20, 100);
    const Eigen::Quaterniond turn(Eigen::AngleAxisd(2.0, Vector3d::UnitZ()));
    for (const double fieldFrom : {0.0, 5.0}) {
        ErrorState estimator;
        EXPECT_FALSE(estimator.setNextAttitude(Quaternion::Zero()));
        EXPECT_TRUE(estimator.setNextAttitude(3 * fromEigen(turn * samples[0].truth.q_earth_sensor)));
        std::vector<std::pair<double, double>> errors;
        for (MotionSample s : samples) {
            if (s.t < fieldFrom) s.field.setConstant(kNaN);
            estimator.take(s);
            errors.emplace_back(s.t, errorDegrees(estimator.attitude(), turn * s.truth.q_earth_sensor));
        }
        EXPECT_LT(worst(errors, 1.7), 1.0) << "field from " << fieldFrom << " s";
        EXPECT_GT(worst(errors, 0, 1.6), 90) << "before the end of the start";
    }
}

TEST(SO3AttitudeComputer, LeavesClippedAccelerationsOut) {
    Samples samples = record(Motion(handheld()), 30, 100);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i % 50 == 7) samples[i].acc.x() = 39.2;
    }
    double error[2];
    for (const double range : {0.0, 39.2}) {
        ErrorState estimator;
        estimator.setSettings({.accelerometerRange = range});
        error[range > 0] = worst(errorsOver(estimator, samples), 10);
    }
    EXPECT_LT(error[1], 0.8);
    EXPECT_GT(error[0], 2 * error[1]) << "they do harm";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
