// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Rf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

#include "Obs/ObsCardReading/Cards/Rf.h"
#include "siblings/include/ObsFamily.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

using rf::Item;

ObsRecord plainRecord() {
    ObsRecord rec;
    rec.obsType = 13;
    rec.satNum = 42;
    rec.senNum = 1002;
    rec.obsTime = parserftime("2024:01:15::12:34:56.123456");
    rec.range = 1.5;
    rec.rangeRate = -2.5;
    rec.rfData.create() = {1001, 0.1, 7.9, 1.5, 0.25, 123456, 12.25, {'A', 'B', 'C'}, rec.obsTime + 1};
    return rec;
}

std::string written(const ObsRecord& rec) {
    std::string line(rf::kLineColumns, '?');
    CardLines lines{{line.data(), nullptr}, {}};
    EXPECT_FALSE(CreateRFObs(rec, lines));
    EXPECT_EQ(lines.length[0], rf::kLineColumns);
    return line;
}

std::string column(const ObsRecord& rec, Item item) {
    const Columns columns = rf::columnsOf(item);
    return written(rec).substr(columns.offset(), columns.width());
}

}  // namespace

TEST(RfWriter, wholeLineAndRefusals) {
    EXPECT_EQ(written(plainRecord()),
              "2024:01:15::12:34:56.123456    1.5000000000E+03 1.500000000000E+00  "
              "-2.5000000000E+03 2.500000000000E-01 "
              "CDE_ESP 0.1 CDE_ESP   7 00042      123456 2024:01:16::12:34:56.123456      12.25 A B C");
    ObsRecord noPart = plainRecord(), noSensor = plainRecord();
    noPart.rfData.release();
    noSensor.senNum = 999;
    for (const ObsRecord& rec : {noPart, noSensor}) {
        std::string line(rf::kLineColumns, '?');
        CardLines lines{{line.data(), nullptr}, {1, 1}};
        const MaybeRefusal refusal = CreateRFObs(rec, lines);
        ASSERT_TRUE(refusal);
        if (!rec.rfData) { EXPECT_EQ(refusal->message(), "CreateRFObs: RF obs type not allocated"); }
        EXPECT_TRUE(rec.rfData ? refusal->status != 0 : refusal->status == 2) << refusal->status;
        EXPECT_EQ(line, std::string(rf::kLineColumns, ' '));
        EXPECT_EQ(lines.length[0], 0u);
    }
}

TEST(RfWriter, numbersInTheirColumns) {
    ObsRecord rec = plainRecord();
    const std::tuple<const char*, Item, const char*> cases[] = {
        // clang-format off
        {"delay1", Item::delay1, "9.94=9.9 9.96=*** 0.25=0.3 -0.25=-.3 -0.04=0.0 -1=***"},
        {"delay2", Item::delay2, "-0.9=~~0 999.9=999 1000=*** -99.9=-99 -100=*** nan=***"},
        {"snr", Item::snr, "0.125=~0.13 99.99=99.99 99.996=***** -9.99=-9.99 1e12=*****"},
        // halves away from zero, on the exact value; decades; what only just fits
        {"rangeSigmaM", Item::rangeSigmaM, "0x1p-20=~9.536743164063E-07 9.9999999999996=~1.000000000000E+01 "
            "-0.0=~0.000000000000E+00 1e100=1.000000000000E+100 -1e100=******************* inf=*******************"},
        {"processTime", Item::processTime, "1e9=****************************"},
        // clang-format on
    };
    for (const auto& [field, item, texts] : cases)
        for (const auto& [value, text] : valuesIn(texts)) {
            realIn(rec, field) = value;
            EXPECT_EQ(column(rec, item), text) << value;
        }
    for (const auto& [value, text] : valuesIn("-1234567890=-1234567890 123456789012=***********")) {
        rec.rfData->rf = static_cast<std::int64_t>(value);
        EXPECT_EQ(column(rec, Item::rf), text);
    }
    rec.satNum = 100000;
    EXPECT_EQ(column(rec, Item::satNum), "*****");
    rec.rfData->flags = {'\n', '\x7f', ' '};
    EXPECT_EQ(written(rec).substr(185), " * *  ");
    // The C library rounds the exact value too. Only halves differ, and no random number of these sizes is one.
    std::mt19937_64 random(7);
    for (int round = 0; round < 20000; ++round) {
        const double exponent = std::uniform_real_distribution<double>(-9, 9)(random);
        const double size = std::pow(10.0, round % 3 == 0 ? exponent + 28 : exponent);
        rec.range = rec.rfData->rangeSigmaM = round % 2 == 0 ? size : -size;
        char sigma[64], range[64];
        std::snprintf(sigma, sizeof sigma, "%19.12E", rec.range);
        std::snprintf(range, sizeof range, "%17.10E", rec.range * 1000.0);
        ASSERT_EQ(column(rec, Item::rangeSigmaM), sigma);
        ASSERT_EQ(column(rec, Item::rangeM), range);
    }
}

