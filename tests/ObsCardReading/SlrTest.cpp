// SPDX-License-Identifier: Apache-2.0
// Laser-ranging sessions: real files, every rule of the format page, sections, damage.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sstream>

#include "Obs/ObsCardReading/LaserRanging/Corrections.h"
#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "tests/ExportTest.h"
#include "tests/LoadFixture.h"
#include "tests/QuietSink.h"

namespace obs::test {

namespace {

constexpr std::int32_t kInOrderOfInsertion = -8;
constexpr double kTimeResolutionDays = 4e-12;
constexpr double kMicrometreKm = 1e-9;
constexpr double kLightKms = 299792.458;

struct Range {
    std::int32_t obsType, satNum, senNum;
    double day, bounceSecond, rangeKm, azimuthDeg = 0, elevationDeg = 0;
};

ObsRecord stored(std::size_t position) {
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()), 0);
    ObsGetLoaded(kInOrderOfInsertion, keys.data());
    ObsRecord rec;
    obsfindrec(keys.at(position), rec);
    return rec;
}

void expectRange(const ObsRecord& rec, const Range& range) {
    EXPECT_EQ(rec.obsType, range.obsType);
    EXPECT_EQ(rec.satNum, range.satNum);
    EXPECT_EQ(rec.senNum, range.senNum);
    EXPECT_EQ(rec.secClass, 'U');
    EXPECT_NEAR(rec.obsTime, range.day + range.bounceSecond / 86400, kTimeResolutionDays);
    EXPECT_NEAR(rec.range, range.rangeKm, kMicrometreKm);
    EXPECT_EQ(rec.azOrRa, range.azimuthDeg);
    EXPECT_EQ(rec.elOrDec, range.elevationDeg);
}

/// A session of LAGEOS 1 (8820) at station 7839 (161) that starts at noon of day 20000, 2004 October 3.
const std::string kH12 = "H1 CRD  2 2021 01 27 09\nH2 GRZL 7839 34 02 4 ILRS\n";
const std::string kHead = kH12 + "H3 lageos1 7603901 1155 8820 0 1 1\n";
const std::string kStart = "H4 0 2004 10 03 12 00 00 na na na na na na 0 0 0 0 1 0 2 0\nC0 0 532.0 std\n";
const std::string kEnd = "H8\nH9\n";

/// Lines that a file holds with the id of a range.
std::int64_t rangeLines(const std::string& text) {
    std::int64_t count = 0;
    for (const std::string& line : split(text, '\n'))
        count += line == "10" || line == "11" || line.starts_with("10 ") || line.starts_with("11 ");
    return count;
}

/// What the sessions of a text give, without a store.
struct Found final : QuietSink {
    std::vector<double> ranges;
    std::int64_t refused = 0;

    explicit Found(const std::string& text) {
        CrdReader reader;
        const ReadSettings settings;
        reader.attach(settings, *this);
        std::istringstream lines(text);
        std::int64_t number = 0;
        for (std::string line; std::getline(lines, line);) reader.take(line, {++number, 0}, !lines.eof());
        reader.endFile();
    }
    void observation(ObsRecord& rec, std::string_view, LinePlace) override {
        ranges.push_back(rec.range);
        EXPECT_TRUE(rec.elOrDec == 0 || rec.elOrDec == 22);
    }
    void refuse(const Refusal&, std::string_view, LinePlace) override { ++refused; }
};

}  // namespace

class Crd : public LoadFixture {
protected:
    void TearDown() override {
        FamilyRemoveSensors();
        LoadFixture::TearDown();
    }
    std::int32_t loadSlr(const std::string& text) {
        told_.clear();
        return ReadSlrFrFile(write("ranges.crd", text));
    }
    /// A text with one range, and what it gives, or the reason that refuses it.
    void expectSession(const std::string& text, const char* reason, const Range& range, int indicator1,
                       int indicator2) {
        SCOPED_TRACE(text);
        obsemptytree();
        EXPECT_EQ(loadSlr(text), reason == nullptr ? 0 : 2);
        EXPECT_EQ(lastReason(), reason == nullptr ? "" : reason);
        ASSERT_EQ(ObsGetCount(), reason == nullptr ? 1 : 0);
        if (reason != nullptr) return;
        expectRange(stored(0), range);
        EXPECT_EQ(std::pair(stored(0).indicator1, stored(0).indicator2), std::pair(indicator1, indicator2));
    }
    std::string lastReason() const { return told_.empty() ? "" : told_.back().reason; }
};

