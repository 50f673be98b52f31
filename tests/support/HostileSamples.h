#pragma once

#include <Eigen/Core>
#include <cmath>
#include <limits>
#include <random>

namespace Kavelin::Tests {

/// A value that a broken sensor or wire can give: zero, tiny, huge, infinite, not a number,
/// or one that looks right.
inline double hostileValue(std::mt19937& engine) {
    constexpr double kHuge = std::numeric_limits<double>::infinity();
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    static constexpr double kValues[] = {0,     -0.0,   1e-320, -1e-160, 1e-7,   1,     -9.81,
                                         30,    -1e3,   9e3,    1e99,    -1e160, 1e308, -1e308,
                                         kHuge, -kHuge, kNone,  1e-3,    5,      -48};
    return kValues[std::uniform_int_distribution<std::size_t>(0, std::size(kValues) - 1)(engine)];
}

inline Eigen::Vector3d hostileVector(std::mt19937& engine) {
    const double x = hostileValue(engine), y = hostileValue(engine), z = hostileValue(engine);
    return {x, y, z};
}

/// Time stamps that mostly advance, sometimes stand still, run back, jump, or are NaN.
inline double hostileStep(std::mt19937& engine) {
    switch (engine() % 40) {
        case 0:
            return 3.0;
        case 1:
            return -0.5;
        case 2:
            return 0.0;
        case 3:
            return 1e-9;
        default:
            return std::uniform_real_distribution<double>(0.0005, 0.02)(engine);
    }
}

}  // namespace Kavelin::Tests