// Fields that touch, blank flags, names with blanks, commas or numbers: what was written is read again.
TEST(RfWriter, writtenLinesComeBack) {
    std::mt19937_64 random(3);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    constexpr std::int32_t kSensors = 6, kFirst = 700;
    static constexpr const char* kNames[kSensors] = {"CDE_ESP", "A", "EIGHTLTR", "TWO WORD", "1 2 3", "A,B"};
    for (std::int32_t i = 0; i < kSensors; ++i) {
        std::string description = kNames[i];
        description.resize(kCardLength, ' ');
        ASSERT_EQ(FamilyAddSensor(kFirst + i, description.c_str(), 1, 2, 3), 0);
    }
    for (int round = 0; round < 5000; ++round) {
        ObsRecord rec = plainRecord();
        rec.senNum = kFirst + round % kSensors;
        rec.satNum = static_cast<std::int32_t>(random() % 100000);
        rec.obsTime = uniform(-10000, 60000);
        rec.range = uniform(-1e5, 1e5);
        rec.rangeRate = std::pow(10.0, uniform(-12, 1));
        const std::array flags{"AB ,"[random() % 4], "A "[random() % 2], "AB ,"[random() % 4]};
        const auto rf = static_cast<std::int64_t>(random() % 99999999999);
        *rec.rfData = {
            rec.senNum, uniform(-0.9, 9.9),   uniform(-99, 999), uniform(-9, 9), uniform(-9, 9), rf, uniform(-9, 99),
            flags,      uniform(20000, 40000)};
        const std::string line = written(rec);
        ObsRecord back;
        // a saved line ends without its trailing blanks
        const MaybeRefusal refusal = ReadRFObs(line.substr(0, line.find_last_not_of(' ') + 1), back);
        ASSERT_FALSE(refusal) << line << "\n" << refusal->message();
        if (rec.senNum == kFirst) back.senNum = kFirst;  // the built-in site has the name, too
        ASSERT_EQ(back.rfData->flags, rec.rfData->flags) << line;
        ASSERT_NEAR(back.obsTime, rec.obsTime, 1e-6 / 86400) << line;
        ASSERT_EQ(written(back), line);
    }
    FamilyRemoveSensors();
}

TEST(RfLayout, headerAndPageNameTheItems) {
    std::istringstream header{std::string(rf::kHeaderLine.substr(1))};
    std::ifstream file(OBS_TEST_DATA "/../../docs/formats/rf.md");
    const std::string page(std::istreambuf_iterator<char>(file), {});
    for (const auto& [name, columns] : rf::kItems) {
        std::string word;
        ASSERT_TRUE(header >> word);
        EXPECT_EQ(word, name);
        const std::string row =
            " | `" + word + "` | " + std::to_string(columns.first) + "-" + std::to_string(columns.last) + " |";
        EXPECT_NE(page.find(row), std::string::npos) << row;
    }
}

}  // namespace obs::test
