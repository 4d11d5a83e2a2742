// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/LoadFixture.h"

namespace obs::test {

namespace {

std::string azElCard(int number) {
    static const std::string base = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    std::string card = base;
    std::string seconds = std::to_string(10000000 + number);
    card.replace(16, 7, seconds.substr(1));  // minutes, seconds, milliseconds
    return card;
}

std::string badCard(int number) {
    std::string card = azElCard(number);
    card[33] = 'X';
    return card;
}

}  // namespace

using LoadFileTest = LoadFixture;

TEST_F(LoadFileTest, countsAndNamesLinesInTheirOrder) {
    std::string noSatellite = azElCard(9);
    noSatellite.replace(1, 5, "00000").replace(80, 10, "0000000000");
    const std::string text = "* comment\n\n   \n" + azElCard(1) + "\n" + badCard(2) + "\n" + azElCard(1) + "\nnot a card\n" +
                             azElCard(3) + "\r\n" + noSatellite + "\n" + azElCard(3) + "\nH1 CRD\n" + azElCard(4);
    EXPECT_EQ(load(text), 0) << "the last observation line is good";
    expectCounts(3, 2, 3);
    ASSERT_EQ(told_.size(), 6u);
    const std::pair<std::int32_t, std::int64_t> expected[] = {{kLineBad, 5}, {kLineDuplicate, 6}, {kLinePassedOver, 7}, {kLineBad, 9}, {kLineDuplicate, 10}, {kLineBad, 11}};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(told_[i].kind, expected[i].first) << i;
        EXPECT_EQ(told_[i].line, expected[i].second) << i;
        EXPECT_EQ(told_[i].file, "deck.txt");
    }
    EXPECT_EQ(told_[0].reason, "ReadB3: Bad B3 card/" + badCard(2));
    EXPECT_EQ(log_.errors[0], "ReadB3: Bad B3 card/" + badCard(2) + std::string(512 - 90, ' '));
    EXPECT_EQ(log_.errors[1].substr(0, 38), "AddObOnly: Duplicated record/obsKey   ");
    EXPECT_EQ(log_.errors[1].substr(55), " found.");
    EXPECT_EQ(log_.informations[0], "ReadOnlyObs: Bad obs string '" + badCard(2) + std::string(512 - 90, ' ') + "'.");
    EXPECT_EQ(log_.errors.size(), 3u) << "a card without a satellite and a line without a reader say nothing more";
}

TEST_F(LoadFileTest, theStatusIsTheLastLines) {
    EXPECT_EQ(load(azElCard(1) + "\n" + badCard(2) + "\n* end\n"), 2);
    EXPECT_EQ(load(badCard(2) + "\n" + azElCard(1) + "\n"), 0) << "a duplicate is no failure";
    EXPECT_EQ(load("* nothing\n\n"), 0);
    expectCounts(0, 0, 0);
    EXPECT_EQ(load(""), 0);
}

TEST_F(LoadFileTest, duplicatesAreSilentlyAcceptedWhenAskedFor) {
    FamilySetDupKeyMode(1);
    EXPECT_EQ(load(azElCard(1) + "\n" + azElCard(1) + "\n"), 0);
    FamilySetDupKeyMode(0);
    expectCounts(2, 0, 0);
    EXPECT_EQ(ObsGetCount(), 1);
    EXPECT_TRUE(log_.errors.empty());
}

// A line that is taken for a second TTY card still counts for the first pass, whatever else the file holds.
TEST_F(LoadFileTest, theFirstPassSeesEveryLine) {
    const std::string head = "))U   54211A2345\n", second = "0320000000000123456 1234567 12345673\n";
    write("inner.txt", azElCard(7) + "\n");
    EXPECT_EQ(load("TTY_YEAR 2023\n" + head + "OBSFIL inner.txt\n"), 2);
    expectCounts(1, 0, 1);
    SetTTYYear(2023);
    EXPECT_EQ(load(head + "OBSFIL inner.txt\n"), 2);
    expectCounts(0, 1, 1);
    EXPECT_EQ(load(head + "TTY_YEAR 2024\n" + head + second), 0);
    expectCounts(1, 0, 1);
    EXPECT_EQ(ttyYear(), 2024);
    SetTTYYear(2020);
    write("inner.txt", head + second);  // named before the year that the file sets
    EXPECT_EQ(load("OBSFIL inner.txt\nTTY_YEAR 2021\n" + head + second), 0);
    expectCounts(2, 0, 0);
    write("fort.12", head + second);
    EXPECT_EQ(load("OBSFIL fort.12\n"), 0);
    expectCounts(0, 0, 1);
    EXPECT_EQ(log_.errors.back(), "ReadTTYFrFile: Using fort.n not allowed in Velmora due to security risk");
}

TEST_F(LoadFileTest, theSecondPassStartsWithAGoodStatus) {
    EXPECT_EQ(load("VM_DMA_OBS_ON\nOBSFIL missing.txt\n"), 0);
    EXPECT_EQ(load("SELOB x\nOBSFIL missing.txt\n"), 0);
}

