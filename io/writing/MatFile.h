#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/writing/CollectedTable.h"

namespace Kavelin::RecordingIO {

/// A variable of a file of level 5 takes 2 GiB, its description included.
inline constexpr std::size_t kMostMatValues = (std::size_t{1} << 28) - 256;

/// Names of variables for arrays: each a letter, then letters, digits and "_", none twice, none `t` or a word
/// of the language. What a name cannot have becomes "_"; a name that does not begin with a letter gets an "x"
/// before it. Raises Poco::InvalidArgumentException for a name of more than 63 characters: MATLAB would cut it.
std::vector<std::string> matNames(const std::vector<std::string>& arrays);

/// Writes a MATLAB file of level 5 with variables for the times, `t` (n x 1), and for each array under
/// its name: n x 1 for 1x1 samples, n x k for rows and columns of k, r x c x n for matrices. Not compressed;
/// the same table gives the same bytes.  Raises as TableFormat::write.
void writeMat(const CollectedTable& table, const std::string& path);

}  // namespace Kavelin::RecordingIO
