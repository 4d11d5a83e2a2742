// SPDX-License-Identifier: Apache-2.0
/// The fields of an observation by index: one table for getting, setting, the documents and Python.
///
/// Indices 5 and 6 are one storage, and so are 7 and 8: the pair exists so that a caller can name the meaning it wants;
/// whether the observation's type has that meaning is never checked. The velocities have no index.
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

/// How a field is written as text, before blanks in front of it are dropped.
enum class FieldForm : std::uint8_t {
    character,      ///< as it is
    typeCharacter,  ///< the character of an observation type
    integer0,       ///< as few digits as it needs
    integer1,       ///< one column: more than a digit is an asterisk. NOTE: kept so for its users
    integer9,       ///< nine columns
    real            ///< 35 columns, 15 decimals
};

/// Text of a form as the documents name it, such as "F35.15".
std::string_view formName(FieldForm form);

struct VectorComponent {
    Vector3 ObsFields::*vector;
    std::size_t axis;
};
struct CsvReal {
    std::size_t number;
};
using FieldPlace = std::variant<char ObsFields::*, std::int32_t ObsFields::*, double ObsFields::*, VectorComponent,
                                char CsvObsData::*, std::int32_t CsvObsData::*, double CsvObsData::*, CsvReal>;

struct FieldDef {
    std::string_view name;
    std::string_view unit;
    FieldForm form;
    FieldPlace place;
    /// Why a caller may not set it, or empty: what a key is made of stays.
    std::string_view refusal = {};

    /// Whether the field is in the optional CSV part, which most records lack.
    bool isCsv() const;
};

inline constexpr std::int32_t kFieldCount = 37;

/// The field with an index from 1 to `kFieldCount`, or null.
const FieldDef* fieldDef(std::int32_t index);

inline constexpr std::size_t kFieldTextLength = 40;

/// A field's text without blanks in front, in `work`; empty when the record lacks the part that holds it.
std::string_view fieldText(const FieldDef& field, const ObsRecord& rec, char (&work)[kFieldTextLength]);

/// A field's value as a real: characters as their code, "not there" as 0.
double fieldValue(const FieldDef& field, const ObsRecord& rec);

/// Sets a field from a text without blanks in front; a text that is no number counts as what the common number
/// routines take it for. False, nothing being changed, for a character that names no observation type. A field
/// in a part that the record lacks stays away.
bool setField(const FieldDef& field, std::string_view text, ObsRecord& rec);

}  // namespace obs
