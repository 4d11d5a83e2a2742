// SPDX-License-Identifier: Apache-2.0
/// What selection criteria are called, and their values as text.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsTypes/ObsSelection.h"

namespace obs {

/// The values from the first to the last of what a text names: one number, or a day or minute.
struct ValueSpan {
    double first = 0, last = 0;
    bool hasUnit = false;
};

struct CriterionName {
    std::string_view name;
    Criterion criterion;
    std::string_view allowed;  ///< its values, in words
    bool (*read)(std::string_view text, ValueSpan& value);
    /// The number of what has a name, -1 when nothing has; null where values have no names.
    std::int64_t (*named)(std::string_view name) = nullptr;
    std::string_view unknown = {};  ///< what to say of a name that nothing has
    bool isOfOrigin = false;        ///< known only while the store keeps origins
};

std::span<const CriterionName> criterionNames();

/// The numbers of the files of that name: it may be the last part of their names, and with * ? [ a pattern for all of
/// it. Throws std::bad_alloc.
std::vector<std::int32_t> filesNamed(std::string_view name, const std::vector<std::string>& files);

/// The same among those that stored observations came from.
std::vector<std::int32_t> filesNamed(std::string_view name);

/// The ends of a range `low..high` or `low:high`; false for a single value. A colon within a time of day is part of it.
bool splitRange(const CriterionName& what, std::string_view text, std::string_view& low, std::string_view& high);

/// The two dates "YYYY-DDDTHH or YYYY-DDD" that seven digits can be, or an empty text when they are one or none.
std::string doubtfulDate(std::string_view text);

}  // namespace obs
