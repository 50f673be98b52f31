#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>

/// Counts what the whole test program takes from the heap, by `new` or by malloc (Eigen takes the latter).
/// Any number of files may include this: the replacements are weak, so one is kept.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__GLIBC__)
#define KAVELIN_HEAP_CALLS_COUNTED 0  // the heap belongs to the sanitizer
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KAVELIN_HEAP_CALLS_COUNTED 0
#endif
#endif
#ifndef KAVELIN_HEAP_CALLS_COUNTED
#define KAVELIN_HEAP_CALLS_COUNTED 1
#endif

namespace Kavelin::Tests {

inline std::atomic<std::size_t> heapCalls{0};

inline void noteHeapCall() { heapCalls.fetch_add(1, std::memory_order_relaxed); }

}  // namespace Kavelin::Tests

#if KAVELIN_HEAP_CALLS_COUNTED
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

[[gnu::weak]] void* malloc(std::size_t size) noexcept {
    Kavelin::Tests::noteHeapCall();
    return __libc_malloc(size);
}
[[gnu::weak]] void* calloc(std::size_t count, std::size_t size) noexcept {
    Kavelin::Tests::noteHeapCall();
    return __libc_calloc(count, size);
}
[[gnu::weak]] void* realloc(void* memory, std::size_t size) noexcept {
    Kavelin::Tests::noteHeapCall();
    return __libc_realloc(memory, size);
}
[[gnu::weak]] void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    Kavelin::Tests::noteHeapCall();
    return __libc_memalign(alignment, size);
}
}
#endif
