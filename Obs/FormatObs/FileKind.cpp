// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/FileKind.h"

#include <algorithm>
#include <array>
#include <optional>

#include "Obs/CardLayouts/LineReader.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/ObsCardReading/CardFormat.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"

namespace obs {

namespace {

using namespace std::string_view_literals;

// NOTE: numbers of kinds are part of the interface: a new one takes the next, none is given again.
constexpr FileKind kNothing{0, ""sv}, kObservations{1, "a file of observations"sv},
    kLaserRanges{2, "a file of laser ranges"sv}, kText{299, "text of another kind"sv};

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
    FileKind kind;
};
constexpr FileKind kUtf16{108, "UTF-16 text (iconv -f UTF-16 -t UTF-8 makes it readable)"sv};
constexpr Mark kMarks[] = {
    {0, "\x1f\x8b"sv, {101, "a gzip file (zcat unpacks it)"sv}},
    {0, "PK\3\4"sv, {102, "a zip file, which spreadsheets are, too"sv}},
    {0, "PK\5\6"sv, {103, "an empty zip file"sv}},
    {0, "BZh"sv, {104, "a bzip2 file (bzcat unpacks it)"sv}},
    {0, "\3757zXZ"sv, {105, "an xz file (xzcat unpacks it)"sv}},  // in octal: a 7 would belong to \xFD
    {0, "\x28\xB5\x2F\xFD"sv, {106, "a zstd file (zstdcat unpacks it)"sv}},
    {0, "7z\xBC\xAF"sv, {107, "a 7z file"sv}},
    {0, "\xFF\xFE"sv, kUtf16},
    {0, "\xFE\xFF"sv, kUtf16},
    {0, "%PDF-"sv, {109, "a PDF file"sv}},
    {0, "\177ELF"sv, {110, "a program"sv}},
    {0, "\xD0\xCF\x11\xE0"sv, {111, "a document or spreadsheet of an office program"sv}},
    {257, "ustar"sv, {112, "a tar file"sv}},
    {0, "%=SNX"sv, {113, "a SINEX file"sv}},
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
    if (text.starts_with("CCSDS_TDM_VERS")) return FileKind{114, "a TDM file (tracking data message)"};
    if (text.starts_with("<")) return FileKind{115, "an XML or HTML file"};
    if (line.substr(1).starts_with(";"))
        return FileKind{116, "a CSV file with semicolons between its fields, as spreadsheets write it"};
    if (beginsWithWord(line, "H1 CPF")) return FileKind{117, "a file of predictions (H1 CPF)"};
    for (const std::string_view mark : {"H1 CRD"sv, "99999"sv, "88888"sv})
        if (beginsWithWord(line, mark)) return kLaserRanges;
    return kObservations;
}

// --- Guesses -------------------------------------------------------------------

/// Whether a line begins as a pattern says: 9 a digit, # a digit or blank, A a letter, ? anything, else itself.
bool matches(std::string_view line, std::string_view pattern) {
    if (line.size() < pattern.size()) return false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = line[i];
        const bool fits = pattern[i] == '9'   ? isDigit(c)
                          : pattern[i] == '#' ? isDigit(c) || c == ' '
                          : pattern[i] == 'A' ? (upperCase(c) >= 'A' && upperCase(c) <= 'Z')
                                              : pattern[i] == '?' || line[i] == pattern[i];
        if (!fits) return false;
    }
    return true;
}

struct Shape {
    std::string_view pattern;
    std::size_t least, most;  ///< columns
    FileKind kind;
};
constexpr std::size_t kAny = ~std::size_t{0};
constexpr Shape kShapes[] = {
    {"9999999999999999999999999999", 100, 134, {202, "a MERIT II file of laser ranges"}},
    {"99999 99 999", 50, 90, {203, "a file of IOD lines"}},
    {"9999999999999999999", 40, 90, {204, "a file of UK lines"}},
    {"9999 9999 9.999 9999", 20, 40, {205, "a file of RDE lines"}},
    {"###### 99999.99 A ", 60, kAny, {206, "a table of Earth orientation (finals)"}},
    {"{", 1, kAny, {207, "a JSON file"}},
    {"A,9", 20, kAny, {208, "CSV lines that were cut or have another number of fields"}},
};

