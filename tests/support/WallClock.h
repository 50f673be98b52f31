#pragma once

#include <Poco/Timestamp.h>
#include <gmock/gmock.h>

#include <cmath>

namespace Kavelin::Tests {

/// A time stamp of the wall clock: seconds since 15 October 1582, within a day of now. Tells the epoch and
/// the unit; says nothing about speed.
MATCHER(IsWallClock, "") {
    const double now = static_cast<double>(Poco::Timestamp().utcTime()) * 1e-7;
    *result_listener << arg << " is " << arg - now << " s from now";
    return std::abs(arg - now) < 86400 && arg > 1.3e10;
}

}  // namespace Kavelin::Tests
