// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTypes/Threads.h"

#include <algorithm>
#include <atomic>

namespace obs {

namespace {

std::atomic<std::int32_t> gThreads{1};

/// Less than this is done before another thread has begun.
constexpr std::int64_t kWorthAThread = 2 << 20;

}  // namespace

void setThreads(std::int32_t number) { gThreads.store(number, std::memory_order_relaxed); }

std::int32_t threads() { return gThreads.load(std::memory_order_relaxed); }

std::int32_t threadsFor(std::int64_t bytes, std::int64_t leastShare) {
    const std::int32_t wanted = threads();
    const std::int64_t cores = std::max(std::thread::hardware_concurrency(), 1u);
    const std::int64_t most = wanted != 0 ? wanted : cores;
    const std::int64_t shares = bytes / (wanted != 0 ? leastShare : std::max(leastShare, kWorthAThread));
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(shares, 1, std::min<std::int64_t>(most, kMostThreads)));
}

}  // namespace obs
