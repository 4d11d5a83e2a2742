// SPDX-License-Identifier: Apache-2.0
// What the library tells of types and formats; of the groups "fields" and "saving" of the exported header.
#include <algorithm>
#include <cerrno>
#include <string>

#include "DllExports/Obs/ObsDllExports/CallGuard.h"
#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/FileKind.h"
#include "Obs/ObsTypes/FieldList.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"

namespace {

using obs::kStatusOk;
using obs::kStatusRefused;

constexpr std::int32_t kTypes = 20;
constexpr std::size_t kFacts = 16;
constexpr std::int32_t kNoSaveForm = -1;

/// By type.
constexpr std::string_view kTypeNames[kTypes] = {
    "range rate",
    "azimuth, elevation",
    "azimuth, elevation, range",
    "azimuth, elevation, range, range rate",
    "azimuth, elevation, range and their rates",
    "right ascension, declination",
    "range",
    "satellite position and velocity, in the place of the sensor's",
    "azimuth, elevation from a sensor in space",
    "right ascension, declination from a sensor in space",
    "satellite position",
    "satellite position and velocity",
    "",
    "differential range and range rate",
    "",
    "",
    "range",
    "",
    "as 8, with range",
    "as 9, with range",
};

bool refuseType(std::string_view name, std::int32_t type) {
    if (type >= 0 && type < kTypes) return false;
    obs::logFailure(name, "The observation types are numbered 0 to 19.");
    return true;
}

bool refuseFormat(std::string_view name, std::int32_t format) {
    if (obs::findFormat(format).facts != nullptr) return false;
    obs::logFailure(name, "The formats are numbered 0 to " + std::to_string(obs::formatCount() - 1) + ".");
    return true;
}

/// The first bytes of a file. Returns 0 or the system's error number, which was logged.
std::int32_t readHead(std::string_view fileName, std::string& head) {
    head.resize(obs::kHeadBytes);
    family::Unit unit = family::kNoUnit;
    if (const std::int32_t error = family::fileopen(fileName, family::kOpenRead, unit)) return error;
    const std::int64_t read = family::fileread(unit, head.data(), head.size());
    family::fileclose(unit);
    head.resize(read > 0 ? static_cast<std::size_t>(read) : 0);
    return read < 0 ? EIO : kStatusOk;
}

std::int32_t tellKind(std::string_view head, int32_t* kind, int32_t* formats, char name[512]) {
    const auto [found, ofLines] = obs::identify(head);
    *kind = found.number;
    *formats = static_cast<std::int32_t>(ofLines);
    family::strtochararr(found.name, name);
    return kStatusOk;
}

}  // namespace

int32_t ObsGetTypeInfo(int32_t obsType, char* typeChar, char name[512], int32_t carried[64]) {
    if (obs::refuseNull("ObsGetTypeInfo", {typeChar, name, carried})) return kStatusRefused;
    *typeChar = ' ';
    family::strtochararr({}, name);
    std::fill_n(carried, obs::kArrayLength, 0);
    if (refuseType("ObsGetTypeInfo", obsType)) return kStatusRefused;
    *typeChar = family::obstypeinttochar(obsType);
    family::strtochararr(kTypeNames[obsType], name);
    obs::forEachField([&](auto field) {
        constexpr std::int32_t kNoIndex = -1;
        if constexpr (field.facts.element != obs::kNoElement)
            if (field.facts.types.has(obsType) && carried[field.facts.element] == 0)
                carried[field.facts.element] = field.facts.index != 0 ? field.facts.index : kNoIndex;
    });
    for (std::size_t element = obs::kSigmaCountElement; element < obs::kSigmasEnd; ++element) carried[element] = -1;
    return kStatusOk;
}

int32_t ObsIdentifyFile(const char* fileName, int32_t* kind, int32_t* formats, char name[512]) {
    constexpr std::string_view kName = "ObsIdentifyFile";
    if (obs::refuseNull(kName, {fileName, kind, formats, name})) return kStatusRefused;
    *kind = *formats = 0;
    family::strtochararr({}, name);
    return obs::guarded(kName, ENOMEM, [&] {
        std::string head;
        if (const std::int32_t error = readHead(obs::trimmedText(fileName), head)) return error;
        return tellKind(head, kind, formats, name);
    });
}

int32_t ObsIdentifyText(const char* text, int64_t length, int32_t* kind, int32_t* formats, char name[512]) {
    constexpr std::string_view kName = "ObsIdentifyText";
    if (obs::refuseNull(kName, {text, kind, formats, name}) || obs::refuseLength(kName, length)) return kStatusRefused;
    const std::string_view head(text, std::min(static_cast<std::size_t>(length), obs::kHeadBytes));
    return obs::guarded(kName, kStatusRefused, [&] { return tellKind(head, kind, formats, name); });
}

int32_t ObsGetFormatCount(void) { return obs::formatCount(); }

int32_t ObsGetFormatInfo(int32_t format, char name[512], char description[512], int32_t facts[16]) {
    if (obs::refuseNull("ObsGetFormatInfo", {name, description, facts})) return kStatusRefused;
    family::strtochararr({}, name);
    family::strtochararr({}, description);
    std::fill_n(facts, kFacts, 0);
    if (refuseFormat("ObsGetFormatInfo", format)) return kStatusRefused;
    const auto [found, card, dataType] = obs::findFormat(format);
    const obs::FormatFacts& of = *found;
    family::strtochararr(of.name, name);
    family::strtochararr(of.description, description);
    facts[OBS_FORMAT_SAVE_FORM] = card != nullptr ? static_cast<std::int32_t>(card->writing->form) : kNoSaveForm;
    facts[OBS_FORMAT_DATA_TYPE] = dataType;
    facts[OBS_FORMAT_LEAST_LINES] = card != nullptr ? 1 : 0;
    facts[OBS_FORMAT_MOST_LINES] = card == nullptr ? 0 : card->hasSecondLine != nullptr ? 2 : 1;
    facts[OBS_FORMAT_HEADER_LINES] = card != nullptr && !card->writing->headerLine.empty() ? 1 : 0;
    facts[OBS_FORMAT_CLASS_COLUMN] = of.classColumn;
    facts[OBS_FORMAT_MOST_SAT_NUM] = of.mostSatNum;
    facts[OBS_FORMAT_MOST_SEN_NUM] = of.mostSenNum;
    facts[OBS_FORMAT_YEAR] = of.carriesYear;
    facts[OBS_FORMAT_CSV_FIELDS] = of.carriesCsvFields;
    facts[OBS_FORMAT_RF_FIELDS] = of.carriesRfFields;
    facts[OBS_FORMAT_TYPES] = static_cast<std::int32_t>(of.types.bits());
    return kStatusOk;
}

int32_t ObsGetFormatPrecision(int32_t format, int32_t obsType, double units[64], int32_t digits[64]) {
    if (obs::refuseNull("ObsGetFormatPrecision", {units, digits})) return kStatusRefused;
    std::fill_n(units, obs::kArrayLength, 0.0);
    std::fill_n(digits, obs::kArrayLength, 0);
    if (refuseFormat("ObsGetFormatPrecision", format) || refuseType("ObsGetFormatPrecision", obsType))
        return kStatusRefused;
    obs::Elements elements(obsType);
    obs::findFormat(format).facts->fineness(elements);
    for (std::size_t element = 0; element < elements.all().size(); ++element) {
        units[element] = elements.all()[element].unit;
        digits[element] = elements.all()[element].digits;
    }
    return kStatusOk;
}
