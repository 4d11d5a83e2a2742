// SPDX-License-Identifier: Apache-2.0
/// An observation as one array of 64 reals; elements are counted from 0, absent values are zeros.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Obs/ObsTypes/ObsRecord.h"

namespace obs {

inline constexpr std::size_t kArrayLength = 64;

/// The sigma list: its length, or the mark of CSV data, and after it up to 21 values.
inline constexpr std::size_t kSigmaCountElement = 40, kSigmasEnd = 62;

/// What an element holds, for the documents and other languages.
struct ElementDef {
    std::string name;
    std::string_view unit;
};

/// The element with a number from 0 to 63, or nothing.
std::optional<ElementDef> elementDef(std::int32_t element);

/// Fills the array, elements 0 to 63 cleared first; element k is at k times `stride`. Where optional parts share
/// elements the later one of biases (33-39), sigmas (40 on) and CSV data (23-35, and 7 in element 40) deliberately
/// overwrites the earlier.
void obsrec2arr(const ObsRecord& rec, double* obsArr, std::size_t stride = 1);

/// Builds a record from an array. Integers are truncated toward zero; what is not a number is 0, what is out of range
/// the nearest limit. A nonzero `rotateFlag` rotates right ascension and declination to date and is kept in the record.
/// A part that memory does not suffice for is left out.
ObsRecord obsarr2obsrec(const double* obsArr, std::int32_t rotateFlag = 1);

/// The sigma list that elements 40 on hold, put into the record: 6, 7 or 21 values of which one is not zero.
/// Throws std::bad_alloc.
void attachSigmas(const double* obsArr, ObsRecord& rec);

/// Adds the observation of an array. Returns the key, 0 for a refused duplicate, -1 when nothing could be added.
std::int64_t addfrarray(const double* obsArr);

/// Adds the observations of `count` arrays standing one after another, with the same result as one by one, except that
/// none is added without its optional parts. Returns whether each got a key. Throws std::bad_alloc when memory did not
/// suffice for one, whose key is -1.
bool addfrarrays(std::size_t count, const double* obsArrs, std::int64_t* keys);

}  // namespace obs
