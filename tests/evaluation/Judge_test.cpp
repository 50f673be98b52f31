#include "evaluation/Judge.h"

#include "attitude/spherical/SphericalAttitudeComputer.h"
#include "evaluation/AttitudeErrors.h"
#include "evaluation/CalibrationNeed.h"
#include "evaluation/EvidenceCollector.h"
#include "simulation/Simulator.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using Fault = std::function<void(SimulationOptions&)>;

/// A result of the spherical estimator, judged, and what it is worth.
struct Trial {
    Evidence evidence;
    Verdicts verdicts;
    ErrorFigures errors;
};

Trial tryOut(const Fault& fault, std::uint64_t seed = 11, bool usesField = true) {
    SimulationOptions options;
    options.seed = seed;
    options.seconds = 90;
    options.burst = 8;
    fault(options);
    Simulator simulator(options);
    OrientationInternal::SphericalAttitudeComputer estimator;
    EvidenceCollector collector;
    AttitudeErrors errors(usesField ? Alignment::kNone : Alignment::kHeading);
    SimulatedRow row;
    while (simulator.next(row)) {
        if (row.isLost) continue;
        const Vector3 field = usesField ? row.field : Vector3(Vector3::Constant(kNaN));
        estimator.advance(row.t, row.acceleration, row.rate, field);
        ResultSample sample{.t = row.t, .acceleration = row.acceleration, .rate = row.rate};
        if (usesField) sample.field = row.field;
        sample.attitude = OrientationInternal::fromEigen(estimator.attitude());
        sample.bias = estimator.bias();
        sample.isAtRest = estimator.atRest();
        sample.isDisturbed = estimator.fieldDisturbed();
        collector.add(sample);
        errors.add(*sample.attitude, row.attitude);
    }
    const Evidence evidence = collector.evidence();
    return {evidence, judge(evidence, {.usesField = usesField}), errors.figures()};
}

Matrix3 axes(int x, int y, int z) {
    Matrix3 m = Matrix3::Zero();
    const int which[] = {x, y, z};
    for (int row = 0; row < 3; ++row) m(row, std::abs(which[row]) - 1) = which[row] < 0 ? -1 : 1;
    return m;
}

struct VerdictRow {
    const char* name;
    Fault fault;
    Grade tilt, heading;
    const char* reason;  ///< part of the heading's text
};

const Grade kGood = Grade::kGood, kDoubtful = Grade::kDoubtful, kBad = Grade::kBad;

const VerdictRow kVerdictRows[] = {
    {"healthy", [](auto&) {}, kGood, kGood, "good"},
    {"a gyroscope with two axes swapped", [](auto& o) { o.faults.rate.mounting = axes(2, 1, 3); }, kBad, kBad,
     "gyroscope's axes contradict the other sensors'; they would fit as y, x, z, which is left-handed"},
    {"a gyroscope with a wrong sign", [](auto& o) { o.faults.rate.mounting = axes(1, -2, 3); }, kBad, kBad,
     "would fit as x, -y, z"},
    {"an accelerometer mounted otherwise", [](auto& o) { o.faults.acceleration.mounting = axes(-1, -2, 3); },
     kBad, kBad, "the accelerometer's axes or signs contradict"},
    {"a magnetometer mounted otherwise", [](auto& o) { o.faults.field.mounting = axes(2, 1, 3); }, kGood,
     kBad, "the magnetometer's axes or signs contradict"},
    {"rates in deg/s", [](auto& o) { o.faults.rate.factor = 57.29578; }, kBad, kBad, "rates are in deg/s"},
    {"rates too large by a quarter", [](auto& o) { o.faults.gyroScale.setConstant(0.25); }, kBad, kBad,
     "rates should be 0.81 times what they are"},
    {"acceleration in g", [](auto& o) { o.faults.acceleration.factor = 0.102; }, kDoubtful, kDoubtful,
     "is it in g?"},
    {"strong hard iron",
     [](auto& o) {
         o.faults.hardIron = {0, 25, -15};
     },
     kGood, kBad, "hard iron 26 uT"},
    {"a gyroscope that loses an axis",
     [](auto& o) {
         o.faults.rate.axes[2] = SensorFault::Axis::kDead;
         o.faults.failFrom = 30;
     },
     kBad, kBad, "the gyroscope's z does not change"},
    {"an accelerometer that got stuck",
     [](auto& o) { o.faults.acceleration.axes.fill(SensorFault::Axis::kStuck); }, kBad, kBad,
     "the accelerometer's xyz does not change"},
    {"a magnetometer that died",
     [](auto& o) {
         o.faults.field.axes.fill(SensorFault::Axis::kDead);
         o.faults.failFrom = 50;
     },
     kGood, kDoubtful, "the magnetometer's xyz does not change"},
    {"a gyroscope that clips", [](auto& o) { o.faults.rate.range = 1.2; }, kBad, kBad,
     "the gyroscope's xyz is clipped at 1.2"},
    {"a large bias and no rest",
     [](auto& o) {
         o.faults.gyroOffset = {0.08, -0.03, 0.06};
         o.firstRest = 0;
         o.rests = false;
     },
     kDoubtful, kBad, "bias was learnt wrong by 5.4 degrees/s"},
    {"gaps in motion",
     [](auto& o) {
         o.faults.gap = 1.5;
         o.faults.gapEvery = 8;
         o.rests = false;
     },
     kBad, kBad, "gaps take 15 % of the time, up to 1.5 s"},
    {"no motion", [](auto& o) { o.firstRest = 1000; }, kGood, kDoubtful, "hardly turned"},
};

