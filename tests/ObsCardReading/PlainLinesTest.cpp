// SPDX-License-Identifier: Apache-2.0
// Plain lines go straight to where their records stay: on random damaged decks all is as if each had gone the long way.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <random>
#include <tuple>

#include "Obs/CardLayouts/PlainReals.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/LaserRanging/RangeItems.h"
#include "Obs/ObsCardReading/Loading/LineCollector.h"
#include "Obs/ObsCardReading/Loading/Pieces.h"
#include "Obs/ObsTree/Ordering.h"
#include "tests/RecordFields.h"
#include "tests/StoreCheck.h"
#include "tests/TestLog.h"

namespace obs::test {

namespace {

std::vector<std::string> messagesOf(const std::string& format) {
    std::vector<std::string> messages;
    for (const Case& one : readCases(std::string(OBS_TEST_DATA "/") + format + "/" + format + ".cases"))
        messages.push_back(one.card2.empty() ? one.card : one.card + '\n' + one.card2);
    return messages;
}

/// Up to three characters that are something else, and now and then a line that ends early.
std::string damaged(std::string text, std::mt19937& random) {
    static const std::string kNoise = "0123456789 -+,:.\tEJKRSX$P*";
    for (auto hits = random() % 4; hits > 0; --hits) text[random() % text.size()] = kNoise[random() % kNoise.size()];
    return random() % 8 == 0 ? text.substr(0, random() % text.size()) : text;
}

std::string deckOf(const std::vector<std::string>& messages, std::mt19937& random) {
    std::string deck;
    for (int i = 0; i < 3000; ++i) {
        const std::string& message = messages[random() % messages.size()];
        deck.append(random() % 3 == 0 ? message : damaged(message, random)).append(random() % 5 == 0 ? "\r\n" : "\n");
        if (random() % 100 == 0) deck.append("TTY_YEAR ").append(std::to_string(1948 + random() % 80)).append("\n");
    }
    return deck;
}

class Collected final : public LineCollector {
public:
    explicit Collected(bool offersPlace) : LineCollector(0, nullptr, true), offersPlace_(offersPlace) {}

    CommonFields* place() override { return offersPlace_ ? LineCollector::place() : nullptr; }
    void observationAtPlace(std::int64_t key, const UncommonFields& rest, LinePlace place) override {
        ++atPlace;
        LineCollector::observationAtPlace(key, rest, place);
    }
    bool keyword(LineClass, std::string_view, LinePlace) override { return true; }

    /// All records in order of insertion to the bit, and what was said of lines.
    std::string all() {
        std::string text;
        batch_.commit();
        std::vector<std::int64_t> keys(checkedKeys().size());
        obslistkeys(-8, std::nullopt, keys.data(), keys.size());
        for (const std::int64_t key : keys) {
            ObsRecord rec;
            EXPECT_TRUE(obsfindrec(key, rec));
            text += std::to_string(key) + rec.secClass + std::to_string(rec.rotateToDate);
            if (rec.rfData) text.append(rec.rfData->flags.data(), rec.rfData->flags.size());
            for (const auto& [name, value] : fieldsOf(rec))
                text.append(name).append(reinterpret_cast<const char*>(&value), sizeof value);
        }
        for (const LineRun& run : said_.offsets) text.append("\n").append(std::to_string(run.lineNumber));
        for (const LineRemarks::Remark& one : said_.remarks)
            text.append("\n").append(std::to_string(one.lineNumber)).append(one.what.message()).append(one.line);
        obsemptytree();
        return text;
    }

    std::size_t atPlace = 0;

private:
    bool offersPlace_;
};

struct Read {
    std::string all;
    std::size_t atPlace;
    LineCounts counts;
};

Read read(const std::string& deck, bool offersPlace) {
    ReadContext context;
    context.ttyYear = 2024;
    Collected sink(offersPlace);
    readPiece(deck, true, context, sink);
    endReading(context, sink);
    return {sink.all(), sink.atPlace, context.counts};
}

}  // namespace

class PlainDecks : public ::testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Formats, PlainDecks, ::testing::Values("b3", "tty", "rf"));

TEST_P(PlainDecks, areReadAsAllOthers) {
    TestLog log;
    std::mt19937 random(6);
    const std::vector<std::string> messages = messagesOf(GetParam());
    for (int round = 0; round < 4; ++round) {
        const std::string deck = deckOf(messages, random);
        const Read quick = read(deck, true), careful = read(deck, false);
        EXPECT_EQ(quick.all, careful.all);
        EXPECT_EQ(quick.counts.observations, careful.counts.observations);
        EXPECT_EQ(quick.counts.zeroed, careful.counts.zeroed);
        EXPECT_GT(quick.atPlace, 300u);
        EXPECT_EQ(careful.atPlace, 0u);
    }
}

TEST(PlainReals, areTheNearestNumbersOrNone) {
    std::mt19937 random(5);
    int taken = 0;
    for (int i = 0; i < 200'000; ++i) {
        std::string text;
        for (auto length = 1 + random() % 12; length > 0; --length)
            text += "0123456789012345678901234567.-Ee,"[random() % 33];
        const std::size_t end = std::min(text.find(','), text.size());
        text += ",        ";
        double value = -1, nearest = -2;
        const char* const behind = takePlainReal(text.data(), value);
        if (behind == nullptr || *behind != ',') continue;  // left to those who take more care
        ++taken;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + end, nearest);
        ASSERT_TRUE(stop == text.data() + end && behind == stop) << text;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(nearest)) << text;
    }
    EXPECT_GT(taken, 50'000);
}

TEST(PlainLines, laserRangesAreReadAsAllOthers) {
    const std::vector<std::string> records{"10 43200.0123456 0.0501234567891 std 2 2 0 0",
                                           "10 1 5e-2 a 1",
                                           "10  0.5 .05 b1 0  1",
                                           "10 2. 0.05 c 2 na",
                                           "11 86400.99 0.0123456789012345678 std 2 120 5 na na na 0 0",
                                           "10 3 0.05\tstd 2 2\r"};
    std::mt19937 random(7);
    std::size_t plain = 0;
    for (int i = 0; i < 40000; ++i) {
        const std::string line = damaged(records[random() % records.size()], random);
        const bool isFullRate = line.starts_with("10");
        RangeItems quick, careful;
        if (!isCrdRecord(line) || !readPlainRangeItems(line, isFullRate, quick)) continue;
        ++plain;
        ASSERT_FALSE(readRangeItems(line, isFullRate, careful)) << line;
        EXPECT_EQ(std::tie(quick.secondOfDay, quick.timeOfFlightS, quick.configuration, quick.epochEvent),
                  std::tie(careful.secondOfDay, careful.timeOfFlightS, careful.configuration, careful.epochEvent))
            << line;
        EXPECT_EQ(quick.filterFlag, careful.filterFlag) << line;
    }
    EXPECT_GT(plain, 3000u);
}

}  // namespace obs::test
