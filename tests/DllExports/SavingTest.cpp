// SPDX-License-Identifier: Apache-2.0
// What a save leaves out or alters: counted, told by key, and true of the file.
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <functional>
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

TEST_F(SaveCounts, tellWhatTheFileDoesNotBringBack) {
    const auto fields = [](char type, double time, double pos, double vel) {
        const double p[3] = {pos, pos, pos}, v[3] = {vel, 0, 0}, none[64] = {};
        return ObsAddFrFields('U', 5, 345, time, 1, 2, 0, 0, 0, 0, 0, type, 0, 0, 5, 5, p, v, none);
    };
    const auto csv = [](std::map<int, std::string> given) { return ObsAddFrCsv(csvLine(given).c_str()); };
    const auto rf = [](std::string site1, std::string site2) {
        return ObsLoadCard(("2024:05:15::07:16:02.250000 450125 1.5 -2125 0.25 " + site1 + " 0.1 " + site2 +
                            " 2 25544 145800000 2024:05:15::07:20:00 10.4 A B C")
                               .c_str()) == 0;
    };
    const struct {
        const char* what;
        std::function<std::int64_t()> add;
        std::array<Kinds, 5> kinds;  // B3, TTY, CSV, RF, CRD
    } cases[] = {
        {"nothing to tell", [&] { return csv({}); }, {{{}, {}, {}, {1}, {1}}}},
        {"sensor",
         [&] {
             return csv({{3, "1234"}});
         },
         {{{3}, {2}, {}, {1}, {1}}}},
        {"classification",
         [&] {
             return csv({{1, "X"}});
         },
         {{{2}, {}, {2}, {1}, {1}}}},
        {"year 2060",
         [&] {
             return csv({{4, "2060"}});
         },
         {{{2}, {2}, {}, {1}, {1}}}},
        {"1950 day 0", [&] { return fields('1', 0, 0, 0); }, {{{2}, {2}, {2}, {1}, {1}}}},
        {"no satellite but further ones",
         [&] {
             return csv({{2, "0"}});
         },
         {{{}, {2}, {}, {1}, {1}}}},
        {"satellite",
         [&] {
             return csv({{2, "400000"}});
         },
         {{{2}, {2}, {}, {1}, {1}}}},
        {"declination",
         [&] {
             return csv({{9, "1000"}});
         },
         {{{2}, {2}, {}, {1}, {1}}}},
        {"position of a ground sensor",
         [&] {
             return csv({{3, "62"}, {21, "7000"}});
         },
         {{{5}, {5}, {}, {1}, {5}}}},
        {"small position", [&] { return fields('8', 27000, 0.0625, 0); }, {{{}, {7}, {}, {1}, {1}}}},
        {"position rounded to 0.1", [&] { return fields('8', 27000, 0.0999999999, 0); }, {{{}, {}, {}, {1}, {1}}}},
        {"large position", [&] { return fields('8', 27000, 999999.996, 0); }, {{{2}, {2}, {}, {1}, {1}}}},
        {"velocity", [&] { return fields('8', 27000, 7000, 1); }, {{{5}, {5}, {5}, {1}, {1}}}},
        {"type 7",
         [&] {
             return csv({{20, "7"}, {21, "7000"}});
         },
         {{{2}, {2}, {1}, {1}, {1}}}},
        {"type 16",
         [&] {
             return csv({{20, "16"}});
         },
         {{{2}, {4}, {}, {1}, {1}}}},
        {"type P", [&] { return fields('P', 27000, 7000, 0); }, {{{}, {2}, {5}, {1}, {1}}}},
        {"type V", [&] { return fields('V', 27000, 7000, 1); }, {{{}, {2}, {5}, {1}, {1}}}},
        {"RF", [&] { return rf("CCH_ESP", "CCH_ESP"); }, {{{2}, {2}, {6}, {}, {1}}}},
        {"RF of two sites", [&] { return rf("CCH_ESP", "LONGNAME"); }, {{{2}, {4}, {6}, {6}, {1}}}},
        {"RF of a long name", [&] { return rf("SITE_NAME2", "SITE_NAME2"); }, {{{2}, {4}, {6}, {2}, {1}}}},
        {"RF of another's name", [&] { return rf("LONGNAME1", "LONGNAME1"); }, {{{2}, {4}, {6}, {3}, {1}}}},
        {"not of type R",
         [&] {
             return csv({{3, "701"}, {50, "1.5"}});
         },
         {{{}, {}, {}, {4, 6}, {1}}}},
        {"laser range",
         [&] {
             return csv({{3, "62"}});
         },
         {{{}, {}, {}, {1}, {}}}},
        {"laser range without angles",
         [&] {
             return csv({{3, "62"}, {9, "0"}, {13, "0"}});
         },
         {{{}, {}, {}, {1}, {4}}}},
    };
    for (const auto& test : cases) {
        for (int form = 0; form <= kCrd; ++form) {
            ObsRemoveAll();
            ASSERT_GT(test.add(), 0) << test.what;
            std::int64_t key = 0;
            ObsGetLoaded(9, &key);
            const std::int32_t sensor = SenNumFrObsKey(key);
            const Kinds kinds = kindsOf(form);
            EXPECT_EQ(kinds, test.kinds[static_cast<std::size_t>(form)]) << test.what << ", form " << form;
            ObsRemoveAll();
            const std::string what = test.what;
            if (form == 1 && what == "type 7") continue;  // which only its sensor's place makes readable
            const bool isReadAs0 = form == 1 && (what == "declination" || what == "large position");
            const bool comesBack = kinds.empty() || kinds[0] > OBS_SAVE_UNREADABLE || isReadAs0;
            if (form == kCrd) ObsLoadSlrFile(file_.c_str());
            else ObsLoadFile(file_.c_str());
            EXPECT_EQ(ObsGetCount(), comesBack) << what << ", form " << form;
            if (ObsGetCount() != 1) continue;
            ObsGetLoaded(9, &key);
            EXPECT_EQ(SenNumFrObsKey(key) != sensor, kinds == Kinds{OBS_SAVE_SENSOR}) << test.what << ", form " << form;
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

}  // namespace obs::test
