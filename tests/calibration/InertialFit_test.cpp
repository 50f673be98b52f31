#include "calibration/inertial/InertialFit.h"

#include "calibration/PoseRecording.h"
#include "calibration/model/Unsuitable.h"
#include "support/TestKit.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;

constexpr double kDegree = M_PI / 180.0;

/// Scale of up to `scale`, axes off by up to `cross` (rad); upper triangular if the accelerometer's.
AffineModel randomFault(RecordingIO::Random& random, double offset, double scale, double cross,
                        bool isUpper) {
    AffineModel fault;
    for (Eigen::Index i = 0; i < 3; ++i) {
        fault.offset[i] = random.uniform(-offset, offset);
        for (Eigen::Index k = isUpper ? i : 0; k < 3; ++k) {
            fault.matrix(i, k) += i == k ? random.uniform(-scale, scale) : random.uniform(-cross, cross);
        }
    }
    return fault;
}

InertialFaults randomFaults(std::uint64_t seed) {
    RecordingIO::Random random(seed);
    InertialFaults faults;
    faults.acceleration = randomFault(random, 0.5, 0.03, 2.0 * kDegree, true);
    faults.rate = randomFault(random, 3.0 * kDegree, 0.03, 2.0 * kDegree, false);
    return faults;
}

/// The six sides, and random directions up to `poses`.
PoseRecording posesOf(const InertialFaults& faults, std::uint64_t seed, int poses, double restSeconds = 3.0) {
    PoseRecording made(faults, seed);
    for (int i = 0; i < poses; ++i) {
        const Eigen::Vector3d side = (i % 2 == 0 ? 1.0 : -1.0) * Eigen::Vector3d::Unit(i / 2 % 3);
        made.turn(made.random().uniform(-2.0, 2.0) * made.direction());
        made.turnUp(i < 6 ? side : made.direction());
        made.rest(restSeconds);
    }
    return made;
}

/// m/s^2, RMS of norm - gravity over directions that were not in the recording.
double normError(const AffineModel& used, const AffineModel& fault) {
    RecordingIO::Random random(99);
    double sum = 0.0;
    constexpr int kDirections = 300;
    for (int i = 0; i < kDirections; ++i) {
        const Eigen::Vector3d up =
            Eigen::Vector3d(random.normal(), random.normal(), random.normal()).normalized();
        const Eigen::Vector3d raw = fault.matrix.inverse() * (PoseRecording::kGravity * up) + fault.offset;
        sum += std::pow(used.apply(raw).norm() - PoseRecording::kGravity, 2);
    }
    return std::sqrt(sum / kDirections);
}

std::string refusal(const SensorRecording& recording) {
    try {
        calibrateInertial(recording);
    } catch (const Unsuitable& refused) {
        return refused.what();
    }
    return "none";
}

TEST(InertialFit, FindsTheFaultsOfTwoHundredUnits) {
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        const InertialFaults faults = randomFaults(seed);
        const InertialCalibration found = calibrateInertial(posesOf(faults, seed, 22, 2.5).recording);
        SCOPED_TRACE(seed);
        ASSERT_TRUE(found.acceleration && found.rate && found.hasCrossTerms && found.isRateScaled);
        EXPECT_EQ(found.opinion.grade, Grade::kGood) << testing::PrintToString(found.opinion.remarks);
        EXPECT_LT((found.acceleration->offset - faults.acceleration.offset).norm(), 0.02);
        EXPECT_LT((found.acceleration->matrix - faults.acceleration.matrix).norm(), 0.005);
        EXPECT_LT((found.rate->offset - faults.rate.offset).norm(), 0.02 * kDegree);
        EXPECT_LT((found.rate->matrix - faults.rate.matrix).norm(), 0.01);
        EXPECT_LT(found.accelerationResidualAfter, 0.01);
        EXPECT_LT(found.turnResidualAfter, 0.3 * kDegree);
    }
}

