// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Store.h"

#include <bit>
#include <charconv>
#include <limits>
#include <utility>
#include <vector>

#include "Obs/ObsStates/Equinox.h"
#include "Obs/ObsTree/RadixSort.h"
#include "Obs/ObsTypes/FieldList.h"
#include "siblings/include/Coords.h"
#include "siblings/include/Services.h"

namespace obs {

// NOTE: never destroyed: other threads may still be inside when static objects are.
Store& gStore = *new Store;

namespace {

// NOTE: "doens't" is established: programs compare these texts as they are.
constexpr std::string_view kFindRecEmpty = "FindRec: Search tree is empty.";
constexpr std::string_view kFindRecUnknown = "FindRec: search key doens't exist.";
constexpr std::string_view kFindRecPtrEmpty = "FindRecPtr: Search tree is empty.";
constexpr std::string_view kFindRecPtrUnknown = "FindRecPtr: search key doens't exist.";
constexpr std::string_view kInvalidDmaKey = "FindRecPtr: Invalid DMA key.";
constexpr std::string_view kNoDmaData = "FindRecPtr: Prop data doesn't exist.";
constexpr std::string_view kDmaGone = "RemoveDMA: /DMA doesn't exist or was already deallocated";

constexpr std::size_t kKeyColumns = 19;

constexpr std::int32_t kMaxSeqNum = std::numeric_limits<std::int32_t>::max();

constexpr unsigned kTimeStepBits = 6;
constexpr std::int64_t kEqualTimeReach =
    8;  ///< equal times differ by no more, in units of the smaller one's last place

void logKey(std::string_view before, std::int64_t obsKey, std::string_view after) {
    family::tracelogerror(std::string(before) + keyText(obsKey) + std::string(after));
}

void setReason(std::string_view* errMsg, std::string_view reason) {
    if (errMsg != nullptr) *errMsg = reason;
}

void linkNode(SlotNumber slot, std::int64_t key, std::int32_t gid, bool& grown) {
    gStore.pools.mark(slot) = {gStore.takeSeqNums(1) + 1, gid};
    gStore.pools.node(slot).key = key;
    gStore.pools.noteLive(slot);
    grown = gStore.tree.link(slot);
}

/// Calls `use(field)` for the values by which `equal` tells two observations of a type apart, beside satellite and
/// time. A type without any is never a duplicate.
template <class Use>
void forEachCompared(std::int32_t type, Use&& use) {
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (!field.facts.comparedFor.isEmpty())
            if (field.facts.comparedFor.has(type)) use(field);
    });
}

struct Fingerprint {
    std::uint64_t sum = 0;

    void take(std::int64_t value) {
        sum = (sum ^ static_cast<std::uint64_t>(value)) * 0x9E3779B97F4A7C15u;
        sum ^= sum >> 29;
    }
};

/// Made of all fields, optional parts left out.
std::uint64_t wholeFingerprint(const ObsFields& rec) {
    Fingerprint fingerprint;
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (field.isReal) fingerprint.take(std::bit_cast<std::int64_t>(field.in(rec)));
        else fingerprint.take(field.in(rec));
    });
    return fingerprint.sum;
}

// NOTE: the two below end their update before a message is written: whoever receives messages may be slow.

bool updateRecord(std::int64_t obsKey, const ObsRecord& rec) {
    const UpdateGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot == kNoSlot) return false;
    // NOTE: unlike the readers, this rotates whatever `rotateToDate` says: a stored observation is of date.
    if (!isdmaobs(obsKey) && ObsHasRaDec(rec.obsType) && rec.equinoxInd != 0) {
        ObsRecord rotated(rec);
        rotobstodate(rotated);
        rotated.equinoxInd = 0;
        gStore.pools.rewrite(slot, rotated);
    } else {
        gStore.pools.rewrite(slot, rec);
    }
    return true;
}

bool removeNode(std::int64_t obsKey) {
    const UpdateGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot == kNoSlot) return false;
    gStore.pools.prefetchRecord(slot);
    gStore.remove(obsKey, slot);
    return true;
}

}  // namespace

