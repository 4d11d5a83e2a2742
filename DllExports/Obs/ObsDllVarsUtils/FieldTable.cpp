// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllVarsUtils/FieldTable.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>

#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

using enum FieldForm;
using Int = std::int32_t;

constexpr FieldDef realField(std::string_view name, std::string_view unit, double ObsFields::*place) {
    return {name, unit, real, place};
}
constexpr FieldDef component(std::string_view name, Vector3 ObsFields::*vector, std::size_t axis) {
    return {name, "km", real, VectorComponent{vector, axis}};
}
constexpr FieldDef csvReal(std::string_view name, std::size_t number) {
    return {name, "", real, CsvReal{number}};
}

/// In order of their indices, from 1.
constexpr std::array<FieldDef, kFieldCount> kFields{{
    {"secClass", "", character, &ObsFields::secClass},
    {"satNum", "", integer0, &ObsFields::satNum,
     "ObsSetField: Error! Update to observation's satellite number field is not allowed"},
    {"senNum", "", integer0, &ObsFields::senNum,
     "ObsSetField: Error! Update to observation's sensor number field is not allowed"},
    {"obsTime", "days since 1950 UTC", real, &ObsFields::obsTime,
     "ObsSetField: Error! Update to observation's time field is not allowed"},
    realField("elevation", "degrees", &ObsFields::elOrDec),
    realField("declination", "degrees", &ObsFields::elOrDec),
    realField("azimuth", "degrees", &ObsFields::azOrRa),
    realField("rightAscension", "degrees", &ObsFields::azOrRa),
    realField("range", "km", &ObsFields::range),
    realField("rangeRate", "km/s", &ObsFields::rangeRate),
    realField("elRate", "as on the cards", &ObsFields::elRate),
    realField("azRate", "as on the cards", &ObsFields::azRate),
    realField("rangeAccel", "as on the cards", &ObsFields::rangeAccel),
    {"obsType", "", typeCharacter, &ObsFields::obsType},
    {"indicator1", "", integer1, &ObsFields::indicator1},
    {"indicator2", "", integer1, &ObsFields::indicator2},
    {"altSatNum1", "", integer9, &ObsFields::altSatNum1},
    {"altSatNum2", "", integer9, &ObsFields::altSatNum2},
    component("senPosX", &ObsFields::senPos, 0),
    component("senPosY", &ObsFields::senPos, 1),
    component("senPosZ", &ObsFields::senPos, 2),
    component("satPosX", &ObsFields::satPos, 0),
    component("satPosY", &ObsFields::satPos, 1),
    component("satPosZ", &ObsFields::satPos, 2),
    csvReal("csvReal1", 0),
    csvReal("csvReal2", 1),
    csvReal("csvReal3", 2),
    csvReal("csvReal4", 3),
    csvReal("csvReal5", 4),
    csvReal("csvReal6", 5),
    csvReal("csvReal7", 6),
    csvReal("csvReal8", 7),
    csvReal("csvReal9", 8),
    {"csvReal10", "", real, &CsvObsData::csvReal10},
    {"csvInt1", "", integer9, &CsvObsData::csvInt1},
    {"csvInt2", "", integer1, &CsvObsData::csvInt2},
    {"csvChar", "", character, &CsvObsData::csvChar},
}};

// A place in a record: calls `use(value)`, unless the record lacks the part that holds it.
template <class Record, class T, class Use>
void usePlace(Record& rec, T ObsFields::*place, Use&& use) {
    use(rec.*place);
}
template <class Record, class T, class Use>
void usePlace(Record& rec, T CsvObsData::*place, Use&& use) {
    if (rec.csvData) use((*rec.csvData).*place);
}
template <class Record, class Use>
void usePlace(Record& rec, const VectorComponent& place, Use&& use) {
    use((rec.*place.vector)[place.axis]);
}
template <class Record, class Use>
void usePlace(Record& rec, const CsvReal& place, Use&& use) {
    if (rec.csvData) use((*rec.csvData).csvReals[place.number]);
}

template <class Record, class Use>
void useField(const FieldDef& field, Record& rec, Use&& use) {
    std::visit([&](const auto& place) { usePlace(rec, place, use); }, field.place);
}

