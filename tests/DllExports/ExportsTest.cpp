// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <random>

#include "Obs/CardLayouts/Columns.h"
#include "tests/CaseFile.h"
#include "tests/ExportTest.h"
#include "tests/Files.h"
#include "tests/StoreCheck.h"

namespace obs::test {

namespace {

std::vector<Case> cardCases() {
    std::vector<Case> cases;
    for (const char* file : {"/b3/b3.cases", "/b3/b3e.cases", "/b3/eci.cases"})
        for (const Case& one : readCases(OBS_TEST_DATA + std::string(file))) cases.push_back(one);
    return cases;
}

/// The first card of a type.
std::string caseCard(const std::string& type) {
    static const std::vector<Case> cases = cardCases();
    return std::find_if(cases.begin(), cases.end(), [&](const Case& one) { return one.card[74] == type[0]; })->card;
}

}  // namespace

class Exports : public ExportTest {};

TEST_F(Exports, parsingStoresNothing) {
    AllFields f;
    double array[64];
    const std::string card = caseCard("5").replace(75, 1, "2"), space = caseCard("8").replace(38, 8, "10000005");
    EXPECT_EQ(f.parse(card.c_str()), 0);
    EXPECT_EQ(std::pair(f.type, f.rate), std::pair('5', 0.0)) << "rotated to date";
    EXPECT_EQ(ObsParse(card.c_str(), "", array), 0);
    EXPECT_EQ(std::tuple(array[1], array[11], array[22]), std::tuple(12345, 5, 2)) << "kept in the card's equinox";
    EXPECT_NE(array[5], f.az);
    EXPECT_EQ(f.parse(space.c_str()), 0);
    EXPECT_EQ(std::pair(f.type, f.pos[0]), std::pair('M', 123.456));
    EXPECT_EQ(ObsParse(space.c_str(), "", array), 0);
    EXPECT_EQ(std::pair(array[11], array[16]), std::pair(8.0, 123.456));
    for (const char* line : {"", "x", "TTY_YEAR 2024", "U garbage"}) {
        EXPECT_EQ(f.parse(line), 2);
        EXPECT_EQ(log_.errors.back(), "ObsB3Parse: Invalid or unsupported obs format.");
        EXPECT_EQ(std::pair(f.sat, f.type), std::pair(0, ' '));
        EXPECT_EQ(ObsParse(line, "", array), 2);
        EXPECT_EQ(std::count(array, array + 64, 0), 64);
    }
    EXPECT_EQ(ObsGetCount(), 0);
}

TEST_F(Exports, fieldsMakeCards) {
    AllFields f;
    ASSERT_EQ(f.parse(caseCard("5").c_str()), 0);
    Text plain, rotated;
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
    }
    f.type = '8';
    f.range = 500;
    f.pos[1] = 1.5;
    EXPECT_EQ(f.toCard(plain), 0);
    ASSERT_EQ(f.parse(plain.trimmed().c_str()), 0);
    EXPECT_EQ(std::tuple(f.type, f.range, f.pos[1]), std::tuple('M', 500, 1.5));
}

TEST_F(Exports, oneObservationAndAnEmptyStore) {
    const std::int64_t key = ObsAddFrB3Card(caseCard("4").c_str());
    AllFields f;
    EXPECT_EQ(f.get(key), 0);
    EXPECT_EQ(std::tuple(f.type, f.time, f.range, f.accel), std::tuple('4', 27029.5, 12345.67, 0.1234));
    EXPECT_EQ(f.get(key + 1), 2);
    EXPECT_EQ(std::tuple(f.sat, f.secClass, f.cleared[127]), std::tuple(0, ' ', 0));
    EXPECT_EQ(log_.errors.back(),
              "ObsGetAllFields: Unable to locate obsKey   12960000012345212 in the OBS binary tree.");
    ASSERT_EQ(ObsRemoveAll(), 0);
    std::int64_t none = -7;
    ObsGetLoaded(1, &none);
    EXPECT_EQ(none, -7);
    EXPECT_EQ(log_.informations.back(), "Warning-ObsGetLoaded: The binary tree is empty. No obsKey returns.");
    EXPECT_EQ(ObsInit(), 0);
    Text info;
    ObsGetInfo(info);
    EXPECT_TRUE(info.trimmed().starts_with("Obs") && info.trimmed().find("Jun 11 2025") != std::string::npos);
}