std::string keyText(std::int64_t obsKey) {
    char digits[20];
    const auto length = static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, obsKey).ptr - digits);
    std::string text(length < kKeyColumns ? kKeyColumns - length : 0, ' ');
    return text.append(digits, length);
}

void logUnknownKey(std::string_view name, std::int64_t obsKey) {
    logKey(std::string(name) + ": Unable to locate obsKey ", obsKey, " in the OBS binary tree.");
}

SlotNumber Store::find(std::int64_t obsKey) {
    if (!isdmaobs(obsKey)) return index.find(obsKey);
    const ObsDma* handle = handles.find(obsKey);
    return handle == nullptr ? kNoSlot : handle->rec;
}

void Store::reserve(std::size_t more, std::uint64_t slotLimit) {
    index.reserve(index.count() + more, slotLimit);
    if (more > static_cast<std::size_t>(kMaxSeqNum - lastSeqNum)) renumber();
}

bool Store::claimKey(SlotNumber slot, std::int64_t& key) {
    pools.node(slot).key = key;
    const SlotNumber holder = index.findOrAdd(key, slot);
    if (holder == slot || claimAnotherKey(slot, holder, key)) return true;
    pools.node(slot).key = Node::kDead;
    return false;
}

bool Store::claimAnotherKey(SlotNumber slot, SlotNumber holder, std::int64_t& key) {
    ObsRecord stored, fresh;
    pools.read(holder, stored, false);
    pools.read(slot, fresh, false);
    if (equal(stored, fresh)) return false;
    // What does not even equal itself (a type that is never a duplicate, a value that is not a number) equals nothing.
    const std::int64_t another = equal(fresh, fresh) ? keyApartFromEquals(fresh, key) : keyAmongTwins(fresh, key);
    if (another == kNoKey) return false;
    pools.node(slot).key = key = another;
    index.findOrAdd(key, slot);
    return true;
}

/// The first free key of the chain that begins at a taken one; kNoKey where an equal observation comes before it.
std::int64_t Store::endOfChain(const ObsRecord& rec, std::int64_t key, std::int64_t timeStep) const {
    const std::uint64_t fingerprint = equalityFingerprint(rec, timeStep);
    ObsRecord stored;
    for (int tries = 1; tries < kMaxRekeys; ++tries) {
        key = family::nextsatkey(key, fingerprint);
        const SlotNumber holder = index.find(key);
        if (holder == kNoSlot) return key;
        pools.read(holder, stored, false);
        if (equal(stored, rec)) break;
    }
    return kNoKey;
}

std::int64_t Store::keyApartFromEquals(const ObsRecord& rec, std::int64_t key) const {
    const std::array<std::int64_t, 3> steps = timeSteps(rec.obsTime);
    const std::int64_t own = steps.back();
    for (const std::int64_t step : steps)
        if (step != own && endOfChain(rec, key, step) == kNoKey) return kNoKey;
    return endOfChain(rec, key, own);
}

/// Observations with all fields alike draw one key each by their number. A free number is found by doubling and
/// halving, so that the last of n is stored after some 2 log n looks.
std::int64_t Store::keyAmongTwins(const ObsRecord& rec, std::int64_t key) const {
    const std::uint64_t fingerprint = wholeFingerprint(rec);
    const auto drawn = [&](std::uint64_t number) { return family::nextsatkey(key, fingerprint + number); };
    const auto isTaken = [&](std::uint64_t number) { return index.find(drawn(number)) != kNoSlot; };
    std::uint64_t lastTaken = 0, firstFree = 1;
    for (; isTaken(firstFree); firstFree *= 2) lastTaken = firstFree;
    while (firstFree - lastTaken > 1) {
        const std::uint64_t middle = lastTaken + (firstFree - lastTaken) / 2;
        (isTaken(middle) ? lastTaken : firstFree) = middle;
    }
    return drawn(firstFree);
}