// First and last observation by hand from their lines: bounce = second of day + time of flight / 2, range =
// 299792.458 km/s x time of flight / 2; the comments give both items. Days since 1949 December 31.
TEST_F(Crd, realFiles) {
    struct File {
        const char* name;
        std::int64_t loaded, duplicate, bad;
        Range first, last;
    };
    // clang-format off
    const File files[] = {
        // 43410.8898329 0.044490825842; 1007.946763625370 0.045566238343 after the midnight to 2021 January 27
        {"crd2_rollover.frd", 29, 0, 0, {6, 8820, 160, 26455, 43410.912078312921, 6669.007018811550},
         {6, 8820, 161, 25960, 1007.9695467445415, 6830.207297330909}},
        // 83098.3290105 .048305496438; 68909.9924172 .051292849408
        {"crd1_lageos1.npt", 14, 0, 0, {6, 8820, 62, 25952, 83098.353163248219, 7240.811756029132},
         {6, 8820, 62, 25994, 68910.018063624704, 7688.604700924082}},
        // 77387.019063653420 0.143461677858; 694.119563650340 0.137056288730 after the midnight to 2019 April 20
        {"crd1_glonass125_midnight.frd", 150, 0, 0, {6, 37372, 161, 25311, 77387.090794492349, 21504.364516926997},
         {6, 37372, 161, 25312, 694.188091794705, 20544.220841362199}},
        // 55432.0414338 0.047960587856 with a record 30 of that time; 11532.317500081099 0.021670462296. Three normal
        // points of GIOVE-A occur there twice, and one of Jason 1 is in the full rate, too.
        {"crd2_samples.crd", 82, 4, 0, {2, 22195, 75, 20771, 55432.065414093928, 7189.111260237595, 297.2990, 38.6340},
         {6, 16908, 150, 22661, 11532.328335312247, 3248.320578857082}},
        // 69442.61380994687 .010144434636; 36004.485268558983 0.009228275086. Stations 7941 and 7406 are not in the
        // table: 71 and 55 ranges.
        {"crd1_blits_2012.frd", 331, 0, 126, {6, 35871, 62, 22822, 69442.618882164188, 1520.612497273388},
         {6, 35871, 162, 22816, 36004.489882696526, 1383.283635566051}},
    };
    // clang-format on
    for (const File& file : files) {
        SCOPED_TRACE(file.name);
        const std::string path = std::string(OBS_EXAMPLES "/laser_ranging/") + file.name;
        obsemptytree();
        EXPECT_EQ(ObsLoadSlrFile(path.c_str()), 0);
        expectCounts(file.loaded, file.duplicate, file.bad);
        EXPECT_EQ(rangeLines(contentOf(path)), file.loaded + file.duplicate + file.bad);
        expectRange(stored(0), file.first);
        expectRange(stored(static_cast<std::size_t>(file.loaded) - 1), file.last);
    }
}

TEST_F(Crd, stationsOfTheSensorLibrary) {
    const char* path = OBS_EXAMPLES "/laser_ranging/crd2_all_fields.frd";
    EXPECT_EQ(ObsLoadSlrFileGID(path, 5), 2);
    expectCounts(0, 0, 4);
    std::erase_if(
        told_, [](const Told& told) { return told.kind == kLineUnknownSensor && told.reason == "laser station 7825"; });
    ASSERT_EQ(told_.size(), 4u);
    EXPECT_EQ(told_[3].line, 23);
    const std::string reason =
        "ReadSlr: Laser station 7825 has no known sensor number; a sensor of the station's own number would do.";
    EXPECT_EQ(told_[3].reason, reason);
    EXPECT_EQ(log_.errors, std::vector<std::string>{reason}) << "once, with the number of ranges";
    EXPECT_EQ(log_.informations[log_.informations.size() - 2],
              "ReadSlr: 4 ranges from line 20 on are refused for one reason: " + reason);
    FamilyAddSensor(7825, "Stromlo", -35.3, 149.0, 805);
    EXPECT_EQ(ObsLoadSlrFileGID(path, 5), 0);
    expectCounts(4, 0, 0);
    EXPECT_EQ(ObsGetCountGID(5), 4);
    EXPECT_EQ(stored(0).senNum, 7825);
    EXPECT_EQ(stored(0).satNum, 26405) << "CHAMP is known by its catalogue number";
}