// Few and many poses, units that hardly have faults and noisy ones, knocks in rests.
TEST(InertialFit, IsNeverWorseThanNoneWhereItIsGradedGood) {
    int good = 0;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        RecordingIO::Random random(seed);
        InertialFaults faults = randomFaults(seed);
        const double share = seed % 3 == 0 ? 0.02 : 1.0;
        faults.acceleration.offset *= share;
        faults.acceleration.matrix =
            Eigen::Matrix3d::Identity() + share * (faults.acceleration.matrix - Eigen::Matrix3d::Identity());
        faults.accelerationNoise = random.uniform(0.005, 0.15);
        PoseRecording made = posesOf(faults, seed, 8 + static_cast<int>(seed % 18), 3.0);
        auto& values = made.recording.acceleration.values;
        const std::size_t knocked =
            static_cast<std::size_t>(random.uniform() * static_cast<double>(values.size() - 150));
        for (std::size_t i = knocked; i < knocked + 150 * (seed % 2); ++i) values[i].x() += 1.0;
        try {
            const InertialCalibration found = calibrateInertial(made.recording);
            if (found.opinion.grade != Grade::kGood) continue;
            ++good;
            EXPECT_LE(normError(*found.acceleration, faults.acceleration), normError({}, faults.acceleration))
                << seed;
            EXPECT_LT(normError(*found.acceleration, faults.acceleration), 0.05) << seed;
        } catch (const Unsuitable& refused) {
            EXPECT_TRUE(seed % 18 < 4 || seed % 2 == 1) << seed << refused.what();
        }
    }
    EXPECT_GT(good, 60);
}

TEST(InertialFit, SixSidesGiveOffsetAndScale) {
    InertialFaults faults = randomFaults(3);
    faults.acceleration.matrix = Eigen::Matrix3d(faults.acceleration.matrix.diagonal().asDiagonal());
    const InertialCalibration found = calibrateInertial(posesOf(faults, 3, 6).recording);
    EXPECT_FALSE(found.hasCrossTerms);
    EXPECT_EQ(found.opinion.grade, Grade::kFair);
    EXPECT_EQ(found.poses, 6u);
    EXPECT_LT(normError(*found.acceleration, faults.acceleration), 0.02);
    EXPECT_THAT(found.opinion.remarks,
                testing::Contains(HasSubstr("held in 6 poses that differ, the non-orthogonality needs 9")));
}

TEST(InertialFit, TakesEachSensorAlone) {
    const InertialFaults faults = randomFaults(4);
    SensorRecording both = posesOf(faults, 4, 22).recording;
    SensorRecording one = both;
    one.rate = {};
    const InertialCalibration accelerometer = calibrateInertial(one);
    EXPECT_EQ(accelerometer.opinion.grade, Grade::kGood)
        << testing::PrintToString(accelerometer.opinion.remarks);
    EXPECT_FALSE(accelerometer.rate);
    EXPECT_LT((accelerometer.acceleration->matrix - faults.acceleration.matrix).norm(), 0.005);
    both.acceleration = {};
    const InertialCalibration gyroscope = calibrateInertial(both);
    EXPECT_FALSE(gyroscope.acceleration);
    EXPECT_LT((gyroscope.rate->offset - faults.rate.offset).norm(), 0.02 * kDegree);
    EXPECT_THAT(gyroscope.opinion.remarks,
                ElementsAre(HasSubstr("the gyroscope's bias is all that is known")));
}

// All turns are about two axes: what they do not show stays as it was, and is asked for.
TEST(InertialFit, TurnsAboutTwoAxesGiveTheBiasAlone) {
    PoseRecording made(randomFaults(5), 5);
    for (int i = 0; i < 24; ++i) {
        made.rest(3.0);
        made.turn((i % 8 < 4 ? Eigen::Vector3d::UnitX() : Eigen::Vector3d::UnitY()) * (60.0 + i) * kDegree);
    }
    const InertialCalibration found = calibrateInertial(made.recording);
    EXPECT_TRUE(found.rate && !found.isRateScaled);
    EXPECT_EQ(found.rate->matrix, Eigen::Matrix3d::Identity());
    EXPECT_THAT(found.opinion.remarks,
                testing::Contains(
                    AllOf(HasSubstr("at least 90 degrees between the poses"), HasSubstr("more about +z"))));
}

