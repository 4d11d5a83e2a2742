// SPDX-License-Identifier: Apache-2.0
/// Loose fields (the list F of the exported header) to and from a record.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>

#include "Obs/ObsTypes/FieldList.h"

namespace obs {

/// The list F: plain fields, the type as a character, and the vectors that it means. For types 5 and 9 `rangeRate`
/// carries the equinox indicator.
struct Fields : ObsFields {
    char typeChar = ' ';
    Vector3 pos{};
    Vector3 vel{};

    Fields() { secClass = ' '; }  // what a caller gets when there is nothing to hand out
};

inline constexpr std::size_t kPosArgument = 16, kVelArgument = 17, kMaxArguments = 18;

/// Calls `use(argument, value)` for the plain fields of the list F, their places in it counted from 0.
template <class Some, class Use>
void forEachArgument(Some& fields, Use&& use) {
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (field.facts.loose != 0) {
            constexpr std::integral_constant<std::size_t, field.facts.loose - 1> kArgument;
            if constexpr (field.facts.form == FieldForm::typeCharacter) use(kArgument, fields.typeChar);
            else use(kArgument, field.in(fields));
        }
    });
}

/// The list F as a caller hands it over, in its order. Null vectors stay zero: they are refused elsewhere.
template <class... Arguments>
Fields looseFields(Arguments... arguments) {
    static_assert(sizeof...(Arguments) == kMaxArguments);
    const std::tuple<Arguments...> given(arguments...);
    Fields fields;
    forEachArgument(fields, [&](auto argument, auto& value) {
        using Given = std::tuple_element_t<argument, std::tuple<Arguments...>>;
        static_assert(std::is_same_v<Given&, decltype(value)>, "the arguments are not in the order of the list");
        value = std::get<argument>(given);
    });
    if (const double* pos = std::get<kPosArgument>(given)) std::copy_n(pos, fields.pos.size(), fields.pos.begin());
    if (const double* vel = std::get<kVelArgument>(given)) std::copy_n(vel, fields.vel.size(), fields.vel.begin());
    return fields;
}

/// Where a caller wants the list F, in its order; the velocity, which is last, may be missing.
template <class... Places>
struct FieldOutputs {
    std::tuple<Places*...> places;

    explicit FieldOutputs(Places*... given) : places(given...) {}

    void set(const Fields& fields) const {
        forEachArgument(fields, [&](auto argument, const auto& value) { *std::get<argument>(places) = value; });
        std::copy(fields.pos.begin(), fields.pos.end(), std::get<kPosArgument>(places));
        if constexpr (sizeof...(Places) == kMaxArguments)
            std::copy(fields.vel.begin(), fields.vel.end(), std::get<kVelArgument>(places));
    }
};

/// Whether the equinox indicator that types 5 and 9 carry in the range-rate slot is 0, 1, 2 or 3; true for others.
bool hasValidEquinox(const Fields& fields);

/// Builds a record from loose fields: vectors to the slots of the type, equinox indicator 1-3 rotated to date,
/// types 8 and 9 with a range renumbered.
ObsRecord fields2record(const Fields& fields);

/// Adds the observation of loose fields with the sigma list of an array (elements 40 on). Returns its key; 0 for a
/// refused duplicate; -1 when nothing could be added, silently for fields that make no key.
std::int64_t addfrfields(const Fields& fields, const double* obsArr);

/// Replaces the fields of a stored observation, except what its key is made of and its optional parts; vectors that the
/// new type does not use are cleared. Status 0, or 2 after a message.
std::int32_t updatefrfields(std::int64_t obsKey, Fields fields);

/// A record's fields; an equinox indicator takes the range-rate slot of types 5 and 9.
Fields record2fields(const ObsRecord& rec);

}  // namespace obs
