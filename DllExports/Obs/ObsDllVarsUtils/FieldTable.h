// SPDX-License-Identifier: Apache-2.0
/// The fields of an observation by index: for getting, setting, the documents and other languages.
///
/// Indices 5 and 6 are one storage, and so are 7 and 8: the pair exists so that a caller can name the meaning it wants;
/// whether the observation's type has that meaning is never checked. The velocities have no index.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Obs/ObsTypes/FieldList.h"

namespace obs {

/// Text of a form as the documents name it, such as "F35.15".
std::string_view formName(FieldForm form);

inline constexpr std::size_t kFieldTextLength = 40;
using FieldText = char[kFieldTextLength];

struct IndexedField {
    const FieldFacts* facts;
    /// Whether the field is in an optional part, which most records lack.
    bool isOfPart;

    /// Text without blanks in front, in `work`; empty when the record lacks the part that holds it.
    std::string_view (*text)(const ObsRecord& rec, FieldText& work);

    /// Value as a real: characters as their code, "not there" as 0.
    double (*value)(const ObsRecord& rec);

    /// Takes the value of a text without blanks in front; a text that is not a number counts as what the common number
    /// routines take it for. False, nothing being changed, for a character that names no observation type. A field
    /// in a part that the record lacks stays away.
    bool (*set)(std::string_view text, ObsRecord& rec);
};

/// The field with an index from 1 to 37, or null.
const IndexedField* indexedField(std::int32_t index);

/// A field as a column for other programs.
struct FieldColumn {
    const FieldFacts* facts;
    bool isOfPart;  ///< as of IndexedField

    /// Value as a real; "not a number" where the record does not hold it: its type does not carry it and it is 0, or
    /// the storage has the other meaning for the type, or the part is not there.
    double (*value)(const ObsRecord& rec);
};

/// In the order of the list of fields; without those that are not one number.
std::span<const FieldColumn> fieldColumns();

}  // namespace obs
