// SPDX-License-Identifier: Apache-2.0
/// The process-wide store: observations by key. Every operation here runs the protocol of
/// Protocol.h itself, unless its comment says otherwise.
///
/// Messages go to the trace log. Status: 0 done, 2 no such key, 3 refused as a duplicate.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsTree/Handles.h"
#include "Obs/ObsTree/KeyIndex.h"
#include "Obs/ObsTree/Keys.h"
#include "Obs/ObsTree/Origins.h"
#include "Obs/ObsTree/Pools.h"
#include "Obs/ObsTree/Protocol.h"
#include "Obs/ObsTree/TakeBack.h"
#include "Obs/ObsTree/Tree.h"
#include "Obs/ObsTypes/Status.h"

namespace obs {

/// A satellite number that no observation has: what a record copied out for an unknown key carries.
inline constexpr std::int32_t kSatNumNotFound = -123;

/// Keys tried for an observation that others may equal.
inline constexpr int kMaxRekeys = 100;

/// The parts of the store, for the operations of this folder. Not guarded.
struct Store {
    Pools pools;
    Tree tree{pools};
    KeyIndex index{pools};
    Handles handles;
    Origins origins;

    /// The slot of a stored observation under either kind of key, or kNoSlot.
    SlotNumber find(std::int64_t obsKey);

    /// The last insertion number that was given out. Updater side.
    std::int32_t lastSeqNum = 0;

    /// Those who may take back what they add. Updaters kept out.
    std::vector<TakeBack*> takeBacks;

    /// Makes room for more observations, in slots below `slotLimit`, in the index and among the insertion numbers.
    /// Throws std::bad_alloc.
    void reserve(std::size_t more, std::uint64_t slotLimit);

    /// Gives a slot whose record is written a key, another one while a different observation has it, and enters
    /// it in the index. False (a duplicate, or no key left): nothing was entered.
    /// `key` becomes the key found. Room must have been reserved.
    bool claimKey(SlotNumber slot, std::int64_t& key);

    /// Removes the observation in a slot, found under its key.
    void remove(std::int64_t key, SlotNumber slot);

