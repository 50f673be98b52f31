#pragma once

#include "support/Motion.h"

namespace Kavelin::Tests {

/// Two units on the two sides of a hinge, in any mounting: what each would measure, and the true angle. Unit D
/// moves as a Motion does; unit G is turned against it about the hinge.
class HingeMotion {
public:
    struct Settings {
        MotionSettings d;  ///< of the segment that carries D
        Curve angle{0.0, 0.0, {0.7, 0.31, 0.0}, {0.25, 0.83, 0.4}};
        Eigen::Vector3d axis = Eigen::Vector3d::UnitX();                 ///< of the hinge, segment D
        Eigen::Quaterniond mounting_d = Eigen::Quaterniond::Identity();  ///< unit to segment
        Eigen::Quaterniond mounting_g = Eigen::Quaterniond::Identity();
    };
    struct State {
        MotionState d, g;  ///< of the units
        double angle;      ///< rad
    };

    explicit HingeMotion(Settings settings) : settings_(std::move(settings)), d_(settings_.d) {}

    State at(double t) const {
        const MotionState d = d_.at(t);
        const double s = d_.pathAt(t).value, speed = d_.pathAt(t).first;
        const Jet angle = settings_.angle.at(s);
        const Eigen::Quaterniond turn(Eigen::AngleAxisd(angle.value, settings_.axis));
        const Eigen::Vector3d rate = d.rate + speed * angle.first * settings_.axis;
        const MotionState g{t,
                            d.q_earth_sensor * turn,
                            Eigen::Matrix3d(d.R_earth_sensor * turn),
                            turn.inverse() * rate,
                            turn.inverse() * d.acc,
                            turn.inverse() * d.field};
        return {mounted(d, settings_.mounting_d), mounted(g, settings_.mounting_g), angle.value};
    }

    Eigen::Vector3d axisInD() const { return settings_.mounting_d.inverse() * settings_.axis; }
    Eigen::Vector3d axisInG() const { return settings_.mounting_g.inverse() * settings_.axis; }

private:
    static MotionState mounted(const MotionState& segment, const Eigen::Quaterniond& mounting) {
        const Eigen::Quaterniond q = segment.q_earth_sensor * mounting, back = mounting.inverse();
        return {segment.t,           q, q.toRotationMatrix(), back * segment.rate, back * segment.acc,
                back * segment.field};
    }

    Settings settings_;
    Motion d_;
};

}  // namespace Kavelin::Tests
