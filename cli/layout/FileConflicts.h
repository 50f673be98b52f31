#pragma once

#include <string>
#include <vector>

#include "cli/layout/Mistake.h"

namespace Kavelin::Cli {

/// A file that a property of a filter names.
struct FileUse {
    std::string filter;    ///< as messages name it
    std::string property;  ///< its name; empty for an option of the command line
    std::string file;      ///< path, variables expanded; "-" is standard input or output
    bool isWritten = false;
    Place place;
};

/// Adds a mistake for every file that a filter writes, under its name or that of its unfinished part, while
/// another filter reads or writes it, or writes it itself by another property: data would be lost.
/// Paths that lead to the same file count as one file, whether it exists yet or not. Pipes and devices may be
/// shared; standard output can take only one table, and standard input give only one.
void findFileConflicts(const std::vector<FileUse>& uses, Mistakes& mistakes);

}  // namespace Kavelin::Cli
