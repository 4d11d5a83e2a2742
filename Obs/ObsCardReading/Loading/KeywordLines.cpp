// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/KeywordLines.h"

#include <algorithm>
#include <charconv>

#include "Obs/CardLayouts/Columns.h"
#include "Obs/ObsCardReading/Loading/SelectionText.h"
#include "siblings/include/Services.h"

namespace obs {

std::string includedFileName(std::string_view line, std::string_view namingFile) {
    std::string name = family::getinputfilename(line);
    if (name.empty() || name.front() == '/' || family::fileexists(name)) return name;
    const std::size_t slash = namingFile.rfind('/');
    if (slash == std::string_view::npos) return name;
    std::string beside = std::string(namingFile.substr(0, slash + 1)) + name;
    return family::fileexists(beside) ? beside : name;
}

bool readTtyYear(std::string_view line, std::int32_t& year) {
    const std::string value = family::getinputfilename(line);
    const char* const end = value.data() + value.size();
    const char* const start = value.data() + (value.size() > 1 && value[0] == '+' && isDigit(value[1]) ? 1 : 0);
    std::int32_t number = 0;
    const auto [stop, error] = std::from_chars(start, end, number);
    if (error != std::errc() || stop != end) return false;
    year = number;
    return true;
}

bool readSelectionCard(std::string_view line) {
    constexpr std::size_t kKeywordLength = 5;
    std::size_t from = std::min(line.find_first_not_of(" \t", kKeywordLength), line.size());
    if (from < line.size() && line[from] == '=') ++from;
    // Decks that mean hours by seven digits go on meaning them.
    return setSelectionFromText("SELOB", line.substr(from), DoubtfulDates::asHours, static_cast<unsigned>(from + 1));
}

}  // namespace obs
