// SPDX-License-Identifier: Apache-2.0
// The looks as lines of text, in every form.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "tools/deck/Deck.h"

namespace deck {

namespace {

bool hasRightAscension(int type) { return type == 5 || type == 9; }
bool hasSensorPosition(int type) { return type == 8 || type == 9; }
bool hasAngles(int type) { return type != 0 && type != 6; }
bool hasRangeRate(int type) { return type == 0 || type == 3 || type == 4; }
bool hasRange(const Look& look) {
    return (look.type >= 2 && look.type <= 4) || look.type == 6 || (hasSensorPosition(look.type) && look.withRange);
}

// ---- the digits after those of a B3 card ---------------------------------------------------------

int fineMicros(const Look& look) { return look.asB3e ? static_cast<int>(look.fine % 1000) : 0; }
/// 1e-6 degrees.
int fineDegrees(const Look& look) { return look.asB3e ? static_cast<int>(look.fine / 1000 % 100) : 0; }
/// 1e-5 seconds of time.
int fineSeconds(const Look& look) { return look.asB3e ? static_cast<int>(look.fine / 100000 % 10000) : 0; }

// ---- B3 and B3E cards --------------------------------------------------------------------------------

void digits(char* at, int width, std::int64_t value) {
    for (int i = width - 1; i >= 0; --i, value /= 10) at[i] = static_cast<char>('0' + value % 10);
}

/// A negative number begins with J to R for 1 to 9, and with "-" in place of a leading zero.
void signedDigits(char* at, int width, int value) {
    digits(at, width, std::abs(value));
    if (value < 0) at[0] = at[0] == '0' ? '-' : static_cast<char>('J' + (at[0] - '1'));
}

void satellite(char* at, int number) {
    at[0] = "0123456789ABCDEFGHJKLMNPQRSTUVWXYZ"[number / 10000];
    digits(at + 1, 4, number % 10000);
}

/// DDDHHMMSS, the nine columns that all cards share.
void dayToSeconds(char* at, std::int64_t msOfYear) {
    digits(at, 3, msOfYear / kMsPerDay + 1);
    digits(at + 3, 2, msOfYear / 3600000 % 24);
    digits(at + 5, 2, msOfYear / 60000 % 60);
    digits(at + 7, 2, msOfYear / 1000 % 60);
}

void hoursAndMinutes(char* at, int rightAscension) {
    digits(at, 2, rightAscension / 36000);
    digits(at + 2, 2, rightAscension / 600 % 60);
}

void tail(char* columns, const Look& look) {
    columns[74] = static_cast<char>('0' + look.type);
    if (look.equinox != 0) columns[75] = static_cast<char>('0' + look.equinox);
    columns[76] = columns[79] = static_cast<char>('0' + look.indicator);
    satellite(columns + 80, look.sat);
    satellite(columns + 85, look.sat);
}

std::string b3Card(const Look& look, int year) {
    std::string text(90, ' ');
    char* const c = text.data();
    c[0] = 'U';
    satellite(c + 1, look.sat);
    digits(c + 6, 3, look.sen);
    digits(c + 9, 2, year % 100);
    dayToSeconds(c + 11, look.msOfYear);
    digits(c + 20, 3, look.msOfYear % 1000);
    if (hasAngles(look.type)) {
        signedDigits(c + 23, 6, look.elevation);
        if (hasRightAscension(look.type)) {
            hoursAndMinutes(c + 30, look.rightAscension);
            digits(c + 34, 3, look.rightAscension % 600);
        } else {
            digits(c + 30, 7, look.azimuth);
        }
    }
    if (hasRange(look)) {
        digits(c + 38, 7, look.mantissa);
        digits(c + 45, 1, look.exponent);
    }
    if (hasRangeRate(look.type)) signedDigits(c + 47, 7, look.rangeRate);
    if (look.type == 4)
        for (std::size_t i = 0; i < 3; ++i) signedDigits(c + 55 + 6 * i, 5, look.rates[i]);
    if (hasSensorPosition(look.type))
        for (std::size_t i = 0; i < 3; ++i) {
            c[46 + 9 * i] = look.senPos[i] < 0 ? '-' : '+';
            digits(c + 47 + 9 * i, 8, std::abs(look.senPos[i]));
        }
    tail(c, look);
    return text;
}

std::string b3eCard(const Look& look, int year) {
    std::string text(90, ' ');
    char* const c = text.data();
    const int dec = std::abs(look.elevation) * 100 + fineDegrees(look);
    std::copy_n("B3E", 3, c);
    satellite(c + 3, look.sat);
    digits(c + 8, 3, look.sen);
    digits(c + 11, 2, year % 100);
    dayToSeconds(c + 13, look.msOfYear);
    c[22] = '.';
    digits(c + 23, 3, look.msOfYear % 1000);
    digits(c + 26, 3, fineMicros(look));
    if (look.elevation < 0) c[30] = '-';
    digits(c + 31, 2, dec / 1000000);
    c[33] = '.';
    digits(c + 34, 6, dec % 1000000);
    hoursAndMinutes(c + 41, look.rightAscension);
    digits(c + 45, 2, look.rightAscension % 600 / 10);
    c[47] = '.';
    digits(c + 48, 1, look.rightAscension % 10);
    digits(c + 49, 4, fineSeconds(look));
    c[53] = '0';
    tail(c, look);
    return text;
}

// ---- TTY messages --------------------------------------------------------------------------------------

/// A sign column, "1" below zero, and digits.
void signColumn(char* at, int width, int value) {
    at[0] = value < 0 ? '1' : '0';
    digits(at + 1, width, std::abs(value));
}

/// Metres as 0.dddddddd and a power of ten.
void ttyPosition(char* at, int metres) {
    int exponent = 8, mantissa = metres;
    for (; std::abs(mantissa) < 10000000; mantissa *= 10) --exponent;
    signColumn(at, 8, mantissa);
    digits(at + 9, 1, exponent);
}

void ttyTime(char* at, const Look& look) {
    dayToSeconds(at, look.msOfYear);
    digits(at + 9, 3, look.msOfYear % 1000);
}

/// From the column of the sign on, where both cards go on alike.
void ttyAngles(char* at, const Look& look) {
    signColumn(at, 6, look.elevation);
    if (hasRightAscension(look.type)) {
        hoursAndMinutes(at + 8, look.rightAscension);
        digits(at + 12, 3, look.rightAscension % 600);
    } else {
        digits(at + 8, 7, look.azimuth);
    }
}

void ttyRange(char* at, const Look& look) {
    digits(at, 7, look.mantissa);
    digits(at + 7, 1, look.exponent);
}

void ttyCard1Values(char* c, const Look& look) {
    ttyTime(c + 16, look);
    if (hasAngles(look.type)) ttyAngles(c + 28, look);
    if (look.type == 0) signColumn(c + 28, 7, look.rangeRate);
    if (look.type == 2 || look.type == 3) ttyRange(c + 44, look);
    if (look.type == 3) signColumn(c + 53, 7, look.rangeRate);
    if (look.type == 5) c[44] = static_cast<char>('0' + look.equinox);
    if (look.type == 6) {
        digits(c + 28, 8, std::int64_t{look.mantissa} * 10);
        digits(c + 36, 1, look.exponent - 1);
    }
}

void ttyCard2Values(char* c, const Look& look) {
    ttyTime(c, look);
    ttyAngles(c + 12, look);
    if (look.type == 9) c[28] = static_cast<char>('0' + look.equinox);
    if (hasRange(look)) ttyRange(c + (look.type == 9 ? 29 : 28), look);
    if (look.type == 4) {
        signColumn(c + 37, 7, look.rangeRate);
        for (std::size_t i = 0; i < 3; ++i) signColumn(c + 46 + 7 * i, 5, look.rates[i]);
    } else {
        for (std::size_t i = 0; i < 3; ++i) ttyPosition(c + 38 + 10 * i, look.senPos[i]);
    }
}

/// A card cut after its values, which end with a mark.
std::string ttyCard(std::string text, const char* endMark) {
    text.resize(text.find_last_not_of(' ') + 1);
    return text += endMark;
}

std::string ttyMessage(const Look& look) {
    std::string card1(80, ' ');
    char* const c = card1.data();
    std::copy_n("))U", 3, c);
    digits(c + 6, 1, look.indicator);
    digits(c + 7, 1, look.type);
    digits(c + 8, 3, look.sen);
    satellite(c + 11, look.sat);
    const bool oneCard = look.type < 4 || look.type == 5 || look.type == 6;
    if (oneCard) return ttyCard1Values(c, look), ttyCard(card1, look.type == 5 ? " $$" : "  $$");
    std::string card2(80, ' ');
    ttyCard2Values(card2.data(), look);
    return ttyCard(card1, "") + "\n" + ttyCard(card2, "  $$");
}

// ---- CSV lines -----------------------------------------------------------------------------------------

/// Puts fields one after the other; a real as the shortest text that gives it back.
class CsvText {
public:
    explicit CsvText(char secClass) : text_(1, secClass) {}
    template <class Number>
    CsvText& operator<<(Number number) {
        char digits[32];
        text_ += ',';
        text_.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
        return *this;
    }
    CsvText& operator<<(const char* fields) { return text_ += ',', text_ += fields, *this; }
    std::string text() && { return std::move(text_); }

private:
    std::string text_;
};

double rangeKm(const Look& look) {
    constexpr double kUnits[] = {1e5, 1e4, 1e3, 1e2, 1e1};
    return look.mantissa / kUnits[look.exponent];
}

/// Summed as the readers of the cards do, so that the last bit agrees.
double rightAscensionDegrees(const Look& look) {
    const double seconds = (look.rightAscension % 600 * 10000 + fineSeconds(look)) / 1e5;
    return seconds / 240.0 + 0.25 * (look.rightAscension / 600 % 60) + 15.0 * (look.rightAscension / 36000);
}

double degrees(const Look& look) {
    const int size = std::abs(look.elevation) * 100 + fineDegrees(look);
    return (look.elevation < 0 ? -size : size) / 1e6;
}

void csvAngles(CsvText& line, const Look& look) {
    const bool withRates = look.type == 4;
    if (hasRightAscension(look.type)) line << "0,0" << degrees(look) << "0,0,0" << rightAscensionDegrees(look) << 0;
    else if (hasAngles(look.type))
        line << degrees(look) << (withRates ? look.rates[0] / 1e4 : 0.0) << "0,0" << look.azimuth / 1e4
             << (withRates ? look.rates[1] / 1e4 : 0.0) << "0,0";
    else line << "0,0,0,0,0,0,0,0";
}

std::string csvLine(const Look& look, int year) {
    const std::int64_t ms = look.msOfYear;
    CsvText line('U');
    line << look.sat << look.sen << year << ms / kMsPerDay + 1 << ms / 3600000 % 24 << ms / 60000 % 60
         << static_cast<double>(ms % 60000 * 1000 + fineMicros(look)) / 1e6;
    csvAngles(line, look);
    line << (hasRange(look) ? rangeKm(look) : 0.0) << (hasRangeRate(look.type) ? look.rangeRate / 1e5 : 0.0)
         << (look.type == 4 ? look.rates[2] / 1e4 : 0.0);
    const bool inSpace = hasSensorPosition(look.type);
    line << look.type + (inSpace && look.withRange ? 10 : 0);
    for (const int metres : look.senPos) line << (inSpace ? metres / 1e3 : 0.0);
    line << look.indicator << look.indicator << look.sat << look.sat << ",0:0,0,0,0,0,0,0,0,0,0,0,0,0,0:0,0"
         << look.equinox << "1,0,0,0,0,0,0,0,0,0,0,0";
    return std::move(line).text();
}

// ---- RF lines ------------------------------------------------------------------------------------------

std::string rfTime(std::int64_t msOfYear, int micros, int year) {
    using namespace std::chrono;
    const year_month_day date{sys_days{std::chrono::year{year} / January / 1} + days{msOfYear / kMsPerDay}};
    std::string text(28, ' ');
    std::copy_n("    :  :  ::  :  :  .", 21, text.data());
    digits(text.data(), 4, static_cast<int>(date.year()));
    digits(text.data() + 5, 2, static_cast<unsigned>(date.month()));
    digits(text.data() + 8, 2, static_cast<unsigned>(date.day()));
    digits(text.data() + 12, 2, msOfYear / 3600000 % 24);
    digits(text.data() + 15, 2, msOfYear / 60000 % 60);
    digits(text.data() + 18, 2, msOfYear / 1000 % 60);
    digits(text.data() + 21, 6, msOfYear % 1000 * 1000 + micros);
    return text;
}

constexpr const char* kRfSites[] = {"CCH_ESP", "CDE_ESP", "CTU_ESP"};

std::string rfLine(const Look& look, int year) {
    constexpr std::int64_t kProcessingMs = 45000;
    const int fine = static_cast<int>(look.fine % 100000000);
    const int site2 = look.sen % 3;
    char rest[192];
    std::snprintf(rest, sizeof rest, "  %17.10E%19.12E  %17.10E%19.12E %-8s%3.1f %-8s%3d %05d %11lld ",
                  rangeKm(look) * 1e3, (fine % 900 + 100) / 1e2, look.rangeRate / 1e2, (fine % 90 + 10) / 1e4,
                  kRfSites[(site2 + 1 + fine % 2) % 3], fine % 100 / 1e1, kRfSites[site2], fine % 1000, look.sat,
                  2200000000LL + fine);
    std::string line = rfTime(look.msOfYear, fineMicros(look), year) + rest +
                       rfTime(look.msOfYear + kProcessingMs, fineMicros(look), year);
    std::snprintf(rest, sizeof rest, "     %5.2f %d %d R", fine % 4000 / 1e2, fine % 2, fine % 10);
    return line + rest;
}

}  // namespace

Form formOf(const Look& look, Form ofDeck) {
    constexpr Form kTurns[] = {Form::b3, Form::tty, Form::rf, Form::csv};
    return ofDeck == Form::mixed ? kTurns[look.track % 4] : ofDeck;
}

std::string header(Form form, int year) {
    std::string text;
    if (form == Form::tty || form == Form::mixed) text += "TTY_YEAR " + std::to_string(year) + "\n";
    if (form == Form::rf || form == Form::mixed)
        text +=
            "# date  drange  drange_sigma  drange_rate  drange_rate_sigma  site1  delay1  site2  delay2  "
            "norad  rf  processtime  snr  flags fdoa_dot  reserved\n";
    return text;
}

std::string message(const Look& look, Form form, int year) {
    switch (formOf(look, form)) {
        case Form::tty: return ttyMessage(look);
        case Form::csv: return csvLine(look, year);
        case Form::rf: return rfLine(look, year);
        default: return look.asB3e ? b3eCard(look, year) : b3Card(look, year);
    }
}

void setCsvFields(std::string& line, int first, int count, std::string_view text) {
    std::size_t from = 0;
    for (; first > 1; --first) from = line.find(',', from) + 1;
    std::size_t to = from;
    for (; count > 0; --count) to = line.find(',', to + 1);
    line.replace(from, to - from, text);
}

void damage(std::string& message, Form form, Random& random) {
    const bool first = random.chance(0.5);
    const std::size_t lineEnd = message.find('\n');
    switch (form) {
        case Form::tty:
            if (first) message[8] = 'X';                                          // sensor
            else message[lineEnd == std::string::npos ? 19 : lineEnd + 4] = 'X';  // hour
            return;
        case Form::csv:
            if (first) message[2] = 'X';                       // satellite: a key needs one
            else setCsvFields(message, 4, 5, "1950,0,0,0,0");  // the date that stands for a failure
            return;
        case Form::rf:
            if (first) message[message.find("_ESP")] = 'X';
            else message.erase(48, 18);  // the first sigma
            return;
        default:
            if (first) message[33] = 'X';                                          // azimuth
            else message.replace(message.starts_with("B3E") ? 13 : 11, 3, "999");  // day
    }
}

}  // namespace deck
