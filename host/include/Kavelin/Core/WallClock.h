#pragma once

#include <Poco/Timestamp.h>

#include <cmath>

namespace Kavelin::Core {

/// Whether a time stamp was made by `sendNow`: it lies within a day of now, in seconds since 15 October 1582.
/// Such a stamp says when a result was computed, not when its sample was measured.
inline bool isWallClockStamp(double timeStamp) {
    constexpr double kDay = 86400.0;
    return std::abs(timeStamp - static_cast<double>(Poco::Timestamp().utcTime()) * 1e-7) < kDay;
}

}  // namespace Kavelin::Core
