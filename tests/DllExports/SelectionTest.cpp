// SPDX-License-Identifier: Apache-2.0
// Selection against a plain filter over the same observations, and the text that sets the global criteria.
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>
#include <set>

#include "Obs/CardLayouts/Columns.h"
#include "tests/ExportTest.h"

namespace obs::test {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kJanuary2024 = 27029;  ///< day 1, 0h; 27029.5 is the B3 case cards' 24001 12h

using Filter = std::function<bool(const AllFields&)>;

bool hasAngles(char type) {
    return std::string("1234589MO").find(type) != std::string::npos;
}
bool hasRange(char type) {
    return std::string("2346MOR").find(type) != std::string::npos;
}
bool hasRate(char type) {
    return std::string("034R").find(type) != std::string::npos;
}

bool inHours(const AllFields& f, double from, double to) {
    const double start = kJanuary2024 + from / 24;
    return f.time >= start && f.time < kJanuary2024 + to / 24;
}

}  // namespace

class Selection : public ExportTest {
protected:
    void SetUp() override {
        ExportTest::SetUp();
        std::mt19937 engine(7);
        const auto below = [&engine](int limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); };
        const std::int32_t types[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 13};
        std::vector<double> arrays(64 * kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            double* a = &arrays[64 * i];
            a[0] = 1 + below(3);
            a[1] = 5 + below(40);
            a[2] = 205 + below(20);
            a[3] = kJanuary2024 - 5 + (i % 2 == 0 ? below(40000) / 1000.0 : 5 + below(200) / 1440.0);
            a[4] = below(181) - 90;
            a[5] = below(360);
            a[6] = below(3) == 0 ? 0 : below(5000);
            a[7] = below(13) - 6;
            a[11] = types[below(std::size(types))];
            if (a[11] == 5 || a[11] == 9) a[7] = 0;
        }
        std::vector<std::int64_t> keys(kCount);
        ObsAddFrArrays(kCount, arrays.data(), keys.data());
        for (std::size_t i = 0; i < kCount; i += 3) {  // some have their class letter in lower case
            Text letter;
            ASSERT_EQ(ObsGetField(keys[i], 1, letter), 0);
            const char lower[] = {static_cast<char>(letter.chars[0] - 'A' + 'a'), '\0'};
            ASSERT_EQ(ObsSetField(keys[i], 1, lower), 0);
        }
        log_.errors.clear();
    }

    /// The keys in an order for which a filter holds, by the single-observation functions.
    std::vector<std::int64_t> filtered(std::int32_t order, const Filter& keep) {
        std::vector<std::int64_t> all(static_cast<std::size_t>(ObsGetCount())), kept;
        ObsGetLoaded(order, all.data());
        for (const std::int64_t key : all) {
            AllFields f;
            EXPECT_EQ(f.get(key), 0);
            if (keep(f)) kept.push_back(key);
        }
        return kept;
    }
    std::vector<std::int64_t> selected(const double (&criteria)[32], std::int32_t order) {
        std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
        std::int32_t count = -1;
        ObsGetSelected(criteria, order, &count, keys.data());
        EXPECT_GE(count, 0);
        keys.resize(static_cast<std::size_t>(count));
        std::int32_t total = -1, dropped[OBS_CRITERIA];
        EXPECT_EQ(ObsGetSelectionCounts(criteria, &total, dropped), 0);
        EXPECT_EQ(total, count);
        return keys;
    }
    static constexpr std::size_t kCount = 2000;
    const double open_[32] = {};
};

