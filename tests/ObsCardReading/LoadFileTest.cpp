// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>

#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "Obs/ObsTree/Selection.h"
#include "ObsDllExports.h"
#include "tests/CaseFile.h"
#include "tests/Child.h"
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
    const std::string text = "* comment\n\n   \n" + azElCard(1) + "\n" + badCard(2) + "\n" + azElCard(1) +
                             "\nnot a card\n" + azElCard(3) + "\r\n" + noSatellite + "\n" + azElCard(3) + "\nH1 CRD\n" +
                             azElCard(4);
    EXPECT_EQ(load(text), 0) << "the last observation line is good";
    expectCounts(3, 2, 3);
    EXPECT_EQ(told_.at(0).reason, "ReadB3: Bad B3 card/" + badCard(2));
    static_assert(kLineBad == 2 && kLineDuplicate == 3 && kLinePassedOver == 5);
    EXPECT_EQ(told(), "5:2 6:3 7:5 9:2 10:3 11:2 ");
    EXPECT_EQ(log_.errors[0], "ReadB3: Bad B3 card/" + badCard(2) + std::string(512 - 90, ' '));
    EXPECT_EQ(log_.errors[1].substr(0, 38), "AddObOnly: Duplicated record/obsKey   ");
    EXPECT_EQ(log_.errors[1].substr(55), " found.");
    EXPECT_EQ(log_.informations[0], "ReadOnlyObs: Bad obs string '" + badCard(2) + std::string(512 - 90, ' ') + "'.");
    EXPECT_EQ(log_.errors.size(), 3u) << "a card without a satellite and a line without a reader say nothing more";
}

TEST_F(LoadFileTest, theStatusIsTheLastLines) {
    EXPECT_EQ(load(azElCard(1) + "\n" + badCard(2) + "\n* end\n"), 2);
    EXPECT_EQ(load(badCard(2) + "\n" + azElCard(1) + "\n"), 0) << "a duplicate is not a failure";
    for (const char* text : {"* nothing\n\n", ""}) EXPECT_EQ(load(text), 0);
    expectCounts(0, 0, 0);
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
    told_.clear();
    EXPECT_EQ(load("SELOB x\nOBSFIL missing.txt\nSELOB sat=5\nTTY_YEAR x\n))7  1121112345001\n"), 2);
    EXPECT_EQ(told(), "2:9 4:8 1:8 3:10 5:2 ");
}

// Included observations come first and belong to the naming file's load; includes are one level deep.
TEST_F(LoadFileTest, includeFilesComeFirst) {
    write("inner.txt", azElCard(7) + "\nOBSFIL deck.txt\n" + badCard(8) + "\n");
    write("other.txt", azElCard(5) + "\n");
    const std::string text = azElCard(1) + "\n" + azElCard(7) + "\nobsfil = inner.txt\n  OBSFIL\nTTY_YEAR 2021\n" +
                             badCard(2) + "\nOBSFIL \"" + (folder_ / "other.txt").string() +
                             "\"\nOBSFIL missing.txt\nTTY_YEAR 2022\n" + azElCard(3) + "\n";
    EXPECT_EQ(ReadObsFrFile(write("deck.txt", text), 42), 0);
    expectCounts(4, 1, 2);
    EXPECT_EQ(ttyYear(), 2022);
    EXPECT_EQ(obsgetnumoftreenodes(42), 4);
    static_assert(kLineIncludeLeftOut == 9);
    EXPECT_EQ(told(), "inner.txt:3:2 8:9 2:3 4:5 6:2 ") << "a keyword begins in column 1";
    std::int64_t keys[4];
    ObsGetLoaded(-8, keys);
    EXPECT_EQ(keys[0], obsfields2obskey(27029.5 + 0.007 / 86400, 12345, 211));
}

TEST_F(LoadFileTest, aFileMayIncludeItself) {
    EXPECT_EQ(load("OBSFIL deck.txt\n" + azElCard(1) + "\n"), 0);
    expectCounts(1, 1, 0);
}

