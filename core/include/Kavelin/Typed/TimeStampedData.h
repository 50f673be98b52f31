#pragma once

#include <Kavelin/Core/PinContent.h>
#include <Kavelin/Typed/Contents.h>
#include <Kavelin/Typed/Matrix.h>

#include <algorithm>
#include <cstddef>

namespace Kavelin::Core {

/// One sample: a value and when it was taken (unit as the producing filter gives it, usually seconds).
template <class T>
struct TimeStampedData {
    T value{};
    double timeStamp = 0.0;
};

/// Copies a sample into a slot that already holds one.
template <class T>
void copySample(const TimeStampedData<T>& from, TimeStampedData<T>& to) {
    to = from;
}
/// Most samples have a few elements only, for which the way into the library's copy is longer than the copy.
inline void copyElements(const double* from, double* to, std::ptrdiff_t count) {
    constexpr std::ptrdiff_t kFew = 16;
    if (count > kFew) {
        std::copy_n(from, count, to);
        return;
    }
    std::ptrdiff_t i = 0;
    for (; i + 1 < count; i += 2) {
        const double first = from[i], second = from[i + 1];
        to[i] = first;
        to[i + 1] = second;
    }
    if (i < count) to[i] = from[i];
}
/// A connection's samples nearly always have the same shape: then only the elements need copying.
inline void copySample(const TimeStampedData<Matrix>& from, TimeStampedData<Matrix>& to) {
    if (from.value.rows() == to.value.rows() && from.value.cols() == to.value.cols()) {
        copyElements(from.value.data(), to.value.data(), from.value.size());
    } else {
        to.value = from.value;
    }
    to.timeStamp = from.timeStamp;
}

/// Rows and columns of a sample; 0 and 0 for a payload that has none.
template <class T>
PinShape shapeOf(const T&) {
    return {};
}
inline PinShape shapeOf(const Matrix& value) { return {value.rows(), value.cols()}; }

/// What an output pin of a content holds before anything is sent.
template <class T>
T initialValue(const PinContent&) {
    return T();
}
template <>
inline Matrix initialValue<Matrix>(const PinContent& content) {
    const auto [rows, cols] = content.shape;
    return content.quantity == kOrientation ? Matrix(Matrix::Identity(rows, cols))
                                            : Matrix(Matrix::Zero(rows, cols));
}

/// Name of a payload type, the same text in every module.
template <class T>
struct PayloadName;
template <>
struct PayloadName<Matrix> {
    static constexpr const char* value = "Matrix";
};

}  // namespace Kavelin::Core
