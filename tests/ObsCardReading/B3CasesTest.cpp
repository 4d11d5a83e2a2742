// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <random>

#include "Obs/CardLayouts/SlrNumbers.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Cards/B3Quick.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsTree/Ordering.h"
#include "tests/CaseFile.h"
#include "tests/LoadFixture.h"
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
    EXPECT_EQ(quick > 2000, kHasQuickB3) << quick;
}

class B3Decks : public LoadFixture {
protected:
    /// All that the store holds, in order of insertion, and what was said of lines.
    std::string left() {
        std::vector<std::int64_t> keys(checkedKeys().size());
        obslistkeys(-8, std::nullopt, keys.data(), keys.size());
        std::string text;
        for (const std::int64_t key : keys) {
            ObsRecord rec;
            EXPECT_TRUE(obsfindrec(key, rec));
            text += std::to_string(key) + rec.secClass + std::to_string(rec.rotateToDate);
            for (const auto& [name, value] : fieldsOf(rec)) text.append(reinterpret_cast<const char*>(&value), 8);
        }
        obsemptytree();
        for (const std::string& error : std::exchange(log_.errors, {})) text += error + "\n";
        return text;
    }
};

// A load writes plain cards straight to where they stay: as if each had gone the long way.
TEST_F(B3Decks, loadAsLineByLine) {
    std::mt19937 random(6);
    const std::vector<Case> cases = readCases(OBS_TEST_DATA "/b3/b3.cases");
    std::string deck;
    for (int i = 0; i < 3000; ++i) {
        std::string card = cases[random() % cases.size()].card;
        if (random() % 4 != 0) card.replace(15, 4, std::to_string(1000 + random() % 400));
        deck += (random() % 2 == 0 ? damaged(card, random) : card) + (random() % 5 == 0 ? "\r\n" : "\n");
    }
    load(deck);
    const std::string atOnce = left();
    LineReader lines(deck, true);
    LoadCounts counts;
    for (std::string_view line; lines.next(line);)
        if (ObsCardType(line) != LineClass::notObservation && !isCommentOrBlank(line))
            ReadObsRec(line, ObsCardType(line), counts);
    EXPECT_GT(obsgetnumoftreenodes(), 500);
    EXPECT_EQ(atOnce, left());
    EXPECT_EQ(counts.bad, latestLoad().counts.bad);
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
