#pragma once

#include <Eigen/Geometry>
#include <numbers>
#include <random>
#include <string>
#include <vector>

namespace Kavelin::Tests {

/// A rotation that is hard on some formula, with the reason as its name.
struct RotationCase {
    std::string name;
    double angle;          // rad
    Eigen::Vector3d axis;  // unit

    Eigen::Matrix3d matrix() const { return Eigen::AngleAxisd(angle, axis).toRotationMatrix(); }
};

/// The one list of hard inputs for every rotation helper.
inline std::vector<RotationCase> rotationCases() {
    using Eigen::Vector3d;
    const double pi = std::numbers::pi;
    const Vector3d oblique = Vector3d(1, -2, 3).normalized();
    std::vector<RotationCase> cases{
        {"identity", 0, Vector3d::UnitX()},
        {"tiny angle", 1e-9, oblique},
        {"small angle", 1e-4, oblique},
        {"quarter turn about z", pi / 2, Vector3d::UnitZ()},
        {"gimbal lock: quarter turn about y", pi / 2, Vector3d::UnitY()},
        {"gimbal lock downwards", -pi / 2, Vector3d::UnitY()},
        {"trace about zero", 2 * pi / 3, oblique},
        {"near pi", pi - 1e-7, oblique},
        {"pi about an oblique axis", pi, oblique},
        {"pi about x", pi, Vector3d::UnitX()},
        {"pi about y", pi, Vector3d::UnitY()},
        {"pi about z", pi, Vector3d::UnitZ()},
        {"pi about x = y", pi, Vector3d(1, 1, 0).normalized()},
        {"more than a turn", 7.5, oblique},
    };
    std::mt19937 engine(20);
    std::normal_distribution<double> normal;
    for (int i = 0; i < 200; ++i) {
        const double x = normal(engine), y = normal(engine), z = normal(engine), angle = 2 * normal(engine);
        cases.push_back({"random " + std::to_string(i), angle, Vector3d(x, y, z).normalized()});
    }
    return cases;
}

}  // namespace Kavelin::Tests
