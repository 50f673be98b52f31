#include "io/writing/TableCollector.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "io/recording/TableWriter.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

TableCollector::~TableCollector() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // Only `finish` reports a failure.
    }
}

std::size_t TableCollector::add(const Pin& pin) {
    CollectedArray array{pin.name, pin.columns, 0, 0, {}};
    if (!pin.columns.empty()) {
        const bool isExpected = pin.expected.size() == pin.columns.size();
        array.rows = isExpected ? pin.expected.rows : 1;
        array.cols = isExpected ? pin.expected.cols : pin.columns.size();
    }
    table_.arrays.push_back(std::move(array));
    states_.emplace_back();
    return states_.size() - 1;
}

void TableCollector::put(std::size_t pin, double time, const double* elements, std::size_t rows,
                         std::size_t cols) {
    if (hasRow_ && (time != table_.times.back() || states_[pin].filled)) endRow();
    fix(pin, {rows, cols});
    CollectedArray& array = table_.arrays[pin];
    if (!hasRow_) beginRow(time);
    complete(array);
    std::copy(elements, elements + rows * cols,
              array.values.end() - static_cast<std::ptrdiff_t>(rows * cols));
    states_[pin].filled = true;
    if (++filled_ == states_.size()) endRow();
}

/// The first sample of a pin fixes its shape.
void TableCollector::fix(std::size_t pin, const Shape& sample) {
    CollectedArray& array = table_.arrays[pin];
    const bool isFirst = !std::exchange(states_[pin].isFixed, true);
    if (!array.columns.empty() && sample.size() != array.columns.size())
        throw Poco::DataFormatException(
            wrongColumnCount(array.name, array.columns.size(), sample.rows, sample.cols));
    if (isFirst) {
        array.rows = sample.rows;
        array.cols = sample.cols;
    }
    if (array.columns.empty() && Shape{array.rows, array.cols} != sample)
        throw Poco::DataFormatException(
            wrongShape(array.name, {array.rows, array.cols}, sample.rows, sample.cols));
}

void TableCollector::beginRow(double time) {
    std::size_t largest = 1;
    for (const CollectedArray& array : table_.arrays) largest = std::max(largest, array.size());
    if (table_.times.size() >= format_.mostValues / largest)
        throw Poco::WriteFileException("'" + path_ + "' cannot hold more than " +
                                       counted(table_.times.size(), "row"));
    table_.times.push_back(time);
    hasRow_ = true;
}

void TableCollector::endRow(double time) {
    if (!hasRow_) beginRow(time);
    endRow();
}

void TableCollector::endRow() {
    hasRow_ = false;
    filled_ = 0;
    for (State& state : states_) state.filled = false;
}

/// Rows without a sample of the array hold NaN.
void TableCollector::complete(CollectedArray& array) const {
    array.values.resize(table_.times.size() * array.size(), std::numeric_limits<double>::quiet_NaN());
}

void TableCollector::finish() {
    if (std::exchange(isFinished_, true)) return;
    std::erase_if(table_.arrays, [](const CollectedArray& array) { return array.size() == 0; });
    for (CollectedArray& array : table_.arrays) complete(array);
    format_.write(table_, path_);
    if (format_.notes != nullptr) notes_ = format_.notes(table_);
    table_ = {};
}

}  // namespace Kavelin::RecordingIO
