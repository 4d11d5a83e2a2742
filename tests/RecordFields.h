// SPDX-License-Identifier: Apache-2.0
/// A record's fields by name, for case files and for comparing records.
#pragma once

#include <map>
#include <string>

#include "Obs/ObsTypes/FieldList.h"

namespace obs::test {

inline std::map<std::string, double> fieldsOf(const ObsRecord& rec) {
    std::map<std::string, double> fields;
    forEachFieldOf<ObsFields>([&](auto field) {
        const bool isNumber = !field.isCharacter && field.facts.name != "rotateToDate";
        if (isNumber) fields[std::string(field.facts.storageName())] = field.in(rec);
    });
    return fields;
}

inline double fieldOf(const ObsRecord& rec, const std::string& name) { return fieldsOf(rec).at(name); }

}  // namespace obs::test
