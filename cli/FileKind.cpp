// SPDX-License-Identifier: Apache-2.0
#include "FileKind.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

namespace obstool {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kHeadBytes = 1 << 16;  // longer comments are not looked through

char upperCase(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

/// In either case, and not within a longer word.
bool beginsWithWord(std::string_view line, std::string_view upperCaseWord) {
    if (line.size() < upperCaseWord.size()) return false;
    for (std::size_t i = 0; i < upperCaseWord.size(); ++i)
        if (upperCase(line[i]) != upperCaseWord[i]) return false;
    return line.size() == upperCaseWord.size() || " \t\r"sv.find(line[upperCaseWord.size()]) != std::string_view::npos;
}

/// Calls `test` with each line, without its end, until it gives something.
template <typename Test>
auto firstOfLines(std::string_view text, Test test) -> decltype(test(text)) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        if (auto found = test(line)) return found;
    }
    return {};
}

bool isBlank(std::string_view line) { return line.find_first_not_of(" \t") == std::string_view::npos; }

// --- Marks ---------------------------------------------------------------------

struct Mark {
    std::size_t offset;
    std::string_view bytes;
    std::string_view name;
};
constexpr auto kUtf16 = "UTF-16 text (iconv -f UTF-16 -t UTF-8 makes it readable)"sv;
constexpr Mark kMarks[] = {
    {0, "\x1f\x8b"sv, "a gzip file (zcat unpacks it)"sv},
    {0, "PK\3\4"sv, "a zip file, which spreadsheets are, too"sv},
    {0, "PK\5\6"sv, "an empty zip file"sv},
    {0, "BZh"sv, "a bzip2 file (bzcat unpacks it)"sv},
    {0,
     "\xFD"
     "7zXZ"sv,
     "an xz file (xzcat unpacks it)"sv},
    {0, "\x28\xB5\x2F\xFD"sv, "a zstd file (zstdcat unpacks it)"sv},
    {0, "7z\xBC\xAF"sv, "a 7z file"sv},
    {0, "\xFF\xFE"sv, kUtf16},
    {0, "\xFE\xFF"sv, kUtf16},
    {0, "%PDF-"sv, "a PDF file"sv},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"sv},
    {0, "\xD0\xCF\x11\xE0"sv, "a document or spreadsheet of an office program"sv},
    {257, "ustar"sv, "a tar file"sv},
    {0, "%=SNX"sv, "a SINEX file"sv},
};

/// Plain text of two bytes a character: every other byte is zero.
bool isUtf16(std::string_view head) {
    constexpr std::size_t kLooked = 64;
    const std::string_view start = head.substr(0, kLooked / 2 * 2);
    std::array<std::size_t, 2> zeros{};
    for (std::size_t i = 0; i < start.size(); ++i) zeros[i % 2] += start[i] == '\0' ? 1u : 0u;
    const std::size_t pairs = start.size() / 2;
    return pairs > 1 && ((zeros[0] == pairs && zeros[1] == 0) || (zeros[1] == pairs && zeros[0] == 0));
}

std::optional<FileKind> kindOfLine(std::string_view line) {
    if (isBlank(line) || line.front() == '*' || beginsWithWord(line, "00")) return std::nullopt;
    const std::string_view text = line.substr(line.find_first_not_of(" \t"));
    if (text.starts_with("CCSDS_TDM_VERS")) return FileKind{Content::foreign, "a TDM file (tracking data message)"};
    if (text.starts_with("<")) return FileKind{Content::foreign, "an XML or HTML file"};
    if (line.substr(1).starts_with(";"))
        return FileKind{Content::foreign, "a CSV file with semicolons between its fields, as spreadsheets write it"};
    if (beginsWithWord(line, "H1 CPF")) return FileKind{Content::foreign, "a file of predictions (H1 CPF)"};
    for (const std::string_view mark : {"H1 CRD"sv, "99999"sv, "88888"sv})
        if (beginsWithWord(line, mark)) return FileKind{Content::laserRanges, {}};
    return FileKind{Content::observations, {}};
}

// --- Guesses -------------------------------------------------------------------

