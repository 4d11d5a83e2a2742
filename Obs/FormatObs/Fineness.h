// SPDX-License-Identifier: Apache-2.0
/// How finely a format writes the values of an observation.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "Obs/ObsStates/Angles.h"
#include "Obs/ObsTypes/FieldList.h"

namespace obs {

/// How finely a value is written: to a multiple of `unit`, or to a number of significant digits, whichever is coarser.
struct Fineness {
    double unit = kNotCarried;
    int digits = 0;  ///< 0: any number

    static constexpr double kNotCarried = -1, kAsItIs = 0;
};
constexpr Fineness toUnit(double unit) { return {unit, 0}; }
constexpr Fineness toDigits(int digits) { return {Fineness::kAsItIs, digits}; }
inline double unitOf(int decimals) { return std::pow(10.0, -decimals); }

inline constexpr double kSecondsOfDay = 86400;
inline constexpr double kDegreesPerRaSecond = kTurnDeg / kSecondsOfDay;

/// The elements of the array form, in their units, in lines of some type; none is carried to begin with.
class Elements {
public:
    explicit Elements(std::int32_t type) : type_(type) {}
    std::int32_t type() const { return type_; }

    /// A field by its member; of three components the first stands for all.
    template <auto kMember>
    void put(Fineness fineness, ObsTypeSet types = fieldlist::kAll) {
        if (!types.has(type_)) return;
        constexpr auto kFirst = static_cast<std::size_t>(kFactsOf<kMember>.element);
        const std::size_t count = FieldPlace<kMember, 0>::isComponent ? 3 : 1;
        for (std::size_t i = kFirst; i < kFirst + count; ++i) elements_[i] = fineness;
    }
    template <auto... kMembers>
    void putAsTheyAre() {
        (put<kMembers>({Fineness::kAsItIs, 0}), ...);
    }
    /// A field of a table, which has its member by value.
    void putReal(double ObsRecord::*member, Fineness fineness, ObsTypeSet types) {
        forEachFieldOf<ObsFields>([&](auto field) {
            if constexpr (field.facts.element != kNoElement && field.isReal && !field.isComponent)
                if (types.has(type_) && &field.in(record_) == &(record_.*member))
                    elements_[field.facts.element] = fineness;
        });
    }
    void putElement(std::size_t element, Fineness fineness) { elements_[element] = fineness; }

    const std::array<Fineness, 64>& all() const { return elements_; }

private:
    std::int32_t type_;
    ObsRecord record_;
    std::array<Fineness, 64> elements_;
};

}  // namespace obs