    /// Takes the next insertion numbers; the one before the first of them. Room must have been reserved.
    std::int32_t takeSeqNums(std::uint32_t count);

private:
    bool claimAnotherKey(SlotNumber slot, SlotNumber holder, std::int64_t& key);
    std::int64_t endOfChain(const ObsRecord& rec, std::int64_t key, std::int64_t timeStep) const;
    std::int64_t keyApartFromEquals(const ObsRecord& rec, std::int64_t key) const;
    std::int64_t keyAmongTwins(const ObsRecord& rec, std::int64_t key) const;
    void renumber();
};
extern Store& gStore;

/// A key as messages show it: right-aligned in 19 columns.
std::string keyText(std::int64_t obsKey);

/// "name: Unable to locate obsKey <key> in the OBS binary tree."
void logUnknownKey(std::string_view name, std::int64_t obsKey);

// --- Updaters ------------------------------------------------------------------

/// Adds a deep copy of a record under a field key, or under the key of a new handle when `obsKey` is
/// `kNewAddressKey`. `obsKey` becomes the key under which it is stored. Status 0, 1 or 3. Throws
/// std::bad_alloc, the store being as it was and `stage` telling what for. `takeBack`, unless null, notes it.
inline constexpr std::int64_t kNewAddressKey = -2;
enum class AddStage { node, record, handle };  ///< what memory was being taken for
std::int32_t obsaddnode(std::int64_t& obsKey, const ObsRecord& rec, std::int32_t gid, AddStage& stage,
                        TakeBack* takeBack = nullptr);

/// Replaces a stored record by a deep copy. Under a field key, right ascension and declination with an
/// equinox indicator are rotated to date whatever `rotateToDate` says; under an address key nothing
/// is rotated. Status 0 or 2. Throws std::bad_alloc, the stored record being as it was.
std::int32_t obsupdaterec(std::int64_t obsKey, const ObsRecord& rec);

/// Removes one observation. A handle outlives it, so that a second removal is recognised. Status 0 or 2.
std::int32_t obsremovenode(std::int64_t obsKey);

/// Removes many observations and calls `unknown(key)` for keys without one. Other threads get their turn between
/// spells of keys. Logs nothing.
template <class Unknown>
void obsremovenodes(const std::int64_t* obsKeys, std::size_t count, Unknown&& unknown) {
    constexpr std::size_t kSpell = 1024;  // some 0.1 ms
    constexpr std::size_t kIndexAhead = 16;
    SlotNumber slots[kSpell];
    for (std::size_t from = 0; from < count; from += kSpell) {
        const std::size_t spell = std::min(kSpell, count - from);
        const std::int64_t* const keys = obsKeys + from;
        const UpdateGuard guard;
        for (std::size_t i = 0; i < spell; ++i) {
            if (i + kIndexAhead < spell) gStore.index.prefetch(keys[i + kIndexAhead]);
            slots[i] = gStore.find(keys[i]);
        }
        for (std::size_t i = 0; i < spell; ++i) {
            // A key that occurs twice in the list is gone by now.
            if (slots[i] != kNoSlot && gStore.pools.node(slots[i]).key == keys[i]) gStore.remove(keys[i], slots[i]);
            else unknown(keys[i]);
        }
    }
}

/// Notes where a stored observation came from, if that is kept. Throws std::bad_alloc.
void obsnoteorigin(std::int64_t obsKey, std::string_view file, std::int64_t line);

/// Begins or ends keeping origins; what is stored has none. Updater.
void obskeeporigins(bool isWanted);

/// Has the slots of removed observations ready for others, where they are many.
void obsreclaim();

/// Removes all observations. Status 0. The insertion counter goes on.
std::int32_t obsemptytree();

// --- Readers -------------------------------------------------------------------

/// A deep copy of a stored record, or the default record with satNum -123. False and a message text when
/// there is none; logs nothing.
bool obsfindrec(std::int64_t obsKey, ObsRecord& rec, std::string_view* errMsg = nullptr);

/// The plain fields of a stored record, its optional parts left out; false when there is none. Logs nothing.
bool obsfindfields(std::int64_t obsKey, ObsRecord& rec);

/// Calls `use(i, slot)` with the slot of each of `count` keys, kNoSlot for an unknown one, inside a read. Other threads
/// get their turn between spells of keys, so what they do meanwhile may or may not be seen. Logs nothing.
template <class Use>
void obsfindslots(const std::int64_t* obsKeys, std::size_t count, Use&& use) {
    constexpr std::size_t kSpell = 1024;  // some 0.1 ms
    constexpr std::size_t kIndexAhead = 16, kRecordAhead = 8;
    SlotNumber slots[kSpell];
    for (std::size_t from = 0; from < count; from += kSpell) {
        const std::size_t spell = std::min(kSpell, count - from);
        const ReadGuard guard;
        for (std::size_t i = 0; i < spell; ++i) {
            if (i + kIndexAhead < spell) gStore.index.prefetch(obsKeys[from + i + kIndexAhead]);
            slots[i] = gStore.find(obsKeys[from + i]);
        }
        for (std::size_t i = 0; i < spell; ++i) {
            if (i + kRecordAhead < spell && slots[i + kRecordAhead] != kNoSlot)
                gStore.pools.prefetchRecord(slots[i + kRecordAhead]);
            use(from + i, slots[i]);
        }
    }
}

/// Calls `use(i, rec)` with a copy of the record of each of `count` keys, null for an unknown one; otherwise as
/// `obsfindslots`.
template <class Use>
void obsfindrecs(const std::int64_t* obsKeys, std::size_t count, bool withParts, Use&& use) {
    ObsRecord rec;
    obsfindslots(obsKeys, count, [&](std::size_t i, SlotNumber slot) {
        if (slot != kNoSlot) gStore.pools.read(slot, rec, withParts);
        use(i, slot == kNoSlot ? nullptr : &rec);
    });
}

/// Where a stored observation came from, and its file's name; false when that is not known. Throws std::bad_alloc.
bool obsfindorigin(std::int64_t obsKey, Origin& origin, std::string& file);

/// A reference to a stored record, or null. Begins a read that the caller ends with `obsendread` in
/// either case, unless `noLock` says that the caller holds one.
ObsRecordPtr obsfindrecptr(std::int64_t obsKey, std::string_view* errMsg = nullptr, bool noLock = false);

/// A node as a value, inside a read of the caller's.
ObsBinTree obsgetnode(ObsBinTreePtr node);

/// Number of observations, or of those of a group.
std::int32_t obsgetnumoftreenodes(std::optional<std::int32_t> gid = std::nullopt);

bool obstreeisempty();

/// Inside a read or a standstill in which the nodes may be walked by key. What large additions and removals left to
/// do for that is done before, as an update by the first who asks for it.
template <class Guard>
class OrderGuard {
public:
    /// `isWanted` false: as `Guard`.
    explicit OrderGuard(bool isWanted = true) {
        for (guard_.emplace(); isWanted && !gStore.tree.isInOrder(); guard_.emplace()) {
            guard_.reset();
            const UpdateGuard update;
            gStore.tree.makeOrder();
        }
    }

private:
    std::optional<Guard> guard_;
};

/// Calls `visit(slot)` for every node, or every node of a group, by ascending key, inside an `OrderGuard` of the
/// caller's.
template <class Visit>
void walkNodes(std::optional<std::int32_t> gid, Visit&& visit) {
    if (!gid) return gStore.tree.walk(visit);
    gStore.tree.walk([&](SlotNumber slot) {
        if (gStore.pools.mark(slot).gid == *gid) visit(slot);
    });
}

/// The same for keys above one, as long as `visit` gives true. False when it gave false.
template <class Visit>
bool walkNodesAbove(std::int64_t key, std::optional<std::int32_t> gid, Visit&& visit) {
    return gStore.tree.walkAbove(
        key, [&](SlotNumber slot) { return (gid && gStore.pools.mark(slot).gid != *gid) || visit(slot); });
}

// --- Rules -----------------------------------------------------------------------

/// Whether two records are the same observation. The sensor is not compared: the key holds it already.
bool equal(const ObsRecord& a, const ObsRecord& b);

/// A number made of exactly the fields that `equal` compares, from which a newcomer draws its next keys when another
/// observation has its own: with fewer fields different ones would share a chain of keys and run out of tries; with
/// more an equal one would miss the chain in which it is stored.
///
/// Of the time it is the step that enters, 64 units in the last place long; what `equal` takes for one time may lie in
/// two neighbouring steps, those of `timeSteps`.
std::uint64_t equalityFingerprint(const ObsRecord& rec, std::int64_t timeStep);

/// The steps in which an equal time lies, the time's own last.
std::array<std::int64_t, 3> timeSteps(double obsTime);

}  // namespace obs
