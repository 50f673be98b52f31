#include "attitude/so3/LevelStart.h"

#include "attitude/rotation/ExponentialMap.h"
#include "attitude/so3/Azimuth.h"

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kStartTime = 1.62;       // s; a hand's accelerations average out over about this
constexpr double kSmallestForce = 1e-12;  // m/s; below it the average has no direction
constexpr double kSmallestTilt = 1e-12;   // sine; nothing left to level
constexpr double kSteepestField = 1e-3;   // horizontal part of a field that still has a heading

}  // namespace

bool LevelStart::isDone() const { return elapsed_ >= kStartTime; }

void LevelStart::add(double dt, const Eigen::Vector3d& acc, const Eigen::Vector3d* field,
                     Eigen::Quaterniond& attitude) {
    force_ += attitude * acc * dt;
    if (field) field_ += attitude * *field * dt;
    elapsed_ += dt;
    level(attitude);
    turnToNorth(attitude);
}

void LevelStart::level(Eigen::Quaterniond& attitude) {
    const double length = force_.norm();
    if (!(length > kSmallestForce)) return;
    const Eigen::Vector3d z = force_ / length;
    const Eigen::Vector3d x = z.cross(Eigen::Vector3d::UnitZ());
    const double sine = x.norm();
    if (!(sine > kSmallestTilt)) return;
    const Eigen::Quaterniond turn = quaternionFromRotationVector(x * (std::atan2(sine, z.z()) / sine));
    attitude = (turn * attitude).normalized();
    force_ = turn * force_;
    field_ = turn * field_;
}

void LevelStart::turnToNorth(Eigen::Quaterniond& attitude) {
    if (!(horizontalLength(field_) > kSteepestField * field_.norm())) return;
    const TurnAboutUp turn(azimuthOf(field_));
    attitude = turn * attitude;
    force_ = turn * force_;
    field_ = turn * field_;
}

}  // namespace Kavelin::OrientationInternal::SO3
