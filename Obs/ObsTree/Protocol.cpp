// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Protocol.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>

#include <pthread.h>

namespace obs {

Protocol gProtocol;

namespace {

/// Turns to spin before the core is given to others.
constexpr int kSpins = 200;

/// Longest sleep of an updater between two looks at the readers.
constexpr std::chrono::microseconds kLongestPause{500};

/// What an updater gives readers to come in before it goes on: 10 ms at most.
constexpr std::chrono::microseconds kPauseOfTurn{50};
constexpr int kLongestTurn = 200;

std::atomic<std::uint32_t> gThreads{0};

[[maybe_unused]] const int gForkHandled = pthread_atfork(nullptr, nullptr, [] { gProtocol.afterForkInChild(); });

}  // namespace

StoreLost::StoreLost()
    : std::runtime_error(
          "Another thread was changing the store when this process was forked: it cannot be used here.") {}

std::size_t Protocol::counterOfThread() {
    // NOTE: initial-exec, since this runs for every look-up and the general form is a call.
    [[gnu::tls_model("initial-exec")]] static thread_local std::uint32_t mine = 0;
    if (mine == 0) mine = 1 + gThreads.fetch_add(1, std::memory_order_relaxed) % kCounters;
    return mine - 1;
}

void Protocol::beginRead() {
    std::atomic<std::int32_t>& counter = counters_[counterOfThread()].readers;
    counter.fetch_add(1);
    if (isupdating_.load() != 0) beginReadLater(counter);
}

void Protocol::beginReadLater(std::atomic<std::int32_t>& counter) {
    waiting_.fetch_add(1);
    do {
        counter.fetch_sub(1);
        waitForUpdate();
        counter.fetch_add(1);
    } while (isupdating_.load() != 0);
    waiting_.fetch_sub(1);
}

void Protocol::endRead() { counters_[counterOfThread()].readers.fetch_sub(1); }

void Protocol::waitForUpdate() {
    for (int spin = 0; spin < kSpins; ++spin) {
        const std::int32_t now = isupdating_.load();
        if (now == 0) return;
        if (now == kLost) throw StoreLost();
    }
    isupdating_.wait(1);
}

void Protocol::beginUpdate() {
    beginStandstill();
    keepReadersOut();
    setChanging();
}

void Protocol::keepReadersOut() {
    isupdating_.store(1);
    std::chrono::microseconds pause{20};
    for (int spin = 0; numreads() > 0; ++spin) {
        if (spin < kSpins) continue;
        std::this_thread::sleep_for(pause);  // a long listing is inside
        pause = std::min(2 * pause, kLongestPause);
    }
}

void Protocol::openToReaders() {
    isChanging_.store(false, std::memory_order_release);
    isupdating_.store(0);
    isupdating_.notify_all();
}

void Protocol::endUpdate() {
    openToReaders();
    obs_updatenote_.unlock();
}

void Protocol::letReadersIn() {
    if (waiting_.load() == 0) return;
    openToReaders();
    // Until those who waited are in, or for as long as a busy machine may need to wake them.
    for (int turn = 0; turn < kLongestTurn && waiting_.load() > 0; ++turn) std::this_thread::sleep_for(kPauseOfTurn);
    keepReadersOut();
    setChanging();
}

void Protocol::beginStandstill() {
    obs_updatenote_.lock();
    if (isupdating_.load() == kLost) {
        obs_updatenote_.unlock();
        throw StoreLost();
    }
}

void Protocol::beginUnseenUpdate() {
    beginStandstill();
    setChanging();
}

void Protocol::endStandstill() {
    isChanging_.store(false, std::memory_order_release);
    obs_updatenote_.unlock();
}

/// A fork copies what this thread wrote up to some moment: the mark must come before every part of the change. Nothing
/// moves up past a load that follows a store in their one total order.
void Protocol::setChanging() {
    isChanging_.store(true);
    static_cast<void>(isChanging_.load());
}

void Protocol::afterForkInChild() {
    for (Counter& counter : counters_) counter.readers.store(0);
    waiting_.store(0);
    isupdating_.store(isChanging_.load() ? kLost : 0);
    new (&obs_updatenote_) std::mutex;  // whoever held it is not in this process
}

std::int32_t Protocol::numreads() const {
    std::int32_t sum = 0;
    for (const Counter& counter : counters_) sum += counter.readers.load();
    return sum;
}

}  // namespace obs