TEST_F(Selection, textsSelectLikeAFilter) {
    struct {
        const char* text;
        Filter keep;
    } const cases[] = {
        {"", [](const AllFields&) { return true; }},
        {"sat=7,9:11,0", [](const AllFields& f) { return f.sat == 7 || (f.sat >= 9 && f.sat <= 11); }},
        {"SEN=211: sat=:20", [](const AllFields& f) { return f.sen >= 211 && f.sat <= 20; }},
        {"type=8,6", [](const AllFields& f) { return std::string("8M6").find(f.type) != std::string::npos; }},
        {"type=M,p", [](const AllFields& f) { return f.type == 'M' || f.type == 'P'; }},
        {"type=1:3", [](const AllFields& f) { return f.type >= '1' && f.type <= '3'; }},
        {"time=24001:24003", [](const AllFields& f) { return f.time >= kJanuary2024 && f.time < kJanuary2024 + 3; }},
        {"time=2400101", [](const AllFields& f) { return inHours(f, 1, 2); }},  // 2 h is not in it
        {" \"time=240010159\" ", [](const AllFields& f) { return inHours(f, 119 / 60., 2); }},
        {"az=-10:10", [](const AllFields& f) { return hasAngles(f.type) && (f.az >= 350 || f.az <= 10); }},
        {"az=:90", [](const AllFields& f) { return hasAngles(f.type) && f.az <= 90; }},
        {"az=350:", [](const AllFields& f) { return hasAngles(f.type) && f.az >= 350; }},
        {"az=300:700", [](const AllFields& f) { return hasAngles(f.type); }},
        {"time=24001", [](const AllFields& f) { return f.time >= kJanuary2024 && f.time < kJanuary2024 + 1; }},
        {"time=2400112:240011330", [](const AllFields& f) { return f.time >= kJanuary2024 + .5 && f.time < kJanuary2024 + 13.5 / 24 + 1 / 1440.; }},
        {"time=27030.25:", [](const AllFields& f) { return f.time >= 27030.25; }},
        {"time=:24002000000.000", [](const AllFields& f) { return f.time <= kJanuary2024 + 1; }},
        {"el=10:", [](const AllFields& f) { return hasAngles(f.type) && f.el >= 10; }},
        {"az=350:10 el=-20.5:20.5", [](const AllFields& f) { return hasAngles(f.type) && (f.az >= 350 || f.az <= 10) && std::abs(f.el) <= 20.5; }},
        {"range=:1000", [](const AllFields& f) { return hasRange(f.type) && f.range <= 1000; }},
        {"rate=-1.5:1.5,4", [](const AllFields& f) { return hasRate(f.type) && (std::abs(f.rate) <= 1.5 || f.rate == 4); }},
        {"class=u,S", [](const AllFields& f) { return upperCase(f.secClass) != 'C'; }},
        {"gid=0", [](const AllFields&) { return true; }},
        {"gid=3", [](const AllFields&) { return false; }},
    };
    for (const auto& one : cases) {
        ASSERT_EQ(ObsSetSelObs(Text(one.text)), 0) << log_.errors.back();
        for (const std::int32_t order : {-1, 6, 9, 8}) EXPECT_EQ(selected(open_, order), filtered(order, one.keep)) << one.text;
    }
    ObsResetSelObs();
    EXPECT_EQ(selected(open_, 9).size(), static_cast<std::size_t>(ObsGetCount()));
}

TEST_F(Selection, arraysSelectWithTheGlobalCriteria) {
    double criteria[32] = {};
    criteria[0] = kJanuary2024;
    criteria[1] = kInfinity;
    criteria[8] = 300;
    criteria[9] = 60;
    criteria[14] = (1 << 4) + (1 << 9);
    criteria[15] = 3;
    criteria[18] = 3;
    std::copy_n(std::begin({6.0, 7.0, 30.0}), 3, criteria + 19);
    criteria[2] = 7;
    criteria[3] = 40;
    const Filter keep = [](const AllFields& f) {
        return f.time >= kJanuary2024 && (f.az >= 300 || f.az <= 60) && std::string("49O").find(f.type) != std::string::npos &&
               upperCase(f.secClass) == 'S' && (f.sat == 7 || f.sat == 30);
    };
    EXPECT_EQ(selected(criteria, -2), filtered(-2, keep));
    ASSERT_EQ(ObsSetSelObs("el=0:"), 0);
    EXPECT_EQ(selected(criteria, -2), filtered(-2, [&](const AllFields& f) { return keep(f) && f.el >= 0; }));
    std::int32_t total = 0, dropped[OBS_CRITERIA];
    ASSERT_EQ(ObsGetSelectionCounts(criteria, &total, dropped), 0);
    EXPECT_EQ(dropped[0], static_cast<std::int32_t>(filtered(9, [](const AllFields& f) { return f.time < kJanuary2024; }).size()));
    EXPECT_EQ(dropped[3], static_cast<std::int32_t>(filtered(9, [](const AllFields& f) { return !hasAngles(f.type) || f.el < 0; }).size()));
    EXPECT_EQ(dropped[9], 0);
    criteria[2] = 100;
    criteria[3] = 200;
    EXPECT_EQ(selected(criteria, 9).size(), 0u) << "no satellite is in both the pair and the list";
    criteria[2] = 8;
    criteria[3] = 20;
    EXPECT_EQ(selected(criteria, 9).size(), 0u) << "no listed satellite within the pair";
}

