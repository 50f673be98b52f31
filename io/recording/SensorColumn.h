#pragma once

#include <string>
#include <vector>

#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// Finds the column that says which sensor a row is of where none is called so: its texts are few, and another one in
/// most rows; numbers count where rows come several at a time. A person's label, or a state, stays for many rows.
/// @param rows the first ones, as they stand in the file
void findSensorColumn(TableForm& form, const std::vector<std::string>& rows);

}  // namespace Kavelin::RecordingIO
