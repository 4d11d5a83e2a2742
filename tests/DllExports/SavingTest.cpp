// SPDX-License-Identifier: Apache-2.0
// What a save leaves out or alters: counted, told by key, and true of the file.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "siblings/include/ObsFamily.h"
#include "tests/ExportTest.h"

namespace obs::test {

namespace {

/// A CSV line of a type-2 observation, some of its fields (from 1) replaced.
std::string csvLine(const std::map<int, std::string>& fields) {
    static const std::map<int, std::string> kBase = {{1, "U"},  {2, "5"},   {3, "345"},   {4, "2024"}, {5, "163"},
                                                     {9, "45"}, {13, "90"}, {17, "1000"}, {20, "2"},   {26, "5"},
                                                     {27, "5"}, {28, ""},   {29, "0:0"},  {42, "0:0"}};
    std::string line;
    for (int number = 1; number <= 56; ++number) {
        const auto given = fields.find(number), base = kBase.find(number);
        line += given != fields.end() ? given->second : base != kBase.end() ? base->second : "0";
        if (number < 56) line += ',';
    }
    return line;
}

using Kinds = std::vector<std::int32_t>;

class SaveCounts : public ExportTest {
protected:
    void SetUp() override {
        ExportTest::SetUp();
        ObsSetTTYYear(2024);
        FamilyAddSensor(700, "LONGNAME1", 40, -4, 0);
        FamilyAddSensor(701, "LONGNAME", 40, -4, 0);
        FamilyAddSensor(702, "SITE_NAME2", 40, -4, 0);
        ObsSetSaveCallback(
            [](std::int64_t key, std::int32_t kind, const char* reason, void* self) {
                static_cast<SaveCounts*>(self)->told_.emplace_back(key, kind);
                EXPECT_FALSE(std::string(reason).empty());
            },
            this);
    }
    void TearDown() override {
        ObsSetSaveCallback(nullptr, nullptr);
        ObsSetTTYYear(0);
        FamilyRemoveSensors();
        std::filesystem::remove(file_);
        ExportTest::TearDown();
    }

    /// The kinds told of the one observation there is, which the counts must bear out.
    Kinds kindsOf(int form) {
        told_.clear();
        EXPECT_EQ(form == kCrd ? ObsSaveSlrFile(file_.c_str(), 0, 1) : ObsSaveFile(file_.c_str(), 0, form), 0);
        Kinds kinds;
        for (const auto& [key, kind] : told_)
            if (kinds.empty() || kinds.back() != kind) kinds.push_back(kind);
        std::int64_t written = -1, leftOut = -1, altered = -1;
        std::int32_t error = -1;
        EXPECT_EQ(ObsGetSaveCounts(&written, &leftOut, &altered, &error), 0);
        const bool isLeftOut = kinds == Kinds{OBS_SAVE_LEFT_OUT};
        EXPECT_EQ(std::tuple(written, leftOut, altered, error),
                  std::tuple(!isLeftOut, isLeftOut, !isLeftOut && !kinds.empty(), 0));
        for (std::int32_t kind = 1; kind <= OBS_SAVE_EXPONENT; ++kind)
            EXPECT_EQ(ObsGetSaveCountOf(kind), std::count(kinds.begin(), kinds.end(), kind));
        return kinds;
    }

