// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Keys.h"

#include <atomic>
#include <cmath>

#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kTenthsPerDay = 864000.0;
constexpr std::int64_t kTimeLimit = 1'000'000'000;  // nine digits
constexpr std::int64_t kTimeUnit = 10'000'000'000;
constexpr std::int64_t kSatelliteUnit = 1000;
constexpr std::int32_t kSatelliteLimit = 10'000'000;
constexpr std::int32_t kSensorLimit = 1000;

std::atomic<std::int32_t> obskeymode{0};

}  // namespace

std::int64_t obsfields2obskey(double obsTime, std::int32_t satNum, std::int32_t senNum) {
    if (satNum < 0 || senNum < 0) return kNoKey;
    double dayOfYear = 0;
    std::int32_t year = 0;
    family::fyklok(obsTime, dayOfYear, year);
    const double tenths = kTenthsPerDay * dayOfYear;
    // NOTE: written so that a time that is not a number fails, too.
    if (!(tenths > -1.0 && tenths < static_cast<double>(kTimeLimit))) return kNoKey;
    return static_cast<std::int64_t>(tenths) * kTimeUnit + satNum % kSatelliteLimit * kSatelliteUnit +
           senNum % kSensorLimit;
}

std::int64_t getobskey(const ObsRecord& rec) {
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
