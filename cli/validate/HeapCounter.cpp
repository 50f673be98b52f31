#include "cli/validate/HeapCounter.h"

#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fmt/format.h>
#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string_view>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KAVELIN_HEAP_IS_SANITIZERS
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KAVELIN_HEAP_IS_SANITIZERS
#endif
#endif

#if defined(__x86_64__)
#define KAVELIN_RELOCATION(kind) R_X86_64_##kind
#define KAVELIN_ABSOLUTE R_X86_64_64
#elif defined(__aarch64__)
#define KAVELIN_RELOCATION(kind) R_AARCH64_##kind
#define KAVELIN_ABSOLUTE R_AARCH64_ABS64
#endif

namespace Kavelin::Cli::HeapCounter {

#if defined(KAVELIN_HEAP_IS_SANITIZERS)

std::string whyNot() { return "the sanitizer owns the heap"; }
void start() {}
std::size_t stop() { return 0; }
std::string firstCaller() { return {}; }
std::size_t bytesInUse() { return 0; }

#elif !defined(__GLIBC__) || !defined(KAVELIN_ABSOLUTE)

std::string whyNot() { return "calls of the heap cannot be counted on this system"; }
void start() {}
std::size_t stop() { return 0; }
std::string firstCaller() { return {}; }
std::size_t bytesInUse() { return 0; }

#else

namespace {

std::atomic<bool> isCounting{false};
std::atomic<std::size_t> calls{0};
std::array<void*, 24> firstStack{};
int firstDepth = 0;

void note() {
    if (!isCounting.load(std::memory_order_relaxed)) return;
    if (calls.fetch_add(1, std::memory_order_relaxed) == 0)
        firstDepth = ::backtrace(firstStack.data(), static_cast<int>(firstStack.size()));
}

/// A function of the heap: what it is called, what takes its place, and where it is itself.
struct Replaced {
    const char* name;
    void* counting;
    void* own = nullptr;
};

template <class Function>
Function ownOf(std::size_t row);

void* countedMalloc(std::size_t size) {
    note();
    return ownOf<void* (*)(std::size_t)>(0)(size);
}
void* countedCalloc(std::size_t count, std::size_t size) {
    note();
    return ownOf<void* (*)(std::size_t, std::size_t)>(1)(count, size);
}
void* countedRealloc(void* memory, std::size_t size) {
    note();
    return ownOf<void* (*)(void*, std::size_t)>(2)(memory, size);
}
void* countedAlignedAlloc(std::size_t alignment, std::size_t size) {
    note();
    return ownOf<void* (*)(std::size_t, std::size_t)>(3)(alignment, size);
}
void* countedMemalign(std::size_t alignment, std::size_t size) {
    note();
    return ownOf<void* (*)(std::size_t, std::size_t)>(4)(alignment, size);
}
int countedPosixMemalign(void** memory, std::size_t alignment, std::size_t size) {
    note();
    return ownOf<int (*)(void**, std::size_t, std::size_t)>(5)(memory, alignment, size);
}

Replaced replaced[] = {
    {"malloc", reinterpret_cast<void*>(&countedMalloc)},
    {"calloc", reinterpret_cast<void*>(&countedCalloc)},
    {"realloc", reinterpret_cast<void*>(&countedRealloc)},
    {"aligned_alloc", reinterpret_cast<void*>(&countedAlignedAlloc)},
    {"memalign", reinterpret_cast<void*>(&countedMemalign)},
    {"posix_memalign", reinterpret_cast<void*>(&countedPosixMemalign)},
};

template <class Function>
Function ownOf(std::size_t row) {
    return reinterpret_cast<Function>(replaced[row].own);
}

/// What a module's dynamic section says of the functions that it calls.
struct Tables {
    const char* strings = nullptr;
    const ElfW(Sym) * symbols = nullptr;
    const ElfW(Rela) * calls = nullptr;
    std::size_t callsSize = 0;
    const ElfW(Rela) * others = nullptr;
    std::size_t othersSize = 0;
};

Tables tablesOf(const dl_phdr_info& module) {
    Tables tables;
    for (int i = 0; i < module.dlpi_phnum; ++i) {
        if (module.dlpi_phdr[i].p_type != PT_DYNAMIC) continue;
        const auto* entry =
            reinterpret_cast<const ElfW(Dyn)*>(module.dlpi_addr + module.dlpi_phdr[i].p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            // The loader has made addresses of the offsets, but for the kernel's own module.
            const ElfW(Addr) value = entry->d_un.d_ptr;
            const ElfW(Addr) address = value < module.dlpi_addr ? value + module.dlpi_addr : value;
            if (entry->d_tag == DT_STRTAB) tables.strings = reinterpret_cast<const char*>(address);
            if (entry->d_tag == DT_SYMTAB) tables.symbols = reinterpret_cast<const ElfW(Sym)*>(address);
            if (entry->d_tag == DT_JMPREL) tables.calls = reinterpret_cast<const ElfW(Rela)*>(address);
            if (entry->d_tag == DT_PLTRELSZ) tables.callsSize = value / sizeof(ElfW(Rela));
            if (entry->d_tag == DT_RELA) tables.others = reinterpret_cast<const ElfW(Rela)*>(address);
            if (entry->d_tag == DT_RELASZ) tables.othersSize = value / sizeof(ElfW(Rela));
        }
    }
    return tables;
}

void write(void** place, void* function) {
    const auto size = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
    const std::uintptr_t page = reinterpret_cast<std::uintptr_t>(place) & ~(size - 1);
    if (::mprotect(reinterpret_cast<void*>(page), size, PROT_READ | PROT_WRITE) == 0) *place = function;
}

void redirect(const dl_phdr_info& module, const Tables& tables, const ElfW(Rela) * entries,
              std::size_t count) {
    for (std::size_t i = 0; entries != nullptr && i < count; ++i) {
        const auto type = ELF64_R_TYPE(entries[i].r_info);
        if (type != KAVELIN_RELOCATION(JUMP_SLOT) && type != KAVELIN_RELOCATION(GLOB_DAT) &&
            type != KAVELIN_ABSOLUTE)
            continue;
        const char* name = tables.strings + tables.symbols[ELF64_R_SYM(entries[i].r_info)].st_name;
        for (const Replaced& row : replaced) {
            if (std::strcmp(name, row.name) == 0)
                write(reinterpret_cast<void**>(module.dlpi_addr + entries[i].r_offset), row.counting);
        }
    }
}

int redirectModule(dl_phdr_info* module, std::size_t, void*) {
    const bool isLoader = std::string_view(module->dlpi_name).find("/ld-") != std::string_view::npos;
    const Tables tables = tablesOf(*module);
    if (isLoader || tables.strings == nullptr || tables.symbols == nullptr) return 0;
    redirect(*module, tables, tables.calls, tables.callsSize);
    redirect(*module, tables, tables.others, tables.othersSize);
    return 0;
}

bool isOther(const char* module) {
    Dl_info self{};
    ::dladdr(reinterpret_cast<const void*>(&note), &self);
    const std::string name = std::filesystem::path(module).filename().string();
    return std::strcmp(module, self.dli_fname) != 0 && !name.starts_with("libstdc++") &&
           !name.starts_with("libc.");
}

}  // namespace

std::string whyNot() { return {}; }

void start() {
    [[maybe_unused]] static const bool isRedirected = [] {
        for (Replaced& row : replaced) row.own = ::dlsym(RTLD_DEFAULT, row.name);
        ::backtrace(firstStack.data(), 1);  // loads what it needs
        ::dl_iterate_phdr(redirectModule, nullptr);
        return true;
    }();
    firstDepth = 0;
    calls.store(0);
    isCounting.store(true);
}

std::size_t stop() {
    isCounting.store(false);
    return calls.load();
}

std::string firstCaller() {
    for (int i = 0; i < firstDepth; ++i) {
        Dl_info info{};
        if (::dladdr(firstStack[static_cast<std::size_t>(i)], &info) == 0 || info.dli_fname == nullptr)
            continue;
        if (!isOther(info.dli_fname)) continue;
        const auto offset = reinterpret_cast<std::uintptr_t>(firstStack[static_cast<std::size_t>(i)]) -
                            reinterpret_cast<std::uintptr_t>(info.dli_fbase);
        return fmt::format("{}+0x{:x}", std::filesystem::path(info.dli_fname).filename().string(), offset);
    }
    return {};
}

std::size_t bytesInUse() {
    const struct ::mallinfo2 info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

#endif

}  // namespace Kavelin::Cli::HeapCounter
