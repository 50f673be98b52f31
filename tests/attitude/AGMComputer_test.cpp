#include "attitude/AGMComputer.h"

#include "support/DisturbedMotion.h"
#include "support/OwnFolder.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

constexpr double kDegrees = 180.0 / std::numbers::pi;

/// One output beside the truth, both relative to the pose at the start.
struct Output {
    double t;
    double error;  // degrees
    bool accFlag, magFlag;
};

struct Version {
    const char* name;
    AGMVariant variant;
};
const Version kVersion5{"v5", kAGMVariant5};
const Version kVersion6{"v6", kAGMVariant6};

/// Runs a version with the settings that are shipped with it.
std::vector<Output> run(const Version& version, const std::vector<MotionSample>& samples) {
    AGMComputer computer(std::make_unique<ProblemAGM>(), version.variant);
    const std::string folder = std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/";
    EXPECT_TRUE(computer.load(folder + "AGMAttitude_" + version.name + ".par"));
    const Eigen::Quaterniond start = samples.front().truth.q_earth_sensor;
    std::vector<Output> outputs;
    for (const MotionSample& s : samples) {
        if (!computer.advance({.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate})) continue;
        const AGMEstimate& now = computer.estimate();
        EXPECT_LT((now.R_ref_sensor - toEigen(now.q_ref_sensor).toRotationMatrix()).norm(), 1e-9);
        const Eigen::Quaterniond truth = start.conjugate() * s.truth.q_earth_sensor;
        outputs.push_back(
            {s.t, truth.angularDistance(toEigen(now.q_ref_sensor)) * kDegrees, now.accFlag, now.magFlag});
    }
    return outputs;
}

std::vector<Output> between(const std::vector<Output>& outputs, double from, double to) {
    std::vector<Output> some;
    for (const Output& o : outputs) {
        if (o.t >= from && o.t < to) some.push_back(o);
    }
    return some;
}

double meanError(const std::vector<Output>& outputs) {
    double sum = 0.0;
    for (const Output& o : outputs) sum += o.error;
    return sum / static_cast<double>(outputs.size());
}

double worstError(const std::vector<Output>& outputs) {
    double worst = 0.0;
    for (const Output& o : outputs) worst = std::max(worst, o.error);
    return worst;
}

double share(const std::vector<Output>& outputs, bool Output::*flag) {
    const auto raised =
        std::count_if(outputs.begin(), outputs.end(), [flag](const Output& o) { return o.*flag; });
    return static_cast<double>(raised) / static_cast<double>(outputs.size());
}

TEST(AGMComputer, version6FollowsMotion) {
    const struct {
        const char* name;
        Disturbance motion;
    } rows[] = {
        {"50 Hz", {.frequency = 50, .duration = 40, .rateBias = 0.005}},
        {"200 Hz", {.frequency = 200, .duration = 40, .rateBias = 0.005}},
        {"400 Hz", {.frequency = 400, .duration = 40, .rateBias = 0.005}},
        {"fast", {.duration = 40, .speed = 3, .rateBias = 0.005}},
        {"jitter and losses", {.duration = 40, .rateBias = 0.005, .jitter = 0.5, .lost = 0.1}},
        {"bias of 0.01 rad/s", {.duration = 40, .rateBias = 0.01}},
    };
    for (const auto& row : rows) {
        for (const unsigned seed : {1u, 2u}) {
            SCOPED_TRACE(testing::Message() << row.name << ", seed " << seed);
            const auto outputs = run(kVersion6, recordDisturbed(row.motion, seed));
            EXPECT_NEAR(outputs.front().t, 2.0, 0.1);
            EXPECT_LT(meanError(outputs), 1.5);
            EXPECT_LT(worstError(outputs), 4.0);
            EXPECT_EQ(share(outputs, &Output::accFlag), 0.0);
            EXPECT_LT(share(outputs, &Output::magFlag), 0.001);
        }
    }
}

TEST(AGMComputer, version6FlagsAMagnetAndRecovers) {
    const Disturbance magnet{.duration = 40, .rateBias = 0.005, .magnetFrom = 10, .magnetTo = 15};
    const auto outputs = run(kVersion6, recordDisturbed(magnet));
    EXPECT_EQ(share(between(outputs, 2, 10), &Output::magFlag), 0.0);
    EXPECT_GT(share(between(outputs, 10, 15), &Output::magFlag), 0.95);
    EXPECT_TRUE(between(outputs, 15, 15.4).back().magFlag) << "held for T_M";
    EXPECT_EQ(share(between(outputs, 16, 40), &Output::magFlag), 0.0);
    EXPECT_LT(worstError(between(outputs, 10, 15)), 8.0);
    EXPECT_LT(meanError(between(outputs, 20, 40)), 1.5);
}

