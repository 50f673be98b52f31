#pragma once

#include <string>

namespace Kavelin::Cli {

/// Draws a graph with graphviz's `dot`.
/// @param graph what `graphText` wrote
/// @param format "svg" or "png"
/// @return the bytes of the picture. Of a drawing as SVG, the ids are those of `graphText`.
/// @throws Poco::WriteFileException where graphviz is not installed, or when it fails.  [any thread]
std::string drawGraph(const std::string& graph, const std::string& format);

}  // namespace Kavelin::Cli
