// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Sensors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <string>

#include "siblings/include/ForkHold.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/sensors/SensorStore.h"

namespace family {
namespace {

/// Sites that RF lines name without any sensor data. Their positions are not known here:
/// who needs them adds the sensor with its position.
struct BuiltInSite {
    std::int32_t number;
    std::string_view description;
};
constexpr std::array kBuiltInSites{BuiltInSite{1001, "CCH_ESP"}, BuiltInSite{1002, "CDE_ESP"},
                                   BuiltInSite{1003, "CTU_ESP"}};

using SensorMap = std::map<std::int32_t, SensorData>;

std::string_view trimmed(std::string_view text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

std::string_view descriptionOf(const SensorData& sensor) {
    return trimmed({sensor.description, sizeof sensor.description});
}

void setDescription(SensorData& sensor, std::string_view description) {
    const std::size_t length = std::min(description.size(), sizeof sensor.description);
    std::memset(sensor.description, ' ', sizeof sensor.description);
    std::copy_n(description.begin(), length, sensor.description);
}

SensorMap builtInSensors() {
    SensorMap builtIn;
    for (const BuiltInSite& site : kBuiltInSites) {
        SensorData& sensor = builtIn[site.number];
        sensor.number = site.number;
        setDescription(sensor, site.description);
    }
    return builtIn;
}

constinit std::mutex sensorsMutex;

/// Guarded by `sensorsMutex`. Never destroyed: other threads may look sensors up while the process ends.
SensorMap& sensors = *new SensorMap(builtInSensors());

[[maybe_unused]] const int forkHandled = holdAtForks<sensorsMutex>();

bool findSensor(std::int32_t number, SensorData& sensor) {
    const std::lock_guard lock(sensorsMutex);
    const auto found = sensors.find(number);
    if (found == sensors.end()) { return false; }
    sensor = found->second;
    return true;
}

std::int64_t findDescription(std::string_view description) {
    const std::lock_guard lock(sensorsMutex);
    const auto found = std::find_if(sensors.begin(), sensors.end(),
                                    [&](const auto& entry) { return descriptionOf(entry.second) == description; });
    return found != sensors.end() ? found->first : -1;
}

int32_t addSensor(int32_t number, std::string_view description, double latitudeDeg, double longitudeDeg,
                  double heightM) {
    SensorData sensor;
    if (const char* wrong = makeSensor(number, description, latitudeDeg, longitudeDeg, heightM, sensor)) {
        tracelogerror("FamilyAddSensor: " + std::string(wrong));
        return 2;
    }
    storeSensors({sensor});
    return 0;
}

}  // namespace

const char* makeSensor(double number, std::string_view description, double latitudeDeg, double longitudeDeg,
                       double heightM, SensorData& sensor) {
    if (!(number >= 0 && number <= std::numeric_limits<std::int32_t>::max()) || number != std::floor(number)) {
        return "the sensor number must be a whole number, 0 or more";
    }
    if (!(latitudeDeg >= -90 && latitudeDeg <= 90)) { return "the latitude must be -90 to 90 degrees"; }
    if (!(longitudeDeg >= -180 && longitudeDeg <= 360)) { return "the longitude must be -180 to 360 degrees"; }
    if (!std::isfinite(heightM)) { return "the height must be finite"; }
    sensor.number = static_cast<std::int32_t>(number);
    setDescription(sensor, description);
    sensor.latitudeDeg = latitudeDeg;
    sensor.longitudeDeg = longitudeDeg;
    sensor.heightM = heightM;
    sensor.hasPlace = true;
    return nullptr;
}

void storeSensors(const std::vector<SensorData>& added) {
    const std::lock_guard lock(sensorsMutex);
    for (const SensorData& sensor : added) { sensors.insert_or_assign(sensor.number, sensor); }
}

std::int64_t desctokey(std::string_view description) {
    description = trimmed(description.substr(0, sizeof SensorData::description));
    if (description.empty()) { return -1; }
    for (const BuiltInSite& site : kBuiltInSites) {
        if (site.description == description) { return site.number; }
    }
    return findDescription(description);
}

std::int32_t getsendata(std::int32_t number, SensorData& sensor) {
    try {
        if (findSensor(number, sensor)) { return 0; }
        tracelogerror("getsendata: Sensor " + std::to_string(number) + " is not known");
    } catch (...) { tracelogerror("getsendata: Out of memory"); }
    return 2;
}

bool findsendata(std::int32_t number, SensorData& sensor) {
    try {
        return findSensor(number, sensor);
    } catch (...) { return false; }
}

}  // namespace family

using namespace family;

int32_t FamilyAddSensor(int32_t number, const char* description, double latitudeDeg, double longitudeDeg,
                        double heightM) {
    if (description == nullptr) {
        tracelogerror("FamilyAddSensor: no description");
        return 2;
    }
    try {
        return addSensor(number, chararrtostr(description), latitudeDeg, longitudeDeg, heightM);
    } catch (...) {
        tracelogerror("FamilyAddSensor: Out of memory");
        return 2;
    }
}

int32_t FamilyGetSensor(int32_t number, char description[512], double* latitudeDeg, double* longitudeDeg,
                        double* heightM) {
    if (description == nullptr || latitudeDeg == nullptr || longitudeDeg == nullptr || heightM == nullptr) {
        tracelogerror("FamilyGetSensor: no place for a result");
        return 2;
    }
    SensorData sensor;
    const int32_t status = getsendata(number, sensor);
    strtochararr(status == 0 ? descriptionOf(sensor) : std::string_view(), description);
    *latitudeDeg = sensor.latitudeDeg;
    *longitudeDeg = sensor.longitudeDeg;
    *heightM = sensor.heightM;
    return status;
}

int32_t FamilyListSensors(int32_t room, int32_t* numbers, int32_t* count) {
    if (count == nullptr || room < 0 || (room > 0 && numbers == nullptr)) {
        tracelogerror("FamilyListSensors: no place for a result, or a negative room");
        return 2;
    }
    const std::lock_guard lock(sensorsMutex);
    int32_t place = 0;
    for (const auto& [number, sensor] : sensors) {
        if (place < room) { numbers[place] = number; }
        ++place;
    }
    *count = place;
    if (place <= room) { return 0; }
    tracelogerror("FamilyListSensors: There are more sensors than room");
    return 2;
}

void FamilyRemoveSensors(void) {
    try {
        SensorMap builtIn = builtInSensors();
        const std::lock_guard lock(sensorsMutex);
        sensors.swap(builtIn);
    } catch (...) { tracelogerror("FamilyRemoveSensors: Out of memory"); }
}
