#pragma once

#include <Eigen/Core>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Compares a gyroscope's rates with gravity: where the accelerometer shows the same for a second, the unit
/// has not been tilted, and rates that claim a tilt are wrong. So deg/s taken for rad/s are found however
/// slow the motion.
class RateCheck {
public:
    /// @param acceleration m/s^2 @param rate rad/s, as declared @param time s, not decreasing
    void add(double time, const Eigen::Vector3d& acceleration, const Eigen::Vector3d& rate);

    /// Whether nearly all seconds of a still accelerometer, three at least, contradict the rates.
    bool isContradicted() const;

private:
    void begin(const Eigen::Vector3d& acceleration);

    // The present second.
    bool isStill_ = false;
    Eigen::Vector3d acceleration_ = Eigen::Vector3d::Zero();  // at its start
    Eigen::Vector3d turn_ = Eigen::Vector3d::Zero();          // rad, as told by the rates
    double length_ = 0.0;                                     // s
    double lastTime_ = 0.0;
    Eigen::Vector3d lastRate_ = Eigen::Vector3d::Zero();

    std::uint64_t stills_ = 0;
    std::uint64_t contradictions_ = 0;
};

}  // namespace Kavelin::RecordingIO
