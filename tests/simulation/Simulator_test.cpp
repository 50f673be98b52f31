#include "simulation/Simulator.h"

#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/SimulatedTable.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

std::vector<SimulatedRow> simulate(const SimulationOptions& options) {
    Simulator simulator(options);
    std::vector<SimulatedRow> rows;
    SimulatedRow row;
    while (simulator.next(row)) rows.push_back(row);
    return rows;
}

SimulationOptions perfect() {
    SimulationOptions options;
    options.gyroNoise = options.gyroBias = options.accelerometerNoise = options.magnetometerNoise = 0.0;
    options.burst = options.disturbance = options.accelerationRms = 0.0;
    return options;
}

TEST(Simulator, isConsistentWithItsOwnTruth) {
    const std::vector<SimulatedRow> rows = simulate(perfect());
    ASSERT_EQ(rows.size(), 6000u);
    double greatestRate = 0.0;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        ASSERT_NEAR(rows[i].attitude.norm(), 1.0, 1e-14);
        // Gravity and field, turned to the earth frame, stand still.
        const Vector3 up = OrientationInternal::rotate(rows[i].attitude, rows[i].acceleration);
        const Vector3 field = OrientationInternal::rotate(rows[i].attitude, rows[i].field);
        ASSERT_NEAR((up - Vector3(0, 0, 9.81)).norm(), 0.0, 1e-12);
        ASSERT_NEAR(std::atan2(-field.z(), field.y()), 65.0 * M_PI / 180.0, 1e-12);
        ASSERT_NEAR(field.x(), 0.0, 1e-12);
        // The turn from row to row is the rate times the step.
        const Eigen::Quaterniond before = OrientationInternal::toEigen(rows[i - 1].attitude);
        const Eigen::Quaterniond after = OrientationInternal::toEigen(rows[i].attitude);
        ASSERT_NEAR(before.angularDistance(after), rows[i].rate.norm() * 0.01, 1e-7);
        greatestRate = std::max(greatestRate, rows[i].rate.norm());
    }
    EXPECT_GT(greatestRate, 1.0);
    EXPECT_LT(greatestRate, 12.0);
}

TEST(Simulator, restsAtTheStartAndInBetween) {
    const std::vector<SimulatedRow> rows = simulate(perfect());
    const auto rests = [&rows](std::size_t from, std::size_t to) {
        return std::count_if(rows.begin() + static_cast<std::ptrdiff_t>(from),
                             rows.begin() + static_cast<std::ptrdiff_t>(to),
                             [](const SimulatedRow& row) { return row.rate.norm() == 0.0; });
    };
    EXPECT_GE(rests(0, 401), 400);
    EXPECT_GT(rests(500, 6000), 300);
    EXPECT_LT(rests(500, 6000), 3000);
}

TEST(Simulator, addsTheErrorsAskedForAndNothingElse) {
    SimulationOptions options = perfect();
    const std::vector<SimulatedRow> clean = simulate(options);
    options.accelerometerNoise = 0.5;
    options.gyroBias = 0.02;
    options.disturbance = 25.0;
    options.burst = 10.0;
    const std::vector<SimulatedRow> rows = simulate(options);
    double greatestField = 0.0;
    double greatestForce = 0.0;
    for (const SimulatedRow& row : rows) {
        greatestField = std::max(greatestField, std::abs(row.field.norm() - 48.0));
        greatestForce = std::max(greatestForce, std::abs(row.acceleration.norm() - 9.81));
    }
    EXPECT_GT(greatestField, 2.0);
    EXPECT_LT(greatestField, 25.01);
    EXPECT_GT(greatestForce, 3.0);
    EXPECT_NEAR(rows[10].rate.cwiseAbs().maxCoeff(), 0.01, 0.0101);
    EXPECT_EQ(rows[10].rate, rows[11].rate);  // the bias is constant while at rest
    EXPECT_EQ(clean[10].rate.norm(), 0.0);
}

/// A fault, and what it makes of the values that the same seed gives without it, at a time.
struct FaultRow {
    const char* name;
    std::function<void(SimulationOptions&)> set;
    std::function<void(double t, const SimulatedRow& clean, SensorValues& expected)> effect;
};

