// SPDX-License-Identifier: Apache-2.0
#include "SecondSet.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Formats.h"
#include "Text.h"

namespace obstool {

SecondSet::SecondSet(const Format& format, std::int32_t freeGroup) : group_(freeGroup) {
    constexpr std::int32_t kAppend = 1, kAddressKeys = 1, kOrderOfLoading = -8;
    if (!file_.isOpen()) throw std::runtime_error(std::string("cannot make a temporary file: ") + std::strerror(errno));
    const Text512 path(file_.path());
    // NOTE: a file without a name cannot be replaced.
    if (const std::int32_t status = format.save(path.data(), kAppend); status != 0)
        throw std::runtime_error(std::string("cannot write a temporary file: ") + std::strerror(status));
    // Keys of time, satellite and sensor would be those of the observations that are there.
    const std::int32_t mode = GetObsKeyMode();
    SetObsKeyMode(kAddressKeys);
    ObsSetLoadCallback(onLine, this);
    format.load(path.data(), group_);
    ObsSetLoadCallback(nullptr, nullptr);
    SetObsKeyMode(mode);
    keys_.resize(static_cast<std::size_t>(ObsGetCountGID(group_)));
    if (!keys_.empty()) ObsGetLoadedGID(group_, kOrderOfLoading, keys_.data());
}

SecondSet::~SecondSet() { ObsRemoveGID(group_); }

void SecondSet::onLine(std::int32_t kind, const char*, std::int64_t number, const char*, void* self) {
    if (kind == OBS_LINE_BAD) static_cast<SecondSet*>(self)->badLines_.push_back(number);
}

}  // namespace obstool
