// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Store.h"

#include <atomic>
#include <bit>
#include <charconv>
#include <cmath>

#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Coords.h"
#include "siblings/include/Services.h"

namespace obs {

// NOTE: never destroyed: other threads may still be inside when static objects are.
Store& gStore = *new Store;

namespace {

std::atomic<std::uint32_t> seqnum{0};

constexpr double kRadPerDeg = 0.017453292519943295;
constexpr double kDegPerRad = 57.29577951308232;
constexpr double kMillisecondsPerDay = 86400e3;

constexpr std::string_view kFindRecEmpty = "FindRec: Search tree is empty.";
constexpr std::string_view kFindRecUnknown = "FindRec: search key doens't exist.";
constexpr std::string_view kFindRecPtrEmpty = "FindRecPtr: Search tree is empty.";
constexpr std::string_view kFindRecPtrUnknown = "FindRecPtr: search key doens't exist.";
constexpr std::string_view kInvalidDmaKey = "FindRecPtr: Invalid DMA key.";
constexpr std::string_view kNoDmaData = "FindRecPtr: Prop data doesn't exist.";
constexpr std::string_view kDmaGone = "RemoveDMA: /DMA doesn't exist or was already deallocated";

constexpr std::size_t kKeyColumns = 19;

void logKey(std::string_view before, std::int64_t obsKey, std::string_view after) {
    family::tracelogerror(std::string(before) + keyText(obsKey) + std::string(after));
}

void setReason(std::string_view* errMsg, std::string_view reason) {
    if (errMsg != nullptr) *errMsg = reason;
}

void linkNode(SlotNumber slot, std::int64_t key, std::int32_t gid, bool& grown) {
    gStore.pools.mark(slot) = {Store::takeSeqNums(1), gid};
    gStore.pools.node(slot).key = key;
    gStore.pools.noteLive(slot);
    grown = gStore.tree.link(slot);
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

bool Store::claimKey(SlotNumber slot, std::int64_t& key) {
    std::uint64_t fingerprint = 0;
    for (int tries = 0; tries < kMaxRekeys; ++tries) {
        pools.node(slot).key = key;
        const SlotNumber holder = index.findOrAdd(key, slot);
        if (holder == slot) return true;
        ObsRecord stored, fresh;
        pools.read(holder, stored, false);
        pools.read(slot, fresh, false);
        if (equal(stored, fresh)) break;
        if (tries == 0) fingerprint = equalityFingerprint(fresh);
        key = family::nextsatkey(key, fingerprint);
    }
    pools.node(slot).key = Node::kDead;
    return false;
}

void Store::remove(std::int64_t key, SlotNumber slot) {
    if (isdmaobs(key)) handles.find(key)->rec = kNoSlot;
    index.remove(key);
    tree.unlink(slot);
    pools.release(slot);
}

std::int32_t Store::takeSeqNums(std::uint32_t count) {
    return static_cast<std::int32_t>(seqnum.fetch_add(count, std::memory_order_relaxed) + 1);
}

std::int32_t obsaddnode(std::int64_t& obsKey, const ObsRecord& rec, std::int32_t gid, AddStage& stage) {
    const UpdateGuard guard;
    stage = AddStage::node;
    Pools& pools = gStore.pools;
    gStore.index.reserve(gStore.index.count() + 1, pools.slotsUsed() + 1);
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

std::int32_t obsemptytree() {
    const UpdateGuard guard;
    gStore.handles.releaseAll();
    gStore.tree.clear();
    gStore.index.clear();
    gStore.pools.clear();
    return kStatusOk;
}

bool obsfindrec(std::int64_t obsKey, ObsRecord& rec, std::string_view* errMsg) {
    const ReadGuard guard;
    const SlotNumber slot = gStore.find(obsKey);
    if (slot != kNoSlot) {
        gStore.pools.read(slot, rec);
        return true;
    }
    setReason(errMsg, isdmaobs(obsKey)       ? kInvalidDmaKey
                      : gStore.tree.empty() ? kFindRecEmpty
                                            : kFindRecUnknown);
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

std::int32_t getobsdata(std::int64_t obsKey, ObsRecord& rec) {
    if (obsfindrec(obsKey, rec)) return kStatusOk;
    logKey("GetObsData: Can not locate obsKey = ", obsKey, " in the tree.");
    return kStatusRefused;
}

std::int32_t getobsdataptr(std::int64_t obsKey, ObsRecordPtr& rec) {
    rec = obsfindrecptr(obsKey, nullptr, true);
    if (rec != nullptr && rec->satNum != kSatNumNotFound) return kStatusOk;
    logKey("GetObsDataPtr: Can not locate obsKey = ", obsKey, " in the tree.");
    return kStatusRefused;
}

ObsRecordPtr getobsptr(ObsBinTreePtr node) {
    return &gStore.pools.record(node);
}

void obsgetrec(ObsBinTreePtr node, ObsRecord& rec) {
    gStore.pools.read(node, rec);
}

ObsBinTree obsgetnode(ObsBinTreePtr node) {
    const Node& links = gStore.pools.node(node);
    const Mark& mark = gStore.pools.mark(node);
    ObsBinTree value{links.key, mark.seqNum, links.balance(), mark.gid, links.left(), links.right(), {}};
    if (!isdmaobs(links.key)) obsgetrec(node, value.rec.create());
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
    if (a.obsType == 0) return a.rangeRate == b.rangeRate;
    if (ObsHasAzEl(a.obsType))
        return a.elOrDec == b.elOrDec && a.azOrRa == b.azOrRa && a.range == b.range && a.rangeRate == b.rangeRate &&
               a.elRate == b.elRate && a.azRate == b.azRate && a.rangeAccel == b.rangeAccel;
    if (ObsHasRaDec(a.obsType)) return a.elOrDec == b.elOrDec && a.azOrRa == b.azOrRa;
    if (a.obsType == 6) return a.range == b.range;
    return false;
}

std::uint64_t equalityFingerprint(const ObsRecord& rec) {
    std::uint64_t sum = static_cast<std::uint32_t>(rec.obsType);
    const auto take = [&](double value) {
        // Adding 0 makes one zero of the two, which are equal.
        sum = (sum ^ std::bit_cast<std::uint64_t>(value + 0.0)) * 0x9E3779B97F4A7C15u;
        sum ^= sum >> 29;
    };
    take(std::round(rec.obsTime * kMillisecondsPerDay));
    const bool angles = ObsHasAzEl(rec.obsType) || ObsHasRaDec(rec.obsType);
    if (angles) take(rec.elOrDec);
    if (angles) take(rec.azOrRa);
    if (ObsHasAzEl(rec.obsType) || rec.obsType == 6) take(rec.range);
    if (ObsHasAzEl(rec.obsType) || rec.obsType == 0) take(rec.rangeRate);
    if (!angles && rec.obsType != 0 && rec.obsType != 6)
        for (const double value : {rec.obsTime, rec.range, rec.rangeRate, rec.satPos[0], rec.satVel[0]}) take(value);
    return sum;
}

void rotobstodate(ObsRecord& rec) {
    if (rec.equinoxInd < 1 || rec.equinoxInd > 3) return;  // not even the last bit may change then
    double declination = rec.elOrDec * kRadPerDeg;
    double rightAscension = rec.azOrRa * kRadPerDeg;
    family::rotradec_eqnx2date(rec.equinoxInd, rec.obsTime, declination, rightAscension);
    rec.elOrDec = declination * kDegPerRad;
    rec.azOrRa = rightAscension * kDegPerRad;
}

}  // namespace obs
