#pragma once

#include <string>
#include <vector>

#include "io/writing/CollectedTable.h"

namespace Kavelin::RecordingIO {

/// Writes a table of orientations as OpenSim reads it: a column for each sensor, whose cells are quaternions
/// `w,x,y,z`. Rows whose time is not later than that of the row before are left out: OpenSim refuses them.
/// Each array holds four elements a row.  Raises as ResultFile; "-" is standard output.
void writeSto(const CollectedTable& table, const std::string& path);

/// Says how many rows were left out, how many lack a sensor, and whether rows are unevenly spaced or have gaps.
std::vector<std::string> stoNotes(const CollectedTable& table);

}  // namespace Kavelin::RecordingIO
