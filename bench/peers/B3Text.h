// SPDX-License-Identifier: Apache-2.0
/// B3 cards as the peers read and write them. The card's layout stands here once; how a number
/// becomes a field and back is the peer's own: `Naive...` as a first version would have it (substr,
/// stoi, strtod, snprintf), `Chars...` with from_chars and to_chars.
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bench/peers/Record.h"

namespace peers {

inline constexpr std::size_t kCardColumns = 90;
inline constexpr double kPowerOfTen[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
inline constexpr std::string_view kAlpha5 = "0123456789ABCDEFGHJKLMNPQRSTUVWXYZ";

// ---- reading -------------------------------------------------------------------------------

class NaiveFields {
public:
    explicit NaiveFields(const std::string& line) : line_(line) {}
    bool failed = false;

    char at(std::size_t column) const { return line_[column]; }
    int integer(std::size_t at, std::size_t width) {
        const std::string text = line_.substr(at, width);
        if (text.find_first_not_of(' ') == std::string::npos) return 0;
        try {
            std::size_t used = 0;
            const int value = std::stoi(text, &used);
            failed = failed || used != text.size();
            return value;
        } catch (const std::exception&) {
            failed = true;
            return 0;
        }
    }
    double number(std::size_t at, std::size_t width, int decimals) { return real(line_.substr(at, width), decimals); }
    double signedNumber(std::size_t at, std::size_t width, int decimals) {
        std::string text = line_.substr(at, width);
        if (text[0] >= 'J' && text[0] <= 'R')
            text = std::string{'-', static_cast<char>(text[0] - 'J' + '1')} + text.substr(1);
        return real(text, decimals);
    }

private:
    double real(const std::string& text, int decimals) {
        if (text.find_first_not_of(' ') == std::string::npos) return 0;
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        failed = failed || *end != '\0';
        return value / kPowerOfTen[decimals];
    }
    const std::string& line_;
};

class CharsFields {
public:
    explicit CharsFields(std::string_view line) : line_(line) {}
    bool failed = false;

    char at(std::size_t column) const { return line_[column]; }
    int integer(std::size_t at, std::size_t width) { return digits(line_.data() + at, line_.data() + at + width); }
    double number(std::size_t at, std::size_t width, int decimals) {
        return integer(at, width) / kPowerOfTen[decimals];
    }
    double signedNumber(std::size_t at, std::size_t width, int decimals) {
        const char* const first = line_.data() + at;
        const char* const last = first + width;
        int value = 0;
        if (*first >= 'J' && *first <= 'R')
            value = -(*first - 'J' + 1) * static_cast<int>(kPowerOfTen[width - 1]) - digits(first + 1, last);
        else value = *first == '-' ? -digits(first + 1, last) : digits(first, last);
        return value / kPowerOfTen[decimals];
    }

private:
    int digits(const char* first, const char* last) {
        first = std::find_if(first, last, [](char c) { return c != ' '; });
        if (first == last) return 0;
        first += *first == '+';
        int value = 0;
        const auto [end, error] = std::from_chars(first, last, value);
        failed = failed || error != std::errc{} || end != last;
        return value;
    }
    std::string_view line_;
};

template <class Fields>
int readSatellite(Fields& f, std::size_t at) {
    const char first = f.at(at);
    if (first <= '9') return f.integer(at, 5);
    const std::size_t letter = kAlpha5.find(first);
    f.failed = f.failed || letter == kAlpha5.npos;
    return static_cast<int>(letter) * 10000 + f.integer(at + 1, 4);
}

template <class Fields>
double readTime(Fields& f) {
    const int twoDigits = f.integer(9, 2), day = f.integer(11, 3);
    const int hour = f.integer(14, 2), minute = f.integer(16, 2);
    const double second = f.number(18, 5, 3);
    const int year = twoDigits < 57 ? 2000 + twoDigits : 1900 + twoDigits;
    if (day < 1 || day > (isLeapYear(year) ? 366 : 365)) f.failed = true;
    if (hour > 23 || minute > 59 || second >= 60) f.failed = true;
    return daysBeforeYear(year) + day + (hour * 3600 + minute * 60 + second) / 86400.0;
}

template <class Fields>
double readRightAscension(Fields& f) {
    const int hours = f.integer(30, 2), minutes = f.integer(32, 2);
    return f.number(34, 3, 1) / 240 + 0.25 * minutes + 15.0 * hours;
}

/// A B3 card of one of the types 0-6, 8, 9 (no equinox digit, no B3E card).
/// @return false for a card that cannot be read.
template <class Fields>
bool readCard(Fields f, Record& r) {
    r.secClass = f.at(0);
    r.satNum = readSatellite(f, 1);
    r.senNum = f.integer(6, 3);
    r.obsTime = readTime(f);
    r.obsType = f.at(74) - '0';
    r.indicator1 = f.integer(76, 1);
    r.indicator2 = f.integer(79, 1);
    r.altSatNum1 = readSatellite(f, 80);
    r.altSatNum2 = readSatellite(f, 85);
    const bool withPosition = r.obsType == 8 || r.obsType == 9;
    r.elOrDec = f.signedNumber(23, 6, 4);
    r.azOrRa = r.obsType == 5 || r.obsType == 9 ? readRightAscension(f) : f.number(30, 7, 4);
    if (const int mantissa = f.integer(38, 7); mantissa != 0) {
        const int exponent = f.integer(45, 1);
        r.range = exponent >= 5 ? mantissa * kPowerOfTen[exponent - 5] : mantissa / kPowerOfTen[5 - exponent];
        if (withPosition) r.obsType += 10;
    }
    if (withPosition) {
        for (std::size_t i = 0; i < 3; ++i) r.senPos[i] = f.number(46 + 9 * i, 9, 3);
        return !f.failed;
    }
    r.rangeRate = f.signedNumber(47, 7, 5);
    if (r.obsType == 4) {
        r.elRate = f.signedNumber(55, 5, 4);
        r.azRate = f.signedNumber(61, 5, 4);
        r.rangeAccel = f.signedNumber(67, 5, 4);
    }
    return !f.failed && r.obsType >= 0 && r.obsType <= 9 && r.obsType != 7;
}

// ---- writing -------------------------------------------------------------------------------

struct NaiveNumbers {
    /// Zero-filled integers side by side, from pairs of width and value.
    template <class... Ints>
    static void integers(char* at, Ints... widthsAndValues) {
        constexpr const char* kFormats = "%0*d%0*d%0*d%0*d%0*d";
        char text[64];
        const int length =
            std::snprintf(text, sizeof text, kFormats + 4 * (5 - sizeof...(Ints) / 2), widthsAndValues...);
        std::memcpy(at, text, static_cast<std::size_t>(length));
    }
};

struct CharsNumbers {
    static void integers(char*) {}
    template <class... Ints>
    static void integers(char* at, int width, int value, Ints... more) {
        char text[24];
        const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
        const auto length = static_cast<std::size_t>(end - text), columns = static_cast<std::size_t>(width);
        std::memset(at, '0', columns - length);
        std::memcpy(at + columns - length, text, length);
        integers(at + width, more...);
    }
};

/// The digits of |value| without the point.
inline int scaled(double value, int decimals) {
    return static_cast<int>(std::lround(std::fabs(value) * kPowerOfTen[decimals]));
}

template <class Numbers>
void writeSatellite(char* at, int number) {
    at[0] = kAlpha5[static_cast<std::size_t>(number / 10000)];
    Numbers::integers(at + 1, 4, number % 10000);
}

template <class Numbers>
void writeSigned(char* at, int width, int decimals, double value) {
    Numbers::integers(at, width, scaled(value, decimals));
    if (value < 0) at[0] = at[0] == '0' ? '-' : static_cast<char>('J' + (at[0] - '1'));
}

template <class Numbers>
void writeTime(char* at, double obsTime) {
    const int year = yearOf(obsTime);
    const long long ms = std::llround((obsTime - daysBeforeYear(year) - 1) * 86400000.0);
    Numbers::integers(at, 2, year % 100, 3, static_cast<int>(ms / 86400000) + 1,                     //
                      2, static_cast<int>(ms / 3600000 % 24), 2, static_cast<int>(ms / 60000 % 60),  //
                      5, static_cast<int>(ms % 60000));
}

template <class Numbers>
void writeRange(char* at, double range) {
    int exponent = 0;
    while (range >= kPowerOfTen[exponent + 2] && exponent < 5) ++exponent;
    Numbers::integers(at, 7, scaled(range, 5 - exponent), 1, exponent);
}

/// Fills 90 columns. As the product writes them: the second indicator 9 is left blank.
template <class Numbers>
void writeCard(const Record& r, char* c) {
    std::memset(c, ' ', kCardColumns);
    const int type = r.obsType >= 18 ? r.obsType - 10 : r.obsType;
    const bool withPosition = type == 8 || type == 9;
    c[0] = r.secClass;
    writeSatellite<Numbers>(c + 1, r.satNum);
    Numbers::integers(c + 6, 3, r.senNum % 1000);
    writeTime<Numbers>(c + 9, r.obsTime);
    if (type != 0 && type != 6) {
        writeSigned<Numbers>(c + 23, 6, 4, r.elOrDec);
        if (type == 5 || type == 9) {
            const int tenths = static_cast<int>(std::lround(r.azOrRa * 2400)) % 864000;
            Numbers::integers(c + 30, 2, tenths / 36000, 2, tenths / 600 % 60, 3, tenths % 600);
        } else {
            Numbers::integers(c + 30, 7, scaled(r.azOrRa, 4));
        }
    }
    if ((type >= 2 && type <= 4) || type == 6 || r.obsType >= 18) writeRange<Numbers>(c + 38, r.range);
    if (type == 0 || type == 3 || type == 4) writeSigned<Numbers>(c + 47, 7, 5, r.rangeRate);
    if (type == 4) {
        writeSigned<Numbers>(c + 55, 5, 4, r.elRate);
        writeSigned<Numbers>(c + 61, 5, 4, r.azRate);
        writeSigned<Numbers>(c + 67, 5, 4, r.rangeAccel);
    }
    if (withPosition)
        for (std::size_t i = 0; i < 3; ++i) {
            c[46 + 9 * i] = r.senPos[i] < 0 ? '-' : '+';
            Numbers::integers(c + 47 + 9 * i, 8, scaled(r.senPos[i], 3));
        }
    Numbers::integers(c + 74, 1, type);
    Numbers::integers(c + 76, 1, r.indicator1);
    if (r.indicator2 != 9) Numbers::integers(c + 79, 1, r.indicator2);
    writeSatellite<Numbers>(c + 80, r.altSatNum1);
    writeSatellite<Numbers>(c + 85, r.altSatNum2);
}

}  // namespace peers
