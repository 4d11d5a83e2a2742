// SPDX-License-Identifier: Apache-2.0
// Groups "fields" and, of "reading", the array form of the exported header.
#include <algorithm>
#include <limits>
#include <string>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "DllExports/Obs/ObsDllVarsUtils/FieldTable.h"
#include "Obs/ObsTree/Store.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;
using obs::UnknownKeys;

/// Uses the record of each of many keys, null for an unknown one; status 2 and a message when there is one. When memory
/// does not suffice the rest counts as unknown.
template <class Use>
std::int32_t readMany(std::string_view name, const int64_t* keys, std::size_t count, bool withParts, Use&& use) {
    UnknownKeys unknown;
    std::size_t done = 0;
    try {
        obs::obsfindrecs(keys, count, withParts, [&](std::size_t i, const obs::ObsRecord* rec) {
            if (rec == nullptr) unknown.note(keys[i]);
            use(i, rec);
            ++done;
        });
    } catch (...) {
        for (; done < count; ++done) use(done, nullptr);
        throw;
    }
    return unknown.status(name, count);
}

/// The column of a number, or null and a message.
const obs::FieldColumn* columnOf(std::string_view name, std::int32_t column) {
    const auto all = obs::fieldColumns();
    if (column >= 0 && static_cast<std::size_t>(column) < all.size()) return &all[static_cast<std::size_t>(column)];
    obs::logFailure(name, "The columns are numbered 0 to " + std::to_string(all.size() - 1) + ".");
    return nullptr;
}

/// What messages call a field that the key is made of; null for one that a caller may set.
const char* partOfKey(std::int32_t fieldIndex) {
    switch (fieldIndex) {
        case obs::kFactsOf<&obs::ObsFields::satNum>.index: return "satellite number";
        case obs::kFactsOf<&obs::ObsFields::senNum>.index: return "sensor number";
        case obs::kFactsOf<&obs::ObsFields::obsTime>.index: return "time";
        default: return nullptr;
    }
}

}  // namespace

int32_t ObsDataToArray(int64_t obsKey, double obsArr[64]) {
    if (obs::refuseNull("ObsDataToArray", {obsArr})) return kStatusRefused;
    std::fill_n(obsArr, obs::kArrayLength, 0.0);
    return obs::guarded("ObsDataToArray", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!obs::obsfindrec(obsKey, rec)) {
            obs::logUnknownKey("ObsDataToArray", obsKey);
            return kStatusRefused;
        }
        obs::obsrec2arr(rec, obsArr);
        return kStatusOk;
    });
}

int32_t ObsDataToArrays(int32_t count, const int64_t* keys, double* obsArrs) {
    if (obs::refuseCount("ObsDataToArrays", count, {keys, obsArrs})) return kStatusRefused;
    return obs::guarded("ObsDataToArrays", kStatusRefused, [&] {
        const auto fill = [&](std::size_t i, const obs::ObsRecord* rec) {
            double* obsArr = obsArrs + i * obs::kArrayLength;
            if (rec == nullptr) std::fill_n(obsArr, obs::kArrayLength, 0.0);
            else obs::obsrec2arr(*rec, obsArr);
        };
        return readMany("ObsDataToArrays", keys, static_cast<std::size_t>(count), true, fill);
    });
}

int32_t ObsGetElementInfo(int32_t element, char name[512], char unit[512]) {
    if (obs::refuseNull("ObsGetElementInfo", {name, unit})) return kStatusRefused;
    return obs::guarded("ObsGetElementInfo", kStatusRefused, [&] {
        const std::optional<obs::ElementDef> def = obs::elementDef(element);
        family::strtochararr(def ? def->name : "", name);
        family::strtochararr(def ? def->unit : "", unit);
        if (def) return kStatusOk;
        obs::logFailure("ObsGetElementInfo", "The elements are numbered 0 to 63.");
        return kStatusRefused;
    });
}

int32_t ObsGetField(int64_t obsKey, int32_t fieldIndex, char value[512]) {
    if (obs::refuseNull("ObsGetField", {value})) return kStatusRefused;
    family::strtochararr({}, value);
    return obs::guarded("ObsGetField", kStatusRefused, [&] {
        const obs::IndexedField* field = obs::indexedField(fieldIndex);
        obs::ObsRecord rec;
        const bool withParts = field != nullptr && field->isOfPart;
        if (withParts ? !obs::obsfindrec(obsKey, rec) : !obs::obsfindfields(obsKey, rec)) {
            // NOTE: the text names ObsGetAllFields, with which it is shared.
            obs::logUnknownKey("ObsGetAllFields", obsKey);
            return kStatusRefused;
        }
        obs::FieldText work;
        if (field != nullptr) family::strtochararr(field->text(rec, work), value);
        return kStatusOk;
    });
}

