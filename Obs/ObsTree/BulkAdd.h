// SPDX-License-Identifier: Apache-2.0
/// Adds many observations at once, with the same result as one by one: duplicates, re-keying and
/// order of insertion follow the order of adding. Records are written to their final place at once;
/// keys are settled at `commit`, in one update, in which readers get a turn now and then. The order of a
/// large batch is made when it is first asked for.
///
/// Threads: one BulkAdd belongs to one thread; others may read and change the store meanwhile.
#pragma once

#include <cstdint>
#include <vector>

#include "Obs/ObsTree/Store.h"

namespace obs {

class BulkAdd {
public:
    /// `takeBack`, unless null, notes what is entered.
    explicit BulkAdd(std::int32_t gid, TakeBack* takeBack = nullptr) : gid_(gid), takeBack_(takeBack) {}
    ~BulkAdd();
    BulkAdd(const BulkAdd&) = delete;
    BulkAdd& operator=(const BulkAdd&) = delete;

    /// Takes a record with its field key (not -1), its optional parts becoming the store's. Nobody sees it
    /// before `commit`.
    void add(std::int64_t key, ObsRecord& rec) { add(key, rec, gid_); }
    /// The same for an observation of another group.
    void add(std::int64_t key, ObsRecord& rec, std::int32_t gid);

    /// The same in two steps, without a record between: the common fields of the next observation are written here,
    CommonFields& place() {
        if (needsTopUp()) topUp();
        return gStore.pools.record(reserved_.nextSlot());
    }
    /// and become one with the rest.
    void addAtPlace(std::int64_t key, const UncommonFields& rest);

    /// Observations added since the last commit.
    std::size_t size() const { return pending_.size(); }

    /// Observations on their way from one adder to another, in order of adding: their reserved slots, whose nodes and
    /// marks hold key and group already. They are the store's until they are appended or dropped, as long as the adder
    /// that handed them over lives.
    using HandedOver = SlotRuns;

    /// Gives what was added since the last commit; `to`, which must be empty, lends its memory in exchange.
    void handOver(HandedOver& to);

    /// Adds what another one has handed over, after all that was added before.
    void append(HandedOver& others);
    static void drop(HandedOver& others);

    /// Enters all of them into the store; readers may see a part of a large batch before the rest. Returns the
    /// positions (counted from 0 in order of adding) and keys of those refused as duplicates, in that order. On
    /// std::bad_alloc either none is entered, or all but the refused ones are and not every refused one could be named;
    /// `size()` tells which (0: entered). `keys`, unless null, gets the key of each position, 0 for a
    /// refused one; `origin`, unless null, says where they come from.
    struct Refused {
        std::size_t position;
        std::int64_t key;
    };
    std::vector<Refused> commit(std::int64_t* keys = nullptr, const BatchOrigin* origin = nullptr);

    /// How many the latest commit entered, also one that could not name all it refused.
    std::size_t accepted() const { return accepted_; }

    /// Forgets what was added since the last commit.
    void drop();

    /// Calls `use(rec)` with a copy of each observation added since the last commit, for when that failed.
    template <class Use>
    void forEachRecord(Use&& use) const {
        for (SlotRuns::Cursor cursor(pending_); !cursor.isAtEnd();) {
            ObsRecord rec;
            gStore.pools.read(cursor.next(), rec);
            use(rec);
        }
    }

private:
    bool needsTopUp() const { return reserved_.slotsLeft() == 0 || reserved_.triples.size() < kTripleKinds; }
    void open();
    void topUp();
    void close();
    void append(SlotNumber slot, std::int64_t key, std::int32_t gid);
    static bool enter(SlotNumber slot, std::int64_t& key, bool isLoose);
    static bool note(Refused one, std::vector<Refused>& refused);

    std::int32_t gid_;
    TakeBack* takeBack_;
    SlotRuns pending_;
    std::size_t handedOver_ = 0;
    std::size_t accepted_ = 0;
    Reservation reserved_;
    bool open_ = false;
};

}  // namespace obs
