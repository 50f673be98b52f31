#pragma once

#include <string>

#include "io/writing/CollectedTable.h"

namespace Kavelin::RecordingIO {

/// Writes one array of records, a record a row, with a field for each column: `t` and the names that a table
/// of text would have.  Raises as TableFormat::write. Source: NumPy Enhancement Proposal 1.
void writeNpy(const CollectedTable& table, const std::string& path);

/// Writes a zip archive with an array for the times, `t`, and one for each pin under its name: of n elements
/// for 1x1 samples, n x k for rows and columns of k, n x r x c for matrices. Not compressed; the same table
/// gives the same bytes.  Raises as TableFormat::write.
void writeNpz(const CollectedTable& table, const std::string& path);

}  // namespace Kavelin::RecordingIO
