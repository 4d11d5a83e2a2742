// SPDX-License-Identifier: Apache-2.0
// Groups "store" and "saving" of the exported header.
#include <optional>
#include <string>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "Obs/FormatObs/SaveFile.h"
#include "Obs/ObsTree/Groups.h"
#include "Obs/ObsTree/Ordering.h"

namespace {

using obs::kStatusRefused;

/// NOTE: the warning names ObsGetLoaded for both entry points.
void listKeys(std::string_view name, int32_t order, int64_t* keys, std::optional<int32_t> gid) {
    if (obs::refuseNull(name, {keys})) return;
    obs::guarded(name, 0, [&] {
        std::int32_t count = 0;
        if (!obs::obstreeisempty()) obs::obsgettreekeys(count, keys, order, gid);
        else family::traceloginfo("Warning-ObsGetLoaded: The binary tree is empty. No obsKey returns.");
        return 0;
    });
}

int32_t count(std::string_view name, std::optional<int32_t> gid) {
    int32_t number = 0;
    obs::guarded(name, kStatusRefused, [&] {
        number = obs::obsgetnumoftreenodes(gid);
        return obs::kStatusOk;
    });
    return number;
}

}  // namespace

int32_t ObsGetCount(void) { return count("ObsGetCount", std::nullopt); }

int32_t ObsGetCountGID(int32_t gid) { return count("ObsGetCountGID", gid); }

void ObsGetLoaded(int32_t order, int64_t* keys) { listKeys("ObsGetLoaded", order, keys, std::nullopt); }

void ObsGetLoadedGID(int32_t gid, int32_t order, int64_t* keys) { listKeys("ObsGetLoadedGID", order, keys, gid); }

int32_t ObsListKeys(int32_t order, int32_t useGid, int32_t gid, int32_t room, int64_t* keys, int32_t* count) {
    if (obs::refuseNull("ObsListKeys", {count})) return kStatusRefused;
    *count = 0;
    if (obs::refuseCount("ObsListKeys", room, {keys})) return kStatusRefused;
    return obs::guarded("ObsListKeys", kStatusRefused, [&] {
        *count = obs::obslistkeys(order, useGid != 0 ? std::optional(gid) : std::nullopt, keys,
                                  static_cast<std::size_t>(room));
        if (*count <= room) return obs::kStatusOk;
        obs::logFailure("ObsListKeys",
                        "There is room for " + std::to_string(room) + " of " + std::to_string(*count) + " keys.");
        return kStatusRefused;
    });
}

int32_t ObsRemoveGID(int32_t gid) {
    return obs::guarded("ObsRemoveGID", kStatusRefused, [&] { return obs::removegidobs(gid); });
}

int32_t ObsRemove(int64_t obsKey) {
    return obs::guarded("ObsRemove", kStatusRefused, [&] { return obs::obsremovenode(obsKey); });
}

int32_t ObsRemoveKeys(int32_t count, const int64_t* keys) {
    if (obs::refuseCount("ObsRemoveKeys", count, {keys})) return kStatusRefused;
    return obs::guarded("ObsRemoveKeys", kStatusRefused, [&] {
        obs::UnknownKeys unknown;
        const auto size = static_cast<std::size_t>(count);
        obs::obsremovenodes(keys, size, [&](std::int64_t key) { unknown.note(key); });
        return unknown.status("ObsRemoveKeys", size);
    });
}

int32_t ObsRemoveAll(void) {
    return obs::guarded("ObsRemoveAll", kStatusRefused, [] { return obs::obsemptytree(); });
}

int32_t ObsSaveFile(const char* fileName, int32_t saveMode, int32_t saveForm) {
    if (obs::refuseNull("ObsSaveFile", {fileName})) return kStatusRefused;
    return obs::guarded("ObsSaveFile", kStatusRefused,
                        [&] { return obs::saveObsFile(obs::trimmedText(fileName), saveMode, saveForm); });
}

int32_t ObsSaveFileGID(const char* fileName, int32_t gid, int32_t saveMode, int32_t saveForm) {
    if (obs::refuseNull("ObsSaveFileGID", {fileName})) return kStatusRefused;
    return obs::guarded("ObsSaveFileGID", kStatusRefused,
                        [&] { return obs::saveObsFileOfGroup(obs::trimmedText(fileName), gid, saveMode, saveForm); });
}

int32_t ObsGetSaveCounts(int64_t* written, int64_t* leftOut, int64_t* altered, int32_t* systemError) {
    if (obs::refuseNull("ObsGetSaveCounts", {written, leftOut, altered, systemError})) return kStatusRefused;
    const obs::SaveCounts counts = obs::latestSaveCounts();
    *written = counts.written;
    *leftOut = counts.leftOut;
    *altered = counts.altered;
    *systemError = counts.systemError;
    return obs::kStatusOk;
}

using Kind = obs::SaveLossKind;
static_assert(OBS_SAVE_LEFT_OUT == static_cast<int>(Kind::leftOut) &&
              OBS_SAVE_UNREADABLE == static_cast<int>(Kind::unreadable) &&
              OBS_SAVE_SENSOR == static_cast<int>(Kind::sensor) && OBS_SAVE_TYPE == static_cast<int>(Kind::type) &&
              OBS_SAVE_POSITION == static_cast<int>(Kind::position) && OBS_SAVE_SITE == static_cast<int>(Kind::site) &&
              OBS_SAVE_EXPONENT == static_cast<int>(Kind::exponent));

int64_t ObsGetSaveCountOf(int32_t kind) {
    if (kind < 1 || kind > obs::kSaveLossKinds) {
        obs::logFailure("ObsGetSaveCountOf", "there is no such kind");
        return -1;
    }
    return obs::latestSaveCounts().ofKind[static_cast<std::size_t>(kind) - 1];
}

void ObsSetSaveCallback(void (*report)(int64_t obsKey, int32_t kind, const char* reason, void* user), void* user) {
    obs::setSaveLossReport(report, user);
}
