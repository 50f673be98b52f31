#pragma once

#include <mutex>
#include <span>
#include <vector>

namespace Kavelin::Core {

struct Layout;
class Pin;

/// Keeps unchanged which pins are connected, which filter is in which layout, and which layouts run. A thread
/// that holds it takes no other mutexes than those by which layouts and readers sleep.
///
/// Some operations of public classes take one as an argument: they are for the host library alone, as no
/// other code can make one.
class TopologyLock {
public:
    TopologyLock();

private:
    std::lock_guard<std::mutex> lock_;
};

/// The layouts that a thread of their own, or a lane's, runs.
std::vector<Layout*>& runningLayouts(const TopologyLock&);

/// The layout of the pin's filter; null when there is none.
Layout* layoutOf(const Pin& pin);

/// Whether something that has not ended feeds one of the layout's filters.
bool canStillBeFed(const Layout& layout, const TopologyLock&);

/// Whether these layouts wait for the end of others that wait for theirs.  [a thread of these layouts]
bool feedsItself(std::span<Layout* const> layouts);

/// Whether one of the layouts that these wait for, at first or second hand, has sources.  [as feedsItself]
bool areFedBySources(std::span<Layout* const> layouts);

}  // namespace Kavelin::Core
