// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Loading/KeywordLines.h"

#include <algorithm>

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

void readSelectionCard(std::string_view line) {
    constexpr std::size_t kKeywordLength = 5;
    line.remove_prefix(std::min(line.find_first_not_of(" \t", kKeywordLength), line.size()));
    if (line.starts_with('=')) line.remove_prefix(1);
    setSelectionFromText("SELOB", line);
}

}  // namespace obs
