#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

/// What of a MATLAB file only MATLAB understands: a table, an object, a function.
struct MatOpaque {
    std::string name;  ///< "X", or "rec.X" within a struct
    std::string kind;  ///< "timetable", "table", "string", "sparse matrix" ...
};

/// A MATLAB file of level 5 that is fit for a library: decompressed, all lengths within the file and in agreement with
/// the dimensions, and only numbers, texts, structs and cells in it.
struct CheckedMat {
    std::string bytes;
    std::size_t values = 0;         ///< arrays that are neither structs nor cells, wherever they are
    std::vector<MatOpaque> opaque;  ///< left out; within structs and cells they became empty arrays
};

/// Checks a file before anything interprets it, since lengths in a damaged one would lead a reader astray.
/// @param limit bytes at most, decompressed.  Raises Poco::DataFormatException with what is wrong, and at which byte.
CheckedMat checkMat(std::string_view file, std::size_t limit);

}  // namespace Kavelin::RecordingIO