// One record by itself: what it gives, or why it is refused.
TEST_F(Crd, records) {
    struct Session {
        const char* lines;
        const char* reason;  ///< null: taken
        std::int32_t obsType = 6;
        double bounceSecond = 0;
        std::int32_t indicator1 = 0;
    };
    const Session cases[] = {
        {"10 43200.5 0.25 std 2 2 0 0 na na", nullptr, 6, 43200.625},
        {"10\t43200.5  .25  std 1 0", nullptr, 6, 43200.5},
        {"10 43200.5 250.e-3 std 0\r\r", nullptr, 6, 43200.375},
        {"10 43200.5 +0.25 std 2 1 0 0", nullptr, 6, 43200.625, 1},
        {"11 43200.5 2.5D-1 other 2 -1", nullptr, 6, 43200.625},
        {"10 43200.5 0.25 std 2 -na **** na", nullptr, 6, 43200.625},
        {"30 43200.501 10.5 20.25\n10 43200.5 0.25 std 2", nullptr, 2, 43200.625},
        {"10 43200.500999 0.25 std 2\n30 43200.500 10.5 20.25 0 1 1", nullptr, 2, 43200.625999},
        {"30 43200.503 10.5 20.25\n30 43200.4 10.5 20.25\n10 43200.5 0.25 std 2", nullptr, 6, 43200.625},
        {"30 43200.5 0.0 0.0 0 0 1\n30 43200.5 na na\n30 43200.5 x 4\n10 43200.5 0.25 std 2", nullptr, 6, 43200.625},
        {"11", "ReadCrd: Record 11, second of day '' is missing."},
        {"10 -1.000 0.25 std 2", "ReadCrd: Record 10, second of day '-1.000' is missing."},
        {"10 12h 0.25 std 2", "ReadCrd: Record 10, second of day '12h' is not a number."},
        {"10 86401 0.25 std 2", "ReadCrd: Record 10, second of day '86401' is out of range."},
        {"10 -0.5 0.25 std 2", "ReadCrd: Record 10, second of day '-0.5' is out of range."},
        {"11 nan 0.25 std 2", "ReadCrd: Record 11, second of day 'nan' is out of range."},
        {"11 43200.5 nA std 2", "ReadCrd: Record 11, time of flight 'nA' is missing."},
        {"11 43200.5 ****** std 2", "ReadCrd: Record 11, time of flight '******' is missing."},
        {"11 43200.5 0 std 2", "ReadCrd: Record 11, time of flight '0' is out of range."},
        {"11 43200.5 1e999 std 2", "ReadCrd: Record 11, time of flight '1e999' is out of range."},
        {"11 43200.5 -0.25 std 2", "ReadCrd: Record 11, time of flight '-0.25' is out of range."},
        {"11 43200.5 0.25 std", "ReadCrd: Record 11, epoch event '' is missing."},
        {"11 43200.5 0.25 std 5", "ReadCrd: Record 11, epoch event '5' is out of range."},
        {"11 43200.5 0.25 std 2.5", "ReadCrd: Record 11, epoch event '2.5' is not a number."},
        {"10 43200.5 0.25 std 2 7", "ReadCrd: Record 10, filter flag '7' is out of range."},
    };
    for (const Session& c : cases) {
        const bool pointed = c.obsType == 2;
        expectSession(
            kHead + kStart + c.lines + "\n" + kEnd, c.reason,
            {c.obsType, 8820, 161, 20000, c.bounceSecond, kLightKms / 8, pointed ? 10.5 : 0, pointed ? 20.25 : 0},
            c.indicator1, 0);
    }
}

