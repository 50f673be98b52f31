#pragma once

#include <Eigen/Geometry>

namespace Kavelin::OrientationInternal::SO3 {

/// S4: finds the level, and the heading where there is a field, as averages over the first moments, turned
/// along with the gyroscope so that motion does not blur them. Never throws. [layout thread]
class LevelStart {
public:
    /// Begins, or begins again.
    void restart() { *this = LevelStart(); }

    /// Takes one sample. @param dt s, above 0. @param acc m/s^2. @param field without hard iron; nullptr for
    /// none. @param attitude sensor to earth at this sample; is levelled and turned to north.
    void add(double dt, const Eigen::Vector3d& acc, const Eigen::Vector3d* field,
             Eigen::Quaterniond& attitude);

    bool isDone() const;
    bool hasHeading() const { return field_.x() != 0.0 || field_.y() != 0.0; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(elapsed_, force_, field_);
    }

private:
    void level(Eigen::Quaterniond& attitude);
    void turnToNorth(Eigen::Quaterniond& attitude);

    double elapsed_ = 0.0;                             // s
    Eigen::Vector3d force_ = Eigen::Vector3d::Zero();  // sums over dt, earth frame
    Eigen::Vector3d field_ = Eigen::Vector3d::Zero();
};

}  // namespace Kavelin::OrientationInternal::SO3
