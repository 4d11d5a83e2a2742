// SPDX-License-Identifier: Apache-2.0
#include "OneLine.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Input.h"
#include "Observations.h"
#include "Text.h"

namespace obstool {

namespace {

/// What a reading tells of some lines.
struct Wanted {
    std::int64_t first, last;
    LineRead* read;
};

void onObservation(const double obsArr[64], std::int64_t line, std::int64_t, void* user) {
    const auto& wanted = *static_cast<const Wanted*>(user);
    if (line < wanted.first || line > wanted.last) return;
    std::copy_n(obsArr, 64, wanted.read->observations.emplace_back().begin());
}

void onReport(std::int32_t kind, std::int64_t line, std::int64_t, const char* text, void* user) {
    const auto& wanted = *static_cast<const Wanted*>(user);
    if (line >= wanted.first && line <= wanted.last) wanted.read->told.push_back({kind, withoutPadding(text)});
}

ObsReadState readingOf(std::int32_t ttyYear) {
    ObsReadState state{};
    state.size = sizeof state;
    state.ttyYear = ttyYear;
    state.rotateToDate = 1;
    state.isLast = 1;
    return state;
}

void readAll(std::string_view text, std::int32_t ttyYear, Wanted wanted) {
    ObsReadState state = readingOf(ttyYear);
    ObsReadLines(text.data(), static_cast<std::int64_t>(text.size()), &state, onObservation, onReport, &wanted);
}

std::int32_t yearAfter(std::string_view text, std::int32_t ttyYear) {
    ObsReadState state = readingOf(ttyYear);
    ObsReadLines(
        text.data(), static_cast<std::int64_t>(text.size()), &state,
        [](const double*, std::int64_t, std::int64_t, void*) {}, nullptr, nullptr);
    return state.ttyYear;
}

/// Whether two lines are the cards of one message.
bool isPair(const std::string& line1, const std::string& line2) {
    Text512 name, form, fault;
    std::int32_t facts[4] = {1, 0, 0, 0};
    for (std::int32_t group = 0; group < facts[OBS_LINE_COLUMN_COUNT]; ++group)
        if (ObsGetLineColumn(Text512(line1).data(), Text512(line2).data(), group, name.data(), form.data(),
                             fault.data(), facts) == 0 &&
            facts[OBS_LINE_COLUMN_CARD] == 2)
            return true;
    return false;
}

/// The lines of a text without their ends.
std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) line.remove_suffix(1);
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

}  // namespace

bool LineRead::isBad() const {
    return std::any_of(told.begin(), told.end(),
                       [](const Told& t) { return t.kind == OBS_LINE_BAD || t.kind == OBS_LINE_PASSED_OVER; });
}

std::optional<LinePlace> linePlace(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) return std::nullopt;
    LinePlace place{text.substr(0, colon), 0};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, place.line);
    std::error_code none;
    // A file that is not there is told as such, unless the text might be a line.
    const bool isFile = std::filesystem::exists(place.file, none) ||
                        (!place.file.empty() && place.file.find_first_of(" ,\t") == std::string::npos);
    return error == std::errc() && stop == end && place.line > 0 && isFile ? std::optional(place) : std::nullopt;
}

std::optional<LineRead> readLine(const LinePlace& place, std::int32_t ttyYear, std::string& problem) {
    const Input input(place.file);
    if (problem = input.problem(); !problem.empty()) return std::nullopt;
    std::string content;
    if (!input.isText()) {
        std::ifstream file(input.path(), std::ios::binary);
        content.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    const std::string_view text = input.isText() ? input.text() : content;
    const std::vector<std::string_view> lines = linesOf(text);
    const auto number = static_cast<std::size_t>(place.line);
    if (number > lines.size()) {
        problem = fmt::format("it has {} lines", lines.size());
        return std::nullopt;
    }
    const auto lineAt = [&](std::size_t n) { return std::string(n <= lines.size() ? lines[n - 1] : ""); };
    LineRead read;
    read.number = place.line;
    if (number > 1 && isPair(lineAt(number - 1), lineAt(number))) --read.number;
    read.line1 = lineAt(static_cast<std::size_t>(read.number));
    const std::string next = lineAt(static_cast<std::size_t>(read.number) + 1);
    if (isPair(read.line1, next)) read.line2 = next;
    const std::size_t before =
        static_cast<std::size_t>(lines[static_cast<std::size_t>(read.number) - 1].data() - text.data());
    read.ttyYear = yearAfter(text.substr(0, before), ttyYear);
    readAll(text, ttyYear, {read.number, read.number + (read.line2.empty() ? 0 : 1), &read});
    return read;
}

LineRead readText(const std::string& line1, const std::string& line2, std::int32_t ttyYear) {
    LineRead read;
    read.line1 = line1;
    read.line2 = line2;
    read.number = 1;
    read.ttyYear = ttyYear;
    readAll(line1 + "\n" + (line2.empty() ? "" : line2 + "\n"), ttyYear, {1, 2, &read});
    return read;
}

std::int64_t store(const LineRead& read) {
    if (read.observations.empty()) return 0;
    // The line says more than the array form holds, unless it is one of a laser-ranging session.
    Text512 kind;
    ObsGetLineKind(Text512(read.line1).data(), kind.data());
    const std::string text = read.line1 + "\n" + (read.line2.empty() ? "" : read.line2 + "\n");
    if (kind.str() != "not an observation") {
        ObsLoadOptions options{};
        options.size = sizeof options;
        options.ttyYear = read.ttyYear == 0 ? -1 : read.ttyYear;
        ObsLoadText("line", text.data(), static_cast<std::int64_t>(text.size()), 0, &options);
    }
    if (ObsGetCount() == 0) ObsAddFrArray(read.observations.front().data());
    const std::vector<std::int64_t> keys = storedKeys(8);
    return keys.empty() ? 0 : keys.front();
}

}  // namespace obstool
