#pragma once

#include <string>

#include "cli/layout/LayoutFile.h"

namespace Kavelin::Cli {

/// The JSON text of a layout, ended by a line break. parseLayout reads the same layout back: numbers stand in
/// full, members in the order of the entries. What has its default (buffer, order, synchronous) is left out.
std::string writeLayout(const LayoutFile& layout);

}  // namespace Kavelin::Cli