TEST_F(LoadFileTest, theDmaKeywordChangesTheModeFromThereOn) {
    EXPECT_EQ(
        load(azElCard(1) + "\n" + badCard(9) + "\nVM_DMA_OBS_ON\n" + azElCard(1) + "\n" + badCard(2) + "\nH1 CRD\n"),
        0);
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

// Each of these lines is bad; without the NUL it is not.
TEST_F(LoadFileTest, aNulMakesALineBadInEveryFormat) {
    const std::string crd = "SLROBS\nH1 CRD 2\nH2 G 7839\nH3 l 7603901 1155 8820\nH4 0 2004 10 3 12 0 0\n";
    const std::string block = "99999\n7603901890797105070253210009594200003300407300100650541\n";
    for (const std::string& text :
         {azElCard(1) + " ~\n", std::string("))U   11211123450011200000000123456 1234567 ~\n"),
          std::string("))U   1421112345\n0011200000000123456 1234567 12345673 00123456 001234 001234 001234 ~\n"),
          "U,5,345,2024,163,12,34,56.7" + std::string(47, ',') + "~,\n",
          std::string("2024:01:15::12:34:56.1 1 1 1 1 CCH_ESP 1 CDE_ESP 1 5 1 2024:01:15::12:35:00 1 A B C ~\n"),
          crd + "10 43201 0.25 std 2 2 0 0 ~\nH8\nH9\n",
          block + "2143607865450520359980000000066101352905055010800000049 ~\n"}) {
        for (const char c : {' ', '\0'}) {
            obsemptytree();
            SetTTYYear(2024);
            std::string line = text;
            line[line.find('~')] = c;
            load(line);
            expectCounts(c != '\0', 0, c == '\0');
        }
        EXPECT_EQ(log_.errors.back(), "ReadObsRec: The line holds a NUL character.") << text;
    }
}

// The same words in a file, with the place, and in a single call.
TEST_F(LoadFileTest, valuesTakenAsZeroAreTold) {
    const struct {
        std::string card1, card2, told;
    } cases[] = {
        {"))U   1121112345001120000000 0x2345 1234567  $$", "",
         "TTY2Lines: Field 29-35 of card 1 (elevation) is not a number and is taken as 0."},
        {"))U   1121112345001120000000 012345 12345", "",
         "TTY2Lines: Field 37-43 of card 1 (azimuth) is cut: The card ends before it, or inside of it, without an end "
         "mark."},
        {"))U   1121112345001120000000 012345 12345  $$", "", ""},
        {"))U   1121112345001120000000 012345 1234567", "", ""},
        {"))U   1521112345001120000000 012345 1234567 x $$", "",
         "TTY2Lines: Field 45-45 of card 1 (equinox) is not a number and is taken as 0."},
        {"))U   1421112345", "0011200000000123456 1234567 12345673 00123456 001234 001234  0.1E2  $$", ""},
        {"))U   1421112345", "0011200000000123456 1234567 1234567x 00123456 001234 001234 001234  $$",
         "TTY2Lines: Field 29-36 of card 2 (range) is not a number and is taken as 0."},
        {"U,5,345,2024,163,12,34,56.7,1,1,1,1,1,1,1,1,1e,,,1" + std::string(36, ','), "",
         "Csv: Field 17 (range) is not a number and is taken as 0."},
        {"U,5,345,2024,163,12,34,56.7,0:0,0:0", "",
         "Csv: The line has 10 fields instead of 56; the missing ones are taken as 0."},
        {"U,5,345,2024,163,12,34,56.7,0:0,0:0,,,x", "", "Csv: Field 13 (azimuth) is not a number and is taken as 0."},
    };
    SetTTYYear(2024);
    for (const auto& one : cases) {
        obsemptytree();
        told_.clear();
        EXPECT_EQ(load("* 1\n" + one.card1 + "\n" + one.card2 + "\n"), 0);
        std::erase_if(told_, [&](const Told& told) { return told.reason != "Read" + one.told; });
        ASSERT_EQ(told_.size(), one.told.empty() ? 0u : 1u) << one.card1 << one.told;
        EXPECT_GE(latestLoad().lines.zeroed, std::ssize(told_));
        log_.informations.clear();
        double array[64];
        EXPECT_EQ(ObsParse(one.card1.c_str(), one.card2.c_str(), array), 0);
        if (told_.empty()) {
            EXPECT_TRUE(log_.informations.empty()) << one.card1;
            continue;
        }
        EXPECT_EQ(told_[0].kind, kLineZeroed);
        EXPECT_EQ(told_[0].line, 2);
        EXPECT_TRUE(std::count(log_.informations.begin(), log_.informations.end(), told_[0].reason)) << one.card1;
    }
}

TEST_F(LoadFileTest, aYearThatIsNoneChangesNothing) {
    const std::string card = "))U   1121112345001120000000 012345 1234567  $$\n";
    for (const std::string line :
         {"TTY_YEAR", "TTY_YEAR 20x4", "TTY_YEAR = 2024 2025", "TTY_YEAR 2024.5", "TTY_YEAR 99999999999"}) {
        for (const std::string& deck :
             {line + "\n" + card, card + line + "\n" + card, line + "\nOBSFIL none\n" + card}) {
            SetTTYYear(2023);
            log_.errors.clear();
            EXPECT_EQ(load(deck), 0);
            std::erase_if(log_.errors, [](const std::string& error) {
                return error.starts_with("fileopen") || error.starts_with("AddOb");
            });
            EXPECT_EQ(log_.errors, std::vector<std::string>{"ReadOnlyObs: No year in the line '" + line + "'."});
            EXPECT_EQ(ttyYear(), 2023);
        }
    }
    load("TTY_YEAR=+2025\r\n");
    EXPECT_EQ(ttyYear(), 2025);
    SetTTYYear(0);
    EXPECT_EQ(load("TTY_YEAR x\n" + card + "TTY_YEAR 2024\n"), 0) << "the first pass finds the year";
}

TEST_F(LoadFileTest, theOptionsOfALoad) {
    const std::string tty = "))U   1121112345001120000000 012345 1234567  $$\n";
    const auto loadWith = [&](const std::string& text, const LoadOptions& options) {
        obsemptytree();
        obskeymodeset(0);
        ObsResetSelObs();
        SetTTYYear(2020);
        told_.clear();
        log_.errors.clear();
        return readObsWith(write("deck.txt", text), options);
    };
    std::filesystem::create_directory(folder_ / "below");
    write("below/in.txt", azElCard(1) + "\n");
    std::filesystem::create_symlink(OBS_TEST_DATA "/tty/two_cards.txt", folder_ / "below/link");
    const std::string settings = "TTY_YEAR 2024\nVM_DMA_OBS_ON\nSELOB sat=1\n" + tty;

    EXPECT_EQ(loadWith(tty, {.ttyYear = -1}), 2);
    EXPECT_EQ(loadWith(tty, {.ttyYear = 2022}), 0);
    EXPECT_EQ(ttyYear(), 2020);
    EXPECT_EQ(loadWith(settings, {}), 0);
    EXPECT_EQ(std::tuple(ttyYear(), obskeymodeget(), bool(currentSelection().bounds)), std::tuple(2024, 1, true));
    EXPECT_EQ(loadWith(settings, {.settingsLines = SettingsLines::forThisLoad}), 0);
    std::int64_t key = 0;
    ObsGetLoaded(9, &key);
    EXPECT_TRUE(isdmaobs(key));
    EXPECT_EQ(std::tuple(ttyYear(), obskeymodeget(), bool(currentSelection().bounds)), std::tuple(2020, 0, false));
    EXPECT_EQ(loadWith(settings, {.settingsLines = SettingsLines::ignored}), 0);
    ObsGetLoaded(9, &key);
    EXPECT_FALSE(isdmaobs(key));
    EXPECT_EQ(latestLoad().lines.keywords, 3);

    const std::string including = "OBSFIL below/in.txt\nOBSFIL below/link\n" + azElCard(2) + "\n";
    EXPECT_EQ(loadWith(including, {}), 0);
    expectCounts(4, 0, 0);
    EXPECT_EQ(loadWith(including, {.includes = Includes::belowFolder}), 0);
    expectCounts(2, 0, 0);
    EXPECT_EQ(log_.errors.size(), 1u);
    EXPECT_EQ(latestLoad().includesLeftOut, 1);
    EXPECT_EQ(loadWith(including, {.includes = Includes::none}), 0);
    expectCounts(1, 0, 0);
    EXPECT_EQ(loadWith(including, {.maxIncludes = 1}), 0);
    expectCounts(2, 0, 0);

    std::string lines;
    for (int i = 0; i < 9; ++i) lines += badCard(i) + "\n";
    EXPECT_EQ(loadWith(lines, {.maxLines = 9, .maxBadTold = 3}), 2);
    expectCounts(0, 0, 9);
    EXPECT_EQ(told_.size(), 3u);
    EXPECT_EQ(log_.errors.size(), 3u);
    EXPECT_EQ(loadWith(lines + azElCard(1), {.maxLines = 9}), 2);
    EXPECT_EQ(latestLoad().lines.lines, 9);
    EXPECT_EQ(log_.errors.back(), "ReadOnlyObs: There are more than 9 lines; the others are not read.");
    EXPECT_EQ(loadWith("OBSFIL below/in.txt\n" + lines, {.maxLines = 5}), 2);
    EXPECT_EQ(latestLoad().lines.lines, 5) << "of both files";

    obskeymodeset(1);
    load("H1 CRD 2\n");
    expectCounts(1, 0, 0);
    EXPECT_EQ(readObsWith(write("deck.txt", "VM_DMA_OBS_ON\nH1 CRD 2\n"), {}), 2);
    expectCounts(0, 0, 1);
}

// No file of the text's name is there: what the text names is beside it all the same, and not kept out for that.
TEST_F(LoadFileTest, aTextIsLoadedUnderAName) {
    std::filesystem::create_directory(folder_ / "below");
    write("below/in.txt", azElCard(1) + "\n" + badCard(2) + "\n");
    std::filesystem::create_symlink(OBS_TEST_DATA "/tty/two_cards.txt", folder_ / "below/link");
    const std::string text = "OBSFIL below/in.txt\nOBSFIL below/link\n" + azElCard(3) + "\n" + badCard(4);
    EXPECT_EQ(readObsText((folder_ / "fort.11").string(), text, {.includes = Includes::belowFolder}), 2);
    expectCounts(2, 0, 2);
    EXPECT_EQ(told(), "in.txt:2:2 fort.11:2:9 fort.11:4:2 ");
    EXPECT_EQ(readObsText("", {}, {}), 0);
    EXPECT_EQ(latestLoad().lines.lines, 0);
    EXPECT_EQ(readSlrText("ranges", "H9\nhello\n", 5), 0);
    EXPECT_EQ(latestLoad().lines.passedOver, 1);
}

// The file service gives what memory there is; a load that runs out of it tells what it has entered.
TEST_F(LoadFileTest, withoutMemoryCountsAreTrue) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "their own memory would run out";
#endif
    std::string text;
    for (int i = 0; i < 300000; ++i)
        text += azElCard(i) + "\n" + (i % 10 == 0 ? azElCard(i) + "\n" + badCard(i) + "\n" : "");
    const std::string file = write("deck.txt", text);
    int partly = 0;
    for (const int megabytes : {2, 8, 24}) {
        const int outcome = inChild([&] {
            std::ifstream status("/proc/self/statm");
            rlim_t pages = 0;
            status >> pages;
            const rlim_t limit =
                pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + (static_cast<rlim_t>(megabytes) << 20);
            const rlimit memory{limit, limit};
            ::setrlimit(RLIMIT_AS, &memory);
            ObsLoadFile(file.c_str());
            const LoadCounts& counts = latestLoad().counts;
            const bool isTrue = counts.loaded == ObsGetCount() &&
                                counts.loaded + counts.duplicate + counts.bad == latestLoad().lines.observations;
            return !isTrue ? 2 : counts.loaded == 300000 ? 0 : 1;
        });
        EXPECT_TRUE(outcome == 0 || outcome == 1) << megabytes << " MB: " << outcome;
        partly += outcome;
    }
    EXPECT_GT(partly, 0) << "memory sufficed";
}

TEST_F(LoadFileTest, refusesWhatItCannotOpen) {
    EXPECT_EQ(ReadObsFrFile((folder_ / "missing.txt").string()), ENOENT);
    EXPECT_NE(log_.errors.back().find("missing.txt"), std::string::npos);
    EXPECT_EQ(ReadObsFrFile(folder_.string()), EISDIR);
    EXPECT_NE(ReadObsFrFile(""), 0);
    EXPECT_NE(ReadObsFrFile("/dev/zero"), 0);
    EXPECT_NE(ReadObsFrFile("/proc/self/status"), 0) << "made up while it is read, maybe without end";
    EXPECT_EQ(log_.errors.back(), "fileopen: Cannot open file /proc/self/status: Not a regular file");
    EXPECT_EQ(ReadObsFrFile(write("fort.11", azElCard(1))), 2);
    EXPECT_EQ(log_.errors.back(), "ReadObsFrFileUnit: Using fort.n not allowed in Velmora due to security risk");
    EXPECT_EQ(ObsGetCount(), 0);
}

}  // namespace obs::test
