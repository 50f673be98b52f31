#pragma once

#include <cstddef>
#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class AbstractOutputPin;
class LayoutManager;

/// Layouts that one thread runs: a single one, or a circle of layouts that feed each other, in the order of
/// the list.
using LayoutGroup = std::vector<LayoutManager*>;

/// A connection from a filter of one layout to a filter of another.
struct LayoutConnection {
    std::size_t from;  ///< position of the layout in the list
    std::size_t to;
    AbstractOutputPin* output;
    AbstractInputPin* input;
};

/// All connections between two different layouts of the list.  [nobody connecting meanwhile]
std::vector<LayoutConnection> connectionsBetween(const std::vector<LayoutManager*>& layouts);

/// The layouts in groups, each after those that feed it.
std::vector<LayoutGroup> groupLayouts(const std::vector<LayoutManager*>& layouts,
                                      const std::vector<LayoutConnection>& connections);

/// For each layout, whether it has sources or is fed, perhaps over others, by one that has.  [none running]
std::vector<bool> reachedBySources(const std::vector<LayoutManager*>& layouts,
                                   const std::vector<LayoutConnection>& connections);

/// Calls the filters of the group's layouts, in turn, until there is nothing left to take, or a stop.
/// @return whether anything was taken.  [thread that runs the group]
bool settle(const LayoutGroup& group);

}  // namespace Kavelin::Core
