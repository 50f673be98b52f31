#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/plot/Trace.h"

namespace Kavelin::Cli {

/// A line of a panel, or a flag: a band where its value is not 0.
struct DrawnLine {
    std::string label;
    Trace trace = {};
    bool isFlag = false;
};

/// Lines over one axis of values.
struct DrawnPanel {
    std::string label;  ///< of the values, with the unit
    std::vector<DrawnLine> lines = {};
    std::optional<std::pair<double, double>> range = {};  ///< absent: that of the lines
    bool isInDegrees = false;                             ///< angles: a step across half a turn parts a line

    /// Then each has a row of its own; else they are bands behind the lines.
    bool hasFlagsOnly() const { return !lines.empty() && std::ranges::all_of(lines, &DrawnLine::isFlag); }
};

}  // namespace Kavelin::Cli
