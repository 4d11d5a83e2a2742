// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Keys.h"

#include <atomic>

#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

std::atomic<std::int32_t> obskeymode{0};

}  // namespace

std::int64_t obsfields2obskey(double obsTime, std::int32_t satNum, std::int32_t senNum) {
    double dayOfYear = 0;
    std::int32_t year = 0;
    family::fyklok(obsTime, dayOfYear, year);
    return fieldKey(dayOfYear, satNum, senNum);
}

std::int64_t getobskey(const CommonFields& rec) {
    const std::int32_t satNum = identifyingSatNum(rec);
    return satNum == 0 ? kNoKey : obsfields2obskey(rec.obsTime, satNum, rec.senNum);
}

std::int64_t cptrtoobskey(const ObsDma* handle) {
    return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(handle) + kAddressKeyOffset);
}

std::uintptr_t obskeytoaddr(std::int64_t obsKey) { return static_cast<std::uintptr_t>(obsKey) - kAddressKeyOffset; }

std::int32_t obskeymodeget() { return obskeymode.load(std::memory_order_relaxed); }

void obskeymodeset(std::int32_t mode) { obskeymode.store(mode, std::memory_order_relaxed); }

bool addressKeysInForce() {
    if (family::useallkeymode() != 0) return family::allkeymodeget() == 1;
    return obskeymodeget() == 1;
}

}  // namespace obs
