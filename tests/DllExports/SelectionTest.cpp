// SPDX-License-Identifier: Apache-2.0
// Selection against a plain filter over the same observations, and the text that sets the global criteria.
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "Obs/CardLayouts/Columns.h"
#include "tests/ExportTest.h"

namespace obs::test {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kJanuary2024 = 27029;  ///< day 1, 0h; 27029.5 is the B3 case cards' 24001 12h

using Filter = std::function<bool(const AllFields&)>;

bool hasAngles(char type) { return std::string("1234589MO").find(type) != std::string::npos; }
bool hasRange(char type) { return std::string("2346MOR").find(type) != std::string::npos; }
bool hasRate(char type) { return std::string("034R").find(type) != std::string::npos; }

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
            a[12] = below(4);
            a[13] = below(4);
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

#define WHERE(...) []([[maybe_unused]] const AllFields& f) { return __VA_ARGS__; }

const std::pair<const char*, Filter> kTexts[] = {
    {"sat=7,9:11,0", WHERE(f.sat == 7 || (f.sat >= 9 && f.sat <= 11))},
    {"SEN=211: sat=:20", WHERE(f.sen >= 211 && f.sat <= 20)},
    {"type=8,6", WHERE(std::string("8M6").find(f.type) != std::string::npos)},
    {"type=M,p", WHERE(f.type == 'M' || f.type == 'P')},
    {"type=1:3", WHERE(f.type >= '1' && f.type <= '3')},
    {"time=24001:24003", WHERE(f.time >= kJanuary2024 && f.time < kJanuary2024 + 3)},
    {"az=-10:10", WHERE(hasAngles(f.type) && (f.az >= 350 || f.az <= 10))},
    {"az=:90", WHERE(hasAngles(f.type) && f.az <= 90)},
    {"az=350:", WHERE(hasAngles(f.type) && f.az >= 350)},
    {"az=300:700", WHERE(hasAngles(f.type))},
    {"time=24001", WHERE(f.time >= kJanuary2024 && f.time < kJanuary2024 + 1)},
    {"time=2400112:240011330", WHERE(f.time >= kJanuary2024 + .5 && f.time < kJanuary2024 + 13.5 / 24 + 1 / 1440.)},
    {"time=27030.25:", WHERE(f.time >= 27030.25)},
    {"time=:24002000000.000", WHERE(f.time <= kJanuary2024 + 1)},
    {"el=10:", WHERE(hasAngles(f.type) && f.el >= 10)},
    {"az=350:10 el=-20.5:20.5", WHERE(hasAngles(f.type) && (f.az >= 350 || f.az <= 10) && std::abs(f.el) <= 20.5)},
    {"range=:1000", WHERE(hasRange(f.type) && f.range <= 1000)},
    {"rate=-1.5:1.5,4", WHERE(hasRate(f.type) && (std::abs(f.rate) <= 1.5 || f.rate == 4))},
    {"class=u,S", WHERE(upperCase(f.secClass) != 'C')},
    {" |gid=0", WHERE(true)},
    // Comparisons, on either side of a value; != needs a value, not does not.
    {"sat != 7, 9:11", WHERE(f.sat != 7 && (f.sat < 9 || f.sat > 11))},
    {"el<-20 el>=-80", WHERE(hasAngles(f.type) && f.el < -20 && f.el >= -80)},
    {"el<=5 and el>-5", WHERE(hasAngles(f.type) && f.el <= 5 && f.el > -5)},
    {"el!=0", WHERE(hasAngles(f.type) && f.el != 0)},
    {"not el=0", WHERE(!hasAngles(f.type) || f.el != 0)},
    {"az>350", WHERE(hasAngles(f.type) && f.az > 350)},
    {"az>360 or az<0|gid=3", WHERE(false)},
    {"type!=8", WHERE(f.type != '8' && f.type != 'M')},
    {"type<4 or type<=8 type>7", WHERE(f.type < '4' || f.type == '8' || f.type == 'M')},
    {"ind1=2 ind2<2", WHERE(f.i1 == 2 && f.i2 < 2)},
    // Dates: all of the day, the hour, the minute. A colon in a time of day is part of it.
    {"time>2024-01-01", WHERE(f.time >= kJanuary2024 + 1)},
    {"time>=24001 time<=2024-002", WHERE(inHours(f, 0, 48))},
    {"time=2024-01-01:2024-01-03", WHERE(inHours(f, 0, 72))},
    {"time=2024-001T01|time=2400101", WHERE(inHours(f, 1, 2))},  // 2 h is not in it
    {"time=2024-01-01t01:59| \"time=240010159\" ", WHERE(inHours(f, 119 / 60., 2))},
    {"time=2024-01-01T10:00..2024-01-01T12:00:00Z", WHERE(inHours(f, 10, 12 + 1 / 3600.))},
    {"time=2024-01-01T00:00:00.0000..2024-01-01T01:00:00.5", WHERE(inHours(f, 0, 1 + .6 / 3600))},
    {"time=..2024-01-01", WHERE(f.time < kJanuary2024 + 1)},
    {"year=2023|time<24001", WHERE(f.time < kJanuary2024)},
    {"year>2023", WHERE(f.time >= kJanuary2024)},
    // Units and names.
    {"range<2000km range>=500000m", WHERE(hasRange(f.type) && f.range < 2000 && f.range >= 500)},
    {"rate=-1500m/s:1.5E3M/S", WHERE(hasRate(f.type) && std::abs(f.rate) <= 1.5)},
    {"el=1200arcmin..0.5rad", WHERE(hasAngles(f.type) && f.el >= 20 && f.el <= 28.6)},
    {"sen='A Site',\"CTU_ESP\",206", WHERE(f.sen == 207 || f.sen == 206)},
    {"sat=\"LAGEOS-1\",'lageos 2',8", WHERE(f.sat == 8)},
    // One term of several criteria is in no criterion's counts, a negated one in its own.
    {"(sat=7 or el>0) Not(sen=211:215 AND rate>0)",
     WHERE((f.sat == 7 || (hasAngles(f.type) && f.el > 0)) &&
           !(f.sen >= 211 && f.sen <= 215 && hasRate(f.type) && f.rate > 0))},
};

TEST_F(Selection, textsSelectLikeAFilter) {
    ASSERT_EQ(FamilyAddSensor(207, "A Site", 0, 0, 0), 0);
    for (const auto& [texts, keep] : kTexts)
        for (const std::string& text : split(texts, '|')) {
            ASSERT_EQ(ObsSetSelObs(Text(text)), 0) << log_.errors.back();
            for (const std::int32_t order : {-1, 6, 9, 8})
                EXPECT_EQ(selected(open_, order), filtered(order, keep)) << text;
        }
    FamilyRemoveSensors();
    ObsResetSelObs();
    EXPECT_EQ(selected(open_, 9).size(), static_cast<std::size_t>(ObsGetCount()));
}

/// The grammar read word by word, for one observation at a time.
class SlowReading {
public:
    using Words = std::vector<std::string>;
    struct Criterion {
        const char* text;
        Filter holds;
    };
    static inline const Criterion kCriteria[] = {
        // clang-format off
        {"sat<20", WHERE(f.sat < 20)}, {"sen>=215", WHERE(f.sen >= 215)},
        {"el>10", WHERE(hasAngles(f.type) && f.el > 10)}, {"az!=0:180", WHERE(hasAngles(f.type) && f.az > 180)},
        {"range<=2500", WHERE(hasRange(f.type) && f.range <= 2500)}, {"ind1!=1,2", WHERE(f.i1 != 1 && f.i1 != 2)},
        {"class!=C", WHERE(upperCase(f.secClass) != 'C')},
        // clang-format on
    };

