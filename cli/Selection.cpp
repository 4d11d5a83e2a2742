// SPDX-License-Identifier: Apache-2.0
#include "Selection.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Observations.h"
#include "Text.h"

namespace obstool {

namespace {

constexpr double kNoMore[32] = {};  ///< asks for nothing beside the library's criteria

/// The names of the criteria, in the order in which the library counts.
constexpr std::string_view kNames[OBS_CRITERIA] = {"time", "sat",  "sen",  "el",    "az",
                                                   "range", "rate", "type", "class", "gid"};

struct Counts {
    std::int32_t selected = 0;
    std::int32_t dropped[OBS_CRITERIA] = {};
};

Counts counts() {
    Counts counted;
    if (ObsGetSelectionCounts(kNoMore, &counted.selected, counted.dropped) != 0)
        throw std::runtime_error(lastError());
    return counted;
}

/// Whatever the locale.
char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// NOTE: the text has no problem, so each word is a criterion.
std::vector<SelectionReport::Criterion> askedIn(std::string_view criteria, const Counts& counted) {
    constexpr std::string_view kBlanks = " \t";
    std::vector<SelectionReport::Criterion> asked;
    for (std::size_t at = 0; (at = criteria.find_first_not_of(kBlanks, at)) != std::string_view::npos;) {
        std::string name(criteria.substr(at, criteria.find('=', at) - at));
        std::transform(name.begin(), name.end(), name.begin(), lowerCase);
        const auto known = std::find(std::begin(kNames), std::end(kNames), name);
        if (known != std::end(kNames)) asked.push_back({name, counted.dropped[known - std::begin(kNames)]});
        at = std::min(criteria.find_first_of(kBlanks, at), criteria.size());
    }
    return asked;
}

/// The keys of `all` but for the first `count` of `some`, which are among them in the same order.
std::vector<std::int64_t> without(const std::vector<std::int64_t>& some, std::int32_t count,
                                  const std::vector<std::int64_t>& all) {
    std::vector<std::int64_t> others;
    others.reserve(all.size() - static_cast<std::size_t>(count));
    auto next = some.cbegin();
    const auto end = next + count;
    for (const std::int64_t key : all) {
        if (next != end && *next == key) ++next;
        else others.push_back(key);
    }
    return others;
}

void setCriteria(const std::string& criteria) {
    if (ObsSetSelObs(Text512(criteria).data()) != 0) throw std::runtime_error(lastError());
}

}  // namespace

std::string criteriaProblem(const std::string& criteria) {
    if (criteria.size() > kTextLength)
        return fmt::format("the criteria are longer than {} characters", kTextLength);
    return ObsSetSelObs(Text512(criteria).data()) == 0 ? std::string() : lastError();
}

SelectionReport countSelected(const std::string& criteria) {
    setCriteria(criteria);
    const Counts counted = counts();
    return {criteria, ObsGetCount(), counted.selected, askedIn(criteria, counted)};
}

void removeUnselected(const SelectionReport& report) {
    constexpr std::int32_t kOrderOfLoading = -8;
    if (report.selected == report.observations) return;
    if (report.selected == 0) {
        ObsRemoveAll();
        return;
    }
    setCriteria(report.criteria);
    // The order of loading is that of the memory, so that listing and removing go fastest.
    const std::vector<std::int64_t> all = storedKeys(kOrderOfLoading);
    std::vector<std::int64_t> selected(all.size());
    std::int32_t count = 0;
    ObsGetSelected(kNoMore, kOrderOfLoading, &count, selected.data());
    if (count != report.selected) throw std::runtime_error(lastError());
    const std::vector<std::int64_t> others = without(selected, count, all);
    if (ObsRemoveKeys(static_cast<std::int32_t>(others.size()), others.data()) != 0)
        throw std::runtime_error(lastError());
}

std::int64_t selectedByFiles() { return counts().selected; }

void printText(Output& out, const SelectionReport& report) {
    if (!report.asked.empty()) out.print("{:<9} {:>12}\n", "criterion", "dropped");
    for (const auto& criterion : report.asked) out.print("{:<9} {:>12}\n", criterion.name, criterion.dropped);
    out.print("{:<9} {:>12}  of {} observations\n", "selected", report.selected, report.observations);
}

void printJson(Output& out, const SelectionReport& report) {
    out.print(R"({{"criteria": {}, "observations": {}, "selected": {}, "dropped": {{)",
              jsonString(report.criteria), report.observations, report.selected);
    const char* separator = "";
    for (const auto& criterion : report.asked) {
        out.print("{}{}: {}", separator, jsonString(criterion.name), criterion.dropped);
        separator = ", ";
    }
    out.print("}}}}");
}

}  // namespace obstool
