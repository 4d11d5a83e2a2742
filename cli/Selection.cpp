// SPDX-License-Identifier: Apache-2.0
#include "Selection.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string_view>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Nearest.h"
#include "Observations.h"
#include "Text.h"

namespace obstool {

namespace {

constexpr std::int32_t kMaxTerms = 128;  // more than a text of 512 characters has

struct TermCounts {
    std::int32_t selected = 0, count = 0;
    std::int32_t first[kMaxTerms] = {}, last[kMaxTerms] = {}, dropped[kMaxTerms] = {};
};

/// Whether the library takes the criteria; if not, `first` and `last` of the first term are the columns at fault.
bool countTerms(const std::string& criteria, TermCounts& counts) {
    return ObsGetTermCounts(Text512(criteria).data(), kMaxTerms, &counts.selected, &counts.count, counts.first,
                            counts.last, counts.dropped) == 0;
}

/// Whatever the locale.
char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The name of a criterion `name=value` alone, any other term as it is.
std::string shownTerm(std::string_view term) {
    std::string name(term.substr(0, term.find('=')));
    const bool isName =
        std::all_of(name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)); });
    if (!isName || term.find_first_of(" \t\"'(") != std::string_view::npos) return std::string(term);
    std::transform(name.begin(), name.end(), name.begin(), lowerCase);
    return name;
}

/// What was probably meant, where the message says "WORD" (column N) is not one of the names A, B, C.
std::string suggestionOf(std::string_view message) {
    constexpr std::string_view kNames = "is not one of the names ";
    const std::size_t at = message.find(kNames), end = message.find('"', 1);
    if (at == std::string_view::npos || !message.starts_with('"') || end > at) return {};
    std::vector<std::string> names(1);
    for (const char c : message.substr(at + kNames.size())) {
        if (c == ',') names.emplace_back();
        else if (c != ' ' && c != '.') names.back() += c;
    }
    return didYouMean(message.substr(1, end - 1), names);
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

}  // namespace

std::optional<CriteriaProblem> criteriaProblem(const std::string& criteria) {
    if (criteria.size() > kTextLength)
        return CriteriaProblem{fmt::format("the criteria are longer than {} characters", kTextLength)};
    TermCounts counts;
    if (countTerms(criteria, counts)) return std::nullopt;
    std::string message = lastError();
    if (const std::string suggestion = suggestionOf(message); !suggestion.empty())
        message = message.substr(0, message.find_last_not_of('.') + 1) + suggestion;
    return CriteriaProblem{message, static_cast<std::size_t>(counts.first[0]),
                           static_cast<std::size_t>(counts.last[0])};
}

bool namesSensors(const std::string& criteria) { return criteria.find_first_of("\"'") != std::string::npos; }

Asked askedOrigin(std::string_view criteria) {
    // Quotes that enclose all of the criteria are not those of a name.
    const std::size_t start = criteria.find_first_not_of(" \t");
    if (start != std::string_view::npos && criteria[start] == '"') criteria.remove_prefix(start + 1);
    Asked asked = Asked::nothing;
    std::string word;
    char quote = '\0';
    for (const char c : std::string(criteria) + ' ') {
        if (quote != '\0') {
            if (c == quote) quote = '\0';
            continue;
        }
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            word += lowerCase(c);
            continue;
        }
        if (c == '"' || c == '\'') quote = c;
        if (word == "file") asked = Asked::file;
        if (word == "line" && asked == Asked::nothing) asked = Asked::line;
        word.clear();
    }
    return asked;
}

SelectionReport countSelected(const std::string& criteria) {
    TermCounts counts;
    if (!countTerms(criteria, counts)) throw std::runtime_error(lastError());
    SelectionReport report{criteria, ObsGetCount(), counts.selected, {}};
    for (int i = 0; i < counts.count; ++i) {
        const auto from = static_cast<std::size_t>(counts.first[i] - 1), end = static_cast<std::size_t>(counts.last[i]);
        report.terms.push_back({shownTerm(std::string_view(criteria).substr(from, end - from)), counts.dropped[i]});
    }
    return report;
}

void removeUnselected(const SelectionReport& report) {
    constexpr std::int32_t kOrderOfLoading = -8;
    if (report.selected == report.observations) return;
    if (report.selected == 0) {
        ObsRemoveAll();
        return;
    }
    // The order of loading is that of the memory, so that listing and removing go fastest.
    const std::vector<std::int64_t> all = storedKeys(kOrderOfLoading);
    std::vector<std::int64_t> selected(all.size());
    std::int32_t count = 0;
    ObsGetSelectedByText(Text512(report.criteria).data(), kOrderOfLoading, &count, selected.data());
    if (count != report.selected) throw std::runtime_error(lastError());
    const std::vector<std::int64_t> others = without(selected, count, all);
    if (ObsRemoveKeys(static_cast<std::int32_t>(others.size()), others.data()) != 0)
        throw std::runtime_error(lastError());
}

void printText(Output& out, const SelectionReport& report) {
    std::size_t width = 9;
    for (const auto& term : report.terms) width = std::max(width, term.name.size());
    if (!report.terms.empty()) out.print("{:<{}} {:>12}\n", "criterion", width, "dropped");
    for (const auto& term : report.terms) out.print("{:<{}} {:>12}\n", printable(term.name), width, term.dropped);
    out.print("{:<{}} {:>12}  of {} observations\n", "selected", width, report.selected, report.observations);
}

void printJson(Output& out, const SelectionReport& report) {
    out.print(R"({{"criteria": {}, "observations": {}, "selected": {}, "dropped": {{)", jsonString(report.criteria),
              report.observations, report.selected);
    const char* separator = "";
    for (const auto& term : report.terms) {
        out.print("{}{}: {}", separator, jsonString(term.name), term.dropped);
        separator = ", ";
    }
    out.print("}}}}");
}

}  // namespace obstool
