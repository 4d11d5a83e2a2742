// SPDX-License-Identifier: Apache-2.0
#include "Obs/CardLayouts/CardNumbers.h"

#include <cmath>

#include "Obs/CardLayouts/Columns.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

constexpr std::size_t kMaxDigits = 18;

/// The first column's sign and digit, when it is an overpunched letter.
bool isOverpunch(char c) { return c >= 'J' && c <= 'R'; }

}  // namespace

bool readInteger(std::string_view field, std::int64_t& value) {
    bool negative = false, signSeen = false;
    std::size_t digits = 0;
    std::int64_t sum = 0;
    for (const char c : field) {
        if (c == ' ') continue;
        if (isDigit(c)) {
            if (++digits > kMaxDigits) return false;
            sum = 10 * sum + (c - '0');
        } else if ((c == '+' || c == '-') && !signSeen && digits == 0) {
            signSeen = true;
            negative = c == '-';
        } else {
            return false;
        }
    }
    if (signSeen && digits == 0) return false;
    value = negative ? -sum : sum;
    return true;
}

bool readDigits(std::string_view field, std::int32_t& value) {
    std::int32_t sum = 0;
    for (const char c : field) {
        if (c == ' ') continue;
        if (!isDigit(c) || sum > 99'999'999) return false;
        sum = 10 * sum + (c - '0');
    }
    value = sum;
    return true;
}

bool readSigned(std::string_view field, double& value) {
    constexpr std::size_t kWidest = 7;
    if (field.size() > kWidest) return false;
    if (field.empty()) return family::readreal(field, 0, value);
    const char sign = field.front();
    if (!isOverpunch(sign)) {
        if (!isDigit(sign) && sign != ' ' && sign != '+' && sign != '-') return false;
        return family::readreal(field, 0, value);
    }
    char text[kWidest + 1] = {'-', static_cast<char>('1' + (sign - 'J'))};
    field.copy(text + 2, kWidest - 1, 1);
    return family::readreal({text, field.size() + 1}, 0, value);
}

double rightAscensionDegrees(double hours, double minutes, double seconds) {
    if (hours >= 0 && hours < 24 && minutes >= 0 && minutes < 60 && seconds >= 0 && seconds < 60)
        return seconds / 240.0 + 0.25 * minutes + 15.0 * hours;  // the same sum without its carries
    const double allMinutes = minutes + std::trunc(seconds / 60.0);
    const double allHours = hours + std::trunc(allMinutes / 60.0);
    return std::fmod(seconds, 60.0) / 240.0 + 0.25 * std::fmod(allMinutes, 60.0) + 15.0 * std::fmod(allHours, 24.0);
}

bool readRightAscension(std::string_view field, double& degrees) {
    double hours = 0, minutes = 0, seconds = 0;
    const CardText text(field);
    if (!family::readreal(text.at(Columns{1, 2}), 0, hours) || !family::readreal(text.at(Columns{3, 4}), 0, minutes) ||
        !family::readreal(text.at(Columns{5, 7}), 1, seconds))
        return false;
    degrees = rightAscensionDegrees(hours, minutes, seconds);
    return true;
}

}  // namespace obs