// What comes before the ranges of a session.
TEST_F(Crd, headers) {
    struct Session {
        std::string head;
        const char* reason;  ///< null: taken
        std::int32_t satNum = 8820;
        double rangeKm = kLightKms / 8;
        std::int32_t indicator2 = 0;
    };
    const std::string v1 = "h1 crd 01 2021 01 27 09\nh2 GRZL       7839 34 02  4\n";
    const std::string h4 = "H4  1 2004 10  3 12  0  0 2004 10  3 13  0  0  0 0 0 0 1 0 ";
    const std::string noH4 = "ReadCrd: No header H4 stands before the record.";
    const Session cases[] = {
        {v1 + "H3 lageos1    07603901 1155     8820 0 1\n" + h4 + "2 0\n", nullptr},
        {v1 + "H3 LAGEOS 1    7603901 1155     8820 0\n" + h4 + "2 0\n", nullptr},
        {kH12 + "H3 LAGEOS 1    7603901 1155     8820 0\n" + h4 + "2 0\n", nullptr},
        {v1 + "H3 lageos-no-107603901 1155     8820 0 1\n" + h4 + "2 0\n", nullptr},
        {v1 + "H3 a 105501 4378 26997 0 1 1\n" + kStart, nullptr, 26997},
        {"H1 CRD  1 2021 01 27 09\nH2 GRAZ 1893  7839 34 02\nH3 jason1      105501 4378    26997 0 1\n" + h4 + "2 0\n",
         nullptr, 26997},
        {v1 + "H3 lageos1     7603901 1155     8820 0 1\n" + h4 + "1 0\n", nullptr, 8820, kLightKms / 4},
        {kHead + "H4 0 2004 10 03 12 00 00 na na na na na na 0 01 0 0 00 0 2 0\n", nullptr, 8820, kLightKms / 8, 5},
        {kHead + "H4 0 2004 10 03 12 00 00 na na na na na na 0 na 1 0\n", nullptr, 8820, kLightKms / 8, 2},
        {kH12 + "H3 debris na 9001 12345 0 0 1\n" + kStart, nullptr, 12345},
        {kH12 + "H3 unknown 9912345 9001 na 0 0 1\n" + kStart,
         "ReadSlr: Laser-ranging satellite 9912345 has no known satellite number, and no header H3 gives its catalogue "
         "number."},
        {kH12 + "H3 luna17 101 na na 0 1 3\n" + kStart,
         "ReadSlr: Ranges to the Moon are not satellite observations: target 101 is Luna 17."},
        {v1 + "H3 Apollo 15       103 0101       -1 0 2\n" + kStart,
         "ReadSlr: Ranges to the Moon are not satellite observations: target 103 is Apollo 15."},
        {kH12 + "H3 GLONA 103    105501 4378    26997 0 1\n" + kStart, nullptr, 26997},
        {kH12 + "H3 unknown abc 9001 -1 0 0 1\n" + kStart, "ReadCrd: Record H3, satellite id 'abc' is not a number."},
        {kH12 + "H3 unknown 999 9001 -1 0 0 1\n" + kStart, "ReadCrd: Record H3, satellite id '999' is out of range."},
        {kH12 + kStart, "ReadCrd: No header H3 stands before the session."},
        {"H1 CRD 2 2021\nH2 GRZL na 34\n" + kStart, "ReadCrd: Record H2, station number 'na' is missing."},
        {kHead + h4 + "3 0\n", "ReadCrd: Record H4, the range type says that the session holds no ranges."},
        {kHead + h4 + "9 0\n", "ReadCrd: Record H4, range type '9' is out of range."},
        {kHead + "H4 1 2004 13 03 12 00 00\n", "ReadCrd: Record H4, start month '13' is out of range."},
        {kHead + "H4 1 2003 02 29 12 00 00\n", "ReadCrd: Record H4, the start is not a date of the calendar."},
        {kHead + "H4 1 2004 10 03 na na na\n", "ReadCrd: Record H4, start hour 'na' is missing."},
        {kHead, noH4.c_str()},
        {kHead + kStart + "H8\n", noH4.c_str()},
        {kHead + kStart + "H9\n" + kStart, "ReadCrd: No header H2 stands before the session."},
    };
    for (const Session& c : cases) {
        expectSession("00comment\n" + c.head + "10 43200.5 0.25 std 1 2 0 0\n" + kEnd, c.reason,
                      {6, c.satNum, 161, 20000, 43200.5, c.rangeKm}, 0, c.indicator2);
    }
}

