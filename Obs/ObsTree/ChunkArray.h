// SPDX-License-Identifier: Apache-2.0
/// An array that grows by whole chunks and never moves an element, so that one thread may
/// fill new elements while others read old ones. Elements are raw until written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <vector>

#include "Obs/ObsTree/Pages.h"

namespace obs {

template <class T>
class ChunkArray {
    static_assert(std::is_trivially_copyable_v<T>, "chunks are raw memory");

public:
    static constexpr unsigned kChunkBits = 16;
    static constexpr std::uint32_t kChunkSize = 1u << kChunkBits;

    ChunkArray() = default;
    ChunkArray(const ChunkArray&) = delete;
    ChunkArray& operator=(const ChunkArray&) = delete;
    // NOTE: no destructor. The store belongs to the process and other threads may still be
    // inside when static objects are destroyed; the system takes the memory back.

    T& operator[](std::uint32_t i) { return chunks_[i >> kChunkBits][i & (kChunkSize - 1)]; }
    const T& operator[](std::uint32_t i) const { return chunks_[i >> kChunkBits][i & (kChunkSize - 1)]; }

    /// Makes room for elements 0 to count-1. Throws std::bad_alloc and then leaves the array as it was.
    void ensure(std::uint64_t count) {
        // The directory comes from fresh zero pages that stay untouched until they are used.
        if (chunks_ == nullptr) chunks_ = static_cast<T**>(std::calloc(kMaxChunks, sizeof(T*)));
        if (chunks_ == nullptr) throw std::bad_alloc{};
        while (static_cast<std::uint64_t>(used_) * kChunkSize < count) {
            if (used_ == kMaxChunks) throw std::bad_alloc{};
            addChunks();
        }
    }

    /// Has the memory of elements supplied that are about to be written.
    void supply(std::uint32_t from, std::uint32_t to) {
        while (from < to) {
            const std::uint32_t end = std::min(to, (from | (kChunkSize - 1)) + 1);
            supplyPages(&(*this)[from], (end - from) * sizeof(T));
            from = end;
        }
    }

    void clear() {
        memory_.clear();
        used_ = 0;
    }

private:
    static constexpr std::size_t kMaxChunks = std::size_t{1} << (31 - kChunkBits);
    static constexpr std::size_t kChunkBytes = sizeof(T) << kChunkBits;

    /// So many chunks together are whole large pages, whatever the size of an element.
    static constexpr std::uint32_t kChunksOfLargePages = 8;
    static_assert(kChunksOfLargePages * kChunkBytes % kLargePageSize == 0);

    /// Small arrays take one at a time.
    void addChunks() {
        const bool isLarge = used_ != 0 && gLargePagesWanted.load(std::memory_order_relaxed);
        const std::uint32_t more = isLarge ? std::min<std::uint32_t>(kChunksOfLargePages, kMaxChunks - used_) : 1;
        memory_.reserve(memory_.size() + 1);
        memory_.push_back(takeMemory(more * kChunkBytes));
        for (std::uint32_t i = 0; i < more; ++i)
            chunks_[used_++] = static_cast<T*>(memory_.back().get()) + std::size_t{i} * kChunkSize;
    }

    T** chunks_ = nullptr;
    std::uint32_t used_ = 0;
    std::vector<RawMemory> memory_;
};

}  // namespace obs
