#pragma once

#include <limits>

namespace Kavelin::Calibration {

/// What is asked of one field of a calibration's file.
struct FieldRule {
    bool isNeeded = false;
    bool mayBeUnknown = false;  ///< null stands for a figure that is not known
    double least = std::numeric_limits<double>::lowest();
    double most = std::numeric_limits<double>::max();
    bool isAboveLeast = false;  ///< it must not be `least` itself
    const char* choices = "";   ///< texts that are taken, separated by '|'; empty: any
};

inline constexpr FieldRule kNeeded{.isNeeded = true, .least = -1e9, .most = 1e9};
inline constexpr FieldRule kUnknown{.mayBeUnknown = true};
inline constexpr FieldRule kShare{.mayBeUnknown = true, .least = 0.0, .most = 1.0};
inline constexpr FieldRule kNotNegative{.mayBeUnknown = true, .least = 0.0};

}  // namespace Kavelin::Calibration
