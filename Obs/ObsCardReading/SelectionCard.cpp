#include "Obs/ObsCardReading/SelectionCard.h"

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
    return readNumber(text, value) && value.first == std::floor(value.first);
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

/// The lengths of a date text, YYDDD to YYDDDHHMMSSsss, and how many days each names.
struct DateLength {
    std::size_t digits;
    double days;
};
constexpr std::array kDateLengths{DateLength{5, 1}, DateLength{7, 1 / 24.}, DateLength{9, 1 / 1440.},
                                  DateLength{11, 1 / 86400.}, DateLength{14, 1 / 86400e3}};

/// Digits alone, of one of these lengths, are a date and stand for all of that day, hour and so on. Any other number
/// is days since 1950: written with a point, lest it look like a date.
bool readTime(std::string_view text, Span& value) {
    std::string digits(text);
    if (digits.size() == 15 && digits[11] == '.') digits.erase(11, 1);
    const auto length = std::find_if(kDateLengths.begin(), kDateLengths.end(),
                                     [&](const DateLength& one) { return one.digits == digits.size(); });
    if (length == kDateLengths.end() || !std::all_of(digits.begin(), digits.end(), isDigit)) return readNumber(text, value);
    digits.resize(kDateLengths.back().digits, '0');
    value.first = family::dtgtods50(digits.substr(0, 11) + '.' + digits.substr(11));
    value.last = std::nextafter(value.first + length->days, 0);
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
    CriterionName{"gid", Criterion::group, readWhole},         CriterionName{"class", Criterion::classification, readClass},
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
    if (lowText.empty() && highText.empty()) return false;
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
    SelectionDraft draft;
    for (std::string_view text; takePiece(criteria, " \t", text);) {
        if (text.empty()) continue;
        const std::string_view fault = readCriterion(text, draft);
        if (!fault.empty()) return refusal(operation, text, fault);
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
