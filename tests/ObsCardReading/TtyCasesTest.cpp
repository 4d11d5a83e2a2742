// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "tests/CaseFile.h"

namespace obs::test {

namespace {

/// The cases' first message of a type, as two cards.
Case messageOfType(char type) {
    for (const Case& one : readCases(OBS_TEST_DATA "/tty/tty.cases"))
        if (one.card.at(7) == type && one.refusal.empty()) return one;
    throw std::runtime_error("no case");
}

/// A card in a message has all its columns.
std::string inBrackets(const std::string& card) {
    return "(" + card + std::string(kCardLength - card.size(), ' ') + ").";
}

std::string messageOf(const MaybeRefusal& refusal) { return refusal ? refusal->message() : ""; }

struct TtyCases : testing::Test {
    ReadSettings settings_{.ttyYear = 2024};
};

}  // namespace

TEST_F(TtyCases, refusalsSayAndQuoteAll) {
    const Case good = messageOfType('4'), one = messageOfType('1'), seven = messageOfType('7');
    std::string badHead = good.card, badCard1 = one.card;
    badHead[6] = badCard1[16] = 'x';
    ObsRecord rec;
    const std::array<std::string, 3> refused[] = {
        {badHead, good.card2, "ReadTTY1stLine: Bad TTY card " + inBrackets(badHead)},
        {badCard1, "", "ReadTTY2Lines: Bad TTY card #1 " + inBrackets(badCard1)},
        {good.card, "x", "ReadTTY2Lines: Bad TTY card #2 " + inBrackets("x")},
        {seven.card, seven.card2,
         "ReadTTY2Lines: A type 7 observation needs its sensor, and the place of sensor 211 is not known."}};
    for (const auto& [card1, card2, message] : refused)
        EXPECT_EQ(messageOf(ReadTTYFrLines(card1, card2, settings_, rec)), message);
    const std::string noYear = "ReadTTY2Lines: Bad TTY card #1 " + inBrackets(one.card);
    for (const auto& [year, message] :
         {std::pair<std::int32_t, std::string>{0, "ReadTTY1stLine: Must set the year for TTY input file."},
          {24, noYear},
          {1899, noYear},
          {3000, noYear},
          {-1, noYear},
          {1999, ""}}) {
        settings_.ttyYear = year;
        EXPECT_EQ(messageOf(ReadTTYFrFile(nullptr, one.card, settings_, rec)), message) << year;
    }
    EXPECT_EQ(rec.obsTime, 17898.5);
    EXPECT_EQ(messageOf(ReadTTYFrFile(nullptr, good.card, settings_, rec)),
              "ReadTTYFrFile: This TTY obs needs the 2nd card");
}

TEST_F(TtyCases, rotatesToDateUnlessTold) {
    for (const char type : {'5', '9'}) {
        Case one = messageOfType(type);
        if (type == '5') one.card[44] = '2';
        ObsRecord rotated, kept;
        rotated.senPos = kept.senPos = {1, 2, 3};
        kept.rotateToDate = 0;
        ASSERT_FALSE(ReadTTYFrLines(one.card, one.card2, settings_, rotated));
        ASSERT_FALSE(ReadTTYFrLines(one.card, one.card2, settings_, kept));
        EXPECT_EQ(std::pair(rotated.equinoxInd, kept.equinoxInd), std::pair(0, 2));
        EXPECT_NE(rotated.azOrRa, kept.azOrRa);
        EXPECT_NEAR(rotated.azOrRa, kept.azOrRa, 0.5);
        EXPECT_EQ(rotated.senPos, type == '5' ? Vector3{} : kept.senPos);
    }
}

// The pole stays where it is while the Earth turns, so that what is seen from there is plain geometry.
TEST_F(TtyCases, type7BecomesType4UnlessTold) {
    const Case seven = messageOfType('7');
    FamilyAddSensor(211, "POLE", 90, 0, 0);
    ObsRecord converted, kept;
    kept.rotateToDate = 0;
    EXPECT_EQ(messageOf(ReadTTYFrLines(seven.card, seven.card2, settings_, converted)), "");
    EXPECT_EQ(messageOf(ReadTTYFrLines(seven.card, seven.card2, settings_, kept)), "");
    FamilyRemoveSensors();
    EXPECT_EQ(std::pair(converted.obsType, kept.obsType), std::pair(4, 7));
    EXPECT_NEAR(converted.range, std::hypot(kept.senPos[0], kept.senPos[1], kept.senPos[2] - 6356.752314245), 1e-6);
}

// Digits are taken eight at a time; whatever else a field holds, its value is that of the general number reader.
TEST_F(TtyCases, damagedFieldsAreReadAsNumbersOrAsZero) {
    std::mt19937 random(7);
    const std::string noise = "0123456789 -+.EJ*/:\x7f\xb5", full = messageOfType('3').card;
    for (int round = 0; round < 3000; ++round) {
        std::string card = full;
        for (int hits = 0; hits < 3; ++hits) card[29 + random() % 32] = noise[random() % noise.size()];
        card[28] = card[53] = '0';
        if (random() % 4 == 0) card.resize(29 + random() % 33);
        const auto valueOf = [&card](Columns columns, int decimals) {
            double value = 0;
            return family::readreal(CardText(card).at(columns), decimals, value) ? value : 0;
        };
        ObsRecord rec;
        ASSERT_FALSE(ReadTTYFrLines(card, std::string(), settings_, rec));
        EXPECT_EQ(rec.elOrDec, valueOf({30, 35}, 4)) << card;
        EXPECT_EQ(rec.azOrRa, valueOf({37, 43}, 4)) << card;
        EXPECT_EQ(rec.rangeRate, valueOf({55, 61}, 5)) << card;
    }
}

}  // namespace obs::test
