// SPDX-License-Identifier: Apache-2.0
#include "Text.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cmath>
#include <cstdint>

#include <fmt/format.h>

#include "siblings/include/ObsFamily.h"

namespace obstool {

Text512::Text512(std::string_view text) : characters_{} {
    characters_.fill(' ');
    std::copy_n(text.data(), std::min(text.size(), kTextLength), characters_.begin());
}

std::string Text512::str() const {
    return std::string(withoutTrailingBlanks({characters_.data(), characters_.size()}));
}

namespace {

/// Without the function of the library that a message begins with: it tells the user nothing.
std::string_view withoutFunction(std::string_view message) {
    const std::size_t colon = message.find(": ");
    const auto isOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    const auto isSmall = [](char c) { return c >= 'a' && c <= 'z'; };  // keywords of lines have none
    const std::string_view name = message.substr(0, colon == std::string_view::npos ? 0 : colon);
    const bool isFunction =
        std::all_of(name.begin(), name.end(), isOfName) && std::any_of(name.begin(), name.end(), isSmall);
    return isFunction ? message.substr(colon + 2) : message;
}

}  // namespace

std::string lastError() {
    Text512 text;
    return FamilyGetLastError(text.data()) == 0 ? std::string() : std::string(withoutFunction(text.str()));
}

std::string_view withoutTrailingBlanks(std::string_view text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

// --- Dates ---------------------------------------------------------------------

std::optional<UtcTime> splitTime(double daysSince1950) {
    using namespace std::chrono;
    constexpr sys_days kDayOne = year{1950} / January / 1;
    constexpr double kFirst = (sys_days{year{0} / January / 1} - kDayOne).count() + 1.0;
    constexpr double kEnd = (sys_days{year{10000} / January / 1} - kDayOne).count() + 1.0;
    constexpr double kMillisecondsPerDay = 86'400'000.0;
    if (!(daysSince1950 >= kFirst && daysSince1950 < kEnd)) return std::nullopt;

    const auto time = kDayOne + milliseconds{std::llround((daysSince1950 - 1.0) * kMillisecondsPerDay)};
    const auto midnight = floor<days>(time);
    const year_month_day date{midnight};
    const hh_mm_ss clock{time - midnight};
    return UtcTime{
        .year = static_cast<int>(date.year()),
        .month = static_cast<int>(static_cast<unsigned>(date.month())),
        .day = static_cast<int>(static_cast<unsigned>(date.day())),
        .dayOfYear = static_cast<int>((midnight - sys_days{date.year() / January / 1}).count()) + 1,
        .hour = static_cast<int>(clock.hours().count()),
        .minute = static_cast<int>(clock.minutes().count()),
        .second = static_cast<int>(clock.seconds().count()),
        .millisecond = static_cast<int>(clock.subseconds().count()),
    };
}

std::string isoTime(double daysSince1950) {
    const auto t = splitTime(daysSince1950);
    if (!t) return "-";
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z", t->year, t->month, t->day, t->hour, t->minute,
                       t->second, t->millisecond);
}

// --- Safe text -----------------------------------------------------------------

namespace {

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

/// Bytes of the UTF-8 character that `text` begins with; 0 when it does not begin with one.
std::size_t utf8Length(std::string_view text) {
    // The second byte's range shuts out overlong forms, surrogates and what lies above U+10FFFF.
    struct Form {
        unsigned char first, last, secondFirst, secondLast;
        std::size_t length;
    };
    static constexpr Form kForms[] = {
        {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
    };
    const auto within = [&](std::size_t i, unsigned char first, unsigned char last) {
        const auto byte = static_cast<unsigned char>(text[i]);
        return byte >= first && byte <= last;
    };
    for (const Form& form : kForms) {
        if (!within(0, form.first, form.last)) continue;
        if (text.size() < form.length) return 0;
        if (form.length > 1 && !within(1, form.secondFirst, form.secondLast)) return 0;
        for (std::size_t i = 2; i < form.length; ++i)
            if (!within(i, 0x80, 0xBF)) return 0;
        return form.length;
    }
    return 0;
}

}  // namespace

std::string printable(std::string_view text) {
    // Besides those of ASCII there are the control characters from 0x80 on, as two bytes of UTF-8.
    const auto isHighControl = [](char c) {
        return static_cast<unsigned char>(c) >= 0x80 && static_cast<unsigned char>(c) < 0xA0;
    };
    std::string safe(text);
    for (std::size_t i = 0; i < safe.size();) {
        const std::size_t length = std::max<std::size_t>(utf8Length(text.substr(i)), 1);
        const bool isLongControl = length == 2 && text[i] == '\xC2' && isHighControl(text[i + 1]);
        const bool isStray = utf8Length(text.substr(i)) == 0;
        if (isLongControl || isStray || (length == 1 && isControl(text[i])))
            std::fill_n(safe.begin() + static_cast<std::ptrdiff_t>(i), length, '?');
        i += length;
    }
    return safe;
}

std::string withoutPadding(std::string_view text) {
    constexpr std::size_t kMinPadding = 80;  // no form of card has that many blanks in a row
    std::string shorter;
    text = withoutFunction(text);
    while (!text.empty()) {
        const std::size_t blank = std::min(text.find(' '), text.size());
        const std::size_t end = std::min(text.find_first_not_of(' ', blank), text.size());
        const bool isPadding = end - blank >= kMinPadding || end == text.size();
        shorter += text.substr(0, isPadding ? blank : end);
        text.remove_prefix(end);
    }
    return shorter;
}

bool isUtf8(std::string_view text) {
    constexpr std::size_t kLongest = 4;
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const auto first = static_cast<unsigned char>(text.front());
        if (length == 0) return text.size() < kLongest && first >= 0xC2 && first <= 0xF4;
        text.remove_prefix(length);
    }
    return true;
}

std::string jsonString(std::string_view text) {
    std::string json = "\"";
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const char c = text.front();
        if (length == 0) json += "\\ufffd";
        else if (c == '"' || c == '\\') (json += '\\') += c;
        else if (isControl(c)) json += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
        else json += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return json += '"';
}

}  // namespace obstool