const FaultRow kFaultRows[] = {
    {"hard and soft iron, in this order",
     [](auto& o) {
         o.faults.softIron.diagonal() << 2, 1, 1;
         o.faults.hardIron = {5, 0, 0};
     },
     [](double, auto& clean, auto& v) { v.field.x() = 2 * clean.field.x() + 5; }},
    {"a magnet of the room for a time",
     [](auto& o) {
         o.faults.magnet = {0, 0, 30};
         o.faults.magnetFrom = 3;
         o.faults.magnetTo = 6;
     },
     [](double t, auto& clean, auto& v) {
         if (t >= 3 && t < 6)
             v.field +=
                 OrientationInternal::rotate(OrientationInternal::conjugate(clean.attitude), {0, 0, 30});
     }},
    {"scale and offset of the gyroscope",
     [](auto& o) {
         o.faults.gyroScale = {0.1, 0, 0};
         o.faults.gyroOffset = {0, 1, 0};
     },
     [](double, auto& clean, auto& v) { v.rate += Vector3(0.1 * clean.rate.x(), 1, 0); }},
    {"range before axes before unit",
     [](auto& o) {
         o.faults.acceleration.range = 5;
         o.faults.acceleration.mounting << 0, -1, 0, 1, 0, 0, 0, 0, 1;
         o.faults.acceleration.factor = 0.1;
     },
     [](double, auto& clean, auto& v) {
         const Vector3 a = clean.acceleration.cwiseMax(-5).cwiseMin(5);
         v.acceleration = 0.1 * Vector3(-a.y(), a.x(), a.z());
     }},
    {"one axis dead, the others stuck, from a time on",
     [](auto& o) {
         o.faults.rate.axes = {SensorFault::Axis::kDead, SensorFault::Axis::kAlive,
                               SensorFault::Axis::kStuck};
         o.faults.failFrom = 1e-9;  // the second row, at rest
     },
     [](double t, auto& clean, auto& v) {
         if (t > 0) v.rate = Vector3(0, clean.rate.y(), 0);
     }},
};

TEST(Simulator, addsEachFaultAndLeavesMotionAndTruthAsTheyWere) {
    SimulationOptions options = perfect();
    options.seconds = 12;
    options.disturbance = options.burst = 10;
    const std::vector<SimulatedRow> clean = simulate(options);
    for (const FaultRow& fault : kFaultRows) {
        SimulationOptions faulty = options;
        fault.set(faulty);
        const std::vector<SimulatedRow> rows = simulate(faulty);
        ASSERT_EQ(rows.size(), clean.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            SensorValues expected = clean[i];
            fault.effect(rows[i].t, clean[i], expected);
            ASSERT_LT((rows[i].acceleration - expected.acceleration).norm(), 1e-12) << fault.name << i;
            ASSERT_LT((rows[i].rate - expected.rate).norm(), 1e-12) << fault.name << i;
            ASSERT_LT((rows[i].field - expected.field).norm(), 1e-12) << fault.name << i;
            ASSERT_EQ(rows[i].attitude, clean[i].attitude) << fault.name << i;
        }
    }
}

TEST(Simulator, losesRowsInGapsAndNeverRestsWhenAskedTo) {
    SimulationOptions options = perfect();
    options.firstRest = 0;
    options.rests = false;
    options.faults.gap = 0.5;
    options.faults.gapEvery = 7;
    const std::vector<SimulatedRow> rows = simulate(options);
    EXPECT_EQ(std::count_if(rows.begin(), rows.end(), [](auto& row) { return row.isLost; }), 400);
    EXPECT_FALSE(rows[699].isLost);
    EXPECT_TRUE(rows[705].isLost);
    EXPECT_FALSE(rows[755].isLost);
    EXPECT_EQ(std::count_if(rows.begin() + 100, rows.end(), [](auto& r) { return r.rate.norm() < 0.01; }), 0);
}

TEST(Simulator, writesTheSameBytesForTheSameSeed) {
    const TemporaryFolder folder;
    SimulationOptions options;
    options.seconds = 20;
    options.jitter = 0.3;
    options.missing = 0.05;
    options.magnetometerEvery = 4;
    const auto written = [&](std::uint64_t seed) {
        options.seed = seed;
        ResultFile file(folder.path("r.csv"));
        writeSimulation(options, true, file);
        file.finish();
        return folder.read("r.csv");
    };
    const std::string one = written(1);
    EXPECT_EQ(one, written(1));
    EXPECT_NE(one, written(2));
    EXPECT_THAT(one, testing::StartsWith("t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz\n0.00"));
    const auto lines = std::count(one.begin(), one.end(), '\n') - 1;
    EXPECT_NEAR(static_cast<double>(lines), 1900.0, 60.0);
    // A checksum of the bytes: the sequence may not change from build to build or machine to machine.
    std::uint64_t sum = 14695981039346656037u;
    for (const char c : one) sum = (sum ^ static_cast<unsigned char>(c)) * 1099511628211u;
    EXPECT_EQ(sum, 9342164396346186586u);
}

TEST(Simulator, refusesWhatCannotBe) {
    SimulationOptions rate, noise, missing, range, magnet;
    rate.rate = range.faults.field.range = 0.0;
    magnet.faults.magnetFrom = magnet.faults.magnetTo = 3.0;
    noise.gyroNoise = -1.0;
    missing.missing = 1.0;
    for (const SimulationOptions& options : {rate, noise, missing, range, magnet})
        EXPECT_THROW(Simulator{options}, Poco::InvalidArgumentException);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
