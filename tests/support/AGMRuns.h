#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "attitude/AGMEstimator.h"
#include "support/DisturbedMotion.h"
#include "support/HostileSamples.h"

/// How the tests of the AGM estimators with a bias run one over a motion.
namespace Kavelin::Tests {

using OrientationInternal::AGMEstimator;
using OrientationInternal::AGMSample;

/// A settings file as it is shipped.
inline std::string shippedSettings(const std::string& name) {
    return std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/" + name;
}

inline AGMSample sampleOf(const MotionSample& s) {
    return {.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate};
}

/// Largest error in degrees from `from` (s) on; `q_earth_ref` is the frame that the estimates are relative
/// to.
inline double worstError(AGMEstimator& estimator, const std::vector<MotionSample>& samples, double from,
                         const Eigen::Quaterniond& q_earth_ref = Eigen::Quaterniond::Identity()) {
    double worst = 0;
    for (const MotionSample& s : samples) {
        if (!estimator.advance(sampleOf(s)) || s.t < from) continue;
        const Eigen::Quaterniond q =
            q_earth_ref * OrientationInternal::toEigen(estimator.estimate().q_ref_sensor);
        worst = std::max(worst, q.angularDistance(s.truth.q_earth_sensor) * 180 / std::numbers::pi);
    }
    return worst;
}

/// Feeds nonsense; every estimate must be finite, its quaternion of unit norm.
inline void expectFiniteOnNonsense(AGMEstimator& estimator) {
    for (unsigned seed = 0; seed < 200; ++seed) {
        std::mt19937 engine(seed);
        estimator.restart();
        double t = 0;
        for (int i = 0; i < 500; ++i) {
            t += i == 100 ? 3.0 : hostileStep(engine);
            MotionSample s{t, hostileVector(engine), hostileVector(engine), hostileVector(engine),
                           Motion().at(t)};
            if (engine() % 3 == 0) s = {t, s.truth.rate, s.truth.acc, s.truth.field, s.truth};
            if (engine() % 99 == 0) s.t = hostileValue(engine);
            if (!estimator.advance(sampleOf(s))) continue;
            const OrientationInternal::AGMEstimate& e = estimator.estimate();
            ASSERT_NEAR(e.q_ref_sensor.norm(), 1, 1e-9) << "seed " << seed << ", sample " << i;
            ASSERT_TRUE(e.R_ref_sensor.allFinite() && e.accProper_ref.allFinite() &&
                        e.magPerturbation_sensor.allFinite())
                << "seed " << seed << ", sample " << i;
        }
    }
}

}  // namespace Kavelin::Tests
