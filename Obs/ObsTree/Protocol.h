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
/// A fork waits for none of these. The child has the forking thread alone; those who were inside are not there to leave.
/// If none of them was changing anything the child starts with nobody inside; else its store is lost and every
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

    /// Keep other updaters out while readers go on; `changing`: and what only updaters look at is changed.
    void beginStandstill(bool changing);
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
    void waitForUpdate();
    void setChanging();

    std::array<Counter, kCounters> counters_;
    alignas(64) std::atomic<std::int32_t> isupdating_{0};  ///< 0, 1, or `kLost` for good
    std::atomic<bool> isChanging_{false};                  ///< what a fork copies now is not whole
    std::mutex obs_updatenote_;
};

/// The one protocol of the process's store.
extern Protocol gProtocol;

inline void obsbeginread() { gProtocol.beginRead(); }
inline void obsendread() { gProtocol.endRead(); }

class ReadGuard {
public:
    ReadGuard() { gProtocol.beginRead(); }
    ~ReadGuard() { gProtocol.endRead(); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
};

class UpdateGuard {
public:
    UpdateGuard() { gProtocol.beginUpdate(); }
    ~UpdateGuard() { gProtocol.endUpdate(); }
    UpdateGuard(const UpdateGuard&) = delete;
    UpdateGuard& operator=(const UpdateGuard&) = delete;
};

/// For saves: updaters wait, readers go on.
class StandstillGuard {
public:
    StandstillGuard() { gProtocol.beginStandstill(false); }
    ~StandstillGuard() { gProtocol.endStandstill(); }
    StandstillGuard(const StandstillGuard&) = delete;
    StandstillGuard& operator=(const StandstillGuard&) = delete;
};

/// For changes that no reader can see: updaters wait, readers go on.
class UnseenUpdateGuard {
public:
    UnseenUpdateGuard() { gProtocol.beginStandstill(true); }
    ~UnseenUpdateGuard() { gProtocol.endStandstill(); }
    UnseenUpdateGuard(const UnseenUpdateGuard&) = delete;
    UnseenUpdateGuard& operator=(const UnseenUpdateGuard&) = delete;
};

}  // namespace obs