// A record belongs to the day that lies within half a day of the start, the records beside the ranges, too; headers
// of an earlier session hold until they are written anew.
TEST_F(Crd, midnightAndHeadersCarriedOver) {
    EXPECT_EQ(loadSlr(kHead + "H4 0 2004 10 03 23 50 00 2004 10 04 00 10 00 0 0 0 0 1 0 2 0\n" +
                      "30 0.25 11 21\n10 86399.9 0.4 std 2\n10 0.25 0.5 std 2\n10 86400.5 0.25 std 2\nH8\n" + kH12 +
                      "H4 0 2004 10 04 00 05 00 2004 10 04 00 10 00 0 0 0 0 1 0 2 0\n" +
                      "30 86399.75 12 22\n10 86399.75 0.5 std 1\n10 300 0.5 std 1\n" + kEnd),
              0);
    expectCounts(5, 0, 0);
    expectRange(stored(0), {6, 8820, 161, 20001, 0.1, kLightKms * 0.2});
    expectRange(stored(1), {2, 8820, 161, 20001, 0.5, kLightKms * 0.25, 11, 21});
    expectRange(stored(2), {6, 8820, 161, 20001, 0.625, kLightKms * 0.125});
    expectRange(stored(3), {2, 8820, 161, 20000, 86399.75, kLightKms * 0.25, 12, 22});
    expectRange(stored(4), {6, 8820, 161, 20001, 300, kLightKms * 0.25});
    EXPECT_EQ(log_.informations[0],
              "ReadCrd: The session with data from line 13 on has no header H3; the satellite of "
              "the session before is kept.");
}

// Conditions between two records 20, the elevation between two records 30, the wavelength by the configuration's id,
// and what record 12 gives for a range of its time.
TEST_F(Crd, whatCorrectionsAreGiven) {
    FamilyAddSensor(161, "Graz", 47.0, 15.5, 540);
    const std::string session =
        kHead + kStart + "C0 0 1064.0 ir\n20 43300 910 290 30 0\n20 43200 900 280 na 0\n" +
        "20 43240 0 280 40\n20 43245 900 12 40\n30 43248 0 30\n30 43252 0 34\n10 43250 0.25 std 1\n" +
        "10 43290 0.25 ir 1\n12 43290 ir 5000 1.5\n10 43295 0.25 ir 1\nH8\n" + kStart.substr(0, kStart.find('\n') + 1) +
        "C0 0 na ir\n20 43250 905 285 30 0\n30 43250 0 32\n" + "10 43250.0005 0.25 std 1\n10 43250.0007 0.25 ir 1\n" +
        kEnd;
    setSlrCorrections({SlrTroposphere::mendesPavlis, true});
    const std::string applied = kHead + "H4 0 2004 10 04 12 00 00 na na na na na na 0 1 0 0 1 0 2 0\n10 9 0.2 std 2\n";
    write("applied.crd", applied + kEnd);
    EXPECT_EQ(load("SLROBS applied.crd\nSLROBS\n" + session), 0);
    std::int64_t counts[2][3];
    for (const int which : {OBS_SLR_TROPOSPHERE, OBS_SLR_CENTRE_OF_MASS}) {
        std::int64_t* const of = counts[which - 1];
        EXPECT_EQ(ObsGetSlrCorrectionCounts(which, &of[0], &of[1], &of[2]), 0);
    }
    EXPECT_EQ(std::vector(counts[0], counts[0] + 6), (std::vector<std::int64_t>{3, 1, 2, 6, 0, 0}));
    obsemptytree();
    log_.informations.clear();
    EXPECT_EQ(loadSlr(session), 0);
    setSlrCorrections({});
    const AtmCondRec halfway{0, 905, 285, 30};
    const double none = std::nan("");
    const SlrRangeContext context{&halfway, 0.532, 32, 161, 8820, 7603901, none, none, 0};
    const double expectedM = slrCorrection(context, {SlrTroposphere::mendesPavlis, true}).metres;
    EXPECT_LT(expectedM, -3);
    EXPECT_NEAR(stored(0).range - kLightKms / 8, expectedM / 1000, 2e-9);
    EXPECT_NEAR(stored(1).range - kLightKms / 8, -5000e-12 * kLightKms + 1.5e-3, kMicrometreKm);
    EXPECT_EQ(std::pair(stored(1).indicator2, stored(2).indicator2), std::pair(3, 2));
    EXPECT_NEAR(stored(3).range, stored(0).range, 2e-9) << "a configuration of the session before";
    EXPECT_EQ(stored(4).indicator2, 2) << "a configuration written anew";
    EXPECT_EQ(log_.informations[0], "ReadCrd: Line 9 is left out: Record 20, pressure '0' is out of range.");
    EXPECT_EQ(log_.informations[2],
              "ReadSlr: Not corrected of 3 ranges from line 13 on: 1 for the troposphere (no elevation, weather, "
              "wavelength or station position, or beyond the model).");
}