TEST(InertialFit, LeavesOutATurnWithAGapAndARestThatDoesNotFit) {
    const InertialFaults faults = randomFaults(6);
    PoseRecording made = posesOf(faults, 6, 18);
    SensorTrack& rate = made.recording.rate;
    const std::size_t cut = 500;  // within the turns after the first rest
    rate.times.erase(rate.times.begin() + cut, rate.times.begin() + cut + 10);
    rate.values.erase(rate.values.begin() + cut, rate.values.begin() + cut + 10);
    made.rest(3.0);
    made.turnUp(made.direction());
    made.rest(3.0);
    auto& acc = made.recording.acceleration.values;
    for (std::size_t i = acc.size() - 150; i < acc.size(); ++i) acc[i] *= 1.1;
    const InertialCalibration found = calibrateInertial(made.recording);
    EXPECT_THAT(found.opinion.remarks, testing::Contains(HasSubstr("1 turn left out: the rates have gaps")));
    EXPECT_THAT(found.opinion.remarks,
                testing::Contains(HasSubstr("does not fit the others and was left out")));
    EXPECT_TRUE(found.isRateScaled);
    EXPECT_LT(normError(*found.acceleration, faults.acceleration), 0.02);
}

TEST(InertialFit, ABiasThatDriftsIsThatOfTheRestsAroundATurn) {
    const InertialFaults faults = randomFaults(8);
    SensorRecording recording = posesOf(faults, 8, 22).recording;
    SensorTrack& rate = recording.rate;
    for (std::size_t i = 0; i < rate.size(); ++i) rate.values[i].x() += 2e-4 * rate.times[i];
    const InertialCalibration found = calibrateInertial(recording);
    EXPECT_THAT(found.opinion.remarks, ElementsAre(HasSubstr("let the unit warm up")));
    ASSERT_TRUE(found.isRateScaled);
    EXPECT_LT((found.rate->matrix - faults.rate.matrix).norm(), 0.01);
    // As if clips of the poses were joined.
    for (std::size_t i = 0; i < rate.size(); ++i) rate.values[i].setConstant(i % 2 ? 0.001 : 0.0);
    const InertialCalibration joined = calibrateInertial(recording);
    EXPECT_FALSE(joined.isRateScaled);
    EXPECT_THAT(joined.opinion.remarks,
                testing::Contains(HasSubstr("21 turns left out: the rates have gaps or do not show it")));
}

TEST(InertialFit, RefusesWhatDoesNotShowIt) {
    const InertialFaults none;
    PoseRecording alike(none, 1), moving(none, 2), few(none, 3), ring(none, 4);
    for (int i = 0; i < 12; ++i) {
        alike.rest(3.0);
        alike.turn(alike.direction() * 2.0 * M_PI);
        alike.turnUp((Eigen::Vector3d::UnitZ() + 0.05 * alike.direction()).normalized());
        moving.turn(3.0 * moving.direction());
        ring.rest(3.0);
        ring.turn(Eigen::Vector3d::UnitX() * 30.0 * kDegree);
    }
    for (int i = 0; i < 4; ++i) few.rest(3.0), few.turnUp(Eigen::Vector3d::Unit(i % 3));
    SensorRecording five = alike.recording, inG = posesOf(none, 5, 10).recording;
    SensorRecording off = alike.recording;
    off.acceleration = {};
    for (Eigen::Vector3d& value : off.rate.values) value.setZero();
    SensorRecording knocked = posesOf(none, 7, 13).recording;
    for (std::size_t i = 0; i < knocked.acceleration.size(); ++i)
        knocked.acceleration.values[i].x() += i / 350 % 3 == 0 ? 0.6 : 0.0;
    for (SensorTrack* track : {&five.acceleration, &five.rate})
        track->times.resize(5), track->values.resize(5);
    for (auto& acceleration : inG.acceleration.values) acceleration /= 9.8;
    inG.rate = {};
    const struct {
        const char* what;
        SensorRecording recording;
        const char* said;
    } rows[] = {
        {"no sensor", {}, "neither accelerations nor rates"},
        {"gyroscope alone, switched off", off, "all rates are the same number"},
        {"five rows", five, "5 samples in 0.08 s are too few"},
        {"no rest", moving.recording, "never still for 2 seconds"},
        {"poses alike", alike.recording,
         "in 1 pose (they count as different from 15 degrees on); 6 are needed"},
        {"four poses", few.recording,
         "in 3 poses (they count as different from 15 degrees on); 6 are needed"},
        {"poses about one axis", ring.recording, "the 12 poses are too alike to tell offset from scale: "},
        {"knocked", knocked, "the poses do not agree on gravity by"},
        {"unit", inG, "the accelerations at rest are 1 m/s^2 on average"},
    };
    for (const auto& row : rows) EXPECT_THAT(refusal(row.recording), HasSubstr(row.said)) << row.what;
}

}  // namespace
}  // namespace Kavelin::Calibration
