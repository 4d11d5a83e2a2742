// SPDX-License-Identifier: Apache-2.0
/// @file
/// Sensors, Earth orientation, and what is known of the library itself.

#include <ObsDllExports.h>
#include <ObsFamily.h>
#include <dlfcn.h>
#include <link.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "Call.h"

namespace obslib {

namespace {

constexpr size_t kDescriptionLength = 24;

void refuseUnless(int32_t result) {
    if (result != 0) throw Refused(lastError());
}

void addSensor(int32_t number, const std::string& description, double latitude, double longitude, double height) {
    const std::string text = lineText(description);
    if (text.size() > kDescriptionLength) throw Refused("a description is longer than 24 characters");
    refuseUnless(FamilyAddSensor(number, text.c_str(), latitude, longitude, height));
}

nb::tuple getSensor(int32_t number) {
    char description[kTextLength];
    double latitude = 0, longitude = 0, height = 0;
    if (FamilyGetSensor(number, description, &latitude, &longitude, &height) != 0) throw KeyUnknown(lastError());
    return nb::make_tuple(given(description), latitude, longitude, height);
}

std::vector<int32_t> sensorNumbers() {
    int32_t count = 1 << 12;
    for (std::vector<int32_t> numbers;;) {
        numbers.resize(static_cast<size_t>(count));
        const auto room = count;
        const int32_t result = FamilyListSensors(room, numbers.data(), &count);
        if (result != 0 && count <= room) throw Refused(lastError());
        numbers.resize(static_cast<size_t>(std::min(room, count)));
        if (result == 0) return numbers;
    }
}

void loadSensors(const nb::bytes& path) {
    const std::string name = nameText({path.c_str(), path.size()});
    const Exclusive exclusive;
    refuseUnless(FamilyLoadSensors(name.c_str()));
}

void loadEarthOrientation(const nb::bytes& path) {
    const std::string name = nameText({path.c_str(), path.size()});
    const Exclusive exclusive;
    refuseUnless(FamilyLoadEarthOrientation(name.c_str()));
}

void setEarthOrientation(double dut1, double xp, double yp, double lod) {
    refuseUnless(FamilySetEarthOrientation(dut1, xp, yp, lod));
}

std::string info() {
    char text[kTextLength];
    ObsGetInfo(text);
    return given(text);
}

/// The files of every library of this name that the process has loaded, ours first.
std::vector<std::string> libraries() {
    Dl_info ours{};
    dladdr(reinterpret_cast<const void*>(&ObsGetInfo), &ours);
    struct Found {
        std::vector<std::string> names;
        std::set<std::pair<dev_t, ino_t>> files;
        void add(const char* name) {
            struct stat file {};
            if (name == nullptr || stat(name, &file) != 0 || !files.emplace(file.st_dev, file.st_ino).second) return;
            char* whole = realpath(name, nullptr);
            names.emplace_back(whole != nullptr ? whole : name);
            std::free(whole);  // NOLINT(cppcoreguidelines-no-malloc)
        }
    } found;
    found.add(ours.dli_fname);
    dl_iterate_phdr(
        [](dl_phdr_info* object, size_t, void* user) {
            const std::string_view name = object->dlpi_name != nullptr ? object->dlpi_name : "";
            const std::string_view file = name.substr(name.rfind('/') + 1);
            if (file.starts_with("libObs.so")) static_cast<Found*>(user)->add(object->dlpi_name);
            return 0;
        },
        &found);
    return found.names;
}

}  // namespace

void bindFamily(nb::module_& m) {
    define(m, "add_sensor", addSensor, nb::arg("number"), nb::arg("description"), nb::arg("latitude_deg"),
           nb::arg("longitude_deg"), nb::arg("height_m"));
    define(m, "sensor", getSensor, nb::arg("number"),
           nb::sig("def sensor(number: int) -> tuple[str, float, float, float]"));
    define(m, "sensor_numbers", sensorNumbers);
    define(m, "load_sensors", loadSensors, nb::arg("path"));
    define(m, "remove_sensors", FamilyRemoveSensors);
    define(m, "load_earth_orientation", loadEarthOrientation, nb::arg("path"));
    define(m, "set_earth_orientation", setEarthOrientation, nb::arg("dut1_s"), nb::arg("xp_arcsec"),
           nb::arg("yp_arcsec"), nb::arg("lod_s"));
    define(m, "info", info);
    define(m, "libraries", libraries);
}

}  // namespace obslib
