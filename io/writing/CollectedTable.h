#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// What one pin sent, a sample for each row of a table.
struct CollectedArray {
    std::string name;
    std::vector<std::string> columns;  ///< a name for each element; empty: they follow from name and shape
    std::size_t rows = 1;              ///< shape of a sample
    std::size_t cols = 1;
    std::vector<double> values;  ///< sample behind sample, each row by row; NaN where there is none

    std::size_t size() const { return rows * cols; }
};

/// A table in memory.
struct CollectedTable {
    std::vector<double> times;  ///< s, one a row
    std::vector<CollectedArray> arrays;
};

}  // namespace Kavelin::RecordingIO
