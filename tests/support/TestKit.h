#pragma once

#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// What most tests need, whatever they test.
namespace Kavelin::Tests {

using testing::AllOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kPi = std::numbers::pi;

/// "class: message" of what `action` raises, or "accepted".
template <class Action>
std::string outcome(const Action& action) {
    try {
        action();
    } catch (const std::exception& error) {
        return Core::exceptionType(error) + ": " + Core::exceptionMessage(error);
    }
    return "accepted";
}

}  // namespace Kavelin::Tests