    static constexpr int kCrd = 4;
    std::vector<std::pair<std::int64_t, std::int32_t>> told_;
    const std::string file_ = std::filesystem::temp_directory_path() / ("obs_counts_" + std::to_string(::getpid()));
};

/// Stores what a case describes: a CSV line with other fields, loose fields, or an RF line with its sites.
bool added(const std::string& text) {
    std::vector<std::string> words = split(text, ' ');
    std::map<int, std::string> changed;
    for (const std::string& word : words)
        if (const std::size_t equals = word.find('='); equals < word.size())
            changed[std::stoi(word)] = word.substr(equals + 1);
    if (words[0] == "csv") return ObsAddFrCsv(csvLine(changed).c_str()) > 0;
    if (words[0] == "rf")
        return ObsLoadCard(("2024:05:15::07:16:02.250000 450125 1.5 -2125 0.25 " + words[1] + " 0.1 " + words[2] +
                            " 2 25544 145800000 2024:05:15::07:20:00 10.4 A B C")
                               .c_str()) == 0;
    const double p = std::stod(words[3]), pos[3] = {p, p, p}, vel[3] = {std::stod(words[4])}, none[64] = {};
    return ObsAddFrFields('U', 5, 345, std::stod(words[2]), 1, 2, 0, 0, 0, 0, 0, words[1][0], 0, 0, 5, 5, pos, vel,
                          none) > 0;
}

/// What, how it is stored, and the kinds that are told when it is saved as B3, TTY, CSV, RF and CRD.
const std::array<std::string, 3> kCases[] = {
    // clang-format off
    {"nothing to tell", "csv", "///1/1"}, {"sensor", "csv 3=1234", "3/2//1/1"},
    {"classification", "csv 1=X", "2//2/1/1"}, {"year 2060", "csv 4=2060", "2/2//1/1"},
    {"1950 day 0", "fields 1 0 0 0", "2/2/2/1/1"}, {"no satellite but further ones", "csv 2=0", "/2//1/1"},
    {"satellite", "csv 2=400000", "2/2//1/1"}, {"declination", "csv 9=1000", "2/2//1/1"},
    {"position of a ground sensor", "csv 3=62 21=7000", "5/5//1/5"},
    {"small position", "fields 8 27000 0.0625 0", "/7//1/1"},
    {"position rounded to 0.1", "fields 8 27000 0.0999999999 0", "///1/1"},
    {"large position", "fields 8 27000 999999.996 0", "2/2//1/1"}, {"velocity", "fields 8 27000 7000 1", "5/5/5/1/1"},
    {"type 7", "csv 20=7 21=7000", "2/2/1/1/1"}, {"type 16", "csv 20=16", "2/4//1/1"},
    {"type P", "fields P 27000 7000 0", "/2/5/1/1"}, {"type V", "fields V 27000 7000 1", "/2/5/1/1"},
    {"RF", "rf CCH_ESP CCH_ESP", "2/2/6//1"}, {"RF of two sites", "rf CCH_ESP LONGNAME", "2/4/6/6/1"},
    {"RF of a long name", "rf SITE_NAME2 SITE_NAME2", "2/4/6/2/1"},
    {"RF of another's name", "rf LONGNAME1 LONGNAME1", "2/4/6/3/1"},
    {"not of type R", "csv 3=701 50=1.5", "///4+6/1"}, {"laser range", "csv 3=62", "///1/"},
    {"laser range without angles", "csv 3=62 9=0 13=0", "///1/4"},
    // clang-format on
};

TEST_F(SaveCounts, tellWhatTheFileDoesNotBringBack) {
    for (const auto& [what, add, kindsOfForms] : kCases) {
        std::vector<std::string> expected = split(kindsOfForms, '/');
        expected.resize(kCrd + 1);
        for (int form = 0; form <= kCrd; ++form) {
            SCOPED_TRACE(what + ", form " + std::to_string(form));
            ObsRemoveAll();
            ASSERT_TRUE(added(add));
            std::int64_t key = 0;
            ObsGetLoaded(9, &key);
            const std::int32_t sensor = SenNumFrObsKey(key);
            const Kinds kinds = kindsOf(form);
            std::string shown;
            for (const std::int32_t kind : kinds) shown.append(shown.empty() ? "" : "+").append(std::to_string(kind));
            EXPECT_EQ(shown, expected[static_cast<std::size_t>(form)]);
            ObsRemoveAll();
            if (form == 1 && what == "type 7") continue;  // which only its sensor's place makes readable
            const bool isReadAs0 = form == 1 && (what == "declination" || what == "large position");
            const bool comesBack = kinds.empty() || kinds[0] > OBS_SAVE_UNREADABLE || isReadAs0;
            form == kCrd ? ObsLoadSlrFile(file_.c_str()) : ObsLoadFile(file_.c_str());
            EXPECT_EQ(ObsGetCount(), comesBack);
            if (ObsGetCount() != 1) continue;
            ObsGetLoaded(9, &key);
            EXPECT_EQ(SenNumFrObsKey(key) != sensor, kinds == Kinds{OBS_SAVE_SENSOR});
        }
    }
}

TEST_F(SaveCounts, ofSeveralAndOfFailures) {
    for (const char* type : {"7", "2", "7"})
        ASSERT_GT(ObsAddFrCsv(csvLine({{20, type}, {6, std::to_string(ObsGetCount())}}).c_str()), 0);
    EXPECT_EQ(ObsSaveFile(file_.c_str(), 0, 2), 0);
    ASSERT_EQ(told_.size(), 2u);
    EXPECT_LT(told_[0].first, told_[1].first);
    const std::pair<std::string, std::int32_t> failing[] = {{"/dev/full", ENOSPC}, {"/missing/file", ENOENT}};
    for (const auto& [name, expected] : failing) {
        ObsSaveFile(name.c_str(), 0, 2);
        std::int64_t written = -1, leftOut = -1, altered = -1;
        std::int32_t error = -1;
        EXPECT_EQ(ObsGetSaveCounts(&written, &leftOut, &altered, &error), 0);
        EXPECT_EQ(error, expected);
        EXPECT_EQ(leftOut, expected == ENOENT ? 0 : 2);
    }
}

}  // namespace

/// What a save would write of one observation.
std::string linesOf(std::int64_t key, int form, std::int32_t& status) {
    char lines[2][512];
    status = ObsGetLines(key, form, lines[0], lines[1]);
    std::string text;
    for (const char* line : lines) {
        const std::string all(line, sizeof lines[0]);
        const std::size_t length = all.find_last_not_of(' ') + 1;
        if (length > 0) text += all.substr(0, length) + "\n";
    }
    return text;
}

TEST_F(SaveCounts, cardsOfManyKeysAreThoseOfEach) {
    for (const char* type : {"1", "2", "4", "7", "9"})
        for (const char* satellite : {"5", "345678"}) ObsAddFrCsv(csvLine({{2, satellite}, {20, type}}).c_str());
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(9, keys.data());
    keys.insert(keys.begin() + 3, 77);
    const auto count = static_cast<std::int32_t>(keys.size());
    std::vector<std::int64_t> offsets(keys.size());
    std::vector<std::int32_t> lengths(keys.size()), statuses(keys.size());
    for (int form = 0; form < 4; ++form)
        for (const std::size_t size : {std::size_t{300}, 1026 * keys.size()}) {
            std::string buffer(size, '~'), written;
            EXPECT_EQ(ObsGetCards(count, keys.data(), form, buffer.data(), std::ssize(buffer), offsets.data(),
                                  lengths.data(), statuses.data()),
                      2);
            bool isFull = false;
            for (std::size_t i = 0; i < keys.size(); ++i) {
                std::int32_t status = 0;
                const std::string lines = linesOf(keys[i], form, status);
                isFull = isFull || (status == 0 && written.size() + lines.size() > size);
                if (isFull && keys[i] != 77) status = 1;
                EXPECT_EQ(statuses[i], status) << form << " " << i;
                EXPECT_EQ(std::string_view(buffer).substr(static_cast<std::size_t>(offsets[i]),
                                                          static_cast<std::size_t>(lengths[i])),
                          status == 0 ? lines : "")
                    << form << " " << i;
                if (status == 0) written += lines;
            }
            EXPECT_EQ(isFull, size == 300 && form != 3) << form;
            EXPECT_EQ(buffer.substr(0, written.size()), written);
            EXPECT_EQ(buffer.find_first_not_of('~', written.size()), std::string::npos) << form << " " << size;
        }
}

}  // namespace obs::test