TEST(AGMComputer, version6FlagsProperAccelerationAndRecovers) {
    auto samples = recordDisturbed({.duration = 40, .rateBias = 0.005});
    for (MotionSample& s : samples) {
        if (s.t >= 10 && s.t < 12) s.acc += 12 * s.acc.normalized();
    }
    const auto outputs = run(kVersion6, samples);
    EXPECT_EQ(share(between(outputs, 2, 10), &Output::accFlag), 0.0);
    EXPECT_EQ(share(between(outputs, 10, 12), &Output::accFlag), 1.0);
    EXPECT_TRUE(between(outputs, 12, 12.09).back().accFlag) << "held for T_A";
    EXPECT_EQ(share(between(outputs, 12.11, 40), &Output::accFlag), 0.0);
    EXPECT_LT(meanError(between(outputs, 10, 40)), 1.5);

    const auto shaken =
        run(kVersion6, recordDisturbed({.duration = 40, .rateBias = 0.005, .shakeFrom = 10, .shakeTo = 15}));
    EXPECT_LT(worstError(between(shaken, 10, 15)), 6.0);
    EXPECT_LT(meanError(between(shaken, 20, 40)), 1.5);
}

// Deliberate: the model's prediction and the gating disagree in the accelerometer's sign, which draws the
// tilt to the opposite attitude, even without noise and with the unit at rest.
TEST(AGMComputer, version5TiltRunsAway) {
    for (const double rest : {0.0, 60.0}) {
        const auto outputs = run(kVersion5, recordDisturbed({.duration = 60, .rest = rest, .rateBias = 0}));
        EXPECT_GT(worstError(between(outputs, 40, 60)), 120.0) << "rest of " << rest << " s";
    }
}

// A mirrored accelerometer (downwards at rest) is no way out: gating and model then disagree the other way
// round.
TEST(AGMComputer, version5WithANegatedAccelerometerRunsAwayToo) {
    auto samples = recordDisturbed({.duration = 30, .rest = 0, .rateBias = 0});
    for (MotionSample& s : samples) s.acc = -s.acc;
    EXPECT_GT(worstError(run(kVersion5, samples)), 120.0);
}

TEST(AGMComputer, saysNothingWithoutSettings) {
    AGMComputer computer(std::make_unique<ProblemAGM>(), kAGMVariant6);
    EXPECT_FALSE(computer.load("no/such/file.par"));
    computer.restart();
    EXPECT_FALSE(computer.isReady());
    EXPECT_FALSE(computer.advance({}));
}

// Noise with terms off the diagonal, and any factor at the start, go through the solver's general path.
TEST(AGMComputer, fullNoiseMatricesWork) {
    const std::string path = (ownFolder() / "AGMComputer_test.par").string();
    std::ofstream(path)
        << "[MIG]\n**XhatKK=1\n4 1 1 0 0 0\n**Pf=1\n4 4 .01 0 0 0 0 .01 0 0 0 .002 .01 0 .001 0 0 .01\n"
           "**Qd=1\n4 4 .01 .001 0 0 .001 .01 0 0 0 0 .01 0 0 0 0 .01\n"
           "**Rddyn=1\n3 3 100 1 0 1 100 0 0 0 100\n**Rdstat=1\n3 3 .5 .01 0 .01 .5 0 0 0 .5\n"
           "[Resolution]\nalpha_A=5\nalpha_M=5\nalpha_C=6000\nT_setref=2\nT_A=.1\nT_M=.5\nQCoeff=0\n";
    AGMComputer computer(std::make_unique<ProblemAGM>(), kAGMVariant6);
    ASSERT_TRUE(computer.load(path));
    const auto samples = recordDisturbed({.duration = 20, .rateBias = 0.005});
    double worst = 0.0;
    for (const MotionSample& s : samples) {
        if (!computer.advance({.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate})) continue;
        const Eigen::Quaterniond truth =
            samples.front().truth.q_earth_sensor.conjugate() * s.truth.q_earth_sensor;
        worst = std::max(worst, truth.angularDistance(toEigen(computer.estimate().q_ref_sensor)) * kDegrees);
    }
    EXPECT_LT(worst, 4.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
