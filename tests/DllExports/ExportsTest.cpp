// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include "Obs/CardLayouts/Columns.h"
#include "tests/CaseFile.h"
#include "tests/ExportTest.h"
#include "tests/StoreCheck.h"

namespace obs::test {

namespace {

std::string caseCard(const std::string& base) {
    for (const char* file : {OBS_TEST_DATA "/b3/b3.cases", OBS_TEST_DATA "/eci/eci.cases"})
        for (const Case& one : readCases(file))
            if (one.card[74] == base[0]) return one.card;
    throw std::runtime_error("no card of type " + base);
}

std::string contentOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace

class Exports : public ExportTest {};

TEST_F(Exports, cardsGoInAndComeOut) {
    for (const char* type : {"0", "1", "4", "5", "6", "8"}) {
        const std::string card = caseCard(type);
        std::int64_t key = 0;
        ObsAddFrB3CardML(card.c_str(), &key);
        ASSERT_GT(key, 0) << card;
        EXPECT_EQ(SatNumFrObsKey(key), 12345);
        EXPECT_EQ(SenNumFrObsKey(key), 211);
        Text out("was here");
        EXPECT_EQ(ObsGetB3Card(key, out), 0);
        EXPECT_EQ(out.trimmed().substr(0, 23), card.substr(0, 23));
        EXPECT_EQ(ObsAddFrB3Card(card.c_str()), 0) << "a duplicate";
        EXPECT_EQ(ObsLoadCard(Text(card)), 0);
        EXPECT_EQ(ObsLoadTwoCards(Text(card), Text()), 0);
    }
    std::string lower = caseCard("1");
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    lower.replace(23, 1, "j");
    EXPECT_GT(ObsAddFrB3Card(lower.c_str()), 0);
    EXPECT_EQ(ObsAddFrB3Card("not a card"), -1);
    EXPECT_EQ(log_.errors.back(), "AddFrB3Card: This isn't a valid B3/B3E card.");
    EXPECT_EQ(ObsLoadCard("OBSFIL x"), 2);
    EXPECT_EQ(ObsLoadTwoCards("nothing", "at all"), 2);
    std::string bad = caseCard("1");
    bad[33] = 'X';
    const std::size_t before = log_.errors.size();
    EXPECT_EQ(ObsLoadTwoCards(Text(bad), Text()), 2);
    EXPECT_EQ(log_.errors.size(), before + 2) << "tried twice, reported twice";
}

TEST_F(Exports, parsingStoresNothing) {
    AllFields f;
    const std::string card = caseCard("5").replace(75, 1, "2");
    EXPECT_EQ(f.parse(card.c_str()), 0);
    EXPECT_EQ(f.type, '5');
    EXPECT_EQ(f.rate, 0) << "rotated to date";
    double array[64];
    EXPECT_EQ(ObsParse(card.c_str(), "", array), 0);
    EXPECT_EQ(array[22], 2) << "kept in the card's equinox";
    EXPECT_EQ(array[1], 12345);
    EXPECT_EQ(array[11], 5);
    EXPECT_NE(array[5], f.az);
    const std::string space = caseCard("8").replace(38, 8, "10000005");
    EXPECT_EQ(f.parse(space.c_str()), 0);
    EXPECT_EQ(f.type, 'M');
    EXPECT_EQ(f.pos[0], 123.456);
    EXPECT_EQ(ObsParse(space.c_str(), "", array), 0);
    EXPECT_EQ(array[11], 8);
    EXPECT_EQ(array[16], 123.456);
    for (const char* line : {"", "x", "TTY_YEAR 2024", "U garbage"}) {
        EXPECT_EQ(f.parse(line), 2);
        EXPECT_EQ(log_.errors.back(), "ObsB3Parse: Invalid or unsupported obs format.");
        EXPECT_EQ(f.sat, 0);
        EXPECT_EQ(f.type, ' ');
        EXPECT_EQ(ObsParse(line, "", array), 2);
        EXPECT_EQ(log_.errors.back(), "ObsParse: Invalid or unsupported obs format.");
        EXPECT_TRUE(std::all_of(array, array + 64, [](double v) { return v == 0; }));
    }
    EXPECT_EQ(ObsGetCount(), 0);
}

TEST_F(Exports, fieldsMakeCards) {
    AllFields f;
    ASSERT_EQ(f.parse(caseCard("5").c_str()), 0);
    Text plain, rotated("was here");
    EXPECT_EQ(f.toCard(plain), 0);
    EXPECT_EQ(plain.trimmed().substr(0, 37), caseCard("5").substr(0, 37));
    f.rate = 2;
    EXPECT_EQ(f.toCard(rotated), 0);
    EXPECT_NE(rotated.trimmed(), plain.trimmed());
    EXPECT_EQ(rotated.chars[75], ' ');
    for (const double equinox : {4.0, -1.0, 0.5, std::numeric_limits<double>::quiet_NaN()}) {
        f.rate = equinox;
        EXPECT_EQ(f.toCard(rotated), 2);
        EXPECT_EQ(rotated.trimmed(), "");
        EXPECT_EQ(log_.errors.back(), "ObsFieldsToB3Card: Invalid equinox indicator. Its valid range is from 0 to 3.");
    }
    f.type = '8';
    f.range = 500;
    f.pos[1] = 1.5;
    EXPECT_EQ(f.toCard(plain), 0);
    ASSERT_EQ(f.parse(plain.trimmed().c_str()), 0);
    EXPECT_EQ(f.type, 'M');
    EXPECT_EQ(f.range, 500);
    EXPECT_EQ(f.pos[1], 1.5);
}

TEST_F(Exports, allFieldsOfAnObservation) {
    const std::int64_t key = ObsAddFrB3Card(caseCard("4").c_str());
    AllFields f;
    EXPECT_EQ(f.get(key), 0);
    EXPECT_EQ(f.type, '4');
    EXPECT_EQ(f.time, 27029.5);
    EXPECT_EQ(f.range, 12345.67);
    EXPECT_EQ(f.accel, 0.1234);
    EXPECT_EQ(f.get(key + 1), 2);
    EXPECT_EQ(f.sat, 0);
    EXPECT_EQ(f.secClass, ' ');
    EXPECT_EQ(f.cleared[127], 0);
    EXPECT_EQ(log_.errors.back(),
              "ObsGetAllFields: Unable to locate obsKey   12960000012345212 in the OBS binary tree.");
    Text card("was here");
    EXPECT_EQ(ObsGetB3Card(-1, card), 2);
    EXPECT_EQ(card.trimmed(), "");
    EXPECT_EQ(log_.errors.back(), "ObsGetB3Card: Unable to locate obsKey                  -1 in the OBS binary tree.");
}

TEST_F(Exports, anEmptyStoreAnswers) {
    std::int64_t keys[1] = {-7};
    ObsGetLoaded(1, keys);
    EXPECT_EQ(keys[0], -7);
    EXPECT_EQ(log_.informations.back(), "Warning-ObsGetLoaded: The binary tree is empty. No obsKey returns.");
    EXPECT_EQ(ObsGetCount(), 0);
    EXPECT_EQ(ObsRemoveAll(), 0);
    EXPECT_EQ(ObsRemove(5), 2);
    EXPECT_EQ(log_.errors.back(), "RemoveNode: Unable to locate this key                   5 in its binary tree.");
    EXPECT_EQ(SatNumFrObsKey(5), -1);
    EXPECT_EQ(SenNumFrObsKey(std::numeric_limits<std::int64_t>::max()), -1);
    EXPECT_EQ(ObsInit(), 0);
    Text info;
    ObsGetInfo(info);
    EXPECT_NE(info.trimmed().find("Obs"), std::string::npos);
    EXPECT_NE(info.trimmed().find("Jun 11 2025"), std::string::npos);
}

TEST_F(Exports, nullPointersAreRefused) {
    ASSERT_GT(ObsAddFrB3Card(caseCard("1").c_str()), 0);
    std::int64_t number = 0;
    double array[64];
    EXPECT_EQ(ObsLoadFile(nullptr), 2);
    EXPECT_EQ(ObsLoadFileGID(nullptr, 1), 2);
    EXPECT_EQ(ObsLoadCard(nullptr), 2);
    EXPECT_EQ(ObsLoadTwoCards("", nullptr), 2);
    EXPECT_EQ(ObsAddFrB3Card(nullptr), -1);
    ObsAddFrB3CardML(nullptr, &number);
    EXPECT_EQ(number, -1);
    ObsAddFrB3CardML(caseCard("6").c_str(), nullptr);
    EXPECT_EQ(ObsFieldsToObsKeyML(1, 1, 20000, nullptr), -1);
    EXPECT_EQ(ObsGetLoadCounts(nullptr, &number, &number), 2);
    EXPECT_EQ(ObsParse("", nullptr, array), 2);
    EXPECT_EQ(ObsParse("", "", nullptr), 2);
    EXPECT_EQ(ObsGetB3Card(1, nullptr), 2);
    ObsGetLoaded(1, nullptr);
    ObsGetInfo(nullptr);
    EXPECT_EQ(ObsSaveFile(nullptr, 0, 0), 2);
    EXPECT_EQ(ObsSaveFileGID(nullptr, 0, 0, 0), 2);
    EXPECT_NE(log_.errors.back().find("ObsSaveFileGID: "), std::string::npos);
    EXPECT_EQ(log_.errors.size(), 16u);
    EXPECT_EQ(ObsGetCount(), 1);
}

// Any bytes at all, as a card or a line: refused or taken, never a fault, and what is taken can be written.
TEST_F(Exports, anyBytesAreACard) {
    std::mt19937 random(1);
    std::vector<std::string> seeds;
    for (const Case& one : readCases(OBS_TEST_DATA "/b3/b3.cases")) seeds.push_back(one.card);
    for (const Case& one : readCases(OBS_TEST_DATA "/b3/b3e.cases")) seeds.push_back(one.card);
    for (const Case& one : readCases(OBS_TEST_DATA "/eci/eci.cases")) seeds.push_back(one.card);
    std::int32_t added = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string card = seeds[random() % seeds.size()];
        for (auto hits = random() % 6; hits > 0; --hits)
            card[random() % card.size()] = static_cast<char>(random() % 256);
        if (random() % 3 == 0) card.resize(random() % 600, static_cast<char>(random() % 128));
        Text text(card);
        AllFields f;
        f.parse(text);
        added += ObsLoadCard(text) == 0;
        ObsLoadTwoCards(text, text);
    }
    EXPECT_GT(added, 1000);
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(-6, keys.data());
    for (const std::int64_t key : keys) {
        Text card;
        ASSERT_EQ(ObsGetB3Card(key, card), 0);
        ASSERT_GE(card.trimmed().size(), 23u);
    }
    checkedKeys();
}

class Saving : public Exports {
protected:
    void SetUp() override {
        Exports::SetUp();
        folder_ = std::filesystem::temp_directory_path() / ("obs_save_" + std::to_string(::getpid()));
        std::filesystem::create_directory(folder_);
        file_ = folder_ / "out.txt";
    }
    void TearDown() override {
        std::filesystem::remove_all(folder_);
        Exports::TearDown();
    }
    void fill() {
        char hour = '0';
        for (const char* type : {"5", "1", "V", "4", "0", "P", "6", "8"}) {
            std::string card = caseCard(type);
            card[15] = hour++;  // another hour each, from 10 on
            ASSERT_GT(ObsAddFrB3Card(card.c_str()), 0);
        }
    }
    std::filesystem::path folder_, file_;
};

TEST_F(Saving, writesByKeyAndLoadsAgain) {
    fill();
    SetObsKeyMode(1);
    ASSERT_GT(ObsAddFrB3Card(caseCard("6").c_str()), 0);  // under an address key: the last line
    SetObsKeyMode(0);
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 0), 0);
    const std::string saved = contentOf(file_);
    std::istringstream lines(saved);
    std::vector<std::string> cards;
    for (std::string line; std::getline(lines, line);) cards.push_back(line);
    ASSERT_EQ(cards.size(), 9u);
    EXPECT_TRUE(std::is_sorted(cards.begin(), cards.end() - 1,
                               [](const auto& a, const auto& b) { return a.substr(9, 14) < b.substr(9, 14); }));
    for (const std::string& card : cards) EXPECT_NE(card.back(), ' ');

    EXPECT_EQ(ObsSaveFile(file_.c_str(), 1, 0), 0) << "any other mode appends";
    EXPECT_EQ(contentOf(file_), saved + saved);
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 0), 0);
    EXPECT_EQ(contentOf(file_), saved);

    ObsRemoveAll();
    EXPECT_EQ(ObsLoadFile(file_.c_str()), 0);
    EXPECT_EQ(ObsGetCount(), 9);
    const auto again = folder_ / "again.txt";
    EXPECT_EQ(ObsSaveFile(again.c_str(), 0, 0), 0);
    std::string a = contentOf(again), b = saved;
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    EXPECT_EQ(a, b);
}

