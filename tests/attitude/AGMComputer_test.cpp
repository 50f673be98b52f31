// Versions 5 and 6; what they share with the other estimators is in AttitudeEstimators_test.cpp.
#include "attitude/agm/AGMComputer.h"

#include "support/Estimators.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

/// The flags of version 6 over a motion, by time.
struct Flags {
    explicit Flags(const std::vector<MotionSample>& samples) {
        VersionSix estimator;
        for (const MotionSample& s : samples) {
            if (estimator.take(s)) all.push_back({s.t, estimator.estimate()});
        }
    }
    /// Share of the outputs from `from` to `to` (s) that raise a flag.
    double share(double from, double to, bool AGMEstimate::*flag) const {
        double raised = 0, count = 0;
        for (const auto& [t, estimate] : all) {
            if (t >= from && t < to) ++count, raised += estimate.*flag ? 1 : 0;
        }
        return raised / count;
    }
    std::vector<std::pair<double, AGMEstimate>> all;
};

TEST(AGMComputer, Version6FlagsAMagnetAndHoldsTheFlag) {
    const Flags flags(recordDisturbed({.duration = 40, .rateBias = 0.005, .magnetFrom = 10, .magnetTo = 15}));
    EXPECT_NEAR(flags.all.front().first, 2.0, 0.1) << "nothing during the start";
    EXPECT_EQ(flags.share(2, 10, &AGMEstimate::magFlag), 0.0);
    EXPECT_GT(flags.share(10, 15, &AGMEstimate::magFlag), 0.95);
    EXPECT_EQ(flags.share(15.39, 15.4, &AGMEstimate::magFlag), 1.0) << "held for T_M";
    EXPECT_EQ(flags.share(16, 40, &AGMEstimate::magFlag), 0.0);
    EXPECT_EQ(flags.share(2, 40, &AGMEstimate::accFlag), 0.0);
}

// Deliberate: the model's prediction and the gating disagree in the accelerometer's sign, which draws the
// tilt to the opposite attitude, even without noise and with the unit at rest.
TEST(AGMComputer, Version5TiltRunsAway) {
    for (const double rest : {0.0, 60.0}) {
        VersionFive estimator;
        const auto samples = recordDisturbed({.duration = 60, .rest = rest, .rateBias = 0});
        EXPECT_GT(worst(errorsOver(estimator, samples), 40), 120.0) << "rest of " << rest << " s";
    }
}

// Noise with terms off the diagonal, and any factor at the start, go through the solver's general path.
TEST(AGMComputer, FullNoiseMatricesWork) {
    const TemporaryFolder folder;
    VersionSix estimator;
    ASSERT_TRUE(estimator.load(folder.write(
        "full.par",
        "[MIG]\n**XhatKK=1\n4 1 1 0 0 0\n**Pf=1\n4 4 .01 0 0 0 0 .01 0 0 0 .002 .01 0 .001 0 0 .01\n"
        "**Qd=1\n4 4 .01 .001 0 0 .001 .01 0 0 0 0 .01 0 0 0 0 .01\n"
        "**Rddyn=1\n3 3 100 1 0 1 100 0 0 0 100\n**Rdstat=1\n3 3 .5 .01 0 .01 .5 0 0 0 .5\n"
        "[Resolution]\nalpha_A=5\nalpha_M=5\nalpha_C=6000\nT_setref=2\nT_A=.1\nT_M=.5\nQCoeff=0\n")));
    EXPECT_LT(worst(errorsOver(estimator, recordDisturbed({.duration = 20, .rateBias = 0.005})), 0), 4.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
