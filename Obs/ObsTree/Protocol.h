// SPDX-License-Identifier: Apache-2.0
/// Who may be inside the store when.
///
/// Any number of readers, or one updater. Readers take no mutex: a reader counts itself in
/// and then looks at the update flag; when the flag is set it counts itself out again and
/// waits. An updater holds the mutex `obs_updatenote`, sets the flag and waits until no
/// reader is counted. Each side writes its own mark before it reads the other's, all in one
/// total order (seq_cst), so at least one of the two sees the other: an updater never meets a
/// reader inside.
///
/// Who only needs the store to stand still, as a save does, holds the mutex without setting the flag: updaters wait,
/// readers go on, and an updater that waits keeps nobody out.
///
/// A fork waits for none of these. The child has the forking thread alone; those who were inside are not there to
/// leave. If none of them was changing anything the child starts with nobody inside; else its store is lost and every
/// access throws StoreLost.
///
/// Rules:
/// 1. A read must not be begun inside a read of the same thread: an updater that came
///    between the two would wait for the first while the second waits for it.
/// 2. An update must not be begun inside a read or another update.
/// 3. References into the store are good until the read or update ends.
/// 4. Observations under address keys follow the same protocol, because all records share
///    their pools.
/// 5. No caller's code (a log or a load callback) runs inside, so that none of it can fork there.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <stdexcept>

namespace obs {

/// Thrown on the way into a store that another thread was changing when the process was forked.
struct StoreLost : std::runtime_error {
    StoreLost();
};

class Protocol {
public:
    void beginRead();
    void endRead();
    void beginUpdate();
    void endUpdate();

    /// Inside a long update, the store being whole: readers who wait get a turn, other updaters do not.
    void letReadersIn();

    /// Updaters wait, readers go on: for saves, and for changes that no reader can see.
    void beginStandstill();
    void beginUnseenUpdate();
    void endStandstill();

    /// Readers counted in, those about to back out included.
    std::int32_t numreads() const;

    void afterForkInChild();

private:
    /// One thread writes mostly one counter, so that readers on different cores do not
    /// pass one cache line back and forth; an updater adds them up.
    struct alignas(64) Counter {
        std::atomic<std::int32_t> readers{0};
    };
    static constexpr std::size_t kCounters = 32;

    static constexpr std::int32_t kLost = 2;

    static std::size_t counterOfThread();
    void beginReadLater(std::atomic<std::int32_t>& counter);
    void waitForUpdate();
    void openToReaders();
    void keepReadersOut();
    void setChanging();

    std::array<Counter, kCounters> counters_;
    alignas(64) std::atomic<std::int32_t> isupdating_{0};  ///< 0, 1, or `kLost` for good
    std::atomic<std::int32_t> waiting_{0};                 ///< readers whose turn is to come
    std::atomic<bool> isChanging_{false};                  ///< what a fork copies now is not whole
    std::mutex obs_updatenote_;
};

/// The one protocol of the process's store.
extern Protocol gProtocol;

inline void obsbeginread() { gProtocol.beginRead(); }
inline void obsendread() { gProtocol.endRead(); }

/// Inside while one of these lives.
template <void (Protocol::*begin)(), void (Protocol::*end)()>
class ProtocolGuard {
public:
    ProtocolGuard() { (gProtocol.*begin)(); }
    ~ProtocolGuard() { (gProtocol.*end)(); }
    ProtocolGuard(const ProtocolGuard&) = delete;
    ProtocolGuard& operator=(const ProtocolGuard&) = delete;
};
using ReadGuard = ProtocolGuard<&Protocol::beginRead, &Protocol::endRead>;
using UpdateGuard = ProtocolGuard<&Protocol::beginUpdate, &Protocol::endUpdate>;
using StandstillGuard = ProtocolGuard<&Protocol::beginStandstill, &Protocol::endStandstill>;
using UnseenUpdateGuard = ProtocolGuard<&Protocol::beginUnseenUpdate, &Protocol::endStandstill>;

}  // namespace obs
