// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/B3Quick.h"
#include "Obs/ObsCardReading/Cards/PlainColumns.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "tests/CaseFile.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

bool sameMeasurements(const ObsRecord& a, const ObsRecord& b) {
    return a.secClass == b.secClass && fieldsOf(a) == fieldsOf(b);
}

/// A card with up to three columns that hold something else.
std::string damaged(std::string card, std::mt19937& random) {
    static const std::string kNoise = "0123456789 -+JKRSX.P*";
    for (auto hits = random() % 4; hits > 0; --hits) card[random() % 90] = kNoise[random() % kNoise.size()];
    return card;
}

}  // namespace

// The quick path decides nothing: what it takes, the careful reader reads to the same bits.
TEST(B3Cases, quickAndCarefulReadersAgree) {
    std::mt19937 random(5);
    std::size_t quick = 0;
    for (const Case& one : readCases(OBS_TEST_DATA "/b3/b3.cases")) {
        for (int round = 0; round < 300; ++round) {
            const std::string card = damaged(one.card, random);
            ObsRecord fast, careful;
            fast.rotateToDate = careful.rotateToDate = 0;
            if (!readB3Quick(card, fast)) continue;
            ++quick;
            const MaybeRefusal refusal = readB3Carefully(card, careful);
            ASSERT_FALSE(refusal) << card;
            ASSERT_TRUE(sameMeasurements(fast, careful)) << card;
        }
    }
    EXPECT_EQ(quick > 2000, kHasPlainColumns) << quick;
}

TEST(B3Cases, shortCardsReadAsBlankPadded) {
    const std::vector<Case> cases = readCases(OBS_TEST_DATA "/b3/b3.cases");
    for (std::size_t length = 0; length <= 90; ++length) {
        const std::string cut = cases.front().card.substr(0, length);
        std::string padded = cut;
        padded.resize(512, ' ');
        ASSERT_EQ(ObsCardType(cut), ObsCardType(padded)) << length;
        ObsRecord a, b;
        const MaybeRefusal refusedA = ReadB3(cut, a), refusedB = ReadB3(padded, b);
        ASSERT_EQ(refusedA.has_value(), refusedB.has_value()) << length;
        if (refusedA) EXPECT_EQ(refusedA->message(), refusedB->message());
        else EXPECT_TRUE(sameMeasurements(a, b));
    }
}

TEST(Classify, linesHaveOneClass) {
    const std::string b3 = readCases(OBS_TEST_DATA "/b3/b3.cases").front().card;
    const std::string commas(55, ',');
    const auto withType = [&](char type, const char* separator = " ") {
        std::string card = b3;
        card[74] = type;
        card.replace(29, 1, separator);
        return card;
    };
    const std::pair<std::string, LineClass> lines[] = {
        // clang-format off
        {b3, LineClass::b3}, {withType('7'), LineClass::notObservation}, {withType('M'), LineClass::b3},
        {withType('V'), LineClass::notObservation}, {withType('V', "1"), LineClass::b3},
        {withType('P', "1"), LineClass::b3}, {withType('5', "1"), LineClass::notObservation},
        {"obsfil = x", LineClass::includeFile}, {"SLROBS", LineClass::slrSection}, {"h1 crd 1", LineClass::slrHeader},
        {"b3e", LineClass::b3Extended}, {"))U", LineClass::tty}, {"tty_year 2024", LineClass::ttyYear},
        {"99999", LineClass::slrBlock}, {"88888", LineClass::slrBlock}, {"SELOB sat=5", LineClass::selection},
        {"U" + commas, LineClass::csv}, {"U" + commas + ",", LineClass::notObservation}, {"s1:2,3:4", LineClass::csv},
        {"X" + commas, LineClass::notObservation}, {"VM_DMA_OBS_ON", LineClass::dmaMode},
        {"VM_DMA_OBS::", LineClass::rf}, {"2024:01:15::12", LineClass::rf},
        {"U024:01:15::12", LineClass::notObservation}, {"", LineClass::notObservation},
        // clang-format on
    };
    for (const auto& [line, lineClass] : lines) EXPECT_EQ(ObsCardType(line), lineClass) << line;
}

TEST(SlrNumbers, findPartnersWithTheirException) {
    for (const auto& [ilrs, satNum] : {std::pair{6701101, 2674}, {7603901, 8820}, {1303401, 39199}, {1, 0}})
        EXPECT_EQ(Nasa2SsnSat(ilrs), satNum);
    for (const auto& [pad, senNum] :
         {std::pair{1181, 50}, {7090, 18}, {7091, 81}, {7848, 165}, {7846, 166}, {7827, 197}, {0, 0}})
        EXPECT_EQ(Nasa2SsnSen(pad), senNum) << pad;
}

}  // namespace obs::test
