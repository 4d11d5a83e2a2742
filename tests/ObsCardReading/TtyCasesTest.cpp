#include <gtest/gtest.h>

#include <random>

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Classify.h"
#include "Obs/ObsCardReading/LineReader.h"
#include "Obs/ObsCardReading/Tty.h"
#include "Obs/ObsCardReading/TtyYear.h"
#include "tests/CaseFile.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

std::vector<Case> ttyCases() {
    return readCases(OBS_TEST_DATA "/tty/tty.cases");
}

/// The cases' first message of a type, as two cards.
Case messageOfType(char type) {
    for (const Case& one : ttyCases())
        if (one.card.at(7) == type && one.refusal.empty()) return one;
    throw std::runtime_error("no case");
}

std::string padded(const std::string& text) {
    return text + std::string(kCardLength - text.size(), ' ');
}

class TtyCases : public ::testing::Test {
protected:
    void SetUp() override { SetTTYYear(2024); }
    void TearDown() override { SetTTYYear(0); }
};

}  // namespace

TEST_F(TtyCases, messagesGiveTheirFieldsOrTheirMessage) {
    for (const Case& one : ttyCases()) {
        ObsRecord rec;
        rec.rotateToDate = 0;
        const MaybeRefusal refusal = ReadTTYFrLines(one.card, one.card2, rec);
        ASSERT_EQ(refusal.has_value(), !one.refusal.empty()) << one.where << "\n" << one.card << "\n" << one.card2;
        if (refusal) {
            EXPECT_EQ(refusal->message().substr(0, one.refusal.size()), one.refusal) << one.where;
            continue;
        }
        for (const auto& [name, value] : one.fields) {
            if (name == "secClass") EXPECT_EQ(std::string(1, rec.secClass), value) << one.where;
            else EXPECT_EQ(fieldOf(rec, name), std::strtod(value.c_str(), nullptr)) << one.where << " " << name;
        }
    }
}

// A card in a message has all its columns.
TEST_F(TtyCases, refusalsSayAndQuoteAll) {
    const Case good = messageOfType('4');
    std::string badHead = good.card, badCard1 = messageOfType('1').card, badCard2 = good.card2;
    badHead[6] = 'x';
    badCard1[16] = 'x';
    badCard2[0] = 'x';
    struct {
        std::string card1, card2, message;
    } const cases[] = {
        {badHead, good.card2, "ReadTTY1stLine: Bad TTY card (" + padded(badHead) + ")."},
        {badCard1, "", "ReadTTY2Lines: Bad TTY card #1 (" + padded(badCard1) + ")."},
        {good.card, badCard2, "ReadTTY2Lines: Bad TTY card #2 (" + padded(badCard2) + ")."},
        {good.card, "", "ReadTTY2Lines: Bad TTY card #2 (" + padded("") + ")."},
        {messageOfType('7').card, messageOfType('7').card2,
         "ReadTTY2Lines: This version does not convert type 7 observations."},
    };
    for (const auto& c : cases) {
        ObsRecord rec;
        const MaybeRefusal refusal = ReadTTYFrLines(c.card1, c.card2, rec);
        ASSERT_TRUE(refusal) << c.message;
        EXPECT_EQ(refusal->message(), c.message);
    }
}

TEST_F(TtyCases, nothingIsReadWithoutAYear) {
    const Case one = messageOfType('1');
    ObsRecord rec;
    SetTTYYear(0);
    for (const MaybeRefusal& refusal :
         {ReadTTYFrLines(one.card, one.card2, rec), ReadTTYFrFile(nullptr, one.card, rec)}) {
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->message(), "ReadTTY1stLine: Must set the year for TTY input file.");
    }
    SetTTYYear(1999);
    ASSERT_FALSE(ReadTTYFrLines(one.card, one.card2, rec));
    EXPECT_EQ(rec.obsTime, 17898.5);
}

