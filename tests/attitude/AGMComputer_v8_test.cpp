#include "attitude/agm/AGMComputer_v8.h"

#include "support/Estimators.h"
#include "support/Matchers.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

class AGMComputer_v8Test : public testing::Test {
protected:
    VersionEight computer_;
};

TEST_F(AGMComputer_v8Test, AStartInMotionLearnsNoBias) {
    errorsOver(computer_, recordDisturbed({.duration = 2.5, .rest = 0}));
    EXPECT_EQ(computer_.bias(), Vector3::Zero().eval());
}

TEST_F(AGMComputer_v8Test, DuringTheStartTheFrameOfTheMeansIsSent) {
    const auto samples = recordDisturbed({.duration = 1.5, .rest = 4});
    EXPECT_LT(worst(errorsOver(computer_, samples), 1.0), 0.3);
    EXPECT_TRUE(computer_.estimate().accFlag && computer_.estimate().magFlag)
        << "nothing is known to be static yet";
}

TEST_F(AGMComputer_v8Test, LockedItStandsStillAndLearnsTheBias) {
    // Rest, motion, then rest again from 20 s on, with a bias that came up meanwhile.
    const Vector3 bias(0.02, -0.03, 0.01);
    MotionSettings settings;
    settings.rests = {{0, 4}, {20, 30}};
    const Motion motion(settings);
    Eigen::Quaterniond held;
    for (const MotionSample& s :
         record(motion, 60, 200, {.rateNoise = 0.005, .accNoise = 0.05, .fieldNoise = 0.4})) {
        MotionSample biased = s;
        if (s.t >= 20) biased.rate += bias;
        if (!computer_.locked()) held = computer_.attitude();
        computer_.setLocked(s.t >= 20 && s.t < 29.5);
        ASSERT_EQ(computer_.take(biased), true);
        if (computer_.locked()) {
            ASSERT_EQ(computer_.attitude().coeffs(), held.coeffs()) << s.t;
            ASSERT_TRUE(computer_.innovation().norm() > 0) << "the innovation goes on";
        }
        if (s.t > 29) {
            ASSERT_LT((computer_.bias() - bias).norm(), 2e-3);
        }
    }
    EXPECT_LT(computer_.attitude().angularDistance(motion.at(60).q_earth_sensor), 0.02);
}

TEST_F(AGMComputer_v8Test, LockedFromTheStartTheFirstAttitudeStands) {
    computer_.setLocked(true);
    Eigen::Quaterniond first;
    for (const MotionSample& s : recordDisturbed({.duration = 5, .rest = 8})) {
        ASSERT_TRUE(computer_.take(s));
        if (s.t == 0) first = computer_.attitude();
        ASSERT_EQ(computer_.attitude().coeffs(), first.coeffs()) << s.t;
    }
}

TEST_F(AGMComputer_v8Test, AttitudeHandedInIsTakenAtTheNextStartOnly) {
    const auto samples = recordDisturbed({.duration = 20, .rest = 4});
    const Eigen::Quaterniond q_other_earth(Eigen::AngleAxisd(1.2, Vector3(0.3, -0.5, 0.8).normalized()));
    const Eigen::Quaterniond q_other_sensor = q_other_earth * samples[0].truth.q_earth_sensor;
    ASSERT_TRUE(computer_.setNextAttitude(5 * fromEigen(q_other_sensor)));
    EXPECT_LT(worst(errorsOver(computer_, samples, true, q_other_earth.conjugate()), 2.5), 1.0);
    computer_.restart();
    EXPECT_LT(worst(errorsOver(computer_, samples), 2.5), 1.0) << "the one handed in is spent";
    for (const Quaternion& none :
         {Quaternion(0, 0, 0, 0), Quaternion(NAN, 0, 0, 0), Quaternion(1, 1e300, 0, 0)}) {
        EXPECT_FALSE(computer_.setNextAttitude(none));
    }
}

TEST_F(AGMComputer_v8Test, AFieldThatComesLateBecomesNorth) {
    auto samples = recordDisturbed({.duration = 40});
    for (MotionSample& s : samples) {
        if (s.t < 15) s.field.setConstant(NAN);
    }
    EXPECT_LT(worst(errorsOver(computer_, samples), 15.1), 3.0);
    EXPECT_FALSE(computer_.estimate().magFlag);

    // An attitude that was handed in keeps its heading.
    const Eigen::Quaterniond q_other_earth(Eigen::AngleAxisd(1.2, Vector3::UnitZ()));
    computer_.restart();
    ASSERT_TRUE(computer_.setNextAttitude(fromEigen(q_other_earth * samples[0].truth.q_earth_sensor)));
    EXPECT_LT(worst(errorsOver(computer_, samples, true, q_other_earth.conjugate()), 15.1), 3.0);
}

TEST_F(AGMComputer_v8Test, FlagsAreUpWhileASensorIsNotStatic) {
    for (const MotionSample& s : recordDisturbed({.duration = 50, .magnetFrom = 20, .magnetTo = 25})) {
        computer_.take(s);
        if (s.t > 20.05 && s.t < 25) {
            ASSERT_TRUE(computer_.estimate().magFlag) << s.t;
        }
        if ((s.t > 3 && s.t < 20) || s.t > 26) {
            ASSERT_FALSE(computer_.estimate().magFlag) << s.t;
        }
    }
}

TEST(AGMComputer_v8, SettingsThatLackSomethingDropEverySample) {
    TemporaryFolder folder;
    const auto samples = recordDisturbed({.duration = 3});
    for (const char* text :
         {"", "[MIG]\n**Qd = 2\n1 1\n1e-6\n", "[Resolution]\nRdstat_A = 0.2\nRdstat_M = 0.4\n"}) {
        AGMComputer_v8 computer;
        ASSERT_TRUE(computer.load(folder.write("some.par", text)));
        EXPECT_TRUE(computer.isReady());
        for (const MotionSample& s : samples)
            ASSERT_FALSE(computer.advance({.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate}));
    }
    AGMComputer_v8 computer;
    EXPECT_FALSE(computer.load(folder.path("none.par")));
    EXPECT_FALSE(computer.isReady());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
