// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/FieldTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <type_traits>

#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

using enum FieldForm;
using Int = std::int32_t;

constexpr std::size_t kRealColumns = 35;
constexpr int kRealDecimals = 15;
constexpr std::size_t kLongestReal = 400;  ///< the greatest has 309 digits before the point

std::string_view put(std::string_view text, FieldText& work) { return {work, text.copy(work, kFieldTextLength)}; }

/// NOTE: the overflow mark fills the whole field, as a fixed-width edit has it.
std::string_view putOverflow(std::size_t columns, FieldText& work) {
    std::fill_n(work, columns, '*');
    return {work, columns};
}

/// Rounded to the nearest in exact arithmetic, which std::to_chars is bound to.
std::string_view putReal(double value, FieldText& work) {
    if (std::isnan(value)) return put("NaN", work);
    if (std::isinf(value)) return put(value < 0 ? "-Infinity" : "Infinity", work);
    char digits[kLongestReal];
    const auto result = std::to_chars(digits, digits + kLongestReal, value, std::chars_format::fixed, kRealDecimals);
    const auto length = static_cast<std::size_t>(result.ptr - digits);
    return length > kRealColumns ? putOverflow(kRealColumns, work) : put({digits, length}, work);
}

std::string_view putInteger(Int value, std::size_t columns, FieldText& work) {
    const auto result = std::to_chars(work, work + kFieldTextLength, value);
    const auto length = static_cast<std::size_t>(result.ptr - work);
    return length > columns ? putOverflow(columns, work) : std::string_view(work, length);
}

std::string_view putCharacter(char value, FieldText& work) {
    return value == ' ' ? std::string_view() : put({&value, 1}, work);
}

template <class Row>
std::string_view textOf(const ObsRecord& rec, FieldText& work) {
    const auto* const value = Row::find(rec);
    if (value == nullptr) return {};
    switch (Row::facts.form) {
        case typeCharacter: return putCharacter(family::obstypeinttochar(static_cast<Int>(*value)), work);
        case character: return putCharacter(static_cast<char>(*value), work);
        case real: return putReal(static_cast<double>(*value), work);
        case integer1: return putInteger(static_cast<Int>(*value), 1, work);
        case integer9: return putInteger(static_cast<Int>(*value), 9, work);
        default: return putInteger(static_cast<Int>(*value), kFieldTextLength, work);
    }
}

template <class Row>
double valueOf(const ObsRecord& rec) {
    const auto* const value = Row::find(rec);
    if (value == nullptr) return 0;
    if constexpr (Row::facts.form == typeCharacter) return family::obstypeinttochar(*value);
    else if constexpr (Row::isCharacter) return static_cast<unsigned char>(*value);
    else return static_cast<double>(*value);
}

char firstOf(std::string_view text) { return text.empty() ? ' ' : text.front(); }

template <class Row>
bool set(std::string_view text, ObsRecord& rec) {
    auto* const value = Row::find(rec);
    if constexpr (Row::facts.form == typeCharacter) {
        const Int type = family::obstypechartoint(firstOf(text));
        if (type < 0) return false;
        *value = type;
    } else if (value != nullptr) {
        if constexpr (Row::isCharacter) *value = firstOf(text);
        else if constexpr (Row::isReal) *value = family::strtoreal(text);
        else *value = family::strtoint(text);
    }
    return true;
}

constexpr std::size_t kIndices = 37;
constexpr std::array<IndexedField, kIndices> kFields = [] {
    std::array<IndexedField, kIndices> fields{};
    forEachField([&](auto row) {
        using Row = decltype(row);
        if constexpr (row.facts.index != 0)
            fields[row.facts.index - 1] = {&row.facts, !row.template isOf<ObsFields>, textOf<Row>, valueOf<Row>,
                                           set<Row>};
    });
    return fields;
}();
static_assert([] {  // an index without a row does not compile
    for (std::size_t i = 0; i < kIndices; ++i)
        if (kFields[i].facts->index != static_cast<int>(i) + 1) return false;
    return true;
}());

template <class Row>
double columnValueOf(const ObsRecord& rec) {
    constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
    const bool isRaDec = ObsHasRaDec(rec.obsType);
    if (Row::facts.meaning == (isRaDec ? Meaning::ofOthers : Meaning::ofRaDec)) return kNone;
    if (Row::find(rec) == nullptr) return kNone;
    const double value = valueOf<Row>(rec);
    // What all types carry, one that is none of them has as well.
    const bool isCarried = Row::facts.types.bits() == fieldlist::kAll.bits() || Row::facts.types.has(rec.obsType);
    return value != 0 || isCarried ? value : kNone;
}

template <class Row>
constexpr bool isColumn = !Row::facts.column.empty() && Row::facts.form != list;

constexpr std::size_t kColumns = [] {
    std::size_t count = 0;
    forEachField([&](auto row) { count += isColumn<decltype(row)> ? 1 : 0; });
    return count;
}();
constexpr std::array<FieldColumn, kColumns> kFieldColumns = [] {
    std::array<FieldColumn, kColumns> columns{};
    std::size_t at = 0;
    forEachField([&](auto row) {
        using Row = decltype(row);
        if constexpr (isColumn<Row>) columns[at++] = {&row.facts, !row.template isOf<ObsFields>, columnValueOf<Row>};
    });
    return columns;
}();

}  // namespace

std::span<const FieldColumn> fieldColumns() { return kFieldColumns; }

std::string_view formName(FieldForm form) {
    switch (form) {
        case integer0: return "I0";
        case integer1: return "I1";
        case integer9: return "I9";
        case real: return "F35.15";
        default: return "A1";
    }
}

const IndexedField* indexedField(std::int32_t index) {
    return index >= 1 && index <= Int{kIndices} ? &kFields[static_cast<std::size_t>(index) - 1] : nullptr;
}

}  // namespace obs
