// SPDX-License-Identifier: Apache-2.0
/// How an observation gets its 64-bit key, and how the two kinds of key are told apart.
///
/// A field key is, in decimal digits, TTTTTTTTTSSSSSSSNNN: tenths of a second since the start of
/// the year's day count, satellite number modulo 10^7, sensor number modulo 10^3. The year
/// is left out on purpose: the same satellite, sensor and time of year in two years share a
/// key and are told apart when the store re-keys the newcomer.
/// An address key is the address of an ObsDma handle plus 4 x 10^18.
#pragma once

#include <cstdint>

#include "Obs/ObsTypes/ObsNode.h"

namespace obs {

inline constexpr std::int64_t kNoKey = -1;
inline constexpr std::int64_t kDuplicateKey = 0;  ///< what a caller gets for a refused duplicate

/// 367 days of 864000 tenths: the first value that no field key can reach.
inline constexpr std::int64_t kLastFieldKeyLimit = 3'170'880'000'000'000'000;
inline constexpr std::uint64_t kAddressKeyOffset = 4'000'000'000'000'000'000u;

/// The field key of a day of the year with its fraction, as `family::fyklok` gives it.
inline std::int64_t fieldKey(double dayOfYear, std::int32_t satNum, std::int32_t senNum) {
    constexpr double kTenthsPerDay = 864000.0, kTimeLimit = 1e9;  // nine digits
    if (satNum < 0 || senNum < 0) return kNoKey;
    const double tenths = kTenthsPerDay * dayOfYear;
    // NOTE: written so that a time that is not a number fails, too.
    if (!(tenths > -1.0 && tenths < kTimeLimit)) return kNoKey;
    return static_cast<std::int64_t>(tenths) * 10'000'000'000 + satNum % 10'000'000 * std::int64_t{1000} +
           senNum % 1000;
}

/// The field key, or -1 for a negative number or a time without a place in a year.
std::int64_t obsfields2obskey(double obsTime, std::int32_t satNum, std::int32_t senNum);

/// The number that identifies an observation: the first of its three satellite numbers that is not 0.
inline std::int32_t identifyingSatNum(const CommonFields& rec) {
    return rec.satNum != 0 ? rec.satNum : rec.altSatNum1 != 0 ? rec.altSatNum1 : rec.altSatNum2;
}

/// The record's field key; -1 when it names no satellite.
std::int64_t getobskey(const CommonFields& rec);

inline bool isdmaobs(std::int64_t obsKey) { return obsKey > kLastFieldKeyLimit; }

/// Between handles and keys; 64-bit wrap-around arithmetic. The address is not to be trusted
/// before the store has recognised it.
std::int64_t cptrtoobskey(const ObsDma* handle);
std::uintptr_t obskeytoaddr(std::int64_t obsKey);

/// This library's key mode: 0 field keys, 1 address keys. Set before observations are
/// added from several threads.
std::int32_t obskeymodeget();
void obskeymodeset(std::int32_t mode);

/// Whether an observation added now gets an address key: the family's mode rules while
/// its switch is on, else this library's own.
bool addressKeysInForce();

}  // namespace obs
