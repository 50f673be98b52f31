#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

/// Counts what `operator new` hands out in the whole test program. Any number of files may include this: the
/// replacements are weak, so the linker keeps one.
namespace Kavelin::Tests {

inline std::atomic<std::size_t> allocations{0};

inline void* countedAllocation(std::size_t size, std::size_t alignment) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    const std::size_t whole = (size + alignment) / alignment * alignment;
    if (void* memory = std::aligned_alloc(alignment, whole)) return memory;
    throw std::bad_alloc();
}

}  // namespace Kavelin::Tests

[[gnu::weak]] void* operator new(std::size_t size) {
    return Kavelin::Tests::countedAllocation(size, alignof(std::max_align_t));
}
[[gnu::weak]] void* operator new(std::size_t size, std::align_val_t alignment) {
    return Kavelin::Tests::countedAllocation(size, static_cast<std::size_t>(alignment));
}
[[gnu::weak]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::weak]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::weak]] void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
[[gnu::weak]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}
