#include "attitude/agm/AGMComputer_v7.h"

#include "support/Estimators.h"
#include "support/Matchers.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(AGMComputer_v7, UnitsOfTheFieldDoNotMatter) {
    auto samples = recordDisturbed({.duration = 10});
    VersionSeven microtesla, tesla;
    errorsOver(microtesla, samples);
    for (MotionSample& s : samples) s.field *= 1e-6;
    errorsOver(tesla, samples);
    EXPECT_THAT(tesla.estimate().q_ref_sensor, isSameRotationAs(microtesla.estimate().q_ref_sensor, 1e-9));
    EXPECT_THAT(tesla.estimate().magPerturbation_sensor,
                isNearMatrix((1e-6 * microtesla.estimate().magPerturbation_sensor).eval(), 1e-12));
}

TEST(AGMComputer_v7, LearnsTheBiasAtTheStartAndAtLaterRests) {
    const Vector3 early(0.02, -0.01, 0.015), late(-0.02, 0.02, 0.03);
    MotionSettings settings;
    settings.rests = {{0, 4}, {20, 80}};
    VersionSeven estimator;
    for (MotionSample& s :
         record(Motion(settings), 79, 100, {.rateNoise = 0.005, .accNoise = 0.05, .fieldNoise = 0.4})) {
        s.rate += s.t < 20 ? early : late;
        estimator.take(s);
        if (s.t > 3 && s.t < 19) {
            ASSERT_LT((estimator.bias() - early).norm(), 2e-3) << s.t;
        }
    }
    EXPECT_LT((estimator.bias() - late).norm(), 2e-3);
}

TEST(AGMComputer_v7, ASteadyTurnIsNoBias) {
    MotionSettings settings;
    settings.yaw = {0, 0.2, {}, {}};
    settings.pitch = settings.roll = {};
    VersionSeven estimator;
    for (const MotionSample& s : record(Motion(settings), 5, 100)) estimator.take(s);
    EXPECT_EQ(estimator.bias(), Vector3::Zero().eval());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
