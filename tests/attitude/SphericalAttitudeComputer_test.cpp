#include "attitude/SphericalAttitudeComputer.h"

#include "support/DisturbedMotion.h"
#include "support/HostileSamples.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Vector3d;

constexpr double kDegrees = 180.0 / std::numbers::pi;

// The error's angle; without a field only what tilts the vertical counts.
double errorDegrees(const Eigen::Quaterniond& estimate, const Eigen::Quaterniond& truth, bool headingCounts) {
    const Eigen::Quaterniond q = estimate * truth.conjugate();
    const double sine = headingCounts ? q.vec().norm() : std::hypot(q.x(), q.y());
    return 2 * std::asin(std::min(1.0, sine)) * kDegrees;
}

// Largest error in degrees from `from` (s) on.
double worstError(SphericalAttitudeComputer& computer, const std::vector<MotionSample>& samples, double from,
                  bool headingCounts = true) {
    double worst = 0;
    for (const MotionSample& s : samples) {
        EXPECT_TRUE(computer.advance(s.t, s.acc, s.rate, s.field));
        const double error = errorDegrees(computer.attitude(), s.truth.q_earth_sensor, headingCounts);
        if (s.t >= from) worst = std::max(worst, error);
    }
    return worst;
}

struct Row {
    std::string name;
    Disturbance fault;
    double from;   // s
    double bound;  // degrees, largest error from there on
};

class SphericalOnMotion : public testing::TestWithParam<Row> {};

TEST_P(SphericalOnMotion, StaysWithinItsBound) {
    const Row& row = GetParam();
    SphericalAttitudeComputer computer;
    const double worst =
        worstError(computer, recordDisturbed(row.fault), row.from, row.fault.fieldEvery != 0);
    EXPECT_LT(worst, row.bound);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, SphericalOnMotion,
    testing::Values(
        // The rate is held for a whole sample: at 50 Hz that, not the filter, is most of the error.
        Row{"At50Hz", {.frequency = 50}, 5, 3.5}, Row{"At100Hz", {.frequency = 100}, 5, 1.5},
        Row{"At200Hz", {}, 5, 1.0}, Row{"At400Hz", {.frequency = 400}, 5, 1.0},
        Row{"Jitter", {.jitter = 0.8}, 5, 1.2}, Row{"OneSetInFiveLost", {.lost = 0.2}, 5, 1.5},
        Row{"FieldAtEveryTenthSet", {.fieldEvery = 10}, 5, 1.2},
        Row{"NoFieldKeepsTheVertical", {.fieldEvery = 0}, 5, 0.8},
        Row{"BiasSeenInThreeSecondsOfRest", {.duration = 300, .rateBias = 0.03}, 5, 2.5},
        Row{"MagnetWhileMoving", {.magnetFrom = 20, .magnetTo = 30}, 5, 1.5},
        Row{"ShakenForTenSeconds", {.shakeFrom = 20, .shakeTo = 30}, 5, 3.0},
        Row{"StartInMotion", {.rest = 0, .rateBias = 0}, 5, 1.0},
        Row{"StartBesideAMagnet", {.duration = 120, .magnetTo = 10}, 70, 1.5}),
    [](const auto& row) { return row.param.name; });

TEST(SphericalAttitudeComputer, FirstSampleFixesTheVerticalAndTheHeading) {
    const MotionState pose = Motion().at(7.0);
    SphericalAttitudeComputer computer;
    EXPECT_FALSE(computer.advance(0, Vector3d::Zero(), pose.rate, pose.field)) << "no gravity, no attitude";
    ASSERT_TRUE(computer.advance(1, pose.acc, pose.rate, pose.field));
    EXPECT_LT(errorDegrees(computer.attitude(), pose.q_earth_sensor, true), 1e-6);
    EXPECT_FALSE(computer.fieldDisturbed());
}

TEST(SphericalAttitudeComputer, WithoutAFieldTheSensorsXAxisIsNorth) {
    const Vector3d none = Vector3d::Constant(std::numeric_limits<double>::quiet_NaN());
    struct Case {
        Vector3d acc;
        Vector3d north;  // the sensor's axis that must point north
    };
    for (const Case& c : {Case{{0, 0, 9.81}, {1, 0, 0}}, Case{{9.81, 0, 0}, {0, 1, 0}}}) {
        SphericalAttitudeComputer computer;
        ASSERT_TRUE(computer.advance(0, c.acc, Vector3d::Zero(), none));
        EXPECT_LT((computer.attitude() * c.north - Vector3d::UnitY()).norm(), 1e-12);
        EXPECT_TRUE(computer.fieldDisturbed());
    }
}

