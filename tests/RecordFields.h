// SPDX-License-Identifier: Apache-2.0
/// A record's fields by name, for case files and for comparing records.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsTypes/FieldList.h"
#include "tests/CaseFile.h"

namespace obs::test {

/// All that are numbers, also those of the parts that there are.
inline std::map<std::string, double> fieldsOf(const ObsRecord& rec) {
    std::map<std::string, double> fields;
    forEachField([&](auto field) {
        using Value = typename decltype(field)::Value;
        if constexpr (std::is_arithmetic_v<Value> && !std::is_same_v<Value, char>)
            if (const auto* value = field.find(rec); value && field.facts.name != "rotateToDate")
                fields[std::string(field.facts.storageName())] = static_cast<double>(*value);
    });
    return fields;
}

/// Of a type, with nothing but what every card has.
inline ObsRecord plainRecord(std::int32_t type) {
    ObsRecord rec;
    rec.satNum = 12345;
    rec.senNum = 211;
    rec.obsType = type;
    rec.obsTime = 27029.5;
    return rec;
}

/// A real by its name, of a part that the record has.
inline double& realIn(ObsRecord& rec, std::string_view name) {
    double* found = nullptr;
    forEachField([&](auto field) {
        if constexpr (field.isReal)
            if (field.facts.storageName() == name) found = field.find(rec);
    });
    return *found;
}

/// Whether a card gave what its case says; of a message the beginning, and nothing of the card that it quotes.
inline void expectCase(const Case& one, const MaybeRefusal& refusal, const ObsRecord& rec) {
    SCOPED_TRACE(one.where + "\n" + one.card + "\n" + one.card2);
    const std::string message = refusal ? refusal->message() : "";
    EXPECT_EQ(message.substr(0, one.refusal.empty() ? 512 : one.refusal.size()), one.refusal);
    const std::map<std::string, double> fields = fieldsOf(rec);
    for (const auto& [name, value] : one.fields) {
        if (name == "secClass") EXPECT_EQ(std::string(1, rec.secClass), value);
        else if (name == "flags") EXPECT_EQ(std::string(rec.rfData->flags.data(), 3), value);
        else EXPECT_EQ(fields.at(name), std::strtod(value.c_str(), nullptr)) << name;
    }
}

}  // namespace obs::test