// Included observations come first and belong to the naming file's load; includes are one level deep.
TEST_F(LoadFileTest, includeFilesComeFirst) {
    write("inner.txt", azElCard(7) + "\nOBSFIL deck.txt\n" + badCard(8) + "\n");
    write("other.txt", azElCard(5) + "\n");
    const std::string text = azElCard(1) + "\n" + azElCard(7) + "\nobsfil = inner.txt\n  OBSFIL\nTTY_YEAR 2021\n" + badCard(2) +
                             "\nOBSFIL \"" + (folder_ / "other.txt").string() + "\"\nOBSFIL missing.txt\nTTY_YEAR 2022\n" + azElCard(3) + "\n";
    EXPECT_EQ(ReadObsFrFile(write("deck.txt", text), 42), 0);
    expectCounts(4, 1, 2);
    EXPECT_EQ(ttyYear(), 2022);
    EXPECT_EQ(obsgetnumoftreenodes(42), 4);
    ASSERT_EQ(told_.size(), 4u);
    EXPECT_EQ(told_[0].file, "inner.txt");
    EXPECT_EQ(told_[0].line, 3);
    EXPECT_EQ(told_[1].kind, kLineDuplicate);
    EXPECT_EQ(told_[1].line, 2);
    EXPECT_EQ(told_[2].kind, kLinePassedOver) << "a keyword begins in column 1";
    EXPECT_EQ(told_[2].line, 4);
    std::int64_t keys[4];
    ObsGetLoaded(-8, keys);
    EXPECT_EQ(keys[0], obsfields2obskey(27029.5 + 0.007 / 86400, 12345, 211));
}

TEST_F(LoadFileTest, aFileMayIncludeItself) {
    EXPECT_EQ(load("OBSFIL deck.txt\n" + azElCard(1) + "\n"), 0);
    expectCounts(1, 1, 0);
}

TEST_F(LoadFileTest, theDmaKeywordChangesTheModeFromThereOn) {
    EXPECT_EQ(load(azElCard(1) + "\n" + badCard(9) + "\nVM_DMA_OBS_ON\n" + azElCard(1) + "\n" + badCard(2) + "\nH1 CRD\n"), 0);
    EXPECT_EQ(obskeymodeget(), 1);
    expectCounts(3, 0, 2);
    ASSERT_EQ(told_.size(), 2u);
    EXPECT_EQ(told_[1].line, 5);
    std::int64_t keys[3];
    ObsGetLoaded(9, keys);
    EXPECT_FALSE(isdmaobs(keys[0]));
    EXPECT_TRUE(isdmaobs(keys[1]));
    EXPECT_EQ(SatNumFrObsKey(keys[2]), 0) << "a line without a reader is an empty observation under address keys";
}

// Lines of any length and content, at and across the ends of the blocks in which files are read.
TEST_F(LoadFileTest, readsAnyBytes) {
    std::string text;
    std::int64_t loaded = 0;
    for (int i = 0; i < 12000; ++i) {
        text += azElCard(i) + "\n";
        ++loaded;
        if (i % 1000 == 0) text += std::string(static_cast<std::size_t>(i) * 60 + 511, 'x') + "\r\n";
        if (i % 900 == 0) text += std::string("\0\xff\xfe U", 5) + "\n";
    }
    text += azElCard(500000) + std::string(300000, ' ') + "~";  // good within its 512 columns; no last newline
    EXPECT_EQ(load(text), 0);
    expectCounts(loaded + 1, 0, 0);
    std::string nul = azElCard(999999);
    nul[25] = '\0';
    EXPECT_EQ(load(nul), 2);
    EXPECT_EQ(told_.back().kind, kLineBad);
    std::erase_if(told_, [](const Told& told) { return told.kind == kLinePassedOver; });
    EXPECT_EQ(told_.size(), 1u);
}

// More refused lines than are kept waiting, in a file that turns out to have an include line at its end.
TEST_F(LoadFileTest, manyBadLinesBeforeALateInclude) {
    write("inner.txt", azElCard(1) + "\n");
    std::string text;
    constexpr int kBad = 20000;
    for (int i = 0; i < kBad; ++i) text += badCard(i) + "\n" + (i % 1000 == 0 ? azElCard(i + 1) + "\n" : "");
    EXPECT_EQ(load(text + "OBSFIL inner.txt\n"), 2);
    expectCounts(20, 1, kBad);
    ASSERT_FALSE(told_.empty());
    EXPECT_EQ(told_[1].kind, kLineDuplicate) << "the include file was first";
    told_.clear();
    obsemptytree();
    EXPECT_EQ(load(text), 2);
    expectCounts(20, 0, kBad);
    EXPECT_EQ(told_.size(), static_cast<std::size_t>(kBad));
    for (std::size_t i = 1; i < told_.size(); ++i) ASSERT_LT(told_[i - 1].line, told_[i].line);
}

TEST_F(LoadFileTest, refusesWhatItCannotOpen) {
    EXPECT_EQ(ReadObsFrFile((folder_ / "missing.txt").string()), ENOENT);
    EXPECT_NE(log_.errors.back().find("missing.txt"), std::string::npos);
    EXPECT_EQ(ReadObsFrFile(folder_.string()), EISDIR);
    EXPECT_NE(ReadObsFrFile(""), 0);
    EXPECT_NE(ReadObsFrFile("/dev/zero"), 0);
    EXPECT_EQ(ReadObsFrFile(write("fort.11", azElCard(1))), 2);
    EXPECT_EQ(log_.errors.back(), "ReadObsFrFileUnit: Using fort.n not allowed in Velmora due to security risk");
    EXPECT_EQ(ObsGetCount(), 0);
}

}  // namespace obs::test
