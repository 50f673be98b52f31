#include "soak/Memory.h"

#include <malloc.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

// Of the sanitizers' run-time libraries; null without one.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace Kavelin::Soak {

Memory memoryNow() {
    Memory memory;
    memory.heap = __sanitizer_get_current_allocated_bytes
                      ? static_cast<std::int64_t>(__sanitizer_get_current_allocated_bytes())
                      : static_cast<std::int64_t>(::mallinfo2().uordblks);
    std::ifstream pages("/proc/self/statm");
    std::int64_t all = 0, resident = 0;
    pages >> all >> resident;
    memory.resident = resident * ::sysconf(_SC_PAGESIZE);
    return memory;
}

}  // namespace Kavelin::Soak