TEST_F(TtyCases, secondCardIsTheFilesNextLine) {
    ObsRecord rec;
    ASSERT_FALSE(ReadTTYFrFile(nullptr, messageOfType('1').card, rec));
    const MaybeRefusal noFile = ReadTTYFrFile(nullptr, messageOfType('4').card, rec);
    ASSERT_TRUE(noFile);
    EXPECT_EQ(noFile->message(), "ReadTTYFrFile: This TTY obs needs the 2nd card");

    const auto readAll = [](const char* name) {
        std::vector<std::string> outcomes;
        family::Unit unit = family::kNoUnit;
        EXPECT_EQ(family::fileopen(std::string(OBS_TEST_DATA "/tty/") + name, family::kOpenRead, unit), 0);
        LineReader lines(unit);
        std::string_view line;
        while (lines.next(line)) {
            ObsRecord one;
            const MaybeRefusal refusal = ReadTTYFrFile(&lines, line, one);
            outcomes.push_back(refusal ? refusal->message() : "type " + std::to_string(one.obsType));
        }
        family::fileclose(unit);
        return outcomes;
    };
    EXPECT_EQ(readAll("two_cards.txt"), (std::vector<std::string>{"type 4", "type 1"}));
    EXPECT_EQ(readAll("second_card_missing.txt"),
              std::vector<std::string>{"ReadTTYFrFile: Bad TTY card #2 (" + padded("") + ")."});
}

TEST_F(TtyCases, rotatesToDateUnlessTold) {
    for (const char type : {'5', '9'}) {
        Case one = messageOfType(type);
        if (type == '5') one.card[44] = '2';
        ObsRecord rotated, kept;
        rotated.senPos = kept.senPos = {1, 2, 3};
        kept.rotateToDate = 0;
        ASSERT_FALSE(ReadTTYFrLines(one.card, one.card2, rotated));
        ASSERT_FALSE(ReadTTYFrLines(one.card, one.card2, kept));
        EXPECT_EQ(rotated.equinoxInd, 0);
        EXPECT_EQ(kept.equinoxInd, 2);
        EXPECT_NE(rotated.azOrRa, kept.azOrRa);
        EXPECT_NEAR(rotated.azOrRa, kept.azOrRa, 0.5);
        EXPECT_EQ(rotated.senPos, type == '5' ? Vector3{} : kept.senPos);
    }
}

// Digits are taken eight at a time; whatever else a field holds, its value is that of the general number reader.
TEST_F(TtyCases, damagedFieldsAreReadAsNumbersOrAsZero) {
    std::mt19937 random(7);
    const std::string noise = "0123456789 -+.EJ*/:\x7f\xb5";
    const Case full = messageOfType('3');
    const auto valueOf = [](const CardText& card, Columns columns, int decimals) {
        double value = 0;
        return family::readreal(card.at(columns), decimals, value) ? value : 0;
    };
    for (int round = 0; round < 3000; ++round) {
        std::string card = full.card;
        for (auto hits = 1 + random() % 3; hits > 0; --hits) card[29 + random() % 32] = noise[random() % noise.size()];
        card[28] = card[53] = '0';
        if (random() % 4 == 0) card.resize(29 + random() % 33);
        ObsRecord rec;
        ASSERT_FALSE(ReadTTYFrLines(card, std::string(), rec));
        EXPECT_EQ(rec.elOrDec, valueOf(card, {30, 35}, 4)) << card;
        EXPECT_EQ(rec.azOrRa, valueOf(card, {37, 43}, 4)) << card;
        EXPECT_EQ(rec.rangeRate, valueOf(card, {55, 61}, 5)) << card;
    }
}

TEST(TtyFields, signColumnAndImpliedDecimals) {
    struct {
        double (*parse)(std::string_view);
        const char* field;
        double value;
    } const cases[] = {
        {ParseElevTTY, "1123456", -12.3456},        {ParseElevTTY, "0123456", 12.3456}, {ParseElevTTY, " 12.5  ", 12.5},
        {ParseElevTTY, "-123456", 12.3456},         {ParseElevTTY, "1x23456", 0},       {ParseElevTTY, "", 0},
        {ParseElevTTY, "1", 0},                     {ParseElevTTY, "012345678", 12.3456},
        {ParseRateTTY, "112345", -1.2345},          {ParseRateTTY, "+01234", 0.1234},   {ParseRateTTY, "1", 0},
        {ParseRangeRateTTY, "10123456", -1.23456},  {ParseRangeRateTTY, "J0123456", 1.23456},
    };
    for (const auto& c : cases) EXPECT_EQ(c.parse(c.field), c.value) << c.field;
}

}  // namespace obs::test
