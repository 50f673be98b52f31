#pragma once

#include <Kavelin/Core/Filter.h>

#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::Cli {

/// What is built as a graph, in the language of graphviz: a cluster for each layout, a table for each filter
/// with a cell for each pin, an edge for each connection.
///
/// Elements have ids, by which a page finds them in the drawing: `layout.NAME`, `filter.NAME`, `input.FILTER.PIN`,
/// `pin.FILTER.PIN` of an output, `edge.FILTER.PIN.FILTER.PIN`; names as `graphId` writes them.
/// [no layout being built]
/// @param room characters left free beside each pin, for a page that writes there
std::string graphText(const std::vector<Core::Filter*>& filters, const std::string& title, int room = 0);

/// @return the name with every byte outside [A-Za-z0-9_-] as %XX.
std::string graphId(std::string_view name);

}  // namespace Kavelin::Cli
