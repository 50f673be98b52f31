#pragma once

#include <cstdint>

namespace Kavelin::Soak {

/// Bytes on the heap that are in use, and bytes of memory that the process holds.
struct Memory {
    std::int64_t heap = 0;
    std::int64_t resident = 0;
};

Memory memoryNow();

}  // namespace Kavelin::Soak
