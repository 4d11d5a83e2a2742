// SPDX-License-Identifier: Apache-2.0
// What holds for every row of the table of formats. The case files of a format, tests/data/NAME/*.cases, are found by
// its name.
#include <gtest/gtest.h>

#include <filesystem>

#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/FileKind.h"
#include "siblings/include/ObsFamily.h"
#include "tests/CaseFile.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

MaybeRefusal readCards(const CardFormat& format, std::string_view card1, std::string_view card2, ObsRecord& rec) {
    ReadSettings settings;
    settings.ttyYear = 2024;
    return format.readPair != nullptr ? format.readPair(card1, card2, settings, rec, nullptr)
                                      : format.read(card1, rec, settings, nullptr, nullptr);
}

struct Written {
    char text[2][kCardLength];
    CardLines lines{{text[0], text[1]}, {}};
    explicit Written(const ObsRecord& rec, const CardFormat& format) {
        std::fill_n(text[0], sizeof text, ' ');
        refusal = format.writing->write(rec, lines);
    }
    MaybeRefusal refusal;
};

void runCase(const Case& one, const CardFormat& format) {
    const CardFormat* row = cardFormat(ObsCardType(one.card));
    if (row == nullptr || row->format != format.format) row = &format;  // a card of another extension, or damaged
    ObsRecord rec, back;
    rec.rotateToDate = back.rotateToDate = format.readPair == nullptr ? 1 : 0;
    const MaybeRefusal refusal = readCards(*row, one.card, one.card2, rec);
    expectCase(one, refusal, rec);
    if (refusal) return;
    const Written first(rec, format);
    if (first.refusal || rec.satNum == 0 || !format.writing->facts.types.has(rec.obsType)) return;
    const std::string_view line = first.lines.line(0);
    if (line.find('*') != std::string_view::npos) return;
    EXPECT_EQ(cardFormat(ObsCardType(line)), &format) << one.where << "\n" << line;
    const MaybeRefusal again = readCards(format, line, first.lines.line(1), back);
    ASSERT_FALSE(again) << one.where << " " << again->message() << "\n" << line;
    if (back.obsType != rec.obsType) return;  // a range that the columns round to 0
    const Written second(back, format);
    for (const std::size_t i : {0u, 1u}) EXPECT_EQ(first.lines.line(i), second.lines.line(i)) << one.where;
}

}  // namespace

TEST(Formats, casesGiveTheirFieldsAndComeBack) {
    FamilyAddSensor(700, "NODE7", 1, 2, 3);
    FamilyAddSensor(701, "TWO WORD", 1, 2, 3);
    std::size_t files = 0;
    for (const CardFormat& format : kCardFormats) {
        if (format.writing == nullptr) continue;
        const std::filesystem::path folder = OBS_TEST_DATA "/" + std::string(format.writing->facts.name);
        if (!std::filesystem::is_directory(folder)) continue;
        for (const auto& file : std::filesystem::directory_iterator(folder)) {
            if (file.path().extension() != ".cases") continue;
            ++files;
            for (const Case& one : readCases(file.path())) runCase(one, format);
        }
    }
    FamilyRemoveSensors();
    EXPECT_GE(files, 5u);
}

// Numbers are part of the interface: each is given once, without a gap, and no two rows share a class or a save form.
TEST(Formats, numbersAreGivenOnce) {
    for (std::int32_t number = 0; number < formatCount(); ++number) {
        const Format format = findFormat(number);
        ASSERT_NE(format.facts, nullptr) << number;
        if (format.card == nullptr) continue;
        EXPECT_EQ(format.card->format, number);
        EXPECT_EQ(cardFormatOfForm(static_cast<std::int32_t>(format.card->writing->form)), format.card);
    }
    for (const CardFormat& format : kCardFormats) EXPECT_EQ(cardFormat(format.lineClass), &format);
}

TEST(Formats, filesAreIdentifiedByTheirHead) {
    const std::string b3 = readCases(OBS_TEST_DATA "/b3/b3.cases").front().card + "\n";
    const std::string tty = "))U   54211A2345\n0011200000000123456\n", csv = "U" + std::string(55, ',') + "\n";
    const struct {
        std::string text;
        std::int32_t kind;
        std::uint32_t formats;
    } files[] = {
        {"", 0, 0},
        {"* x\n\n# y\n", 1, 0},
        {b3 + "B3E\n", 1, 1},
        {"\xEF\xBB\xBF* x\nprose\n" + tty + csv + "2024:01:15::12\n", 1, 14},
        {"OBSFIL x\nSELOB sat=5\n", 1, 0},
        {"SELOB sat=5\nprose\n", 299, 0},
        {"SLROBS\nH1 CRD 2\n11 1 2\nH9\n" + b3, 1, 1 | 16},
        {"h1 crd 2\n10 1 2\n", 2, 32},
        {"99999\n1\n", 2, 0},
        {"PK\3\4" + b3, 102, 0},
        {std::string("\0\n\1\n", 4) + csv, 201, 0},  // chance makes a line of CSV of bytes
        {"\3757zXZ", 105, 0},
        {"\177ELF", 110, 0},
        {"CCSDS_TDM_VERS = 2.0\n", 114, 0},
        {"{\"a\": 1}\n", 207, 0},
        {"\"a\",\"b\"\n", 211, 0},
        {" " + b3, 212, 0},
        {"a\tb\n", 213, 0},
    };
    for (const auto& [text, kind, formats] : files) {
        const Identified found = identify(text);
        EXPECT_EQ(std::pair(found.kind.number, found.formats), std::pair(kind, formats)) << text << found.kind.name;
    }
}

}  // namespace obs::test
