// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Slr.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "Obs/ObsCardReading/LaserRanging/Crd.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsTree/Keys.h"
#include "ObsDllExports.h"
#include "siblings/include/ObsFamily.h"
#include "tests/CaseFile.h"
#include "tests/Files.h"
#include "tests/QuietSink.h"
#include "tests/TestLog.h"

namespace obs::test {

namespace {

constexpr std::int32_t kLageos = 8820;
constexpr double kStart = 25567 + 86062.5 / 86400;  // 2019 December 31, 337.5 s before midnight, an exact number

/// A range in seconds after the start.
void add(double seconds, std::int32_t satNum = kLageos, std::int32_t senNum = 18, std::int32_t type = 6,
         double rangeKm = 7800, std::int32_t gid = 0, std::int32_t indicator2 = 0) {
    ObsRecord rec;
    rec.satNum = satNum;
    rec.senNum = senNum;
    rec.obsType = type;
    rec.obsTime = kStart + seconds / 86400;
    rec.range = rangeKm;
    rec.azOrRa = 123.4567;
    rec.elOrDec = 45.6789;
    rec.indicator2 = indicator2;
    ASSERT_GT(AddObOnly(rec, gid), 0);
}

class SlrWriter : public testing::Test {
protected:
    void SetUp() override {
        obskeymodeset(0);
        obsemptytree();
    }
    void TearDown() override {
        FamilyRemoveSensors();
        obsemptytree();
    }

    std::vector<std::string> saved(std::int32_t saveMode = 0, std::int32_t dataType = 0) {
        EXPECT_EQ(ObsSaveSlrFile(file_.c_str(), saveMode, dataType), 0);
        return linesOfFile();
    }
    /// The moment of production, which changes, is cut off.
    std::vector<std::string> linesOfFile() const {
        std::vector<std::string> lines = split(contentOf(file_), '\n');
        for (std::string& line : lines)
            if (line.starts_with("H1")) line.resize(8);
        return lines;
    }
    static std::ptrdiff_t count(const std::vector<std::string>& lines, std::string_view start) {
        return std::count_if(lines.begin(), lines.end(), [&](const auto& line) { return line.starts_with(start); });
    }

