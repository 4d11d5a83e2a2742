// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/services/Guard.h"

namespace family {
namespace {

constinit std::atomic<std::int32_t> useAllMode{0};
constinit std::atomic<std::int32_t> allMode{0};
constinit std::atomic<std::int32_t> dupMode{0};

constexpr std::int64_t kFieldKeyEnd = 3'170'880'000'000'000'000;  ///< 367 days of tenths, then ten digits
constexpr std::int64_t kTenDigits = 10'000'000'000;
constexpr std::int64_t kFirstDrawn = 3'400'000'000;  ///< satellite 3400000: above all five-column numbers

/// Finalizer of the splitmix64 generator (Steele, Lea, Flood 2014): every bit of the key
/// reaches every bit of the result.
constexpr std::uint64_t mix(std::uint64_t bits) {
    bits += 0x9e3779b97f4a7c15U;
    bits = (bits ^ (bits >> 30)) * 0xbf58476d1ce4e5b9U;
    bits = (bits ^ (bits >> 27)) * 0x94d049bb133111ebU;
    return bits ^ (bits >> 31);
}

bool isMode(std::int32_t mode, const char* refusal) {
    if (mode != 0 && mode != 1) {
        tracelogerror(refusal);
        return false;
    }
    return true;
}

constexpr const char* platformName() {
#if defined(__linux__) && defined(__x86_64__)
    return "Linux x86_64";
#elif defined(__linux__) && defined(__aarch64__)
    return "Linux aarch64";
#elif defined(__linux__)
    return "Linux";
#else
    return "POSIX";
#endif
}

}  // namespace

std::int32_t useallkeymode() { return useAllMode.load(std::memory_order_relaxed); }
std::int32_t allkeymodeget() { return allMode.load(std::memory_order_relaxed); }
std::int32_t dupkeymodeget() { return dupMode.load(std::memory_order_relaxed); }

std::int64_t nextsatkey(std::int64_t key, std::uint64_t fingerprint) {
    if (key < 0 || key >= kFieldKeyEnd) { return -1; }
    constexpr auto kChoices = static_cast<std::uint64_t>(kTenDigits - kFirstDrawn);
    const std::int64_t time = key / kTenDigits * kTenDigits;
    const auto drawn = static_cast<std::int64_t>(mix(static_cast<std::uint64_t>(key) ^ fingerprint) % kChoices);
    const std::int64_t next = time + kFirstDrawn + drawn;
    if (next != key) { return next; }
    return next + 1 < time + kTenDigits ? next + 1 : time + kFirstDrawn;
}

std::string getsoftwareinfo(std::string_view libraryTag, std::string_view version, std::string_view buildDate) {
    return guarded(std::string(), [&] {
        return std::string(libraryTag)
            .append(" ")
            .append(version)
            .append(", built ")
            .append(buildDate)
            .append(", ")
            .append(platformName());
    });
}

}  // namespace family

int32_t FamilySetAllKeyMode(int32_t useAll, int32_t mode) {
    if (!family::isMode(mode, "FamilySetAllKeyMode: the mode must be 0 or 1")) { return 2; }
    family::allMode.store(mode, std::memory_order_relaxed);
    family::useAllMode.store(useAll != 0 ? 1 : 0, std::memory_order_relaxed);
    return 0;
}

int32_t FamilySetDupKeyMode(int32_t mode) {
    if (!family::isMode(mode, "FamilySetDupKeyMode: the mode must be 0 or 1")) { return 2; }
    family::dupMode.store(mode, std::memory_order_relaxed);
    return 0;
}
