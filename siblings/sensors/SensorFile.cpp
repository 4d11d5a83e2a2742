// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/sensors/SensorStore.h"
#include "siblings/services/SettingsFile.h"

namespace family {
namespace {

constexpr std::string_view kHeader = "number,description,latitude_deg,longitude_deg,height_m";

/// What is wrong with a line, or null.
const char* readSensor(std::span<const std::string_view> fields, SensorData& sensor) {
    double number = 0, latitudeDeg = 0, longitudeDeg = 0, heightM = 0;
    if (!readsetting(fields[0], number) || !readsetting(fields[2], latitudeDeg) ||
        !readsetting(fields[3], longitudeDeg) || !readsetting(fields[4], heightM)) {
        return "a number is missing or malformed";
    }
    return makeSensor(number, fields[1], latitudeDeg, longitudeDeg, heightM, sensor);
}

bool loadSensors(std::string_view name) {
    std::vector<SensorData> sensors;
    const auto take = [&sensors](std::span<const std::string_view> fields) {
        SensorData sensor;
        const char* wrong = readSensor(fields, sensor);
        if (wrong == nullptr) { sensors.push_back(sensor); }
        return wrong;
    };
    const bool good = readsettingsfile("FamilyLoadSensors", name, kHeader, BadLines::LeaveOut, take);
    storeSensors(sensors);
    return good;
}

}  // namespace
}  // namespace family

int32_t FamilyLoadSensors(const char* fileName) {
    if (fileName == nullptr) {
        family::tracelogerror("FamilyLoadSensors: no file name");
        return 2;
    }
    try {
        return family::loadSensors(family::chararrtostr(fileName)) ? 0 : 2;
    } catch (...) {
        family::tracelogerror("FamilyLoadSensors: Out of memory");
        return 2;
    }
}