std::optional<FileKind> shapeOf(std::string_view line) {
    if (line.empty() || line.front() == '#' || line.front() == '*') return std::nullopt;
    for (const Shape& shape : kShapes)
        if (line.size() >= shape.least && line.size() <= shape.most && matches(line, shape.pattern)) return shape.kind;
    return std::nullopt;
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
    std::string_view text;
    FileKind kind;
};
constexpr Phrase kPhrases[] = {
    {"EARTH ORIENTATION", {209, "a table of Earth orientation (C04)"}},
    {"TAI-UTC", {210, "a table of leap seconds"}},
    {"\",\"", {211, "a CSV file whose fields are in quotes, as spreadsheets write it"}},
};

/// What marks and the first line say for certain.
FileKind markedKind(std::string_view head) {
    for (const Mark& mark : kMarks)
        if (head.size() > mark.offset && head.substr(mark.offset).starts_with(mark.bytes)) return mark.kind;
    if (isUtf16(head)) return kUtf16;
    return firstOfLines(withoutByteOrderMark(head), kindOfLine).value_or(kNothing);
}

/// What a text might be that has no line of a kind known here.
FileKind guessedKind(std::string_view head) {
    if (head.find('\0') != std::string_view::npos) return {201, "a binary file"};
    if (const auto shape = firstOfLines(head, shapeOf)) return *shape;
    for (const Phrase& phrase : kPhrases)
        if (head.find(phrase.text) != std::string_view::npos) return phrase.kind;
    const auto moved = firstOfLines(
        head, [](std::string_view line) { return isMovedCard(line) ? std::optional(true) : std::nullopt; });
    if (moved) return {212, "a file of cards that do not begin in column 1"};
    if (head.find('\t') != std::string_view::npos) return {213, "a table with tabs between its columns"};
    return kText;
}

// --- Lines ---------------------------------------------------------------------

struct Lines {
    std::uint32_t formats = 0;
    std::int64_t observations = 0;  ///< also of a block of laser ranges, which no format has
    std::int64_t unknown = 0;
};

void takeCard(std::string_view line, LineReader& lines, Lines& found) {
    const CardFormat* row = cardFormat(ObsCardType(line));
    if (row == nullptr) {
        found.unknown += isRemark(line) ? 0 : 1;
        return;
    }
    found.observations += row->read != nullptr ? 1 : 0;
    if (row->format != kNoFormat) found.formats |= 1u << row->format;
    if (row->hasSecondLine != nullptr && row->hasSecondLine(line)) lines.next(line);
}

void takeLaserRecord(std::string_view line, Lines& found) {
    if (isCrdRecord(line) && line.starts_with("10")) found.formats |= 1u << crdFormat(SlrDataType::fullRate);
    if (isCrdRecord(line) && line.starts_with("11")) found.formats |= 1u << crdFormat(SlrDataType::normalPoints);
}

Lines linesOf(std::string_view head, bool isLaserFile) {
    Lines found;
    SlrSection section;
    std::string_view line;
    for (LineReader lines(withoutByteOrderMark(head), true); lines.next(line);) {
        if (isCommentOrBlank(line)) continue;
        if (isLaserFile || section.takes(line)) {
            takeLaserRecord(line, found);
            ++found.observations;
            continue;
        }
        takeCard(line, lines, found);
        if (ObsCardType(line) == LineClass::slrSection && introducesSlrSection(line)) section.open();
    }
    return found;
}

}  // namespace

Identified identify(std::string_view head) {
    const FileKind marked = markedKind(head);
    if (marked.number >= kFirstForeignKind) return {marked, 0};
    const Lines lines = linesOf(head, marked.number == kLaserRanges.number);
    // NOTE: among random bytes there is a line now and then that could be one of CSV.
    const bool isBinary = lines.unknown > lines.observations && head.find('\0') != std::string_view::npos;
    const bool isGuess = lines.unknown > 0 && (lines.observations == 0 || isBinary);
    return {isGuess ? guessedKind(head) : marked, isBinary ? 0 : lines.formats};
}

}  // namespace obs