constexpr std::size_t kRealColumns = 35;
constexpr int kRealDecimals = 15;
constexpr std::size_t kLongestReal = 400;  ///< the greatest has 309 digits before the point

std::string_view put(std::string_view text, char (&work)[kFieldTextLength]) {
    return {work, text.copy(work, kFieldTextLength)};
}

/// NOTE: the overflow mark fills the whole field, as a fixed-width edit has it.
std::string_view putOverflow(std::size_t columns, char (&work)[kFieldTextLength]) {
    std::fill_n(work, columns, '*');
    return {work, columns};
}

/// Rounded to the nearest in exact arithmetic, which std::to_chars is bound to.
std::string_view putReal(double value, char (&work)[kFieldTextLength]) {
    if (std::isnan(value)) return put("NaN", work);
    if (std::isinf(value)) return put(value < 0 ? "-Infinity" : "Infinity", work);
    char digits[kLongestReal];
    const auto result = std::to_chars(digits, digits + kLongestReal, value, std::chars_format::fixed, kRealDecimals);
    const auto length = static_cast<std::size_t>(result.ptr - digits);
    return length > kRealColumns ? putOverflow(kRealColumns, work) : put({digits, length}, work);
}

std::string_view putInteger(Int value, std::size_t columns, char (&work)[kFieldTextLength]) {
    const auto result = std::to_chars(work, work + kFieldTextLength, value);
    const auto length = static_cast<std::size_t>(result.ptr - work);
    return length > columns ? putOverflow(columns, work) : std::string_view(work, length);
}

std::string_view putCharacter(char value, char (&work)[kFieldTextLength]) {
    return value == ' ' ? std::string_view() : put({&value, 1}, work);
}

std::string_view putValue(FieldForm, char value, char (&work)[kFieldTextLength]) {
    return putCharacter(value, work);
}
std::string_view putValue(FieldForm, double value, char (&work)[kFieldTextLength]) {
    return putReal(value, work);
}
std::string_view putValue(FieldForm form, Int value, char (&work)[kFieldTextLength]) {
    switch (form) {
        case typeCharacter: return putCharacter(family::obstypeinttochar(value), work);
        case integer1: return putInteger(value, 1, work);
        case integer9: return putInteger(value, 9, work);
        default: return putInteger(value, kFieldTextLength, work);
    }
}

char firstOf(std::string_view text) {
    return text.empty() ? ' ' : text.front();
}

}  // namespace

std::string_view formName(FieldForm form) {
    switch (form) {
        case integer0: return "I0";
        case integer1: return "I1";
        case integer9: return "I9";
        case real: return "F35.15";
        default: return "A1";
    }
}

bool FieldDef::isCsv() const {
    return !std::holds_alternative<char ObsFields::*>(place) && !std::holds_alternative<Int ObsFields::*>(place) &&
           !std::holds_alternative<double ObsFields::*>(place) && !std::holds_alternative<VectorComponent>(place);
}

const FieldDef* fieldDef(std::int32_t index) {
    return index >= 1 && index <= kFieldCount ? &kFields[static_cast<std::size_t>(index) - 1] : nullptr;
}

std::string_view fieldText(const FieldDef& field, const ObsRecord& rec, char (&work)[kFieldTextLength]) {
    std::string_view text;
    useField(field, rec, [&](const auto& value) { text = putValue(field.form, value, work); });
    return text;
}

double fieldValue(const FieldDef& field, const ObsRecord& rec) {
    double real = 0;
    useField(field, rec, [&](const auto& value) {
        using Value = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, char>) real = static_cast<unsigned char>(value);
        else if (field.form == typeCharacter) real = family::obstypeinttochar(static_cast<Int>(value));
        else real = static_cast<double>(value);
    });
    return real;
}

bool setField(const FieldDef& field, std::string_view text, ObsRecord& rec) {
    const Int type = field.form == typeCharacter ? family::obstypechartoint(firstOf(text)) : 0;
    if (type < 0) return false;
    useField(field, rec, [&](auto& value) {
        using Value = std::remove_reference_t<decltype(value)>;
        if constexpr (std::is_same_v<Value, char>) value = firstOf(text);
        else if constexpr (std::is_same_v<Value, double>) value = family::strtoreal(text);
        else value = field.form == typeCharacter ? type : family::strtoint(text);
    });
    return true;
}

}  // namespace obs
