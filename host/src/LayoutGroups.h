#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class AbstractOutputPin;
struct Layout;

/// Layouts that one thread runs: a single one, or a cycle of layouts that feed each other,
/// in the order of the list.
using LayoutGroup = std::vector<Layout*>;

/// A connection from a filter of one layout to a filter of another.
struct LayoutConnection {
    std::size_t from;  ///< position of the layout in the list
    std::size_t to;
    AbstractOutputPin* output;
    AbstractInputPin* input;
};

/// All connections between two different layouts of the list.  [no connection changing meanwhile]
std::vector<LayoutConnection> connectionsBetween(const std::vector<Layout*>& layouts);

/// The layouts in groups, each after those that feed it.
std::vector<LayoutGroup> groupLayouts(const std::vector<Layout*>& layouts,
                                      const std::vector<LayoutConnection>& connections);

/// For each layout, whether it has sources or is fed, directly or through others,
/// by one that has. [none running]
std::vector<bool> reachedBySources(const std::vector<Layout*>& layouts,
                                   const std::vector<LayoutConnection>& connections);

/// Calls the filters of the group's layouts, in turn, until there is nothing left to take, or a stop.
/// @return whether anything was taken.  [thread that runs the group]
bool settle(const LayoutGroup& group);

/// Whether all that fed the group has ended. @param staysOpen true: filters outside all layouts feed the
/// group as long as the program runs, and a group with neither sources nor feeders may still get some.
bool nothingCanCome(std::span<Layout* const> group, bool staysOpen);

}  // namespace Kavelin::Core
