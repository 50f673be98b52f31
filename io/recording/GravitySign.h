#pragma once

#include <Eigen/Geometry>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Tells whether an accelerometer shows the specific force, which points up at rest, or its opposite: by the recording's
/// own orientation, and by the field, which points down in the northern hemisphere. Means over the recording, so that
/// motion hardly matters; constant memory.
class GravitySign {
public:
    /// @param acceleration, field sensor frame, any unit
    void addField(const Eigen::Vector3d& acceleration, const Eigen::Vector3d& field);
    /// @param attitude sensor to earth, z up; any norm but 0
    void addAttitude(const Eigen::Vector3d& acceleration, const Eigen::Quaterniond& attitude);

    /// Whether the recording's own orientation makes the acceleration point down.
    bool isAgainstAttitude() const;
    /// degrees; how far the field points below the horizontal, if the acceleration points up; NaN without a field.
    double dip() const;

private:
    double fieldSum_ = 0.0;  // of the sines of the angles above the horizontal
    std::uint64_t fields_ = 0;
    double upSum_ = 0.0;  // of the cosines of the angles from the vertical
    std::uint64_t attitudes_ = 0;
};

}  // namespace Kavelin::RecordingIO
