#include "attitude/AGMComputer_v7.h"

#include "support/AGMRuns.h"
#include "support/Matchers.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Vector3d;

class AGMComputer_v7Test : public testing::Test {
protected:
    AGMComputer_v7Test() { EXPECT_TRUE(computer_.load(shippedSettings("AGMAttitude_v7.par"))); }

    // Largest error; the attitude is relative to the pose at the start.
    double worst(const std::vector<MotionSample>& samples, double from) {
        computer_.restart();
        return worstError(computer_, samples, from, samples.front().truth.q_earth_sensor);
    }

    AGMComputer_v7 computer_;
};

TEST_F(AGMComputer_v7Test, StaysWithinItsBoundOnMotion) {
    struct Row {
        const char* name;
        Disturbance fault;
        double from;   // s
        double bound;  // degrees
    };
    for (const Row& row : {
             Row{"at 50 Hz", {.frequency = 50}, 3, 2.5},
             Row{"at 100 Hz", {.frequency = 100}, 3, 1.2},
             Row{"at 400 Hz", {.frequency = 400}, 3, 1.0},
             Row{"jitter", {.jitter = 0.8}, 3, 1.0},
             Row{"one set in five lost", {.lost = 0.2}, 3, 1.2},
             Row{"bias seen in three seconds of rest", {.duration = 200, .rateBias = 0.03}, 3, 1.0},
             Row{"a magnet", {.magnetFrom = 20, .magnetTo = 30}, 3, 1.5},
             Row{"shaking", {.shakeFrom = 20, .shakeTo = 30}, 3, 2.0},
             Row{"no field", {.fieldEvery = 0}, 3, 1.5},
         }) {
        EXPECT_LT(worst(recordDisturbed(row.fault), row.from), row.bound) << row.name;
    }
}

TEST_F(AGMComputer_v7Test, UnitsOfTheFieldDoNotMatter) {
    auto samples = recordDisturbed({.duration = 10});
    worst(samples, 0);
    const Quaternion microtesla = computer_.estimate().q_ref_sensor;
    const Vector3d perturbation = computer_.estimate().magPerturbation_sensor;
    for (MotionSample& s : samples) s.field *= 1e-6;
    worst(samples, 0);
    EXPECT_THAT(computer_.estimate().q_ref_sensor, isSameRotationAs(microtesla, 1e-9));
    EXPECT_THAT(computer_.estimate().magPerturbation_sensor,
                isNearMatrix((1e-6 * perturbation).eval(), 1e-12));
}

TEST_F(AGMComputer_v7Test, LearnsTheBiasAtTheStartAndAtLaterRests) {
    const Vector3d early(0.02, -0.01, 0.015);
    const Vector3d late(-0.02, 0.02, 0.03);
    MotionSettings settings;
    settings.rests = {{0, 4}, {20, 80}};
    for (const MotionSample& s :
         record(Motion(settings), 79, 100, {.rateNoise = 0.005, .accNoise = 0.05, .fieldNoise = 0.4})) {
        AGMSample sample = sampleOf(s);
        sample.rate += s.t < 20 ? early : late;
        computer_.advance(sample);
        if (s.t > 3 && s.t < 19) {
            ASSERT_LT((computer_.bias() - early).norm(), 2e-3) << s.t;
        }
    }
    EXPECT_LT((computer_.bias() - late).norm(), 2e-3);
}

TEST_F(AGMComputer_v7Test, ASteadyTurnIsNoBias) {
    MotionSettings settings;
    settings.yaw = {0, 0.2, {}, {}};
    settings.pitch = settings.roll = {};
    for (const MotionSample& s : record(Motion(settings), 5, 100)) computer_.advance(sampleOf(s));
    EXPECT_EQ(computer_.bias(), Vector3d::Zero().eval());
}

TEST_F(AGMComputer_v7Test, OutputsStayFiniteWhateverComesIn) { expectFiniteOnNonsense(computer_); }

}  // namespace
}  // namespace Kavelin::OrientationInternal