// However a file is cut, each line of a range is accounted for and no range is a wrong one.
TEST_F(Crd, cutAnywhere) {
    const std::string npt = contentOf(OBS_EXAMPLES "/laser_ranging/crd1_lageos1.npt");
    const std::string whole =
        npt.substr(0, npt.find("11 83405")) + kHead + kStart + "10 43200.5 0.25 std 2 2 0 0\n30 43200.5 1 22";
    const Found all(whole);
    ASSERT_EQ(all.ranges.size(), 3u);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Found found(whole.substr(0, length));
        const std::size_t count = found.ranges.size();
        ASSERT_EQ(static_cast<std::int64_t>(count) + found.refused, rangeLines(whole.substr(0, length))) << length;
        ASSERT_LE(found.refused, 1) << length;
        ASSERT_TRUE(std::equal(found.ranges.begin(), found.ranges.end(), all.ranges.begin())) << length;
    }
    loadSlr(whole);
    expectCounts(3, 0, 0);
    EXPECT_EQ(log_.informations[0], "ReadCrd: Line 24 is left out: It has no end, and may be cut.");
    EXPECT_EQ(log_.informations[1], "ReadCrd: The laser-ranging data end without a record H9; they may be cut short.");
}

// Prediction files have the same kinds of line; a file of ranges may follow in the same one.
TEST_F(Crd, predictions) {
    const std::string prediction =
        "h1 cpf  2  SGF 2024  1 28  6  1 029 01 lares2\nH2  2206901 5805   53105 2024 01 28\nH9\n"
        "10 0 60337 0.000000 0 1 2 3\n20 0 1 2 3\n99\n";
    EXPECT_EQ(loadSlr(prediction), 2);
    expectCounts(0, 0, 1);
    EXPECT_EQ(log_.errors, std::vector<std::string>{"ReadSlr: A prediction file (H1 CPF) holds no laser ranges."});
    const std::string headers = kHead.substr(kHead.find('\n') + 1), range = "10 43200.5 0.25 std 2\n";
    EXPECT_EQ(loadSlr(prediction + kHead + kStart + range + kEnd), 0);
    expectCounts(1, 0, 1);
    obsemptytree();
    EXPECT_EQ(load("SLROBS\n" + prediction + "SLROBS\n" + headers + kStart + range), 0);
    EXPECT_EQ(ObsGetCount(), 1);
}