    static bool holds(const Words& words, const AllFields& f) {
        if (const std::size_t at = outside("or", words); at < words.size())
            return holds(Words(words.begin(), words.begin() + std::ptrdiff_t(at)), f) ||
                   holds(Words(words.begin() + std::ptrdiff_t(at) + 1, words.end()), f);
        std::size_t end = 0;  // of the first member
        while (words[end] == "not") ++end;
        for (int depth = 0; depth += (words[end] == "(") - (words[end] == ")"), depth > 0;) ++end;
        ++end;
        if (end < words.size())
            return holds(Words(words.begin(), words.begin() + std::ptrdiff_t(end)), f) &&
                   holds(Words(words.begin() + std::ptrdiff_t(end) + (words[end] == "and"), words.end()), f);
        if (words[0] == "not") return !holds(Words(words.begin() + 1, words.end()), f);
        if (words[0] == "(") return holds(Words(words.begin() + 1, words.end() - 1), f);
        return std::find_if(std::begin(kCriteria), std::end(kCriteria),
                            [&](const Criterion& c) { return words[0] == c.text; })
            ->holds(f);
    }

    /// Random words that make sense, as a text.
    static std::string randomText(int depth, std::mt19937& engine, Words* words = nullptr) {
        Words own;
        Words& made = words != nullptr ? *words : own;
        make(made, depth, [&engine](auto limit) { return static_cast<int>(engine() % static_cast<unsigned>(limit)); });
        std::string text;
        for (const std::string& word : made)
            text += (text.empty() || word == ")" || text.back() == '(' ? "" : " ") + word;
        return text;
    }

