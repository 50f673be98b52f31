#pragma once

#include "attitude/agm/AGMComputer.h"
#include "attitude/agm/AGMComputer_v7.h"
#include "attitude/agm/AGMComputer_v8.h"
#include "attitude/so3/SO3AttitudeComputer.h"
#include "attitude/spherical/SphericalAttitudeComputer.h"
#include "support/DisturbedMotion.h"
#include "support/TestKit.h"

/// The attitude estimators behind one face, each with the settings that are shipped with it.
namespace Kavelin::Tests {

/// A settings file as it is shipped.
inline std::string shippedSettings(const std::string& name) {
    return std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/" + name;
}

/// What the AGM estimators share.
template <class Computer>
struct AGMUnderTest : Computer {
    template <class... Arguments>
    explicit AGMUnderTest(const char* settings, Arguments&&... arguments)
        : Computer(std::forward<Arguments>(arguments)...) {
        if (!this->load(shippedSettings(settings))) throw std::runtime_error(settings);
    }
    bool take(const MotionSample& s) {
        return this->advance({.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate});
    }
    Eigen::Quaterniond attitude() const {
        return OrientationInternal::toEigen(this->estimate().q_ref_sensor);
    }
    bool isSound() const {
        const OrientationInternal::AGMEstimate& e = this->estimate();
        return e.accProper_ref.allFinite() && e.magPerturbation_sensor.allFinite() &&
               (e.R_ref_sensor - attitude().toRotationMatrix()).norm() < 1e-9;
    }
};

struct VersionFive : AGMUnderTest<OrientationInternal::AGMComputer> {
    VersionFive()
        : AGMUnderTest("AGMAttitude_v5.par", std::make_unique<OrientationInternal::ProblemAGM>(),
                       OrientationInternal::kAGMVariant5) {}
    static constexpr bool kIsRelative = true;  // to the pose at the start
};

struct VersionSix : AGMUnderTest<OrientationInternal::AGMComputer> {
    explicit VersionSix(const char* settings = "AGMAttitude_v6.par")
        : AGMUnderTest(settings, std::make_unique<OrientationInternal::ProblemAGM>(),
                       OrientationInternal::kAGMVariant6) {}
    static constexpr bool kIsRelative = true;
};

struct VersionSeven : AGMUnderTest<OrientationInternal::AGMComputer_v7> {
    VersionSeven() : AGMUnderTest("AGMAttitude_v7.par") {}
    static constexpr bool kIsRelative = true;
};

struct VersionEight : AGMUnderTest<OrientationInternal::AGMComputer_v8> {
    VersionEight() : AGMUnderTest("AGMAttitude_v8.par") {}
    static constexpr bool kIsRelative = false;
};

struct Spherical : OrientationInternal::SphericalAttitudeComputer {
    bool take(const MotionSample& s) { return advance(s.t, s.acc, s.rate, s.field); }
    void restart() { reset(); }
    bool isSound() const { return bias().allFinite() && properAcceleration().allFinite(); }
    static constexpr bool kIsRelative = false;
};

struct ErrorState : OrientationInternal::SO3AttitudeComputer {
    bool take(const MotionSample& s) { return advance(s.t, s.acc, s.rate, s.field); }
    void restart() { reset(); }
    bool isSound() const {
        const auto& p = covariance().matrix();
        return bias().allFinite() && accBias().allFinite() && hardIron().allFinite() &&
               linearAcceleration().allFinite() && tiltDeviation() >= 0 && headingDeviation() >= 0 &&
               p.allFinite() && p == p.transpose();
    }
    static constexpr bool kIsRelative = false;
};

/// The angle, degrees, between an estimate and the truth;
/// without heading only what tilts the vertical counts.
inline double errorDegrees(const Eigen::Quaterniond& estimate, const Eigen::Quaterniond& truth,
                           bool headingCounts = true) {
    const Eigen::Quaterniond q = estimate * truth.conjugate();
    const double sine = headingCounts ? q.vec().norm() : std::hypot(q.x(), q.y());
    return 2 * std::asin(std::min(1.0, sine)) * 180 / kPi;
}

/// Runs an estimator over a motion and gives the errors of its outputs, degrees, by their time.
/// @param q_earth_ref the frame that the estimates are relative to, where it is not the pose at the start.
template <class E>
std::vector<std::pair<double, double>> errorsOver(E& estimator, const std::vector<MotionSample>& samples,
                                                  bool headingCounts = true,
                                                  Eigen::Quaterniond q_earth_ref = {1, 0, 0, 0}) {
    if (E::kIsRelative) q_earth_ref = samples.front().truth.q_earth_sensor;
    std::vector<std::pair<double, double>> errors;
    for (const MotionSample& s : samples) {
        if (!estimator.take(s)) continue;
        EXPECT_TRUE(estimator.isSound()) << s.t;
        errors.emplace_back(
            s.t, errorDegrees(q_earth_ref * estimator.attitude(), s.truth.q_earth_sensor, headingCounts));
    }
    return errors;
}

/// The largest of them from `from` to `to` (s).
inline double worst(const std::vector<std::pair<double, double>>& errors, double from, double to = 1e9) {
    double most = errors.empty() ? kNaN : 0;
    for (const auto& [t, error] : errors) {
        if (t >= from && t < to) most = std::max(most, error);
    }
    return most;
}

inline double mean(const std::vector<std::pair<double, double>>& errors, double from, double to = 1e9) {
    double sum = 0, count = 0;
    for (const auto& [t, error] : errors) {
        if (t >= from && t < to) sum += error, ++count;
    }
    return sum / count;
}

}  // namespace Kavelin::Tests