    const TempFolder folder_;
    const std::string file_ = folder_ / "ranges.crd";
};

}  // namespace

TEST_F(SlrWriter, wholeFile) {
    ASSERT_EQ(FamilyAddSensor(18, "7090 Yarragadee MOBLAS-5", -29, 115, 241), 0);
    add(0, kLageos, 18, 2);
    add(675);
    add(168.75, 38077, 60, 6, 7800, 0, 5);
    const std::string fullRate = " 0.052035998851 std 1 2 na na na na";
    EXPECT_EQ(saved(),
              (std::vector<std::string>{
                  "H1 CRD 2", "H2 na 1884 na na 7 na", "H3 na na na 38077 0 1 1",
                  "H4 0 2019 12 31 23 57 11 2019 12 31 23 57 12 0 1 0 0 0 0 2 2", "C0 0 na std",
                  "10 86231.2500000" + fullRate, "H8", "H1 CRD 2", "H2 7090_Yarragadee_MOBLAS-5 7090 na na 7 na",
                  "H3 na 7603901 na 8820 0 1 1", "H4 0 2019 12 31 23 54 22 2020 1 1 0 5 38 0 0 0 0 1 0 2 2",
                  "C0 0 na std", "10 86062.5000000" + fullRate, "30 86062.5000000 123.456700 45.678900 0 3 na na na",
                  "10 337.5000000" + fullRate, "H8", "H9"}));
    EXPECT_EQ(count(saved(0, 1), "11 337.5000000 0.052035998851 std 1 na na na na na na na na na"), 1);
    EXPECT_EQ(count(linesOfFile(), "H4 1 "), 2);
    EXPECT_EQ(ObsSetSlrCorrections(3, 0), 2);
}

// A gap of more than half an hour, eight hours, another satellite and another station each begin a session, and so do
// other corrections and ranges with angles that are near to ranges without.
TEST_F(SlrWriter, sessionsAndWhatIsLeftOut) {
    for (const double seconds : {0.0, 1799.0, 3600.0}) add(seconds);
    add(1, 22195);
    add(2, kLageos, 60);
    EXPECT_EQ(count(saved(), "H8"), 4);
    constexpr double kEightHoursOn = 3600 + 8 * 3600;
    for (double seconds = 3600 + 1700; seconds < kEightHoursOn; seconds += 1700) add(seconds);
    add(kEightHoursOn - 1);
    EXPECT_EQ(count(saved(), "H8"), 4);
    add(kEightHoursOn + 1);
    EXPECT_EQ(count(saved(), "H8"), 5);

    add(4, kLageos, 18, 2);
    EXPECT_EQ(count(saved(), "H8"), 5);
    add(4.001);
    add(5, kLageos, 18, 6, 7800, 0, 2);
    add(6, kLageos, 18, 6, 7800, 0, 9);  // not given
    EXPECT_EQ(count(saved(), "H8"), 7);
    EXPECT_EQ(count(linesOfFile(), "H2 na 7090 na na 7 na"), 6);

    ASSERT_EQ(FamilyAddSensor(7999, "", 0, 0, 0), 0);
    obsemptytree();
    add(0, kLageos, 7999);
    add(1, kLageos, 7998);   // no pad number
    add(2, kLageos, 80);     // nor this
    add(3, kLageos, 18, 3);  // a type that CRD has not
    add(4, kLageos, 18, 6, 0);
    add(5, kLageos, 18, 6, 1e300);
    const TestLog log;
    EXPECT_EQ(count(saved(), "H2 na 7999 "), 1);
    EXPECT_EQ(log.informations, std::vector<std::string>{"ObsSaveSlrFile: 1 observations written, 5 left out"});
}

// Times of the last sixty years come back bit for bit, ranges within half a picosecond of flight there and back,
// angles within half a unit of the sixth decimal; ranges half a millisecond apart take no angles from each other.
TEST_F(SlrWriter, readsBackWithinItsLimits) {
    struct Checker final : QuietSink {
        std::map<double, ObsRecord> written;
        void observation(ObsRecord& back, std::string_view, LinePlace) override {
            constexpr double kHalfPicosecondKm = 299792.458e-12 / 4, kHalfAngleUnit = 0.5e-6, kRounding = 1.01;
            const ObsRecord out = written.at(back.obsTime);
            written.erase(back.obsTime);
            EXPECT_EQ(std::tuple(back.satNum, back.senNum, back.obsType, back.indicator1, back.indicator2),
                      std::tuple(out.satNum, out.senNum, out.obsType, out.indicator1, out.indicator2));
            EXPECT_NEAR(back.range, out.range, kRounding * kHalfPicosecondKm);
            EXPECT_NEAR(back.azOrRa, out.azOrRa, kRounding * kHalfAngleUnit);
            EXPECT_NEAR(back.elOrDec, out.elOrDec, kRounding * kHalfAngleUnit);
        }
        void refuse(const Refusal& why, std::string_view, LinePlace) override { ADD_FAILURE() << why.message(); }
    } checker;
    std::mt19937_64 random(7090);
    std::uniform_real_distribution<double> anyTime(5479, 38000), anyRange(300, 400000), share(0, 1);
    ObsRecord rec;
    rec.senNum = 50;
    for (int i = 0; i < 500; ++i) {
        rec.obsTime = i % 10 == 0  ? anyTime(random)
                      : i % 2 == 0 ? rec.obsTime + share(random) / 200
                                   : rec.obsTime + 0.5e-3 / 86400;
        rec.satNum = 1 + i / 10;
        rec.obsType = i % 3 == 0 ? 2 : 6;
        rec.indicator1 = i % 7 == 0;
        rec.indicator2 = i / 10 % 8;
        rec.range = anyRange(random);
        rec.azOrRa = rec.obsType == 2 ? 359 * share(random) : 0;
        rec.elOrDec = rec.obsType == 2 ? 180 * share(random) - 90 : 0;
        checker.written[rec.obsTime] = rec;
        ASSERT_GT(AddObOnly(rec), 0);
    }
    CrdReader reader;
    const ReadSettings settings;
    reader.attach(settings, checker);
    for (const std::string& line : saved()) EXPECT_NE(reader.take(line, {}), CrdReader::Took::no) << line;
    EXPECT_TRUE(checker.written.empty());
}

TEST_F(SlrWriter, saveModesGroupsAndRefusals) {
    add(0);
    const std::size_t one = saved().size();
    EXPECT_EQ(saved(1).size(), 2 * one - 1);  // one end mark for both
    EXPECT_EQ(saved(1).back(), "H9");
    EXPECT_EQ(count(saved(1), "H9"), 1);
    std::ofstream(file_) << "H1 CRD 2 2020 1 1 0\nh9 end\r\n" << std::string(300000, '\n');
    EXPECT_EQ(saved(1).size(), one + 1);
    add(1, 22195, 18, 6, 7800, 5);
    ASSERT_EQ(ObsSaveSlrFileGID(file_.c_str(), 5, 0, 0), 0);
    EXPECT_EQ(count(linesOfFile(), "H3 na 9207002 na 22195"), 1);
    EXPECT_EQ(count(linesOfFile(), "H3"), 1);
    EXPECT_EQ(ObsSaveSlrFile(file_.c_str(), 0, 2), 2);
    EXPECT_NE(ObsSaveSlrFile("/nowhere/at/all.crd", 0, 0), 0);
    {
        const TestLog log;
        EXPECT_EQ(ObsSaveSlrFile("/dev/full", 1, 0), 0);
        EXPECT_EQ(std::pair(log.errors.size(), log.informations.size()), std::pair(std::size_t{1}, std::size_t{0}));
    }
    std::filesystem::remove(file_);
    obsemptytree();
    EXPECT_EQ(ObsSaveSlrFileGID(file_.c_str(), 5, 0, 0), 0);
    EXPECT_FALSE(std::filesystem::exists(file_));
    EXPECT_EQ(saved(), std::vector<std::string>{"H9"});
}

}  // namespace obs::test
