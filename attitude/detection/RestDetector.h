#pragma once

#include <Eigen/Core>

namespace Kavelin::OrientationInternal {

/// Tells when a unit lies still: both sensors stay near their own low-passed values, and the low-passed rate
/// is small enough to be a bias, for long enough. A heuristic of ours. Slow steady turns below the bias limit
/// pass for rest.
///
/// Sensor frame, m/s^2 and rad/s. Never throws, never allocates. [layout thread]
class RestDetector {
public:
    struct Settings {
        double rateLimit = 0.035;         ///< rad/s, largest distance of a rate from its low-passed value
        double accelerationLimit = 0.4;   ///< m/s^2, the same of the acceleration
        double biasLimit = 0.05;          ///< rad/s, largest low-passed rate per axis that can be a bias
        double duration = 1.0;            ///< s, how long the three must hold before rest is believed
        double filterTimeConstant = 0.4;  ///< s, of both low-passes
    };

    void start(const Eigen::Vector3d& acc, const Eigen::Vector3d& rate) {
        acc_ = acc;
        rate_ = rate;
        still_ = 0.0;
    }

    /// Takes one sample pair; both must be usable (see SampleLimits.h). @param dt s, above 0.
    /// @return true while at rest.
    bool update(double dt, const Eigen::Vector3d& acc, const Eigen::Vector3d& rate,
                const Settings& settings) {
        const double gain = dt / (settings.filterTimeConstant + dt);
        acc_ += gain * (acc - acc_);
        rate_ += gain * (rate - rate_);
        const bool still =
            (rate - rate_).squaredNorm() < settings.rateLimit * settings.rateLimit &&
            (acc - acc_).squaredNorm() < settings.accelerationLimit * settings.accelerationLimit &&
            rate_.cwiseAbs().maxCoeff() < settings.biasLimit;
        still_ = still ? still_ + dt : 0.0;
        return still_ > settings.duration;
    }

    /// A sample could not be used: the stillness seen so far does not count.
    void interrupt() { still_ = 0.0; }

    /// s, for how long the unit has been still without a break.
    double stillness() const { return still_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(acc_, rate_, still_);
    }

private:
    Eigen::Vector3d acc_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d rate_ = Eigen::Vector3d::Zero();
    double still_ = 0.0;
};

}  // namespace Kavelin::OrientationInternal
