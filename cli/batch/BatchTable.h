#pragma once

#include <string>
#include <vector>

#include "cli/batch/BatchEntry.h"

namespace Kavelin::Cli {

/// "done", "errors", "not used", "crashed", "not run".
const char* endName(RunEnd end);

/// The table for a person: a line of column names, one line for each recording, and one that counts how they ended.
std::string tableText(const std::vector<BatchEntry>& entries);

/// The same as a table to be read by programs, in full precision; shares are in percent. A cell with a comma, a quote or a
/// line feed stands in double quotes.
std::string tableCsv(const std::vector<BatchEntry>& entries);

}  // namespace Kavelin::Cli
