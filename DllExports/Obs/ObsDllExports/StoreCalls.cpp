// Groups "store" and "saving" of the exported header.
#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "Obs/FormatObs/SaveFile.h"
#include "Obs/ObsTree/Ordering.h"

namespace {

using obs::kStatusRefused;

}  // namespace

int32_t ObsGetCount(void) {
    return obs::obsgetnumoftreenodes();
}

void ObsGetLoaded(int32_t order, int64_t* keys) {
    if (obs::refuseNull("ObsGetLoaded", {keys})) return;
    obs::guarded("ObsGetLoaded", 0, [&] {
        if (obs::obstreeisempty()) {
            family::traceloginfo("Warning-ObsGetLoaded: The binary tree is empty. No obsKey returns.");
            return 0;
        }
        std::int32_t count = 0;
        obs::obsgettreekeys(count, keys, order);
        return 0;
    });
}

int32_t ObsRemove(int64_t obsKey) {
    return obs::guarded("ObsRemove", kStatusRefused, [&] { return obs::obsremovenode(obsKey); });
}

int32_t ObsRemoveAll(void) {
    return obs::guarded("ObsRemoveAll", kStatusRefused, [] { return obs::obsemptytree(); });
}

int32_t ObsSaveFile(const char fileName[512], int32_t saveMode, int32_t saveForm) {
    if (obs::refuseNull("ObsSaveFile", {fileName})) return kStatusRefused;
    return obs::guarded("ObsSaveFile", kStatusRefused,
                        [&] { return obs::saveObsFile(obs::trimmedText(fileName), saveMode, saveForm); });
}

int32_t ObsSaveFileGID(const char fileName[512], int32_t gid, int32_t saveMode, int32_t saveForm) {
    if (obs::refuseNull("ObsSaveFileGID", {fileName})) return kStatusRefused;
    return obs::guarded("ObsSaveFileGID", kStatusRefused, [&] {
        return obs::saveObsFileOfGroup(obs::trimmedText(fileName), gid, saveMode, saveForm);
    });
}