void Store::remove(std::int64_t key, SlotNumber slot) {
    if (isdmaobs(key)) handles.find(key)->rec = kNoSlot;
    index.remove(key);
    pools.releaseContents(slot);
    if (tree.remove(slot)) pools.releaseSlot(slot);
}

std::int32_t Store::takeSeqNums(std::uint32_t count) {
    return std::exchange(lastSeqNum, lastSeqNum + static_cast<std::int32_t>(count));
}

/// Numbers the stored observations anew from 1 on, in their order: there are always fewer of them than numbers.
void Store::renumber() {
    std::vector<std::pair<std::int32_t, SlotNumber>> numbered;
    numbered.reserve(tree.size());
    pools.scan([&](SlotNumber slot) { numbered.emplace_back(pools.mark(slot).seqNum, slot); });
    radixSort(numbered, [](const auto& one) { return static_cast<std::uint64_t>(one.first); });
    origins.renumber(numbered);
    for (TakeBack* takeBack : takeBacks) takeBack->renumber(numbered);
    lastSeqNum = 0;
    for (const auto& [seqNum, slot] : numbered) pools.mark(slot).seqNum = ++lastSeqNum;
}

std::int32_t obsaddnode(std::int64_t& obsKey, const ObsRecord& rec, std::int32_t gid, AddStage& stage,
                        TakeBack* takeBack) {
    const UpdateGuard guard;
    stage = AddStage::node;
    Pools& pools = gStore.pools;
    if (gStore.tree.hasManyGone()) gStore.tree.makeOrder();
    gStore.reserve(1, std::uint64_t{pools.slotsUsed()} + 1);
    if (takeBack != nullptr) takeBack->reserve();
    const SlotNumber slot = pools.acquire();
    try {
        stage = AddStage::record;
        pools.write(slot, rec);
        stage = AddStage::handle;
        if (obsKey == kNewAddressKey) obsKey = cptrtoobskey(gStore.handles.create(slot));
    } catch (...) {
        pools.release(slot);
        throw;
    }
    if (!gStore.claimKey(slot, obsKey)) {
        pools.release(slot);
        return kStatusDuplicate;
    }
    bool grown = false;
    linkNode(slot, obsKey, gid, grown);
    if (takeBack != nullptr) takeBack->note(gStore.lastSeqNum - 1, 1);
    return grown ? kStatusGrown : kStatusOk;
}

std::int32_t obsupdaterec(std::int64_t obsKey, const ObsRecord& rec) {
    if (updateRecord(obsKey, rec)) return kStatusOk;
    if (isdmaobs(obsKey)) family::tracelogerror("UpdateRec: rec/DMA doesn't exist or was already deallocated");
    else logKey("UpdateRec: Unable to locate key ", obsKey, " in its binary tree.");
    return kStatusRefused;
}

std::int32_t obsremovenode(std::int64_t obsKey) {
    if (removeNode(obsKey)) return kStatusOk;
    if (isdmaobs(obsKey)) family::tracelogerror(kDmaGone);
    else logKey("RemoveNode: Unable to locate this key ", obsKey, " in its binary tree.");
    return kStatusRefused;
}

void obsreclaim() {
    {
        const StandstillGuard guard;
        if (!gStore.tree.hasManyGone()) return;
    }
    const UpdateGuard guard;
    gStore.tree.makeOrder();
}

std::int32_t obsemptytree() {
    const UpdateGuard guard;
    gStore.handles.releaseAll();
    gStore.tree.clear();
    gStore.index.clear();
    gStore.pools.clear();
    gStore.origins.clear();
    return kStatusOk;
}

void obsnoteorigin(std::int64_t obsKey, std::string_view file, std::int64_t line) {
    if (!gStore.origins.isKept()) return;
    const UpdateGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot == kNoSlot) return;
    gStore.origins.note(gStore.pools.mark(slot).seqNum, {gStore.origins.fileNumber(file), line});
}

void obskeeporigins(bool isWanted) {
    const UpdateGuard guard;
    gStore.origins.keep(isWanted);
}

