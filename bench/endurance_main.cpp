// Runs the error-state estimator for long: an hour with a bias that drifts, a day of rest and motion. Prints
// the results; exit status 1 where a bound does not hold.

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cstdio>
#include <random>

#include "attitude/so3/SO3AttitudeComputer.h"
#include "support/Motion.h"

namespace {

using Eigen::Vector3d;
using Kavelin::OrientationInternal::SO3AttitudeComputer;
using Kavelin::Tests::Motion;
using Kavelin::Tests::MotionState;

constexpr double kFrequency = 100.0;  // Hz
constexpr double kToDegrees = 57.29577951308232;

// Gives the samples of a motion, with noise and a bias that grows with time, to an estimator.
class Run {
public:
    Run(const Motion& motion, const Vector3d& biasPerSecond)
        : motion_(motion), biasPerSecond_(biasPerSecond) {}

    // The next sample. @return the estimator's error, degrees.
    double step() {
        const double t = static_cast<double>(count_++) / kFrequency;
        const MotionState truth = motion_.at(t);
        computer_.advance(t, truth.acc + noise(0.05), truth.rate + t * biasPerSecond_ + noise(0.003),
                          truth.field + noise(0.4));
        return kToDegrees * computer_.attitude().angularDistance(truth.q_earth_sensor);
    }
    const SO3AttitudeComputer& computer() const { return computer_; }

private:
    Vector3d noise(double deviation) {
        const double x = normal_(engine_), y = normal_(engine_), z = normal_(engine_);
        return deviation * Vector3d(x, y, z);
    }

    Motion motion_;
    Vector3d biasPerSecond_;
    SO3AttitudeComputer computer_;
    std::mt19937 engine_{1};
    std::normal_distribution<double> normal_;
    long count_ = 0;
};

bool anHourOfDrift() {
    constexpr double kDrift = 0.5 / kToDegrees / 3600.0;
    Run run(Motion(), Vector3d(kDrift, -kDrift, kDrift));
    double last = 0.0, most = 0.0;  // of the last minute; from the first minute on
    for (long i = 0; i < 3600 * 100; ++i) {
        const double error = run.step();
        if (i >= 60 * 100) most = std::max(most, error);
        if (i >= 3540 * 100) last = std::max(last, error);
    }
    std::printf(
        "an hour, bias drifts by 0.5 degrees/s on each axis: largest error %.2f, in the last minute %.2f "
        "degrees\n",
        most, last);
    return last < 2.0;
}

bool aDayOfRestAndMotion() {
    Kavelin::Tests::MotionSettings settings;
    for (int hour = 0; hour < 24; ++hour)
        settings.rests.push_back({hour * 3600.0 + 1800.0, hour * 3600.0 + 3590.0});
    Run run(Motion(settings), Vector3d::Zero());
    double most = 0.0;
    double leastEigenvalue = 1.0;
    bool isSound = true;
    for (long i = 0; i < 24 * 3600 * 100; ++i) {
        const double error = run.step();
        if (i >= 60 * 100) most = std::max(most, error);
        if (i % 6000 != 0) continue;
        const auto& p = run.computer().covariance().matrix();
        isSound = isSound && p == p.transpose() && p.allFinite() && run.computer().bias().allFinite();
        const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(p, Eigen::EigenvaluesOnly);
        if (i > 0) leastEigenvalue = std::min(leastEigenvalue, solver.eigenvalues()[0]);
    }
    std::printf(
        "a day, half of each hour at rest: covariance %s, smallest eigenvalue %.3g, largest error %.2f "
        "degrees\n",
        isSound ? "finite and symmetric" : "BROKEN", leastEigenvalue, most);
    return isSound && leastEigenvalue > 0.0 && most < 2.0;
}

}  // namespace

int main() {
    const bool hour = anHourOfDrift();
    const bool day = aDayOfRestAndMotion();
    return hour && day ? 0 : 1;
}