TEST_F(Crd, linesOfOtherKindsAndNoise) {
    EXPECT_EQ(
        loadSlr("* remark\n\nnonsense\n" + kHead + kStart + "10 43201 0.25 std 2 1\n13 43202 0.25 std 2\n" +
                "99999\n7603901890797105070253210009594200003300407300100650541\n" +
                "2143607865450520359980000000066101352905055010800000049\n00 comment\n10 43203 0.25 std 2\n" + kEnd),
        2);
    expectCounts(2, 0, 1);
    EXPECT_EQ(lastReason(), "ReadSlrBlock: Bad data line/10 43203 0.25 std 2");
    EXPECT_EQ(log_.informations[0],
              "ReadCrd: 1 of 1 ranges from line 9 on are flagged as noise; they are taken, with first indicator 1.");
    EXPECT_EQ(log_.informations[log_.informations.size() - 2],
              "ReadSlr: 2 line(s) are not laser-ranging records and were left out, the first is line 3 (nonsense).");
}

// Sessions and blocks inside an observation file, files named there, and what is left to the second pass.
TEST_F(Crd, sectionsOfObservationFiles) {
    const auto range = [](int second) { return "10 " + std::to_string(43200 + second) + " 0.25 std 2 2 0 0\n"; };
    const std::string block =
        "99999\n7603901890797105070253210009594200003300407300100650541\n"
        "2143607865450520359980000000066101352905055010800000049\n";
    const std::string rf =
        "2024:01:15::12:34:56.123456   1.0 1.0 1.0 1.0 CCH_ESP 0.1 CDE_ESP 0.1 25544 1000000 "
        "2024:01:15::12:35:00 10.0 A B C\n";
    EXPECT_EQ(load(block + block), 0) << "a block needs no section";
    expectCounts(1, 1, 0);
    obsemptytree();
    told_.clear();
    write("named.crd", kHead + kStart + range(1) + "10 x\n" + kEnd);
    write("inner.txt", "SLROBS named.crd\nSLROBS\n" + kHead + kStart + range(2) + rf);
    const std::string deck = "H1 CRD 2\n" + block + "SLROBS\n" + kHead + "TTY_YEAR 2021\n" + kStart + range(3) + rf +
                             range(1) + "SLROBS = named.crd\n" + range(4) + block + "30 1 1 1\n" + kHead + kStart +
                             range(5) + "H9\n" + kHead + kStart + range(6) + "OBSFIL inner.txt\nSLROBS missing.crd\n";
    EXPECT_EQ(ReadObsFrFile(write("deck.txt", deck), 3), 2)
        << "the last observation line is an H1 that nothing introduces";
    // First pass: of the section 3 and 1; 1 again and a bad one of the named file; 4 and 5; a bad H1 and the RF line
    // of the include file. Second pass: a bad H1, the block, the RF line (such lines are never the same), the block
    // again, a bad H1.
    expectCounts(7, 2, 4);
    EXPECT_EQ(ObsGetCountGID(3), 7);
    EXPECT_EQ(ttyYear(), 2021);
    std::string files;
    for (const Told& told : told_)
        if (told.kind != kLinePassedOver) files += told.file.substr(0, 1) + std::to_string(told.line) + " ";
    EXPECT_EQ(files, "n6 n7 i3 d35 d1 d19 d28 ");
}

// Ranges that share their tenth of a second with thousands of others.
TEST_F(Crd, kilohertzRangesAllStay) {
    std::string text = kHead + kStart;
    constexpr int kRanges = 20000;
    for (int i = 0; i < kRanges; ++i)
        text += "10 43200." + std::to_string(1000000 + 50 * i).substr(1) + " 0.05" +
                std::to_string(1000000 + i).substr(1) + " std 2 2 0 0\n";
    for (const std::int32_t addressKeys : {0, 1}) {
        obsemptytree();
        obskeymodeset(addressKeys);
        EXPECT_EQ(loadSlr(text + "10 x\n" + kEnd), 2);
        expectCounts(kRanges, 0, 1);
        ASSERT_EQ(told_.size(), 1u);
        EXPECT_EQ(told_[0].line, 6 + kRanges);
    }
}

}  // namespace obs::test
