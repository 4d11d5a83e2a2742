// SPDX-License-Identifier: Apache-2.0
/// Which observation types carry what. A type above 19 carries nothing.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace obs {

inline constexpr std::int32_t kTypeRangeRate = 0;
inline constexpr std::int32_t kTypeAzElRange = 2;
inline constexpr std::int32_t kTypeAllRates = 4;
inline constexpr std::int32_t kTypeRange = 6;
inline constexpr std::int32_t kTypePositionVelocity = 7;  ///< of the satellite, held in senPos and senVel
inline constexpr std::int32_t kTypeEciPosition = 10;
inline constexpr std::int32_t kTypeEciPositionVelocity = 11;
inline constexpr std::int32_t kTypeRf = 13;
inline constexpr std::int32_t kTypeSpaceAzElRange = 18;   ///< 8 with a range
inline constexpr std::int32_t kTypeSpaceRaDecRange = 19;  ///< 9 with a range

/// A set of the types 0 to 19.
class ObsTypeSet {
public:
    constexpr ObsTypeSet(std::initializer_list<std::int32_t> types) {
        for (const std::int32_t type : types) bits_ |= 1u << type;
    }
    constexpr ObsTypeSet operator|(ObsTypeSet other) const {
        other.bits_ |= bits_;
        return other;
    }
    constexpr ObsTypeSet operator&(ObsTypeSet other) const {
        other.bits_ &= bits_;
        return other;
    }
    constexpr std::uint32_t bits() const { return bits_; }
    constexpr bool isEmpty() const { return bits_ == 0; }
    constexpr bool meets(ObsTypeSet other) const { return (bits_ & other.bits_) != 0; }
    constexpr bool has(std::int32_t type) const { return type >= 0 && type <= 19 && ((bits_ >> type) & 1u) != 0; }

private:
    std::uint32_t bits_ = 0;
};

inline constexpr ObsTypeSet kRaDecTypes{5, 9, 19};
inline constexpr ObsTypeSet kAzElTypes{1, 2, 3, 4, 8, 18};
inline constexpr ObsTypeSet kAngleTypes{1, 2, 3, 4, 5, 8, 9, 18, 19};
inline constexpr ObsTypeSet kRangeTypes{2, 3, 4, 6, 16, 18, 19};
inline constexpr ObsTypeSet kRangeRateTypes{0, 3, 4};
inline constexpr ObsTypeSet kRateTypes{4};
inline constexpr ObsTypeSet kSensorPositionTypes{8, 9, 18, 19};

constexpr bool ObsHasRaDec(std::int32_t type) { return kRaDecTypes.has(type); }
constexpr bool ObsHasAzEl(std::int32_t type) { return kAzElTypes.has(type); }
constexpr bool ObsHasRange(std::int32_t type) { return kRangeTypes.has(type); }
constexpr bool ObsHasRangeRate(std::int32_t type) { return kRangeRateTypes.has(type); }
constexpr bool ObsHasAzElRate(std::int32_t type) { return kRateTypes.has(type); }

/// Types 8 and 9 that carry a range are 18 and 19.
constexpr std::int32_t typeWithRange(std::int32_t type, double rangeKm) {
    return (type == 8 || type == 9) && rangeKm > 0 ? type + 10 : type;
}

}  // namespace obs
