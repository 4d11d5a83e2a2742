// SPDX-License-Identifier: Apache-2.0
#include "Formats.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Text.h"
#include "Trials.h"

namespace obstool {

namespace {

constexpr std::string_view kRfRemark =
    "Not compared: RF lines give delay 1 to one decimal, delay 2 as a whole number, and the signal-to-noise\n"
    "ratio to two decimals.";
constexpr std::string_view kCrdRemark =
    "Observations keep no bins, rms, calibration, weather or wavelengths: CRD files are written without them.";

double typeNumber(char type) {
    const std::int32_t number = ObsTypeCToI(type);
    return number == 18 || number == 19 ? number - 10 : number;
}

/// NOTE: ObsGetAllFields gives the equinox indicator of types 5 and 9 in the place of the range rate.
bool hasEquinoxForRangeRate(char type) { return type == '5' || type == '9'; }

Format formatOf(std::int32_t number) {
    Format format;
    format.number = number;
    Text512 name, description;
    ObsGetFormatInfo(number, name.data(), description.data(), format.facts.data());
    format.name = withoutTrailingBlanks({name.data(), kTextLength});
    format.description = withoutTrailingBlanks({description.data(), kTextLength});
    if (!format.hasLines()) {
        constexpr std::string_view kByDataType[] = {"frd", "npt"};
        format.crdData = kByDataType[format.facts[OBS_FORMAT_DATA_TYPE]];
        format.remark = kCrdRemark;
        format.tryOut = tryCrdFile;
    } else if (format.facts[OBS_FORMAT_RF_FIELDS] != 0) {
        format.remark = kRfRemark;
        format.tryOut = tryRfLines;
    }
    return format;
}

/// The elements of the array form that the values are taken from, in the order of ValueIndex.
constexpr std::size_t kElements[] = {0, 11, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 22, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
static_assert(std::size(kElements) == kValueCount);

/// What ObsGetFormatPrecision tells; zeros for a character that names no type.
struct Precision {
    double units[64];
    std::int32_t digits[64];
};

const Precision& precisionOf(const Format& format, char type) {
    static std::map<std::pair<std::int32_t, char>, Precision> asked;
    const auto [at, isNew] = asked.try_emplace({format.number, type});
    const std::int32_t number = ObsTypeCToI(type);
    if (isNew && number >= 0) ObsGetFormatPrecision(format.number, number, at->second.units, at->second.digits);
    return at->second;
}

}  // namespace

std::int32_t Format::load(const char* fileName, std::int32_t group) const {
    return hasLines() ? ObsLoadFileGID(fileName, group) : ObsLoadSlrFileGID(fileName, group);
}

bool Format::write(std::int64_t key, Cards& cards) const {
    return ObsGetLines(key, facts[OBS_FORMAT_SAVE_FORM], cards.lines[0], cards.lines[1]) == 0;
}

std::int32_t Format::save(const char* fileName, std::int32_t saveMode) const {
    return hasLines() ? ObsSaveFile(fileName, saveMode, facts[OBS_FORMAT_SAVE_FORM])
                      : ObsSaveSlrFile(fileName, saveMode, facts[OBS_FORMAT_DATA_TYPE]);
}

bool Format::hasLines() const { return facts[OBS_FORMAT_SAVE_FORM] >= 0; }

bool Format::carriesYear() const { return facts[OBS_FORMAT_YEAR] != 0; }

bool Format::carriesCsvFields() const { return facts[OBS_FORMAT_CSV_FIELDS] != 0; }

bool Format::dropsRfFields() const { return facts[OBS_FORMAT_RF_FIELDS] == 0 && hasLines(); }

const std::vector<Format>& formats() {
    static const std::vector<Format> all = [] {
        std::vector<Format> found;
        for (std::int32_t number = 0; number < ObsGetFormatCount(); ++number) found.push_back(formatOf(number));
        return found;
    }();
    return all;
}

int Cards::count() const {
    const auto isBlank = [](char c) { return c == ' '; };
    return std::all_of(lines[1], lines[1] + kLength, isBlank) ? 1 : 2;
}

const Format* findFormat(std::string_view name, std::string_view crdData) {
    const auto isMeant = [&](const Format& format) {
        return format.name == name && (format.crdData.empty() || format.crdData == crdData);
    };
    const auto found = std::find_if(formats().begin(), formats().end(), isMeant);
    return found == formats().end() ? nullptr : &*found;
}

bool isAbsent(ValueIndex index, double value, double satellite) {
    constexpr double kNotGiven = 9;
    if (index == kIndicator2) return value == 0 || value == kNotGiven;
    if (index == kAltSatNum1 || index == kAltSatNum2) return value == 0 || value == satellite;
    return false;
}

Values valuesOf(const Observation& o) {
    Values values{};
    values[kSecClass] = o.secClass;
    values[kType] = typeNumber(o.type);
    values[kSatellite] = o.satellite;
    values[kSensor] = o.sensor;
    values[kTime] = o.time;
    values[kElOrDec] = o.elOrDec;
    values[kAzOrRa] = o.azOrRa;
    values[kRange] = o.range;
    values[hasEquinoxForRangeRate(o.type) ? kEquinox : kRangeRate] = o.rangeRate;
    values[kElRate] = o.elRate;
    values[kAzRate] = o.azRate;
    values[kRangeAccel] = o.rangeAccel;
    values[kIndicator1] = o.indicator1;
    values[kIndicator2] = o.indicator2;
    values[kAltSatNum1] = o.altSatNum1;
    values[kAltSatNum2] = o.altSatNum2;
    std::copy_n(o.pos, 3, values.begin() + kPosition);
    std::copy_n(o.vel, 3, values.begin() + kVelocity);
    return values;
}

bool readBack(const Format& format, const Cards& cards, Values& values) {
    double array[64];
    if (ObsParse(cards.lines[0], cards.lines[1], array) != 0) return false;
    for (std::size_t i = 0; i < kValueCount; ++i) values[i] = array[kElements[i]];
    values[kSecClass] =
        cards.lines[0][format.facts[OBS_FORMAT_CLASS_COLUMN] - 1];  // the array knows only three classes
    return true;
}

double halfLastDigit(const Format& format, ValueIndex index, char type, double value) {
    // NOTE: more than a half, since a TTY range below 100 km is rounded twice.
    constexpr double kHalf = 0.56;
    const Precision& precision = precisionOf(format, type);
    const std::size_t element = kElements[index];
    const int digits = precision.digits[element];
    double last = std::max(0.0, precision.units[element]);
    if (digits > 0 && value != 0) {
        const double firstDigit = std::floor(std::log10(std::fabs(value)));
        last = std::max(last, std::pow(10, firstDigit + 1 - digits));
    }
    return kHalf * last;
}

}  // namespace obstool