/// Whether a line begins as a pattern says: 9 a digit, # a digit or blank, A a letter, ? anything, else itself.
bool matches(std::string_view line, std::string_view pattern) {
    if (line.size() < pattern.size()) return false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const auto c = static_cast<unsigned char>(line[i]);
        const bool fits = pattern[i] == '9'   ? std::isdigit(c) != 0
                          : pattern[i] == '#' ? std::isdigit(c) != 0 || c == ' '
                          : pattern[i] == 'A' ? std::isalpha(c) != 0
                                              : pattern[i] == '?' || line[i] == pattern[i];
        if (!fits) return false;
    }
    return true;
}

struct Shape {
    std::string_view pattern;
    std::size_t least, most;  ///< columns
    std::string_view name;
};
constexpr std::size_t kAny = ~std::size_t{0};
constexpr Shape kShapes[] = {
    {"9999999999999999999999999999", 100, 134, "a MERIT II file of laser ranges"},
    {"99999 99 999", 50, 90, "a file of IOD lines"},
    {"9999999999999999999", 40, 90, "a file of UK lines"},
    {"9999 9999 9.999 9999", 20, 40, "a file of RDE lines"},
    {"###### 99999.99 A ", 60, kAny, "a table of Earth orientation (finals)"},
    {"{", 1, kAny, "a JSON file"},
    {"A,9", 20, kAny, "CSV lines that were cut or have another number of fields"},
};

std::string_view shapeOf(std::string_view line) {
    if (line.empty() || line.front() == '#' || line.front() == '*') return {};
    for (const Shape& shape : kShapes)
        if (line.size() >= shape.least && line.size() <= shape.most && matches(line, shape.pattern)) return shape.name;
    return {};
}

/// Cards that were moved to the right, quoted in a letter, or lost their first column.
bool isMovedCard(std::string_view line) {
    constexpr std::string_view kTries[] = {"A9999", "))"};
    const std::size_t start = line.find_first_not_of(" \t>|\"'");
    if (start == 0 || start == std::string_view::npos) return false;
    return std::any_of(std::begin(kTries), std::end(kTries),
                       [&](std::string_view pattern) { return matches(line.substr(start), pattern); });
}

struct Phrase {
    std::string_view text, name;
};
constexpr Phrase kPhrases[] = {
    {"EARTH ORIENTATION", "a table of Earth orientation (C04)"},
    {"TAI-UTC", "a table of leap seconds"},
    {"\",\"", "a CSV file whose fields are in quotes, as spreadsheets write it"},
};

}  // namespace

std::string headOf(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error || size == 0) return {};
    std::string head(std::min<std::uintmax_t>(size, kHeadBytes), '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

FileKind kindOf(std::string_view head) {
    for (const Mark& mark : kMarks)
        if (head.size() > mark.offset && head.substr(mark.offset).starts_with(mark.bytes))
            return {Content::foreign, mark.name};
    if (isUtf16(head)) return {Content::foreign, kUtf16};
    constexpr auto kByteOrderMark = "\xEF\xBB\xBF"sv;
    if (head.starts_with(kByteOrderMark)) head.remove_prefix(kByteOrderMark.size());
    return firstOfLines(head, kindOfLine).value_or(FileKind{Content::observations, {}});
}

std::string_view guessOf(std::string_view head) {
    if (head.find('\0') != std::string_view::npos) return "a binary file";
    const auto shape = firstOfLines(head, [](std::string_view line) {
        const std::string_view name = shapeOf(line);
        return name.empty() ? std::optional<std::string_view>() : name;
    });
    if (shape) return *shape;
    for (const Phrase& phrase : kPhrases)
        if (head.find(phrase.text) != std::string_view::npos) return phrase.name;
    const auto moved = firstOfLines(
        head, [](std::string_view line) { return isMovedCard(line) ? std::optional(true) : std::nullopt; });
    if (moved) return "a file of cards that do not begin in column 1";
    if (head.find('\t') != std::string_view::npos) return "a table with tabs between its columns";
    return "text of another kind";
}

}  // namespace obstool
