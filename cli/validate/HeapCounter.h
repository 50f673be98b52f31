#pragma once

#include <cstddef>
#include <string>

namespace Kavelin::Cli {

/// Counts the calls of the heap's functions that modules of this process make: malloc, calloc, realloc, and the aligned ones,
/// so also `new`. Nothing is counted, and nothing costs more, until the first count.
///
/// The first count redirects the entries of these functions in the tables through which each module that is loaded calls
/// others (its global offset table), for good. Modules loaded later are not counted.
namespace HeapCounter {

/// Why calls cannot be counted here; empty where they can.
std::string whyNot();

/// Begins to count, in all threads.
void start();
/// @return calls since `start`. The heap can be used freely afterwards.
std::size_t stop();

/// Where the first of them came from, since `start`, as far as a module other than the standard library and this program's own is on the way:
/// "KavelinPluginX.so+0x1a2b"; empty without one.
std::string firstCaller();

/// Bytes that are allocated now.
std::size_t bytesInUse();

}  // namespace HeapCounter

}  // namespace Kavelin::Cli