TEST_F(Exports, nullPointersAreRefused) {
    std::int64_t number = 0;
    double array[64];
    const std::int32_t refused[] = {ObsLoadFile(nullptr),
                                    ObsLoadFileGID(nullptr, 1),
                                    ObsLoadCard(nullptr),
                                    ObsLoadTwoCards("", nullptr),
                                    ObsGetLoadCounts(nullptr, &number, &number),
                                    ObsParse("", nullptr, array),
                                    ObsParse("", "", nullptr),
                                    ObsGetB3Card(1, nullptr),
                                    ObsSaveFile(nullptr, 0, 0),
                                    ObsSaveFileGID(nullptr, 0, 0, 0)};
    for (const std::int32_t status : refused) EXPECT_EQ(status, 2) << &status - refused;
    ObsAddFrB3CardML(nullptr, &number);
    EXPECT_EQ(number + ObsAddFrB3Card(nullptr) + ObsFieldsToObsKeyML(1, 1, 20000, nullptr), -3);
    ObsAddFrB3CardML(caseCard("6").c_str(), nullptr);
    ObsGetLoaded(1, nullptr);
    ObsGetInfo(nullptr);
    EXPECT_EQ(log_.errors.size(), std::size(refused) + 6);
    EXPECT_EQ(ObsGetCount(), 0);
}

// Any bytes at all, as a card or a line: refused or taken, never a fault, and what is taken can be written.
TEST_F(Exports, anyBytesAreACard) {
    std::mt19937 random(1);
    const std::vector<Case> seeds = cardCases();
    std::int32_t added = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string card = seeds[random() % seeds.size()].card;
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
    void fill() {
        char hour = '0';
        for (const char* type : {"5", "1", "V", "4", "0", "P", "6", "8"}) {
            std::string card = caseCard(type);
            card[15] = hour++;  // another hour each, from 10 on
            ASSERT_GT(ObsAddFrB3Card(card.c_str()), 0);
        }
    }
    const TempFolder folder_;
    const std::string file_ = folder_ / "out.txt";
};

TEST_F(Saving, writesByKeyAndLoadsAgain) {
    fill();
    SetObsKeyMode(1);
    ASSERT_GT(ObsAddFrB3Card(caseCard("6").c_str()), 0);  // under an address key: the last line
    SetObsKeyMode(0);
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 0), 0);
    const std::string saved = contentOf(file_);
    const std::vector<std::string> cards = split(saved, '\n');
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
    const std::string again = folder_ / "again.txt";
    EXPECT_EQ(ObsSaveFile(again.c_str(), 0, 0), 0);
    std::string a = contentOf(again), b = saved;
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    EXPECT_EQ(a, b);
}

TEST_F(Saving, groupsAndForms) {
    fill();
    const std::string inGroup = folder_.write("group.txt", caseCard("1") + "\n");
    EXPECT_EQ(ObsLoadFileGID(inGroup.c_str(), 6), 0);
    EXPECT_EQ(log_.informations[0], "ObsLoadFile: Reading observation data from file \"" + inGroup + "\".");
    EXPECT_EQ(ObsSaveFileGID(file_.c_str(), 6, 0, 0), 0);
    EXPECT_EQ(contentOf(file_), caseCard("1") + "\n");
    EXPECT_EQ(ObsRemoveGID(6), 0);
    EXPECT_EQ(std::pair(ObsGetCountGID(6), ObsGetCount()), std::pair(0, 8));
    std::int64_t untouched = -7;
    ObsGetLoadedGID(6, -1, &untouched);
    EXPECT_EQ(untouched, -7);
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
    EXPECT_EQ(ObsSaveFile((folder_ / "missing/out.txt").c_str(), 0, 0), ENOENT);
    EXPECT_EQ(ObsSaveFile(folder_.path.c_str(), 0, 0), EISDIR);
    EXPECT_EQ(ObsSaveFile("/dev/full", 0, 0), 0);
    EXPECT_NE(log_.errors.back().find("No space left on device"), std::string::npos) << log_.errors.back();
    EXPECT_EQ(ObsGetCount(), 8);
}

}  // namespace obs::test
