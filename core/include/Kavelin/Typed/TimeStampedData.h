#pragma once

#include <Kavelin/Core/PinContent.h>
#include <Kavelin/Typed/Contents.h>
#include <Kavelin/Typed/Matrix.h>

#include <cstddef>

namespace Kavelin::Core {

/// One sample: a value and when it was taken (unit as the producing filter gives it, usually seconds).
template <class T>
struct TimeStampedData {
    T value{};
    double timeStamp = 0.0;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(value, timeStamp);
    }
};

/// Copies a sample into a slot that already holds one.
template <class T>
void copySample(const TimeStampedData<T>& from, TimeStampedData<T>& to) {
    to = from;
}
/// A connection's samples nearly always have the same shape and a few elements: then only the elements need
/// copying, in a loop that is shorter than the way into the library's copy.
[[gnu::noinline]] inline void copyOtherSample(const TimeStampedData<Matrix>& from,
                                              TimeStampedData<Matrix>& to) {
    to = from;
}
inline void copySample(const TimeStampedData<Matrix>& from, TimeStampedData<Matrix>& to) {
    constexpr std::ptrdiff_t kFew = 16;
    const std::ptrdiff_t count = from.value.size();
    if (from.value.rows() != to.value.rows() || from.value.cols() != to.value.cols() || count > kFew)
        [[unlikely]]
        return copyOtherSample(from, to);
    const double* const source = from.value.data();
    double* const target = to.value.data();
    std::ptrdiff_t i = 0;
    for (; i + 1 < count; i += 2) {
        const double first = source[i], second = source[i + 1];
        target[i] = first;
        target[i + 1] = second;
    }
    if (i < count) target[i] = source[i];
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
