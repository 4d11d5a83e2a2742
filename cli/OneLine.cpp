// SPDX-License-Identifier: Apache-2.0
#include "OneLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Input.h"
#include "KeptFile.h"
#include "Observations.h"
#include "Text.h"

namespace obstool {

namespace {

// --- The text ------------------------------------------------------------------------------------

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

/// A line with those before and after it, without their ends; false when the file has fewer lines.
bool findLines(const Input& input, std::int64_t number, std::array<std::string, 3>& lines, std::int64_t& count) {
    InputLines all(input);
    std::string line;
    count = 0;
    while (count <= number && all.next(line))
        if (++count >= number - 1) lines[static_cast<std::size_t>(count - number + 1)] = line;
    return count >= number;
}

/// Leaves the lines of the message at a place.
std::string findMessage(const LinePlace& place, LineRead& read) {
    std::error_code none;
    if (std::filesystem::is_directory(place.file, none)) return "it is a folder";
    if (isDevice(place.file)) return "it can be read only once, which does not do for a line of it: save it as a file";
    const Input input(place.file);
    if (!input.problem().empty()) return input.problem();
    std::array<std::string, 3> lines;
    std::int64_t count = 0;
    if (!findLines(input, place.line, lines, count)) return fmt::format("it has {} lines", count);
    const bool isSecond = place.line > 1 && isPair(lines[0], lines[1]);
    read.number = place.line - (isSecond ? 1 : 0);
    read.line1 = lines[isSecond ? 0 : 1];
    if (const std::string& next = lines[isSecond ? 1 : 2]; isPair(read.line1, next)) read.line2 = next;
    return {};
}

// --- What becomes of it --------------------------------------------------------------------------

std::string textOf(const LineRead& read) { return read.line1 + "\n" + (read.line2.empty() ? "" : read.line2 + "\n"); }

/// What a reading of a line by itself gives.
struct Alone {
    std::vector<std::array<double, 64>> observations;  ///< in array form
    std::vector<LineRead::Told> told;
};

Alone readAlone(const LineRead& read, std::int32_t ttyYear) {
    Alone alone;
    ObsReadState state{};
    state.size = sizeof state;
    state.ttyYear = ttyYear;
    state.rotateToDate = 1;
    state.isLast = 1;
    const std::string text = textOf(read);
    ObsReadLines(
        text.data(), static_cast<std::int64_t>(text.size()), &state,
        [](const double obsArr[64], std::int64_t, std::int64_t, void* user) {
            std::copy_n(obsArr, 64, static_cast<Alone*>(user)->observations.emplace_back().begin());
        },
        [](std::int32_t kind, std::int64_t, std::int64_t, const char* reason, void* user) {
            static_cast<Alone*>(user)->told.push_back({kind, withoutPadding(reason)});
        },
        &alone);
    return alone;
}

/// The key, 0 for none.
std::int64_t storeAlone(const LineRead& read, std::int32_t ttyYear) {
    // The line says more than the array form holds, unless it is one of a laser-ranging session.
    Text512 kind;
    ObsGetLineKind(Text512(read.line1).data(), kind.data());
    const std::string text = textOf(read);
    if (kind.str() != "not an observation") {
        ObsLoadOptions options{};
        options.size = sizeof options;
        options.ttyYear = ttyYear == 0 ? -1 : ttyYear;
        ObsLoadText("line", text.data(), static_cast<std::int64_t>(text.size()), 0, &options);
    } else if (const Alone alone = readAlone(read, ttyYear); !alone.observations.empty()) {
        ObsAddFrArray(alone.observations.front().data());
    }
    const std::vector<std::int64_t> keys = storedKeys(8);
    return keys.empty() ? 0 : keys.front();
}

/// The key of the observation that was loaded from there; 0 for none.
std::int64_t keyAt(const LinePlace& place) {
    constexpr std::int32_t kOrderOfLoading = 8;
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    std::int32_t count = 0;
    if (!keys.empty())
        ObsGetSelectedByText(Text512(fmt::format("line={}", place.line)).data(), kOrderOfLoading, &count, keys.data());
    for (std::int32_t i = 0; i < count; ++i) {
        Text512 file;
        std::int64_t line = 0;
        const std::int64_t key = keys[static_cast<std::size_t>(i)];
        if (ObsGetOrigin(key, file.data(), &line) == 0 && isSameFile(file.str(), place.file)) return key;
    }
    return 0;
}

/// Whether a file was loaded, itself or as one that another includes.
bool isLoaded(const std::string& wanted, const std::vector<std::string>& files) {
    const auto isWanted = [&](const std::string& file) { return isSameFile(file, wanted); };
    if (std::any_of(files.begin(), files.end(), isWanted)) return true;
    const std::vector<std::int64_t> keys = storedKeys(8);
    return std::any_of(keys.begin(), keys.end(), [&](std::int64_t key) {
        Text512 file;
        std::int64_t line = 0;
        return ObsGetOrigin(key, file.data(), &line) == 0 && isWanted(file.str());
    });
}

/// The message about a duplicate ends with the key of the earlier observation and "found.".
void findEarlier(LineRead& read, const std::string& message) {
    const std::size_t end = message.find_last_of("0123456789") + 1;
    const std::size_t start = message.find_last_not_of("0123456789", end == 0 ? 0 : end - 1) + 1;
    std::from_chars(message.data() + start, message.data() + end, read.key);
    Text512 file;
    std::int64_t line = 0;
    if (ObsGetOrigin(read.key, file.data(), &line) == 0) read.duplicateOf = fmt::format("{}:{}", file.str(), line);
    else read.key = 0;
}

}  // namespace

bool LineRead::isTold(std::int32_t kind) const {
    return std::any_of(told.begin(), told.end(), [=](const Told& t) { return t.kind == kind; });
}

bool LineRead::isBad() const {
    return isTold(OBS_LINE_BAD) || isTold(OBS_LINE_PASSED_OVER) || isTold(OBS_LINE_KEYWORD_FAULT) ||
           isTold(OBS_LINE_INCLUDE_LEFT_OUT);
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

std::optional<LineRead> readLine(const LinePlace& place, CommonOptions options) {
    LineRead read;
    if (const std::string problem = findMessage(place, read); !problem.empty()) {
        complain(place.file, problem);
        return std::nullopt;
    }
    if (options.files.empty()) options.files.push_back(place.file);
    options.duplicates = true;
    options.passedOverIgnored = false;
    options.firstTold = read.number;
    options.lastTold = read.number + (read.line2.empty() ? 0 : 1);
    ObsKeepOrigins(1);
    const auto take = [&](const LineReport& report) {
        if (isSameFile(report.file, place.file)) read.told.push_back({report.kind, report.reason});
    };
    Session session(options, take, true);
    session.tellFaultsToo();
    if (!session.start()) return std::nullopt;
    const std::vector<LoadResult> results = session.load();
    if (std::none_of(results.begin(), results.end(), [](const LoadResult& result) { return result.read; }))
        return std::nullopt;
    read.key = keyAt({place.file, read.number});
    if (read.key == 0 && read.told.empty() && !isLoaded(place.file, options.files)) {
        complain(place.file, fmt::format("it is neither among {} nor included there", fmt::join(options.files, ", ")));
        return std::nullopt;
    }
    for (const LineRead::Told& told : read.told)
        if (told.kind == OBS_LINE_DUPLICATE && read.key == 0) findEarlier(read, told.text);
    // What a load does not tell one by one.
    if (const Alone alone = readAlone(read, 0); !alone.observations.empty())
        std::copy_if(alone.told.begin(), alone.told.end(), std::back_inserter(read.told),
                     [](const LineRead::Told& told) { return told.kind == OBS_LINE_NOTE; });
    return read;
}

LineRead readText(const std::string& line1, const std::string& line2, std::int32_t ttyYear) {
    LineRead read{line1, line2, 1, {}, 0, {}};
    read.told = readAlone(read, ttyYear).told;
    read.key = storeAlone(read, ttyYear);
    return read;
}

std::int64_t storeDuplicate(const LineRead& read) {
    const auto time = splitTime(observationOf(read.key).time);  // which is that of both
    const std::int32_t year = time ? time->year : 0;
    if (readAlone(read, year).observations.empty()) return read.key;  // a record of a laser-ranging session
    ObsRemoveAll();
    return storeAlone(read, year);
}

}  // namespace obstool