    template <class Below>
    static void make(Words& words, int depth, const Below& below) {
        const int kind = depth == 0 ? 9 : below(10);
        if (kind < 6) {
            make(words, depth - 1, below);
            if (kind != 5) words.push_back(kind < 3 ? "or" : "and");  // or a blank alone
            make(words, depth - 1, below);
        } else if (kind < 9) {
            words.push_back(kind < 8 ? "not" : "(");
            make(words, depth - 1, below);
            if (kind == 8) words.push_back(")");
        } else {
            words.push_back(kCriteria[below(std::size(kCriteria))].text);
        }
    }

private:
    static std::size_t outside(const char* word, const Words& words) {
        int depth = 0;
        std::size_t at = 0;
        for (; at < words.size() && !(depth == 0 && words[at] == word); ++at)
            depth += (words[at] == "(") - (words[at] == ")");
        return at;
    }
};

TEST_F(Selection, expressionsSelectAsASlowReadingOfThem) {
    std::vector<AllFields> fields(static_cast<std::size_t>(ObsGetCount()));
    std::vector<std::int64_t> all(fields.size()), found(fields.size());
    ObsGetLoaded(9, all.data());
    for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(fields[i].get(all[i]), 0);
    std::mt19937 engine(13);
    for (int i = 0, longEnough = 0; longEnough < 100; ++i) {
        SlowReading::Words words;
        const std::string text = SlowReading::randomText(1 + i % 6, engine, &words);
        if (text.size() > 512) continue;
        longEnough += words.size() > 4;
        std::vector<std::int64_t> wanted;
        for (std::size_t k = 0; k < all.size(); ++k)
            if (SlowReading::holds(words, fields[k])) wanted.push_back(all[k]);
        std::int32_t count = -2, selected = -2, terms = 0, first[128], last[128], dropped[128];
        ObsGetSelectedByText(Text(text), 9, &count, found.data());
        ASSERT_EQ(std::vector<std::int64_t>(found.begin(), found.begin() + std::max(count, 0)), wanted) << text;
        ASSERT_EQ(ObsGetTermCounts(Text(text), 128, &selected, &terms, first, last, dropped), 0);
        EXPECT_EQ(selected, count);
        for (std::int32_t t = 0; t < terms; ++t) {  // each drops what it drops as a text of its own
            ObsGetSelectedByText(Text(text.substr(std::size_t(first[t] - 1), std::size_t(last[t] + 1 - first[t]))), 9,
                                 &count, found.data());
            EXPECT_EQ(dropped[t], std::int32_t(all.size()) - count) << text << ", term " << t;
        }
    }
}

/// Rows that are not stored, in the order of keys: what meets a text, and what is known of some of them.
class Rows {
public:
    explicit Rows(const std::vector<std::int64_t>& keys) : fields(keys.size()), mask(keys.size()) {
        for (std::size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(fields[i].get(keys[i]), 0);
    }

    void select(const std::string& text) {
        ArrowArrayStream stream;
        ASSERT_EQ(ObsExportArrow(-1, nullptr, 9, nullptr, 0, 300, &stream), 0);
        std::int64_t rows = 0;
        ASSERT_EQ(ObsSelectRows(Text(text), &stream, std::ssize(mask), mask.data(), &rows), 0) << text;
        EXPECT_EQ(rows, std::ssize(mask));
    }

    bool mayMeet(const std::string& text, std::size_t from, std::size_t to) const {
        double reals[] = {kInfinity, -kInfinity, kInfinity, -kInfinity, kInfinity, -kInfinity};
        std::string least[] = {"~", "~"}, greatest[] = {"", ""};
        for (; from < to; ++from) {
            const AllFields& f = fields[from];
            const double values[] = {f.time, double(f.sat), double(f.sen)};
            for (std::size_t k = 0; k < 6; ++k)
                reals[k] = k % 2 == 0 ? std::min(reals[k], values[k / 2]) : std::max(reals[k], values[k / 2]);
            const std::string texts[] = {std::string(1, f.type), std::string(1, f.secClass)};
            for (std::size_t k = 0; k < 2; ++k) {
                least[k] = std::min(least[k], texts[k]);
                greatest[k] = std::max(greatest[k], texts[k]);
            }
        }
        const char* const known[] = {least[0].c_str(), greatest[0].c_str(), least[1].c_str(), greatest[1].c_str()};
        const std::int32_t may = ObsMayMeet(Text(text), reals, known);
        EXPECT_GE(may, 0);
        return may == 1;
    }

    std::vector<AllFields> fields;
    std::vector<std::int8_t> mask;
};

TEST_F(Selection, rowsAreSelectedAsTheObservations) {
    ASSERT_EQ(FamilyAddSensor(207, "A Site", 0, 0, 0), 0);
    std::vector<std::int64_t> all(static_cast<std::size_t>(ObsGetCount())), found(all.size());
    ObsGetLoaded(9, all.data());
    Rows rows(all);
    std::vector<std::string> texts;
    for (const auto& one : kTexts)
        for (const std::string& text : split(one.first, '|')) texts.push_back(text);
    std::mt19937 engine(17);
    for (int i = 0; i < 60; ++i)
        if (std::string text = SlowReading::randomText(1 + i % 6, engine); text.size() <= 512) texts.push_back(text);
    int passedOver = 0;
    for (const std::string& text : texts) {
        std::int32_t count = -1;
        ObsGetSelectedByText(Text(text), 9, &count, found.data());
        rows.select(text);
        std::vector<std::int64_t> kept;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (rows.mask[i] == 1) kept.push_back(all[i]);
        EXPECT_EQ(kept, std::vector<std::int64_t>(found.begin(), found.begin() + count)) << text;
        for (std::size_t from = 0; from < all.size(); from += 4) {
            const bool has = std::count(&rows.mask[from], &rows.mask[from] + 4, 1) != 0;
            const bool may = rows.mayMeet(text, from, from + 4);
            EXPECT_TRUE(may || !has) << text << ", rows from " << from;
            passedOver += !may;
        }
    }
    EXPECT_GT(passedOver, static_cast<int>(texts.size() * all.size() / 4 / 10));
    FamilyRemoveSensors();
}

TEST_F(Selection, whatIsKnownOfRowsRulesThemOut) {
    const double open[] = {-kInfinity, kInfinity, 5, 9, -kInfinity, kInfinity};
    const char* const types[] = {"3", "3", nullptr, nullptr};
    const struct {
        const char* text;
        std::int32_t may;
        const char* columns;
    } cases[] = {{"", 1, ""},
                 {"sat=5 or sat=20", 1, "sat_num"},
                 {"sat=4,10:12", 0, "sat_num"},
                 {"sat!=5:9", 0, "sat_num"},
                 {"not sat=5:9", 0, "sat_num"},
                 {"sat!=6", 1, "sat_num"},
                 {"type=8", 0, "type"},
                 {"(type=3 and sat=20) or (type=8 and sat=5)", 0, "sat_num type"},
                 {"type=3 el>10 time=2024-01-01", 1, "ds50 type elevation declination"},
                 {"class=U not el>10 sat<5", 0, "sat_num type sec_class elevation declination"}};
    for (const auto& [text, may, columns] : cases) {
        Text names;
        EXPECT_EQ(ObsMayMeet(Text(text), open, types), may) << text;
        EXPECT_EQ(ObsGetSelectionColumns(Text(text), names), 0);
        EXPECT_EQ(names.trimmed(), columns);
    }
}

TEST_F(Selection, arraysSelectWithTheGlobalCriteria) {
    double criteria[32] = {kJanuary2024,        kInfinity, 7, 40, 0, 0, 0, 0, 300, 60, 0, 0, 0, 0,
                           (1 << 4) + (1 << 9), 3,         0, 0,  3, 6, 7, 30};
    const Filter keep = [](const AllFields& f) {
        return f.time >= kJanuary2024 && (f.az >= 300 || f.az <= 60) &&
               std::string("49O").find(f.type) != std::string::npos && upperCase(f.secClass) == 'S' &&
               (f.sat == 7 || f.sat == 30);
    };
    EXPECT_EQ(selected(criteria, -2), filtered(-2, keep));
    ASSERT_EQ(ObsSetSelObs("el=0:"), 0);
    EXPECT_EQ(selected(criteria, -2), filtered(-2, [&](const AllFields& f) { return keep(f) && f.el >= 0; }));
    std::int32_t total = 0, dropped[OBS_CRITERIA];
    ASSERT_EQ(ObsGetSelectionCounts(criteria, &total, dropped), 0);
    EXPECT_EQ(dropped[0], std::ssize(filtered(9, WHERE(f.time < kJanuary2024))));
    EXPECT_EQ(dropped[3], std::ssize(filtered(9, WHERE(!hasAngles(f.type) || f.el < 0))));
    EXPECT_EQ(dropped[9], 0);
    for (const auto& [from, to] : {std::pair{100, 200}, {8, 20}}) {
        criteria[2] = from;
        criteria[3] = to;
        EXPECT_EQ(selected(criteria, 9).size(), 0u) << "no satellite is in both the pair and the list";
    }
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
        const char* says = "";
    } const cases[] = {{"SELOB sat=7", 7},
                       {"selob = sat=8\r", 8},
                       {"SELOB\t=\"sat=9\"", 9},
                       {"SELOB \"sat=5\" sen=211", 0, "SELOB: \" (column 7) begins quotes"},
                       {"SELOB = height=2", 0, "SELOB: \"height\" (column 9) is not one of the names"},
                       {"SELOB sat=7 time!=2024005", 7,
                        "SELOB: \"2024005\" is taken as the first of the dates 2020-240T05 or 2024-005."}};
    for (const auto& one : cases) {
        ASSERT_EQ(ObsSetSelObs("sat=6"), 0);
        log_.errors.clear();
        log_.informations.clear();
        std::ofstream(file) << one.line << "\n";
        EXPECT_EQ(ObsLoadFile(file.c_str()), 0);
        EXPECT_EQ(log_.errors.empty(), one.sat != 0) << one.line;
        const auto& said = one.sat == 0 ? log_.errors : log_.informations;
        EXPECT_TRUE(std::any_of(said.begin(), said.end(), [&](const std::string& text) {
            return text.starts_with(one.says);
        })) << one.line;
        const std::int32_t sat = one.sat == 0 ? 6 : one.sat;
        EXPECT_EQ(selected(open_, 9), filtered(9, [&](const AllFields& f) { return f.sat == sat; })) << one.line;
    }
    std::filesystem::remove(file);
}

/// Reasons, and texts between "|" with what is at fault in brackets.
const std::pair<const char*, const char*> kBad[] = {
    // clang-format off
    {"is not followed by one of =, !=, <, <=, >, >=.", "[sat]"}, {"is not one of the names sat, sen,", "[foo]=1"},
    {"is not followed by a satellite number", "sat[=]"}, {"is not a satellite number", "sat=1,[,]2"},
    {"has its low end above its high end.", "sat=[5:4]"}, {"is a range without ends.", "sat=[:]"},
    {"is not a number of degrees", "el=[nan]"}, {"is not one of U, C, S.", "class=[Q]"},
    {"does not go with this name", "class[<]U"}, {"was given before", "sat=1 [sat]=2"},
    {"cannot be here", "[=] =|[or] sat=5"}, {"begins quotes", "[\"]sat=5\" sen=211"},
    {"has no closing quotation mark.", "sat=5 ['x]"}, {"is not followed by a criterion", "sat=5 [and]"},
    {"has no closing parenthesis.", "[(]sat=5"}, {"closes no parenthesis.", "sat=5 or (el>3)[)]"},
    {"is not a single value", "el<1[,]2"}, {"is not within 0 to 360", "az>[361]"},
    {"is not a number of km", "range<[5kg]"}, {"has a unit at one end alone.", "rate=[-5:5m/s]"},
    {"is not a laser target's name", "sat=['iss']"}, {"is not the description of a sensor", "sen=['Nowhere']"},
    {"is a name in quotes, which sat, sen and file alone take", "el=['x']"}, {"is not a year of four digits.", "year=[24]"},
    {"is not a date (2024-01-31,", "time=[24400]"}, {"has its low end", "time=[2024-01-02..24001]"},
    {"is two dates: write 2020-240T12 or 2024-012.", "time=24001:[2024012]"},
    // clang-format on
    {"",
     "sat=[abc]|sat=[1.5]|sat=1:[2:3]|type=12,[X]|type=[20]|class=[C:]|sat=[1e300]|el=10 [range]|[\"]sat=5|"
     " [\"]|[not]|([)]|sat=5, [el]>3|sat=5 [!] el>3|sat=[=]5|sat=[(]5)|[sat] and=5|el<[1:2]|range<[5m/s]|"
     "range<[km]|sat=[5km]|sat=['']|time=[240011]|time=[24001125959.9999]|time=[5e4]|time=[1e9.]|"
     "time=[2023-02-29]|time=[2023-366]|time=[2024-01-01T24]|time=[2024-01-01T10:60]|"
     "time=[2024-01-01T10:00:60]|time=[2024-01-01T1:00]|time=[2024-01]|time=[2024-01-01T10:00:2024-01-02]|"
     "time=[2024031]"},
};

TEST_F(Selection, badCriteriaAreRefused) {
    ASSERT_EQ(ObsSetSelObs("sat=7"), 0);
    const auto before = selected(open_, 9);
    for (const auto& [reason, texts] : kBad) {
        for (std::string text : split(texts, '|')) {
            const std::size_t open = text.find('['), close = text.find(']') - 1;
            text.erase(close + 1, 1).erase(open, 1);
            log_.errors.clear();
            EXPECT_EQ(ObsSetSelObs(text.c_str()), 2) << text;
            ASSERT_EQ(log_.errors.size(), 1u) << text;
            EXPECT_EQ(log_.errors[0].substr(0, 15), "ObsSetSelObs: \"") << log_.errors[0];
            const std::string where = " (column " + std::to_string(open + 1) + ") ";
            EXPECT_NE(log_.errors[0].find(where + reason), std::string::npos) << log_.errors[0];
            EXPECT_EQ(selected(open_, 9), before) << text;
            std::int32_t count = 7, terms = 7, first = 0, last = 0, dropped = 0;
            EXPECT_EQ(ObsGetTermCounts(text.c_str(), 1, &count, &terms, &first, &last, &dropped), 2) << text;
            EXPECT_EQ(std::pair(first, last), std::pair(std::int32_t(open + 1), std::int32_t(close))) << text;
        }
    }
    const std::pair<std::size_t, double> faults[] = {
        {0, std::nan("")}, {2, 8}, {14, -1}, {14, 1 << 20}, {14, 0.5}, {15, 4}, {18, 11}, {18, kInfinity}, {31, 1}};
    std::int32_t count = -1, dropped[OBS_CRITERIA];
    std::int64_t key = -7;
    for (const auto& [element, value] : faults) {
        double criteria[32] = {};
        criteria[element] = value;
        ObsGetSelected(criteria, 9, &count, &key);
        EXPECT_EQ(std::pair(count, key), std::pair(0, std::int64_t{-7})) << element;
        EXPECT_EQ(ObsGetSelectionCounts(criteria, &count, dropped), 2);
    }
    ObsGetSelected(open_, 9, &(count = -1), nullptr);
    EXPECT_EQ(count, 0);
    ObsGetSelected(nullptr, 9, nullptr, nullptr);
    ObsRemoveAll();
    ObsGetSelected(open_, 9, &(count = -1), &key);
    EXPECT_EQ(std::pair(count, key), std::pair(0, std::int64_t{-7})) << "an empty store writes no key";
}

/// A card of a satellite, or a line that adds nothing, for each number.
std::string deckOf(const std::vector<int>& numbers) {
    std::string text;
    for (const int number : numbers) {
        const std::string satellite = std::to_string(10000 + number);
        text += number == 0 ? "* nothing\n"
                            : "U" + satellite + "34524163123456789450000 1800000" + std::string(37, ' ') + "1\n";
    }
    return text;
}

// Each observation is that of the first line that brings it, under either key mode, also after others were removed.
TEST_F(Selection, originsAreThoseOfTheLines) {
    ObsRemoveAll();
    ASSERT_EQ(ObsKeepOrigins(1), 0);
    for (const int keyMode : {0, 1}) {
        const std::map<std::string, std::vector<int>> decks{{"a/one.b3", {1, 2, 0, 3, 2, 0, 0, 4, 5, 6}},
                                                            {"b/two.b3", {7, 3, 8, 0, 0, 1, 9, 10}}};
        SetObsKeyMode(keyMode);
        std::set<std::string> wanted, found;
        std::set<int> seen;
        for (const auto& [name, numbers] : decks) {
            const std::string text = deckOf(numbers);
            ASSERT_EQ(ObsLoadText(name.c_str(), text.data(), std::ssize(text), 0, nullptr), 0);
            for (std::size_t i = 0; i < numbers.size(); ++i)
                if (numbers[i] != 0 && (seen.insert(numbers[i]).second || keyMode == 1))
                    wanted.insert(name + std::to_string(i + 1) + ":" + std::to_string(numbers[i]));
        }
        std::int32_t count = 0;
        std::vector<std::int64_t> keys(100);
        for (const auto& [name, numbers] : decks) {
            for (std::size_t i = 0; i < numbers.size(); ++i) {
                const std::string text = "file='" + name.substr(2) + "' line=" + std::to_string(i + 1);
                ObsGetSelectedByText(text.c_str(), 9, &count, keys.data());
                for (std::size_t k = 0; std::cmp_less(k, count); ++k)
                    found.insert(name + std::to_string(i + 1) + ":" + std::to_string(SatNumFrObsKey(keys[k]) - 10000));
            }
        }
        EXPECT_EQ(found, wanted) << keyMode;
        for (const char* text :
             {"file='two.b3'", "not file='?/two.b3' or line>6", "line!=3", "line=2:4 file!='one.b3'"}) {
            ObsGetSelectedByText(text, 9, &count, keys.data());
            ArrowArrayStream stream;
            const char* const columns[] = {"line", "file"};
            ASSERT_EQ(ObsExportArrow(-1, nullptr, 9, columns, 2, 3, &stream), 0);
            std::vector<std::int8_t> mask(100);
            std::int64_t rows = 0;
            ASSERT_EQ(ObsSelectRows(Text(text), &stream, std::ssize(mask), mask.data(), &rows), 0) << text;
            EXPECT_EQ(std::count(mask.begin(), mask.begin() + rows, 1), count) << text;
        }
        ObsGetSelectedByText("not file='?/two.b3' or line>6", 9, &count, keys.data());
        ObsRemoveKeys(count, keys.data());
        ASSERT_GT(ObsAddFrB3Card(deckOf({50}).substr(0, 75).c_str()), 0);
        ObsGetSelectedByText("line>0", 9, &count, keys.data());
        EXPECT_EQ(ObsGetCount(), count + 1) << "an observation that no file brought";
        ObsRemoveAll();
    }
    ObsKeepOrigins(1);
    EXPECT_EQ(ObsSetSelObs("file='three.b3'"), 2);
    EXPECT_NE(log_.errors.back().find("is not the name of a file that observations"), std::string::npos);
    ObsKeepOrigins(0);
    EXPECT_EQ(ObsSetSelObs("line=3"), 2);
    EXPECT_NE(log_.errors.back().find("is not kept: see ObsKeepOrigins"), std::string::npos);
}

// Gaps in minutes between one observation and the next, and how many each pass then has.
TEST_F(ExportTest, passesEndAtLongGaps) {
    struct Row {
        std::vector<double> gaps;
        std::vector<int> passes;
    };
    const Row rows[] = {{{}, {1}},
                        {{1, 1, 9.9, 1}, {5}},
                        {{1, 1, 10.1, 1}, {3, 2}},
                        {{4, 4, 19.9, 4}, {5}},  // five median steps are 20 minutes
                        {{4, 4, 20.1, 4}, {3, 2}},
                        {{2, 4, 30, 100}, {4, 1}},  // the median is 17 minutes
                        {{600, 600, 600}, {4}}};    // sparse all along
    std::vector<ObsPass> expected;
    std::int32_t sat = 100;
    for (const Row& row : rows) {
        double time = 27000;
        std::vector<double> times{time};
        for (const double gap : row.gaps) times.push_back(time += gap / 1440);
        std::size_t at = 0;
        for (const int pass : row.passes) {
            expected.push_back({sat, 211, pass, 0, times[at], times[at + static_cast<std::size_t>(pass) - 1]});
            at += static_cast<std::size_t>(pass);
        }
        const double none[3] = {}, noArray[64] = {};
        for (auto one = times.rbegin(); one != times.rend(); ++one)
            ASSERT_GT(ObsAddFrFields('U', sat, 211, *one, 1, 2, 0, 0, 0, 0, 0, '1', 0, 0, 0, 0, none, none, noArray),
                      0);
        ++sat;
    }
    std::vector<ObsPass> passes(expected.size());
    std::int32_t count = 0;
    ASSERT_EQ(ObsGetPasses(-1, nullptr, static_cast<std::int32_t>(passes.size()), passes.data(), &count), 0)
        << testing::PrintToString(log_.errors);
    ASSERT_EQ(count, static_cast<std::int32_t>(expected.size()));
    EXPECT_EQ(std::memcmp(passes.data(), expected.data(), expected.size() * sizeof(ObsPass)), 0);
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(4, keys.data());
    std::vector<ObsPass> some(expected.size());
    ASSERT_EQ(ObsGetPasses(static_cast<std::int32_t>(keys.size()), keys.data(), 1, some.data(), &count), 2);
    EXPECT_EQ(std::memcmp(some.data(), expected.data(), sizeof(ObsPass)), 0);
}

}  // namespace obs::test
