// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/SelectionText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsTree/Selection.h"
#include "siblings/include/Sensors.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The values from the start to the end of what a text names: one number, or a day or minute.
struct Span {
    double first, last;
};

using ReadValue = bool (*)(std::string_view text, Span& value);

bool readNumber(std::string_view text, Span& value) {
    if (!family::readreal(text, 0, value.first) || !std::isfinite(value.first)) return false;
    value.last = value.first;
    return true;
}

bool readWhole(std::string_view text, Span& value) {
    return readNumber(text, value) && value.first == std::floor(value.first) &&
           std::abs(value.first) <= std::numeric_limits<std::int32_t>::max();
}

/// A number, or the five columns that cards have.
bool readSatellite(std::string_view text, Span& value) {
    std::int32_t number = 0;
    if (readWhole(text, value)) return true;
    if (text.size() != 5 || !family::readalpha5(text, number)) return false;
    value = {double(number), double(number)};
    return true;
}

/// The number of a type, or its character on cards.
bool readType(std::string_view text, Span& value) {
    const std::int32_t type = text.size() == 1 ? family::obstypechartoint(text.front()) : -1;
    if (type < 0) return readWhole(text, value) && value.first >= 0 && value.first <= 19;
    value = {double(type), double(type)};
    return true;
}

bool readClass(std::string_view text, Span& value) {
    char secClass = text.front();
    family::touppercase(&secClass, 1);
    value = {double(secClass), double(secClass)};
    return text.size() == 1 && isClassification(secClass);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr std::size_t kMillisLength = 14, kSecondLength = 11, kMinuteLength = 9, kHourLength = 7, kDayLength = 5;

bool isDateLength(std::size_t digits) {
    return digits == kDayLength || digits == kHourLength || digits == kMinuteLength || digits == kSecondLength ||
           digits == kMillisLength;
}

/// The start of the day, hour, minute, second or millisecond after that which so many digits of a date text name. By
/// the arithmetic that dates are read by, so that an observation of that very time is no longer in.
double startOfNext(const std::string& digits, std::size_t length) {
    const auto part = [&](std::size_t at, std::size_t count) { return family::strtoint(digits.substr(at, count)); };
    constexpr std::int32_t kFirstYearOfLastCentury = 57;
    const std::int32_t year = part(0, 2) + (part(0, 2) < kFirstYearOfLastCentury ? 2000 : 1900);
    const double seconds = (part(kMinuteLength, 5) + (length == kMillisLength ? 1 : 0)) / 1e3;
    return family::parts2utc(year, part(2, 3) + (length == kDayLength), part(kDayLength, 2) + (length == kHourLength),
                             part(kHourLength, 2) + (length == kMinuteLength), seconds + (length == kSecondLength));
}

/// Digits alone are a date, YYDDD to YYDDDHHMMSSsss, and stand for all of that day, hour and so on. Days since 1950
/// have a point, lest they look like a date.
bool readTime(std::string_view text, Span& value) {
    constexpr double kMostDays = 3e6;  // past the year 9999
    std::string digits(text);
    if (digits.size() == kMillisLength + 1 && digits[kSecondLength] == '.') digits.erase(kSecondLength, 1);
    if (digits.find('.') != std::string::npos) return readNumber(text, value) && std::abs(value.first) <= kMostDays;
    const std::size_t length = digits.size();
    if (!isDateLength(length) || !std::all_of(digits.begin(), digits.end(), isDigit)) return false;
    digits.resize(kMillisLength, '0');
    value.first = family::dtgtods50(digits.substr(0, kSecondLength) + '.' + digits.substr(kSecondLength));
    value.last = std::nextafter(startOfNext(digits, length), 0);
    return value.first != 0;
}

struct CriterionName {
    std::string_view name;
    Criterion criterion;
    ReadValue read;
};
constexpr std::array kNames{
    CriterionName{"sat", Criterion::satellite, readSatellite}, CriterionName{"sen", Criterion::sensor, readWhole},
    CriterionName{"type", Criterion::type, readType},          CriterionName{"time", Criterion::time, readTime},
    CriterionName{"el", Criterion::elevation, readNumber},     CriterionName{"az", Criterion::azimuth, readNumber},
    CriterionName{"range", Criterion::range, readNumber},      CriterionName{"rate", Criterion::rangeRate, readNumber},
    CriterionName{"gid", Criterion::group, readWhole},
    CriterionName{"class", Criterion::classification, readClass},
};

const CriterionName* findName(std::string_view name) {
    const auto same = [](char a, char b) { return a == (b >= 'A' && b <= 'Z' ? b - 'A' + 'a' : b); };
    const auto found = std::find_if(kNames.begin(), kNames.end(), [&](const CriterionName& one) {
        return std::equal(one.name.begin(), one.name.end(), name.begin(), name.end(), same);
    });
    return found == kNames.end() ? nullptr : &*found;
}

/// Takes the text up to a separator off the front; false when nothing was left.
bool takePiece(std::string_view& rest, std::string_view separators, std::string_view& piece) {
    if (rest.data() == nullptr) return false;
    const std::size_t end = std::min(rest.find_first_of(separators), rest.size());
    piece = rest.substr(0, end);
    rest = end == rest.size() ? std::string_view() : rest.substr(end + 1);
    return true;
}

/// One value or range of a criterion's list.
bool allowPiece(const CriterionName& what, std::string_view piece, SelectionDraft& draft) {
    const std::size_t colon = piece.find(':');
    Span low{-kInfinity, -kInfinity}, high{kInfinity, kInfinity};
    if (colon == std::string_view::npos) {
        if (piece.empty() || !what.read(piece, low)) return false;
        if (what.criterion == Criterion::type) draft.allowType(static_cast<std::int32_t>(low.first));
        else draft.allow(what.criterion, low.first, low.last);
        return true;
    }
    const std::string_view lowText = piece.substr(0, colon);
    const std::string_view highText = piece.substr(colon + 1);
    const bool isOrdered = what.criterion != Criterion::classification;
    if (!isOrdered || (lowText.empty() && highText.empty())) return false;
    if (!lowText.empty() && !what.read(lowText, low)) return false;
    if (!highText.empty() && !what.read(highText, high)) return false;
    if (low.first > high.last && what.criterion != Criterion::azimuth) return false;
    if (what.criterion != Criterion::type) {
        draft.allow(what.criterion, low.first, high.last);
        return true;
    }
    for (std::int32_t type = 0; type <= 19; ++type)
        if (type >= low.first && type <= high.last) draft.allowType(type);
    return true;
}

Refusal refusal(std::string_view operation, std::string_view text, std::string_view why) {
    return {"", std::string(operation) + ": \"" + std::string(text) + '"', 0, why};
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    text = text.substr(0, text.find_last_not_of(kBlanks) + 1);
    return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

/// Quotes may enclose all of the criteria; false for any others.
bool takeQuotesOff(std::string_view& text) {
    if (text.find('"') == std::string_view::npos) return true;
    if (text.size() < 2 || text.front() != '"' || text.find('"', 1) != text.size() - 1) return false;
    text = text.substr(1, text.size() - 2);
    return true;
}

/// Reads one criterion; what is wrong with it, or an empty text.
std::string_view readCriterion(std::string_view text, SelectionDraft& draft) {
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos) return " is not a criterion of the form name=value.";
    const CriterionName* what = findName(text.substr(0, equals));
    if (what == nullptr)
        return " has none of the names sat, sen, type, time, el, az, range, rate, gid, class.";
    if (draft.asks(what->criterion)) return " names a criterion that was given before.";
    std::string_view list = text.substr(equals + 1);
    for (std::string_view piece; takePiece(list, ",", piece);)
        if (!allowPiece(*what, piece, draft)) return " has a bad value.";
    return {};
}

}  // namespace

MaybeRefusal parseSelection(std::string_view operation, std::string_view criteria, ObsSelection& selection) {
    const std::string_view text = trimmed(criteria);
    if (!takeQuotesOff(criteria = text)) return refusal(operation, text, " has quotes that do not enclose all of it.");
    SelectionDraft draft;
    for (std::string_view piece; takePiece(criteria, " \t", piece);) {
        if (piece.empty()) continue;
        const std::string_view fault = readCriterion(piece, draft);
        if (!fault.empty()) return refusal(operation, piece, fault);
    }
    selection = draft.made();
    return std::nullopt;
}

bool setSelectionFromText(std::string_view operation, std::string_view criteria) {
    ObsSelection selection;
    const MaybeRefusal refused = parseSelection(operation, criteria, selection);
    if (refused) family::tracelogerror(refused->message());
    else setSelection(std::move(selection));
    return !refused;
}

}  // namespace obs