bool obsfindorigin(std::int64_t obsKey, Origin& origin, std::string& file) {
    const ReadGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    origin = slot == kNoSlot ? Origin{} : gStore.origins.of(gStore.pools.mark(slot).seqNum);
    if (origin.file >= 0) file = gStore.origins.files()[static_cast<std::size_t>(origin.file)];
    return origin.file >= 0;
}

bool obsfindrec(std::int64_t obsKey, ObsRecord& rec, std::string_view* errMsg) {
    const ReadGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot != kNoSlot) {
        gStore.pools.read(slot, rec);
        return true;
    }
    setReason(errMsg, isdmaobs(obsKey) ? kInvalidDmaKey : gStore.tree.empty() ? kFindRecEmpty : kFindRecUnknown);
    rec = ObsRecord{};
    rec.satNum = kSatNumNotFound;
    return false;
}

bool obsfindfields(std::int64_t obsKey, ObsRecord& rec) {
    const ReadGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot != kNoSlot) gStore.pools.read(slot, rec, false);
    return slot != kNoSlot;
}

ObsRecordPtr obsfindrecptr(std::int64_t obsKey, std::string_view* errMsg, bool noLock) {
    if (!noLock) obsbeginread();
    const SlotNumber slot = gStore.find(obsKey);
    if (slot != kNoSlot) return &gStore.pools.record(slot);
    if (!isdmaobs(obsKey)) setReason(errMsg, gStore.tree.empty() ? kFindRecPtrEmpty : kFindRecPtrUnknown);
    else setReason(errMsg, gStore.handles.find(obsKey) == nullptr ? kInvalidDmaKey : kNoDmaData);
    return nullptr;
}

ObsBinTree obsgetnode(ObsBinTreePtr node) {
    const Node& links = gStore.pools.node(node);
    const Mark& mark = gStore.pools.mark(node);
    ObsBinTree value{links.key, mark.seqNum, links.balance(), mark.gid, links.left(), links.right(), {}};
    if (!isdmaobs(links.key)) gStore.pools.read(node, value.rec.create());
    return value;
}

std::int32_t obsgetnumoftreenodes(std::optional<std::int32_t> gid) {
    const ReadGuard guard;
    if (!gid) return static_cast<std::int32_t>(gStore.tree.size());
    std::int32_t count = 0;
    gStore.pools.scan([&](SlotNumber slot) { count += gStore.pools.mark(slot).gid == *gid; });
    return count;
}

bool obstreeisempty() {
    const ReadGuard guard;
    return gStore.tree.empty();
}

bool equal(const ObsRecord& a, const ObsRecord& b) {
    if (a.satNum != b.satNum || a.obsType != b.obsType || family::neqr(a.obsTime, b.obsTime)) return false;
    bool isCompared = false, isSame = true;
    forEachCompared(a.obsType, [&](auto field) {
        isCompared = true;
        isSame = isSame && field.in(a) == field.in(b);
    });
    return isCompared && isSame;
}

std::array<std::int64_t, 3> timeSteps(double obsTime) {
    // Round times, whose last bits are zero, lie in the middle of a step.
    const std::int64_t bits = std::bit_cast<std::int64_t>(obsTime) + (std::int64_t{1} << (kTimeStepBits - 1));
    return {(bits - kEqualTimeReach) >> kTimeStepBits, (bits + kEqualTimeReach) >> kTimeStepBits,
            bits >> kTimeStepBits};
}

std::uint64_t equalityFingerprint(const ObsRecord& rec, std::int64_t timeStep) {
    Fingerprint fingerprint;
    fingerprint.take(rec.satNum);
    fingerprint.take(rec.obsType);
    fingerprint.take(timeStep);
    forEachCompared(rec.obsType, [&](auto field) {
        const double value = field.in(rec);
        fingerprint.take(std::bit_cast<std::int64_t>(value == 0 ? 0.0 : value));  // the two zeros are equal
    });
    return fingerprint.sum;
}

}  // namespace obs
