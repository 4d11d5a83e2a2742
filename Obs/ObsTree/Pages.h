// SPDX-License-Identifier: Apache-2.0
/// Memory that is about to be filled.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

namespace obs {

/// Whether memory that is taken from now on may come in large pages. They are faster to supply and to look things up in
/// while the system has some at hand, and slower when it has to make them first, so that it is for the user to say.
inline std::atomic<bool> gLargePagesWanted{false};

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
using RawMemory = std::unique_ptr<void, FreeMemory>;

inline constexpr std::size_t kLargePageSize = std::size_t{2} << 20;

/// Memory that is not touched yet, in large pages where that is wanted, its size allows it and the system has some.
/// Throws std::bad_alloc.
inline RawMemory takeMemory(std::size_t bytes) {
    const bool isLarge = bytes % kLargePageSize == 0 && gLargePagesWanted.load(std::memory_order_relaxed);
    RawMemory memory(isLarge ? std::aligned_alloc(kLargePageSize, bytes) : std::malloc(bytes));
    if (!memory) throw std::bad_alloc{};
#if defined(MADV_HUGEPAGE)
    if (isLarge) static_cast<void>(madvise(memory.get(), bytes, MADV_HUGEPAGE));
#endif
    return memory;
}

inline const auto kPageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));

/// Has the system supply the pages of a range at once instead of one fault at a time, which takes about a quarter off
/// the cost of fresh memory. For ranges that will be written; nothing happens where the system cannot.
inline void supplyPages([[maybe_unused]] void* from, [[maybe_unused]] std::size_t bytes) {
#if defined(MADV_POPULATE_WRITE)
    const auto start = reinterpret_cast<std::uintptr_t>(from) & ~(kPageSize - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(from) + bytes + kPageSize - 1) & ~(kPageSize - 1);
    if (bytes >= 4 * kPageSize)
        static_cast<void>(madvise(reinterpret_cast<void*>(start), end - start, MADV_POPULATE_WRITE));
#endif
}

}  // namespace obs