TEST(SphericalAttitudeComputer, LearnsTheBiasAtRestAndSaysSo) {
    SphericalAttitudeComputer computer;
    for (const MotionSample& s : recordDisturbed({.duration = 4, .rest = 4, .rateBias = 0.03})) {
        computer.advance(s.t, s.acc, s.rate, s.field);
        EXPECT_EQ(computer.atRest(), s.t > 1.2) << s.t;
        if (s.t > 0.9 && s.t < 1.2) break;
    }
    worstError(computer, recordDisturbed({.duration = 4, .rest = 4, .rateBias = 0.03}), 0);
    EXPECT_TRUE(computer.atRest());
    EXPECT_LT((computer.bias() - 0.03 * Vector3d(1, -1, 1).normalized()).norm(), 2e-3);
}

TEST(SphericalAttitudeComputer, ProperAccelerationIsInTheEarthFrame) {
    SphericalAttitudeComputer computer;
    const MotionState pose = Motion().at(3.0);
    const Vector3d push(0.3, -0.2, 0.1);  // m/s^2 East, North, Up; too short and small to move the vertical
    for (int i = 0; i <= 1000; ++i) {
        const Vector3d acc = pose.R_earth_sensor.transpose() * (Vector3d(0, 0, 9.81) + (i == 1000) * push);
        computer.advance(i * 0.005, acc, Vector3d::Zero(), pose.field);
    }
    EXPECT_LT((computer.properAcceleration() - push).norm(), 1e-3);
}

TEST(SphericalAttitudeComputer, TimeThatDoesNotAdvanceChangesNothing) {
    const auto samples = recordDisturbed({.duration = 2});
    SphericalAttitudeComputer plain, teased;
    for (const MotionSample& s : samples) {
        plain.advance(s.t, s.acc, s.rate, s.field);
        teased.advance(s.t, s.acc, s.rate, s.field);
        for (const double t : {s.t, s.t - 1, std::nan(""), HUGE_VAL}) {
            EXPECT_TRUE(teased.advance(t, Vector3d(5, 5, 5), Vector3d(1, 2, 3), Vector3d(9, 9, 9)));
        }
    }
    EXPECT_EQ(plain.attitude().coeffs(), teased.attitude().coeffs());
}

TEST(SphericalAttitudeComputer, ResetLeavesNoTrace) {
    const auto samples = recordDisturbed({.duration = 20, .magnetFrom = 5, .magnetTo = 9});
    SphericalAttitudeComputer fresh, used;
    worstError(used, samples, 0);
    used.reset();
    worstError(used, samples, 0);
    worstError(fresh, samples, 0);
    EXPECT_EQ(fresh.attitude().coeffs(), used.attitude().coeffs());
    EXPECT_EQ(fresh.bias(), used.bias());
}

TEST(SphericalAttitudeComputer, OutputsStayFiniteWhateverComesIn) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 engine(seed);
        SphericalAttitudeComputer computer;
        double t = 0;
        for (int i = 0; i < 500; ++i) {
            t += hostileStep(engine);
            const bool good = engine() % 3 == 0;
            const MotionState pose = Motion().at(t);
            if (!computer.advance(
                    engine() % 99 ? t : hostileValue(engine), good ? pose.acc : hostileVector(engine),
                    good ? pose.rate : hostileVector(engine), good ? pose.field : hostileVector(engine))) {
                continue;
            }
            ASSERT_NEAR(computer.attitude().norm(), 1, 1e-12) << "seed " << seed << ", sample " << i;
            ASSERT_TRUE(computer.bias().allFinite() && computer.properAcceleration().allFinite());
        }
    }
}

TEST(SphericalAttitudeComputer, RecoversWhenASensorFallsSilentOrGoesWild) {
    struct Case {
        const char* name;
        bool acc, rate, field;  // which sensors fail
        double duration;        // s
        double junk;            // what they give
        double recovery;        // s after which the error is small again
    };
    for (const Case& c : {Case{"acc silent", true, false, false, 20, NAN, 5},
                          Case{"field silent", false, false, true, 20, NAN, 0},
                          Case{"rate silent", false, true, false, 0.5, NAN, 60},
                          Case{"all wild", true, true, true, 0.05, 500, 60}}) {
        SphericalAttitudeComputer computer;
        double worst = 0;
        for (const MotionSample& s : recordDisturbed({.duration = 100})) {
            const bool fails = s.t >= 20 && s.t < 20 + c.duration;
            const Vector3d junk = Vector3d::Constant(c.junk);
            computer.advance(s.t, fails && c.acc ? junk : s.acc, fails && c.rate ? junk : s.rate,
                             fails && c.field ? junk : s.field);
            if (s.t < 20 + c.duration + c.recovery) continue;
            worst = std::max(worst, errorDegrees(computer.attitude(), s.truth.q_earth_sensor, true));
        }
        EXPECT_LT(worst, 2.0) << c.name;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
