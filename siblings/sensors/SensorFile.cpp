#include <array>
#include <string>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/sensors/SensorStore.h"

namespace family {
namespace {

constexpr std::size_t kFields = 5;
constexpr std::string_view kHeader = "number,description,latitude_deg,longitude_deg,height_m";
constexpr std::string_view kBlanks = " \t";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Takes the text up to a separator off the front.
std::string_view takeUpTo(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

bool readField(std::string_view field, double& value) { return !field.empty() && readreal(field, 0, value); }

/// What is wrong with a line, or null.
const char* readSensor(std::string_view line, SensorData& sensor) {
    std::array<std::string_view, kFields> fields;
    std::size_t count = 0;
    for (bool more = true; more; ++count) {
        more = line.find(',') != std::string_view::npos;
        const std::string_view field = trimmed(takeUpTo(line, ','));
        if (count < kFields) {
            fields[count] = field;
        }
    }
    if (count != kFields) {
        return "there must be five fields";
    }
    double number = 0, latitudeDeg = 0, longitudeDeg = 0, heightM = 0;
    if (!readField(fields[0], number) || !readField(fields[2], latitudeDeg) ||
        !readField(fields[3], longitudeDeg) || !readField(fields[4], heightM)) {
        return "a number is missing or malformed";
    }
    return makeSensor(number, fields[1], latitudeDeg, longitudeDeg, heightM, sensor);
}

bool readWholeFile(std::string_view name, std::string& content) {
    Unit unit = kNoUnit;
    if (fileopen(name, kOpenRead, unit) != 0) {
        return false;
    }
    std::array<char, 16384> block;
    std::int64_t got = 0;
    while ((got = fileread(unit, block.data(), block.size())) > 0) {
        content.append(block.data(), static_cast<std::size_t>(got));
    }
    fileclose(unit);
    if (got < 0) {
        tracelogerror("FamilyLoadSensors: Cannot read file " + std::string(name));
    }
    return got == 0;
}

bool hasHeader(std::string_view line) {
    std::string compact = compresscsvline(line);
    touppercase(compact.data(), compact.size());
    std::string expected(kHeader);
    touppercase(expected.data(), expected.size());
    return compact == expected;
}

std::string_view takeLine(std::string_view& text) {
    std::string_view line = takeUpTo(text, '\n');
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

bool loadSensors(std::string_view name) {
    std::string content;
    if (!readWholeFile(name, content)) {
        return false;
    }
    std::string_view rest = content;
    if (!hasHeader(takeLine(rest))) {
        tracelogerror("FamilyLoadSensors: The first line of file " + std::string(name) + " must be " +
                      std::string(kHeader));
        return false;
    }
    std::vector<SensorData> sensors;
    bool good = true;
    for (int lineNumber = 2; !rest.empty(); ++lineNumber) {
        const std::string_view line = takeLine(rest);
        if (trimmed(line).empty()) {
            continue;
        }
        SensorData sensor;
        if (const char* wrong = readSensor(line, sensor)) {
            tracelogerror("FamilyLoadSensors: Bad line " + std::to_string(lineNumber) + " of file " +
                          std::string(name) + ": " + wrong);
            good = false;
        } else {
            sensors.push_back(sensor);
        }
    }
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