int32_t ObsSetField(int64_t obsKey, int32_t fieldIndex, const char* value) {
    if (obs::refuseNull("ObsSetField", {value})) return kStatusRefused;
    return obs::guarded("ObsSetField", kStatusRefused, [&] {
        obs::ObsRecord rec;
        if (!obs::obsfindrec(obsKey, rec)) {
            obs::logUnknownKey("ObsSetField", obsKey);
            return kStatusRefused;
        }
        const obs::IndexedField* field = obs::indexedField(fieldIndex);
        if (const char* const part = partOfKey(fieldIndex)) {
            obs::logFailure("ObsSetField",
                            std::string("Error! Update to observation's ") + part + " field is not allowed");
            return kStatusRefused;
        }
        const std::string_view text = obs::trimmedText(value);
        if (field != nullptr && !field->set(text, rec)) {
            obs::logFailure("ObsSetField",
                            "Error! No observation type has the character \"" + std::string(text.substr(0, 1)) + "\"");
            return kStatusRefused;
        }
        return obs::obsupdaterec(obsKey, rec);
    });
}

int32_t ObsGetFieldReals(int32_t count, const int64_t* keys, int32_t fieldIndex, double* values) {
    if (obs::refuseCount("ObsGetFieldReals", count, {keys, values})) return kStatusRefused;
    const obs::IndexedField* field = obs::indexedField(fieldIndex);
    if (field == nullptr) {
        obs::logFailure("ObsGetFieldReals", "The field indices are 1 to 37.");
        return kStatusRefused;
    }
    return obs::guarded("ObsGetFieldReals", kStatusRefused, [&] {
        const auto fill = [&](std::size_t i, const obs::ObsRecord* rec) {
            values[i] = rec == nullptr ? std::numeric_limits<double>::quiet_NaN() : field->value(*rec);
        };
        return readMany("ObsGetFieldReals", keys, static_cast<std::size_t>(count), field->isOfPart, fill);
    });
}

int32_t ObsGetFieldInfo(int32_t fieldIndex, char name[512], char unit[512], char form[512]) {
    if (obs::refuseNull("ObsGetFieldInfo", {name, unit, form})) return kStatusRefused;
    const obs::IndexedField* field = obs::indexedField(fieldIndex);
    family::strtochararr(field == nullptr ? "" : field->facts->name, name);
    family::strtochararr(field == nullptr ? "" : field->facts->unit, unit);
    family::strtochararr(field == nullptr ? "" : obs::formName(field->facts->form), form);
    if (field != nullptr) return kStatusOk;
    obs::logFailure("ObsGetFieldInfo", "The field indices are 1 to 37.");
    return kStatusRefused;
}

int32_t ObsGetColumnInfo(int32_t column, char name[512], char unit[512], int32_t facts[4]) {
    if (obs::refuseNull("ObsGetColumnInfo", {name, unit, facts})) return kStatusRefused;
    family::strtochararr({}, name);
    family::strtochararr({}, unit);
    std::fill_n(facts, 4, 0);
    return obs::guarded("ObsGetColumnInfo", kStatusRefused, [&] {
        const obs::FieldColumn* const of = columnOf("ObsGetColumnInfo", column);
        if (of == nullptr) return kStatusRefused;
        family::strtochararr(of->facts->column, name);
        family::strtochararr(of->facts->unit, unit);
        facts[OBS_COLUMN_COUNT] = static_cast<int32_t>(obs::fieldColumns().size());
        facts[OBS_COLUMN_INDEX] = of->facts->index;
        facts[OBS_COLUMN_TYPES] = static_cast<int32_t>(of->facts->types.bits());
        const obs::FieldForm form = of->facts->form;
        facts[OBS_COLUMN_FORM] = form == obs::FieldForm::real ? OBS_COLUMN_REAL
                                 : form == obs::FieldForm::character || form == obs::FieldForm::typeCharacter
                                     ? OBS_COLUMN_CHARACTER
                                     : OBS_COLUMN_INTEGER;
        return kStatusOk;
    });
}

int32_t ObsGetColumnReals(int32_t count, const int64_t* keys, int32_t column, double* values) {
    if (obs::refuseCount("ObsGetColumnReals", count, {keys, values})) return kStatusRefused;
    return obs::guarded("ObsGetColumnReals", kStatusRefused, [&] {
        const obs::FieldColumn* const of = columnOf("ObsGetColumnReals", column);
        if (of == nullptr) return kStatusRefused;
        const auto fill = [&](std::size_t i, const obs::ObsRecord* rec) {
            values[i] = rec == nullptr ? std::numeric_limits<double>::quiet_NaN() : of->value(*rec);
        };
        return readMany("ObsGetColumnReals", keys, static_cast<std::size_t>(count), of->isOfPart, fill);
    });
}
