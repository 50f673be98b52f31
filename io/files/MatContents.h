#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "io/files/ByteSource.h"

namespace Kavelin::RecordingIO {

/// A numeric array of a MATLAB file, whatever its class there.
struct MatArray {
    std::string name;  ///< path from the variable on: "acc", "meas.acc", "rec(2).acc", "Data{3}"
    std::size_t rows = 0;
    std::size_t columns = 0;     ///< of all pages, one after the other, where it has more than two dimensions
    std::vector<double> values;  ///< column by column
};

/// A text of a MATLAB file, a char array: its rows without the blanks at their ends.
struct MatText {
    std::string name;
    std::vector<std::string> rows;
};

/// What a MATLAB file holds, as save(..., '-v7') writes it: the arrays of its variables, structs and cells, in their order.
struct MatContents {
    std::vector<MatArray> arrays;
    std::vector<MatText> texts;
    std::vector<std::string> leftOut;  ///< "X (timetable)": what is not plain arrays; complex ones too

    static constexpr std::size_t kLargest = std::size_t{1} << 30;  ///< bytes, decompressed

    /// Whether a file of 128 bytes or more begins like a MATLAB file of level 5.
    static bool beginsLike(std::string_view first);

    /// Reads all of it into memory; writes nothing to disk.  @param path for messages.  Raises Poco::DataFormatException for a
    /// damaged file, for one of another level, and for one that holds only tables or objects, with how to export them;
    /// Poco::ReadFileException where the bytes cannot be read.
    static MatContents read(ByteSource& bytes, const std::string& path, std::size_t limit = kLargest);
};

}  // namespace Kavelin::RecordingIO