TEST(Judge, namesTheFaultAndAgreesWithTheTruth) {
    for (const VerdictRow& row : kVerdictRows) {
        SCOPED_TRACE(row.name);
        const Trial trial = tryOut(row.fault);
        const Verdict& heading = trial.verdicts.heading;
        EXPECT_EQ(gradeName(trial.verdicts.tilt.grade), gradeName(row.tilt)) << trial.verdicts.tilt.text();
        EXPECT_EQ(gradeName(heading.grade), gradeName(row.heading)) << heading.text();
        EXPECT_THAT(heading.text(), HasSubstr(row.reason));
        const auto agrees = [](const Verdict& verdict, double error, double most, double least) {
            return (verdict.grade != kGood || error < most) && (verdict.grade != kBad || error > least);
        };
        EXPECT_TRUE(agrees(heading, trial.errors.heading, 10.0, 3.0)) << trial.errors.heading;
        EXPECT_TRUE(agrees(trial.verdicts.tilt, trial.errors.inclination, 6.0, 3.0))
            << trial.errors.inclination;
    }
}

TEST(Judge, callsAHeadingWithoutAFieldRelativeAndTellsItsDrift) {
    const Trial rested = tryOut([](auto&) {}, 11, false);
    EXPECT_EQ(gradeName(rested.verdicts.tilt.grade), "good");
    EXPECT_THAT(
        rested.verdicts.heading.text(),
        HasSubstr(
            "doubtful: without a magnetometer it is relative to the start, and may drift by 2.6 degrees"));
    EXPECT_LT(rested.errors.heading, 2.6);
    const auto neverRests = [](SimulationOptions& o) { o.firstRest = 0, o.rests = false; };
    EXPECT_THAT(tryOut(neverRests, 11, false).verdicts.heading.text(), HasSubstr("let the unit lie still"));
}

TEST(Judge, judgesWhatIsNoAttitude) {
    EvidenceCollector nothing;
    EXPECT_EQ(judge(nothing.evidence(), {}).tilt.text(), "bad: there is no attitude");
    EvidenceCollector collector;
    for (int i = 0; i < 300; ++i) {
        ResultSample sample{
            .t = 0.01 * i, .acceleration = Vector3::Constant(kNaN), .rate = Vector3::Constant(kInfinity)};
        sample.attitude = Quaternion(1, i == 200 ? kNaN : 0, 0, 0);
        collector.add(sample);
    }
    EXPECT_EQ(judge(collector.evidence(), {}).heading.text(), "bad: the attitude is not finite");
}

TEST(Evidence, findsBiasHardIronAndScaleWithTheirDeviation) {
    const Trial trial = tryOut([](SimulationOptions& o) {
        o.gyroBias = 0;
        o.faults.gyroOffset = {0.05, -0.02, 0.03};
        o.faults.hardIron = {6, -3, 9};
        o.faults.gyroScale.setConstant(0.03);
    });
    const MotionFitResult& fit = trial.evidence.fieldFit;
    EXPECT_NEAR(fit.scale, 1 / 1.03, 0.02);
    for (int axis = 0; axis < 3; ++axis) {
        const Vector3 bias(0.05, -0.02, 0.03);
        const Vector3 offset = Vector3(6, -3, 9) / fit.norm;
        EXPECT_LT(std::abs(fit.bias[axis] - bias[axis]), 4 * fit.biasDeviation[axis]);
        EXPECT_LT(std::abs(fit.offset[axis] - offset[axis]), 4 * fit.offsetDeviation[axis]);
        EXPECT_LT(fit.biasDeviation[axis], 0.01);
        EXPECT_LT(fit.offsetDeviation[axis], 0.03);
    }
}

TEST(Evidence, tellsAWrongCalibrationFromADisturbedPlace) {
    const auto iron = [](SimulationOptions& o) { o.faults.hardIron = {0, 4, -4}; };
    const auto softIron = [](SimulationOptions& o) {
        o.faults.softIron.diagonal() << 1.15, 0.9, 1;
        o.disturbance = 0;
    };
    const auto places = [](SimulationOptions& o) { o.disturbance = 60; };
    const auto magnet = [](SimulationOptions& o) {
        o.faults.magnet = {20, 20, 0};
        o.faults.magnetFrom = 30;
        o.faults.magnetTo = 60;
    };
    const std::tuple<const char*, Fault, double> rows[] = {{"healthy", [](auto&) {}, 0.0},
                                                           {"hard iron", iron, 0.118},
                                                           {"soft iron", softIron, 0.15},
                                                           {"disturbed places", places, 0.0},
                                                           {"a magnet in the room", magnet, 0.0}};
    for (const auto& [name, fault, share] : rows) {
        for (std::uint64_t seed = 1; seed <= 10; ++seed) {
            EXPECT_NEAR(calibrationNeed(tryOut(fault, seed).evidence).value_or(0.0), share, 0.5 * share)
                << name << seed;
        }
    }
}

TEST(Evidence, doesNotTakeARestOrARepeatedSampleForAFault) {
    SensorWatch watch;
    // At rest a coarse sensor shows the same for long, also its greatest value;
    // a slow one repeats every value.
    for (int i = 0; i < 1000; ++i) watch.add(0.01 * i, Vector3(std::min(i, 500), i / 4 % 50, 3), 0.0);
    for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(watch.axis(axis).stuckShare, 0.0);
    EXPECT_EQ(watch.axis(1).clippedShare, 0.0);
    EXPECT_EQ(watch.axis(2).clippedShare, 0.0);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