TEST_F(Selection, manyKeysAreRemovedAtOnce) {
    SetObsKeyMode(1);
    std::vector<std::int64_t> others = {ObsAddFrCsv("U,5,345,2024,1,0,0,1,1")}, kept;
    SetObsKeyMode(0);
    std::vector<std::int64_t> all(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(-8, all.data());
    for (std::size_t i = 0; i + 1 < all.size(); ++i) (i % 5 == 0 ? kept : others).push_back(all[i]);
    ASSERT_EQ(ObsRemoveKeys(static_cast<std::int32_t>(others.size()), others.data()), 0) << log_.errors.back();
    EXPECT_EQ(selected(open_, -8), kept);
    const std::int64_t some[] = {kept[1], others[7], kept[0], kept[1], others[0]};
    EXPECT_EQ(ObsRemoveKeys(5, some), 2);
    ASSERT_EQ(log_.errors.size(), 1u);
    EXPECT_EQ(log_.errors[0].find("ObsRemoveKeys: Unable to locate 3 of 5 obsKeys"), 0u) << log_.errors[0];
    kept.erase(kept.begin(), kept.begin() + 2);
    EXPECT_EQ(selected(open_, -8), kept);
}

TEST_F(Selection, linesOfFilesSetTheGlobalCriteria) {
    const auto file = std::filesystem::temp_directory_path() / ("obs_selob_" + std::to_string(::getpid()));
    struct {
        const char* line;
        std::int32_t sat;  ///< selected, or 0: refused
    } const cases[] = {{"SELOB sat=7", 7}, {"selob = sat=8\r", 8}, {"SELOB\t=\"sat=9\"", 9}, {"SELOB \"sat=5\" sen=211", 0}};
    for (const auto& one : cases) {
        ASSERT_EQ(ObsSetSelObs("sat=6"), 0);
        log_.errors.clear();
        std::ofstream(file) << one.line << "\n";
        EXPECT_EQ(ObsLoadFile(file.c_str()), 0);
        EXPECT_EQ(log_.errors.empty(), one.sat != 0) << one.line;
        const std::int32_t sat = one.sat == 0 ? 6 : one.sat;
        EXPECT_EQ(selected(open_, 9), filtered(9, [&](const AllFields& f) { return f.sat == sat; })) << one.line;
    }
    std::filesystem::remove(file);
}

TEST_F(Selection, badCriteriaAreRefused) {
    ASSERT_EQ(ObsSetSelObs("sat=7"), 0);
    const auto before = selected(open_, 9);
    for (const char* bad : {"sat", "foo=1", "sat=", "sat=1,,2", "sat=abc", "sat=5:4", "sat=1.5", "sat=:", "sat=1:2:3", "time=24400",
                            "time=2024-01-01", "el=nan", "type=12,X", "type=20", "class=Q", "sat=1 sat=2",
                            "time=240011", "time=24001125959.9999", "time=5e4", "time=1e9.", "class=C:", "sat=1e300",
                            "\"sat=5\" sen=211", "\"sat=5", "\"", "sat=7, 8", "= =", "el=10 range"}) {
        log_.errors.clear();
        EXPECT_EQ(ObsSetSelObs(bad), 2) << bad;
        ASSERT_EQ(log_.errors.size(), 1u);
        EXPECT_EQ(log_.errors[0].substr(0, 15), "ObsSetSelObs: \"") << log_.errors[0];
        EXPECT_EQ(selected(open_, 9), before) << bad;
    }
    struct {
        std::size_t element;
        double value;
    } const faults[] = {{0, std::nan("")}, {2, 8}, {14, -1}, {14, 1 << 20}, {14, 0.5}, {15, 4}, {18, 11}, {18, kInfinity}, {31, 1}};
    for (const auto& fault : faults) {
        double criteria[32] = {};
        criteria[fault.element] = fault.value;
        std::int32_t count = -1, dropped[OBS_CRITERIA];
        std::int64_t key = -7;
        ObsGetSelected(criteria, 9, &count, &key);
        EXPECT_EQ(count, 0) << fault.element;
        EXPECT_EQ(key, -7);
        EXPECT_EQ(ObsGetSelectionCounts(criteria, &count, dropped), 2);
    }
    std::int32_t count = -1;
    ObsGetSelected(open_, 9, &count, nullptr);
    EXPECT_EQ(count, 0);
    ObsGetSelected(nullptr, 9, nullptr, nullptr);
    ObsRemoveAll();
    std::int64_t key = -7;
    ObsGetSelected(open_, 9, &count, &key);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(key, -7) << "an empty store writes no key";
}

}  // namespace obs::test
