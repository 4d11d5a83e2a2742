// SPDX-License-Identifier: Apache-2.0
#include "siblings/services/SettingsFile.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "siblings/include/Services.h"

namespace family {
namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Takes the text up to a separator off the front.
std::string_view takeUpTo(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

std::string_view takeLine(std::string_view& text) {
    std::string_view line = takeUpTo(text, '\n');
    if (line.ends_with('\r')) { line.remove_suffix(1); }
    return line;
}

void split(std::string_view line, std::vector<std::string_view>& fields) {
    fields.clear();
    for (bool more = true; more;) {
        more = line.find(',') != std::string_view::npos;
        fields.push_back(trimmed(takeUpTo(line, ',')));
    }
}

struct OpenedUnit {
    Unit unit = kNoUnit;
    ~OpenedUnit() { fileclose(unit); }
};

bool readWholeFile(std::string_view operation, std::string_view name, std::string& content) {
    OpenedUnit file;
    if (fileopen(name, kOpenRead, file.unit) != 0) { return false; }
    std::array<char, 16384> block;
    std::int64_t got = 0;
    while ((got = fileread(file.unit, block.data(), block.size())) > 0) {
        content.append(block.data(), static_cast<std::size_t>(got));
    }
    if (got < 0) { tracelogerror(std::string(operation) + ": Cannot read file " + std::string(name)); }
    return got == 0;
}

bool sameHeader(std::string_view line, std::string_view expected) {
    std::string compact = compresscsvline(line), wanted(expected);
    touppercase(compact.data(), compact.size());
    touppercase(wanted.data(), wanted.size());
    return compact == wanted;
}

}  // namespace

bool readsettingsfile(std::string_view operation, std::string_view fileName, std::string_view header, BadLines badLines,
                      const TakeSetting& take) {
    std::string content;
    if (!readWholeFile(operation, fileName, content)) { return false; }
    std::string_view rest = content;
    constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
    if (rest.starts_with(kByteOrderMark)) { rest.remove_prefix(kByteOrderMark.size()); }
    if (!sameHeader(takeLine(rest), header)) {
        tracelogerror(std::string(operation) + ": The first line of file " + std::string(fileName) + " must be " +
                      std::string(header));
        return false;
    }
    const auto count = static_cast<std::size_t>(std::count(header.begin(), header.end(), ',') + 1);
    std::vector<std::string_view> fields;
    bool good = true;
    for (int lineNumber = 2; !rest.empty(); ++lineNumber) {
        const std::string_view line = takeLine(rest);
        if (trimmed(line).empty()) { continue; }
        split(line, fields);
        const char* wrong = fields.size() == count ? take(fields) : "there must be as many fields as in the header";
        if (wrong == nullptr) { continue; }
        good = false;
        tracelogerror(std::string(operation) + ": Bad line " + std::to_string(lineNumber) + " of file " +
                      std::string(fileName) + ": " + wrong);
        if (badLines == BadLines::GiveUp) { break; }
    }
    return good;
}

bool readsetting(std::string_view field, double& value) { return !field.empty() && readreal(field, 0, value); }

}  // namespace family
