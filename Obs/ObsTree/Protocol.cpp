// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Protocol.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace obs {

Protocol gProtocol;

namespace {

/// Turns to spin before the core is given to others.
constexpr int kSpins = 200;

/// Longest sleep of an updater between two looks at the readers.
constexpr std::chrono::microseconds kLongestPause{500};

std::atomic<std::uint32_t> gThreads{0};

}  // namespace

std::size_t Protocol::counterOfThread() {
    // NOTE: initial-exec, since this runs for every look-up and the general form is a call.
    [[gnu::tls_model("initial-exec")]] static thread_local std::uint32_t mine = 0;
    if (mine == 0) mine = 1 + gThreads.fetch_add(1, std::memory_order_relaxed) % kCounters;
    return mine - 1;
}

void Protocol::beginRead() {
    std::atomic<std::int32_t>& counter = counters_[counterOfThread()].readers;
    counter.fetch_add(1);
    while (isupdating_.load() != 0) {
        counter.fetch_sub(1);
        waitForUpdate();
        counter.fetch_add(1);
    }
}

void Protocol::endRead() {
    counters_[counterOfThread()].readers.fetch_sub(1);
}

void Protocol::waitForUpdate() {
    for (int spin = 0; spin < kSpins; ++spin)
        if (isupdating_.load() == 0) return;
    isupdating_.wait(1);
}

void Protocol::beginUpdate() {
    obs_updatenote_.lock();
    isupdating_.store(1);
    std::chrono::microseconds pause{20};
    for (int spin = 0; numreads() > 0; ++spin) {
        if (spin < kSpins) continue;
        std::this_thread::sleep_for(pause);  // a save or a long listing is inside
        pause = std::min(2 * pause, kLongestPause);
    }
}

void Protocol::endUpdate() {
    isupdating_.store(0);
    isupdating_.notify_all();
    obs_updatenote_.unlock();
}

std::int32_t Protocol::numreads() const {
    std::int32_t sum = 0;
    for (const Counter& counter : counters_) sum += counter.readers.load();
    return sum;
}

}  // namespace obs
