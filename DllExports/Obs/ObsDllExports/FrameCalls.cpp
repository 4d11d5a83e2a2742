// Group "frame" of the exported header.
#include "DllExports/Obs/ObsDllExports/Frame.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "Obs/ObsTree/Keys.h"

namespace {

constexpr std::string_view kBuildDate = "Jun 11 2025";

}  // namespace

int32_t ObsInit(void) {
    return 0;
}

void ObsGetInfo(char info[512]) {
    if (obs::refuseNull("ObsGetInfo", {info})) return;
    obs::guarded("ObsGetInfo", 0, [&] {
        family::strtochararr(family::getsoftwareinfo("Obs", OBS_VERSION_TEXT, kBuildDate), info);
        return 0;
    });
}

void ObsSetTTYYear(int32_t year) {
    obs::SetTTYYear(year);
}

int32_t GetObsKeyMode(void) {
    return obs::obskeymodeget();
}

int32_t SetObsKeyMode(int32_t mode) {
    if (mode == 0 || mode == 1) {
        obs::obskeymodeset(mode);
        return 0;
    }
    obs::logFailure("SetObsKeyMode", "invalid input value for obs key mode.");
    return 2;
}
