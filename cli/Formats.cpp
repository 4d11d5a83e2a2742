// SPDX-License-Identifier: Apache-2.0
#include "Formats.h"

#include <algorithm>
#include <cmath>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Trials.h"

namespace obstool {

namespace {

constexpr double kSecond = 1.0 / 86400.0;           // in days
constexpr double kTenthOfRaSecond = 360.0 / 864000.0;  // in degrees
constexpr double kCanonicalUnit = 6378.137;         // in km, near enough to tell rounding from change

constexpr Precision kOfB3[] = {
    {kTime, 1, "", 1e-3 * kSecond, 0},
    {kElOrDec, 1, "1234589MO", 1e-4, 0},
    {kAzOrRa, 1, "12348M", 1e-4, 0},
    {kAzOrRa, 1, "59O", kTenthOfRaSecond, 0},
    {kRange, 1, "2346MO", 1e-5, 7},
    {kRangeRate, 1, "034", 1e-5, 0},
    {kElRate, 3, "4", 1e-4, 0},
    {kPosition, 3, "89MO", 1e-3, 0},
    {kPosition, 3, "P", 1e-8 * kCanonicalUnit, 0},
    {kPosition, 3, "V", 1e-6, 0},
    {kVelocity, 3, "V", 1e-9, 0},
};
constexpr Precision kOfTty[] = {
    {kTime, 1, "", 1e-3 * kSecond, 0},
    {kElOrDec, 1, "1234589MO", 1e-4, 0},
    {kAzOrRa, 1, "12348M", 1e-4, 0},
    {kAzOrRa, 1, "59O", kTenthOfRaSecond, 0},
    {kRange, 1, "234MO", 1e-5, 7},
    {kRange, 1, "6", 1e-5, 8},
    {kRangeRate, 1, "034", 1e-5, 0},
    {kElRate, 3, "4", 1e-4, 0},
    {kPosition, 3, "89MO", 0, 8},
};
// A line of more than 512 characters has its reals rounded.
constexpr Precision kOfCsv[] = {
    {kElOrDec, kEquinox - kElOrDec, "", 0, 9},
    {kPosition, 3, "89MO", 0, 9},
};
constexpr Precision kOfRf[] = {
    {kTime, 1, "", 1e-6 * kSecond, 0},
    {kRange, 2, "", 0, 11},
};
constexpr double kPicosecond = 299792.458e-12;      // in km
constexpr Precision kOfCrd[] = {
    {kElOrDec, 2, "2", 1e-6, 0},
    {kRange, 1, "", kPicosecond / 2, 0},
};
constexpr std::string_view kCrdRemark =
    "Observations keep no bins, rms, calibration, weather or wavelengths: CRD files are written without them.";

// The save forms of ObsSaveFile and the data types of ObsSaveSlrFile.
enum SaveForm : std::int32_t { kB3, kTty, kCsv, kRf };
enum CrdData : std::int32_t { kFullRate, kNormalPoints };

template <SaveForm form>
std::int32_t saveAs(const char* fileName, std::int32_t saveMode) { return ObsSaveFile(fileName, saveMode, form); }

template <CrdData data>
std::int32_t saveCrd(const char* fileName, std::int32_t saveMode) { return ObsSaveSlrFile(fileName, saveMode, data); }

bool writeB3(std::int64_t key, Cards& cards) {
    std::fill_n(cards.lines[1], Cards::kLength, ' ');
    return ObsGetB3Card(key, cards.lines[0]) == 0;
}
bool writeTty(std::int64_t key, Cards& cards) {
    return ObsGetTTYCard(key, cards.lines[0], cards.lines[1]) == 0;
}
bool writeCsv(std::int64_t key, Cards& cards) {
    std::fill_n(cards.lines[1], Cards::kLength, ' ');
    return ObsGetCsv(key, cards.lines[0]) == 0;
}

double typeNumber(char type) {
    const std::int32_t number = ObsTypeCToI(type);
    return number == 18 || number == 19 ? number - 10 : number;
}

/// NOTE: ObsGetAllFields gives the equinox indicator of types 5 and 9 in the place of the range rate.
bool hasEquinoxForRangeRate(char type) { return type == '5' || type == '9'; }

}  // namespace

constinit const std::array<Format, kFormatCount> kFormats{{
    {"b3", "", "B3 cards", "", saveAs<kB3>, ObsLoadFileGID, tryCards, writeB3, 0, 0, true, false, true, kOfB3},
    {"tty", "", "TTY messages", "", saveAs<kTty>, ObsLoadFileGID, tryCards, writeTty, 2, 0, false, false, true, kOfTty},
    {"csv", "", "CSV lines", "", saveAs<kCsv>, ObsLoadFileGID, tryCards, writeCsv, 0, 0, true, true, true, kOfCsv},
    {"rf", "", "RF lines",
     "Not compared: RF lines give delay 1 to one decimal, delay 2 as a whole number, and the signal-to-noise\n"
     "ratio to two decimals.",
     saveAs<kRf>, ObsLoadFileGID, tryRfLines, nullptr, 0, 1, true, false, false, kOfRf},
    {"crd", "npt", "CRD normal points", kCrdRemark, saveCrd<kNormalPoints>, ObsLoadSlrFileGID, tryCrdFile, nullptr, 0,
     0, true, false, false, kOfCrd},
    {"crd", "frd", "CRD full-rate data", kCrdRemark, saveCrd<kFullRate>, ObsLoadSlrFileGID, tryCrdFile, nullptr, 0, 0,
     true, false, false, kOfCrd},
}};

int Cards::count() const {
    const auto isBlank = [](char c) { return c == ' '; };
    return std::all_of(lines[1], lines[1] + kLength, isBlank) ? 1 : 2;
}

const Format* findFormat(std::string_view name, std::string_view crdData) {
    const auto isMeant = [&](const Format& format) {
        return format.name == name && (format.crdData.empty() || format.crdData == crdData);
    };
    const auto found = std::find_if(kFormats.begin(), kFormats.end(), isMeant);
    return found == kFormats.end() ? nullptr : &*found;
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
    // The elements of the array form that the values are taken from, in the order of ValueIndex.
    static constexpr std::size_t kElements[] = {0,  11, 1,  2,  3,  4,  5,  6,  7,  8,  9, 10,
                                                22, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21};
    static_assert(std::size(kElements) == kValueCount);
    double array[64];
    if (ObsParse(cards.lines[0], cards.lines[1], array) != 0) return false;
    for (std::size_t i = 0; i < kValueCount; ++i) values[i] = array[kElements[i]];
    values[kSecClass] = cards.lines[0][format.classColumn];  // the array knows only three classes
    return true;
}

double halfLastDigit(const Format& format, ValueIndex index, char type, double value) {
    // NOTE: more than a half, since a TTY range below 100 km is rounded twice.
    constexpr double kHalf = 0.56;
    double last = 0;
    for (const Precision& p : format.precision) {
        if (index < p.first || index >= p.first + p.count) continue;
        if (!p.types.empty() && p.types.find(type) == std::string_view::npos) continue;
        last = std::max(last, p.unit);
        if (p.digits == 0 || value == 0) continue;
        const double firstDigit = std::floor(std::log10(std::fabs(value)));
        last = std::max(last, std::pow(10, firstDigit + 1 - p.digits));
    }
    return kHalf * last;
}

}  // namespace obstool
