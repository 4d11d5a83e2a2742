// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/LaserRanging/Blocks.h"
#include "Obs/ObsCardReading/Named.h"

#include <gtest/gtest.h>
#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "siblings/include/ObsFamily.h"
#include "tests/QuietSink.h"

namespace obs::test {

namespace {

std::string joined(std::string fields) {
    std::erase(fields, ' ');
    return fields;
}

constexpr double kLightKms = 299792.458;
constexpr double kDay = 14324;  // 1989 March 20

// LAGEOS 1 from station 7105: a header whose check sum is wrong by one, as in the example known, and its data line.
// Their fields with blanks between them for the reader's eye.
const std::string kHeader = joined("7603901 89079 7105 0702 5321 00095942 00003300407300100650 54 1");
const std::string kPoint = joined("214360786545 052035998000 0000066 10135 2905 055 010800000 49");
const std::string kShot = joined("214360786545 052035998000 10135 2905 055 000000000000 3 1234567 456789 00000 --");

std::string edited(std::string line, std::size_t column, const std::string& text) {
    return line.replace(column - 1, text.size(), text);
}

/// What the block of a mark and lines gave, and the line that was given back.
struct Read final : QuietSink {
    std::vector<std::pair<std::int64_t, ObsRecord>> ranges;
    std::vector<std::pair<std::int64_t, std::string>> refusals;
    std::vector<std::string> notes;
    std::string next;
    bool markBehind = false;

