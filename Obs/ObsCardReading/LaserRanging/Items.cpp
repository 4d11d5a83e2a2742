// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Items.h"

#include <charconv>
#include <string>

#include "Obs/CardLayouts/SlrNumbers.h"
#include "siblings/include/Services.h"

namespace obs {

namespace {

constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

constexpr std::string_view withoutPlus(std::string_view item) {
    if (item.size() > 1 && item.front() == '+') item.remove_prefix(1);
    return item;
}

bool readWhole(std::string_view item, std::int32_t& value) {
    item = withoutPlus(item);
    const auto result = std::from_chars(item.data(), item.data() + item.size(), value);
    return result.ec == std::errc() && result.ptr == item.data() + item.size();
}

/// Most numbers here have 16 digits and more, for which this is the shortest way.
bool readReal(std::string_view item, double& value) {
    const auto result = std::from_chars(item.data(), item.data() + item.size(), value);
    return (result.ec == std::errc() && result.ptr == item.data() + item.size()) || family::readreal(item, 0, value);
}

/// Minus one, with or without a point and zeros.
bool isMinusOne(std::string_view item) {
    if (!item.starts_with("-1")) return false;
    item.remove_prefix(2);
    return item.empty() || (item.front() == '.' && item.find_first_not_of('0', 1) == std::string_view::npos);
}

bool isNotAvailable(std::string_view item) {
    if (item.starts_with('-')) item.remove_prefix(1);
    return item.size() == 2 && upperCase(item[0]) == 'N' && upperCase(item[1]) == 'A';
}

/// Whether all whole numbers of a header are such and none is too small, or missing; but not all of them missing.
/// NOTE: between blanks a small number is mostly part of a name; in columns it may be the id of a target on the Moon.
bool holds(const CrdItems& items, crd::Header header, bool mayBeLunar) {
    bool any = false;
    for (std::size_t i = 0; i < header.size(); ++i) {
        const std::string_view item = items[i + 1];
        if (!header[i].isWholeNumber || item.empty()) continue;
        any = true;
        std::int32_t value = 0;
        if (isMissing(item)) continue;
        if (!readWhole(item, value)) return false;
        if (value < header[i].least && !(mayBeLunar && !lunarTarget(value).empty())) return false;
    }
    return any;
}

/// Whether the numbers of a header stand by themselves in their columns: in a free-form line that happens by
/// chance to have digits there, they do not. What follows a name may touch it.
bool standApart(std::string_view line, crd::Header header) {
    const CardText card(line);
    bool afterName = false;
    for (const crd::HeaderItem& item : header) {
        const bool apart =
            isBlank(card.at(item.columns.last + 1)) && (afterName || isBlank(card.at(item.columns.first - 1)));
        if (item.isWholeNumber && !apart) return false;
        afterName = !item.isWholeNumber;
    }
    return true;
}

CrdItems itemsInColumns(std::string_view line, crd::Header header) {
    const CardText card(line);
    CrdItems items;
    items.add(line.substr(0, 2));
    for (const crd::HeaderItem& item : header) {
        std::string_view text = card.at(item.columns);
        while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
        while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
        items.add(text);
    }
    return items;
}

MaybeRefusal refused(const CrdItems& items, std::size_t item, std::string_view name, std::string_view why) {
    std::string what = "Record ";
    for (const char c : items.id()) what += upperCase(c);
    what.append(", ").append(name).append(" '").append(items[item]).append("'");
    return Refusal{"ReadCrd: ", std::move(what), 0, why};
}

constexpr std::string_view kMissing = " is missing.";
constexpr std::string_view kNoNumber = " is not a number.";
constexpr std::string_view kOutside = " is out of range.";

}  // namespace

CrdItems::CrdItems(std::string_view line, std::size_t most) {
    const char* at = line.data();
    const char* const end = at + line.size();
    while (count_ < most) {
        while (at != end && isBlank(*at)) ++at;
        if (at == end) return;
        const char* const first = at;
        while (at != end && !isBlank(*at)) ++at;
        add({first, static_cast<std::size_t>(at - first)});
    }
}

CrdItems headerItems(std::string_view line, crd::Header header, int version) {
    const CrdItems split(line, crd::kMaxItems);
    const CrdItems columns = itemsInColumns(line, header);
    const bool columnsHold = standApart(line, header) && holds(columns, header, true);
    return columnsHold && (version == 1 || !holds(split, header, false)) ? columns : split;
}

bool isMissing(std::string_view item) {
    if (item.empty()) return true;
    const char first = item.front();
    if (isDigit(first)) return false;
    return isNotAvailable(item) || isMinusOne(item) || item.find_first_not_of('*') == std::string_view::npos;
}

MaybeRefusal readItem(const CrdItems& items, std::size_t item, std::string_view name, double low, double high,
                      double& value) {
    const std::string_view text = items[item];
    if (isMissing(text)) return refused(items, item, name, kMissing);
    if (!readReal(text, value)) return refused(items, item, name, kNoNumber);
    if (!(value >= low && value < high)) return refused(items, item, name, kOutside);
    return std::nullopt;
}

MaybeRefusal readItem(const CrdItems& items, std::size_t item, std::string_view name, std::int32_t low,
                      std::int32_t high, std::int32_t& value) {
    const std::string_view text = items[item];
    if (isMissing(text)) return refused(items, item, name, kMissing);
    if (!readWhole(text, value)) return refused(items, item, name, kNoNumber);
    if (value < low || value > high) return refused(items, item, name, kOutside);
    return std::nullopt;
}

}  // namespace obs
