// SPDX-License-Identifier: Apache-2.0
// Group "frame" of the exported header.
#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "Obs/ObsTree/Keys.h"
#include "Obs/ObsTree/Pages.h"
#include "Obs/ObsTypes/Progress.h"
#include "Obs/ObsTypes/Threads.h"

namespace {

// NOTE: fixed, as programs that compare the text of ObsGetInfo rely on it, and so that builds are reproducible.
constexpr std::string_view kBuildDate = "Jun 11 2025";

#define OBS_TEXT_OF(number) #number
#define OBS_JOINED(major, minor, patch) OBS_TEXT_OF(major) "." OBS_TEXT_OF(minor) "." OBS_TEXT_OF(patch)
constexpr std::string_view kHeaderNumbers = OBS_JOINED(OBS_VERSION_MAJOR, OBS_VERSION_MINOR, OBS_VERSION_PATCH);
static_assert(kHeaderNumbers == OBS_PROJECT_VERSION && kHeaderNumbers == OBS_VERSION_STRING,
              "the public header's version is not that of the file VERSION");

}  // namespace

int32_t ObsInit(void) { return 0; }

void ObsGetInfo(char info[512]) {
    if (obs::refuseNull("ObsGetInfo", {info})) return;
    obs::guarded("ObsGetInfo", 0, [&] {
        family::strtochararr(family::getsoftwareinfo("Obs", OBS_VERSION_STRING, kBuildDate), info);
        return 0;
    });
}

void ObsSetTTYYear(int32_t year) { obs::SetTTYYear(year); }

int32_t GetObsKeyMode(void) { return obs::obskeymodeget(); }

int32_t SetObsKeyMode(int32_t mode) {
    if (mode == 0 || mode == 1) {
        obs::obskeymodeset(mode);
        return 0;
    }
    obs::logFailure("SetObsKeyMode", "invalid input value for obs key mode.");
    return 2;
}

int32_t ObsSetLargePages(int32_t isWanted) {
    if (isWanted == 0 || isWanted == 1) {
        obs::gLargePagesWanted = isWanted == 1;
        return 0;
    }
    obs::logFailure("ObsSetLargePages", "It is neither 0 nor 1.");
    return 2;
}

void ObsSetProgressCallback(int32_t (*report)(int64_t done, int64_t total, void* user), void* user) {
    obs::setProgressReport(report, user);
}

int32_t ObsSetThreads(int32_t number) {
    if (number < 0 || number > obs::kMostThreads) {
        obs::logFailure("ObsSetThreads", "The number of threads must be from 0 to 256.");
        return 2;
    }
    obs::setThreads(number);
    return 0;
}

int32_t ObsGetThreads(void) { return obs::threads(); }
