#pragma once

#include "core/Matrix.h"

namespace Kavelin::Core {

/// One sample: a value and when it was taken (unit as the producing filter gives it, usually seconds).
template <class T>
struct TimeStampedData {
    T value{};
    double timeStamp = 0.0;
};

/// Name of a payload type, the same text in every module.
template <class T>
struct PayloadName;
template <>
struct PayloadName<Matrix> {
    static constexpr const char* value = "Matrix";
};

}  // namespace Kavelin::Core
