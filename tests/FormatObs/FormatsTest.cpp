// SPDX-License-Identifier: Apache-2.0
// What holds for every row of the table of formats. The case files of a format, tests/data/NAME/*.cases, are found by its
// name.
#include <gtest/gtest.h>

#include <filesystem>

#include "Obs/FormatObs/CardFormats.h"
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
    const CardFormat* const row = cardFormat(ObsCardType(one.card));
    ASSERT_TRUE(row != nullptr && row->format == format.format) << one.where;
    ObsRecord rec, back;
    const MaybeRefusal refusal = readCards(*row, one.card, one.card2, rec);
    if (!one.refusal.empty()) {
        ASSERT_TRUE(refusal) << one.where;
        EXPECT_TRUE(refusal->message().starts_with(one.refusal)) << one.where << " " << refusal->message();
        return;
    }
    ASSERT_FALSE(refusal) << one.where << " " << refusal->message();
    const std::map<std::string, double> fields = fieldsOf(rec);
    for (const auto& [name, value] : one.fields)
        if (const auto field = fields.find(name); field != fields.end()) {
            EXPECT_EQ(field->second, std::strtod(value.c_str(), nullptr)) << one.where << " " << name;
        }
    const Written first(rec, format);
    if (first.refusal || rec.satNum == 0 || !format.writing->facts.types.has(rec.obsType)) return;
    const std::string_view line = first.lines.line(0);
    if (line.find('*') != std::string_view::npos) return;
    EXPECT_EQ(cardFormat(ObsCardType(line)), &format) << one.where << "\n" << line;
    const MaybeRefusal again = readCards(format, line, first.lines.line(1), back);
    ASSERT_FALSE(again) << one.where << " " << again->message() << "\n" << line;
    const Written second(back, format);
    for (const std::size_t i : {0u, 1u}) EXPECT_EQ(first.lines.line(i), second.lines.line(i)) << one.where;
}

}  // namespace

TEST(Formats, casesGiveTheirFieldsAndComeBack) {
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
    EXPECT_GE(files, 4u);
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

}  // namespace obs::test