    Read(const std::string& mark, const std::vector<std::string>& block) {
        std::string text = mark + '\n';
        for (const std::string& line : block) text += line + '\n';
        LineReader lines(text, true);
        SlrBlock reader;
        std::string_view line;
        EXPECT_TRUE(lines.next(line));
        reader.open(line, lines.place(), CrdInBlocks::headersEnd, processSettings());
        while (lines.next(line)) {
            if (reader.take(line, lines.place(), *this) != SlrBlock::Took::other) continue;
            next = line;
            break;
        }
        reader.close(*this);
        markBehind = GoPassHeaderRecord(lines);
    }
    void observation(ObsRecord& rec, std::string_view, LinePlace place) override {
        ranges.emplace_back(place.number, rec);
    }
    void refuse(const Refusal& why, std::string_view, LinePlace place) override {
        refusals.emplace_back(place.number, why.message());
    }
    void note(std::string text) override { notes.push_back(text); }
};

}  // namespace

TEST(SlrBlocks, theExampleToItsExactNumbers) {
    const Read read("99999", {kHeader, kPoint});
    ASSERT_EQ(read.ranges.size(), 1u);
    const ObsRecord& rec = read.ranges[0].second;
    EXPECT_EQ(std::tuple(rec.satNum, rec.senNum, rec.obsType, rec.secClass), std::tuple(8820, 90, 6, 'U'));
    EXPECT_EQ(rec.obsTime, 14324.248103063339);
    EXPECT_DOUBLE_EQ(rec.range, 7799.999872451542);
    EXPECT_EQ(read.notes, std::vector<std::string>{"ReadSlrBlock: Lines with a wrong check sum in the pass that "
                                                   "starts on line 1: 1, the first is line 2"});
    EXPECT_TRUE(read.refusals.empty());
}

TEST(SlrBlocks, sampledEngineeringData) {
    setSlrCorrections({SlrTroposphere::mendesPavlis, true});
    const double rawKm = kLightKms * (0.052035998 - 95942e-12) / 2;
    ASSERT_EQ(FamilyAddSensor(90, "7105", 39, 283, 19), 0);
    const SlrModelInput air{39, 19, 1013.5, 290.5, vapourPressureHpa(290.5, 55), 0.5321};
    const double correctedKm = rawKm + (0.251 - mendesPavlisM(air, 45.6789)) / 1000;
    struct {
        const char* what;
        std::string line;
        std::int32_t type;
        double azimuthDeg, elevationDeg, rangeKm;
    } const cases[] = {
        {"measured angles", kShot, 2, 123.4567, 45.6789, correctedKm},
        {"of unknown origin", edited(kShot, 49, "0"), 6, 0, 0, correctedKm},
        {"no azimuth", edited(kShot, 50, "-------"), 6, 0, 0, rawKm + 0.000251},
        {"too high", edited(kShot, 57, "900001"), 6, 0, 0, rawKm + 0.000251},
        {"too far round", edited(kShot, 50, "3600001"), 6, 0, 0, rawKm + 0.000251},
        {"west of north", edited(kShot, 50, "-123456"), 2, 347.6544, 45.6789, correctedKm},
        {"no weather", edited(kShot, 25, "-----"), 2, 123.4567, 45.6789, rawKm + 0.000251},
        {"cut in the elevation", kShot.substr(0, 61), 6, 0, 0, rawKm + 0.000251},
        {"the range alone", kShot.substr(0, 24), 6, 0, 0, rawKm + 0.000251},
    };
    for (const auto& one : cases) {
        const Read read("88888", {kHeader, one.line});
        ASSERT_EQ(read.ranges.size(), 1u) << one.what;
        const ObsRecord& rec = read.ranges[0].second;
        EXPECT_EQ(rec.obsType, one.type) << one.what;
        EXPECT_EQ(std::pair(rec.azOrRa, rec.elOrDec), std::pair(one.azimuthDeg, one.elevationDeg)) << one.what;
        EXPECT_NEAR(rec.range, one.rangeKm, 1e-11) << one.what;  // roundings of a sum of some thousand km
        EXPECT_EQ(rec.indicator2, one.rangeKm == correctedKm ? 3 : 2) << one.what;
        EXPECT_EQ(read.notes.size(), one.rangeKm == correctedKm ? 1u : 2u) << one.what;
    }
    setSlrCorrections({});
    FamilyRemoveSensors();
}

// A pass of LAGEOS 1 from station 7080, 2007 December 2: system delay -837 ps, and its first range, 39894.074961 us
// with the delay taken off. Read without the sign the range is 251 mm short.
TEST(SlrBlocks, theSignOfTheSystemDelay) {
    const std::string header = joined("7603901 07336 7080 2419 5320 -0000837 ------ ---- 04300 103000 --");
    const std::string raw = joined("576084437383 039894074124");
    struct {
        const char* what;
        std::string header;
        double calibratedPs;  ///< 0: a bad header
    } const cases[] = {
        // clang-format off
        {"published", header, 39894074961}, {"justified", edited(header, 25, "    -837"), 39894074961},
        {"without a sign", edited(header, 25, "00000837"), 39894073287},
        {"missing", edited(header, 25, "--------"), 39894074124},
        {"missing and beyond the line", header.substr(0, 24), 39894074124}, {"cut", header.substr(0, 30), 0},
        {"damaged", edited(header, 25, "0000-837"), 0}, {"with a gap", edited(header, 25, "-  00837"), 0},
        // clang-format on
    };
    for (const auto& one : cases) {
        const Read read("88888", {one.header, raw});
        ASSERT_EQ(read.ranges.size(), one.calibratedPs == 0 ? 0u : 1u) << one.what;
        if (one.calibratedPs != 0)
            EXPECT_NEAR(read.ranges[0].second.range, kLightKms * one.calibratedPs * 1e-12 / 2, 1e-9) << one.what;
        else EXPECT_EQ(read.refusals.at(0).second, "ReadSlrBlock: Bad pass header/" + one.header);
    }
    EXPECT_EQ(Read("99999", {edited(header, 25, "0000-837"), raw}).ranges.size(), 1u) << "not used";
}

TEST(SlrBlocks, badDataLines) {
    std::vector<std::string> lines{kShot.substr(0, 23), edited(kShot, 24, " ").substr(0, 24), "10 43200.5 0.25 std 2"};
    // clang-format off
    for (const auto& [column, text] : {std::pair{20, "X"}, {1, "864010000000"}, {13, "000000000000"}, {13, "-00000000001"},
                                       {1, "------------"}, {1, "-00000000001"}, {12, "-"}, {20, "-"}, {1, "."}, {1, "x"},
                                       {30, "."}})
        // clang-format on
        lines.push_back(edited(kShot, static_cast<std::size_t>(column), text));
    for (const std::string& bad : lines) {
        const Read read("88888", {kHeader, kShot, bad, kShot});
        EXPECT_EQ(read.ranges.size(), 2u) << bad;
        EXPECT_EQ(read.refusals, (decltype(read.refusals){{4, "ReadSlrBlock: Bad data line/" + bad}}));
    }
}

TEST(SlrBlocks, badHeaders) {
    using Refusals = std::vector<std::pair<std::int64_t, std::string>>;
    for (const std::int32_t pad : {7999, 1003}) ASSERT_EQ(FamilyAddSensor(pad, "", 0, 0, 0), 0);
    EXPECT_EQ(Read("99999", {edited(kHeader, 13, "7999"), kPoint}).ranges.at(0).second.senNum, 7999);
    const Read lastYear("99999", {edited(kHeader, 8, "56366"), kPoint});
    EXPECT_EQ(lastYear.ranges.at(0).second.obsTime, 39082.248103063339);  // 2056 December 31
    for (const auto& [column, text, message] :
         {std::tuple{1, "7603902",
                     "ReadSlr: Laser-ranging satellite 7603902 has no known satellite number, and no "
                     "header H3 gives its catalogue number."},
          {1, "0000103", "ReadSlr: Ranges to the Moon are not satellite observations: target 103 is Apollo 15."},
          {13, "7998",
           "ReadSlr: Laser station 7998 has no known sensor number; a sensor of the station's own number would do."},
          // clang-format off
          {13, "1003", "ReadSlr: Laser station 1003 has no known sensor number."},
          {10, "000", "ReadSlrBlock: Bad pass header/"}, {10, "366", "ReadSlrBlock: Bad pass header/"},
          {13, "7-05", "ReadSlrBlock: Bad pass header/"}, {8, "--", "ReadSlrBlock: Bad pass header/"},
          // clang-format on
          {30, "x", "ReadSlrBlock: Bad pass header/"}}) {
        std::string header = edited(kHeader, static_cast<std::size_t>(column), text);
        std::string expected = message;
        if (expected.back() == '/') expected += header;
        const Read read("99999", {header, kPoint, kPoint});
        EXPECT_EQ(read.refusals, (Refusals{{3, expected}, {4, expected}}));
        EXPECT_EQ(read.notes.front(), "ReadSlr: 2 ranges from line 3 on are refused for one reason: " + expected);
        EXPECT_EQ(Read("99999", {header}).refusals, (Refusals{{2, expected}}));
    }
    EXPECT_EQ(Read("99999", {"99999"}).refusals, (Refusals{{1, "ReadSlrBlock: No pass header follows the mark"}}));
    FamilyRemoveSensors();
}

TEST(SlrBlocks, midnightAndTheEndOfABlock) {
    const std::string late = edited(kPoint, 1, "863999000000"), early = edited(kPoint, 1, "000001000000");
    const std::string card = "U0000534524163123456789450000 1800000                                     1";
    for (const std::string& end : std::vector<std::string>{card, "88888", "h4  1", "H9", " END"}) {
        const Read read("99999", {kHeader, "* comment", edited(late, 13, "x"), early, "", late, end, kPoint, "99999"});
        ASSERT_EQ(read.ranges.size(), 2u) << end;
        EXPECT_EQ(read.next, end);
        const double bounce = 0.052035998 / 2;
        EXPECT_EQ(read.ranges[0].second.obsTime, kDay + 1 + (0.1 + bounce) / 86400);
        EXPECT_EQ(read.ranges[1].second.obsTime, kDay + (86399.9 + bounce) / 86400);
        EXPECT_EQ(read.ranges[1].first, 7);
        EXPECT_EQ(read.refusals.size(), 1u);
        EXPECT_TRUE(read.markBehind);
    }
}

}  // namespace obs::test