TEST_F(Saving, groupsAndForms) {
    fill();
    const auto inGroup = folder_ / "group.txt";
    std::ofstream(inGroup) << caseCard("1") << "\n";
    EXPECT_EQ(ObsLoadFileGID(inGroup.c_str(), 6), 0);
    EXPECT_EQ(log_.informations[0], "ObsLoadFile: Reading observation data from file \"" + inGroup.string() + "\".");
    EXPECT_EQ(ObsSaveFileGID(file_.c_str(), 6, 0, 0), 0);
    EXPECT_EQ(contentOf(file_), caseCard("1") + "\n");
    EXPECT_EQ(ObsSaveFileGID(file_.c_str(), 77, 0, 0), 0);
    EXPECT_EQ(contentOf(file_), "");
    for (const std::int32_t form : {7, -1, std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, form), 0);
        EXPECT_EQ(contentOf(file_), "");
    }
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 3), 0);
    EXPECT_EQ(contentOf(file_).substr(0, 16), "# date  drange  ");
    ObsRemoveAll();
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 0), 0);
    EXPECT_EQ(contentOf(file_), "") << "an empty store leaves an empty file";
    std::filesystem::remove(file_);
    EXPECT_EQ(ObsSaveFileGID(file_.c_str(), 0, 0, 0), 0);
    EXPECT_FALSE(std::filesystem::exists(file_)) << "and as a group touches none";
}

TEST_F(Saving, failuresLeaveTheOldFile) {
    fill();
    EXPECT_EQ(ObsSaveFile((folder_ / "missing" / "out.txt").c_str(), 0, 0), ENOENT);
    EXPECT_EQ(ObsSaveFile(folder_.c_str(), 0, 0), EISDIR);
    EXPECT_EQ(ObsSaveFile("/dev/full", 0, 0), 0);
    EXPECT_NE(log_.errors.back().find("No space left on device"), std::string::npos) << log_.errors.back();
    EXPECT_EQ(ObsGetCount(), 8);
}

}  // namespace obs::test
