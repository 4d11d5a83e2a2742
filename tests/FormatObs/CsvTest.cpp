// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Csv.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "Obs/CardLayouts/Csv.h"
#include "Obs/ObsCardReading/Cards/Csv.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "siblings/include/Time.h"
#include "tests/CaseFile.h"

namespace obs::test {

namespace {

constexpr char kUnable[] = "CreateCsvObs: Error - Unable to construct CSV card.";

/// The line, or the message of a refusal.
std::string written(const ObsRecord& rec) {
    std::string line(kCardLength, '?');
    CardLines lines{{line.data(), nullptr}, {1, 1}};
    const MaybeRefusal refusal = CreateCsvObs(rec, lines);
    const std::size_t length = lines.length[0];
    EXPECT_EQ(length, refusal ? 0u : line.find_last_not_of('?') + 1);
    return refusal ? refusal->message() : line.substr(0, length);
}

std::string field(const std::string& line, int number) {
    std::istringstream fields(line);
    std::string text;
    for (; number > 0; --number) std::getline(fields, text, ',');
    return text;
}

ObsRecord recordAt(double timeDs50) {
    ObsRecord rec;
    rec.obsTime = timeDs50;
    return rec;
}

/// The time of a line with other seconds.
double timeBack(const std::string& line, double seconds) {
    return family::parts2utc(std::stoi(field(line, 4)), std::stoi(field(line, 5)), std::stoi(field(line, 6)),
                             std::stoi(field(line, 7)), seconds);
}

/// Visits every value of a record that a line carries; absent parts are created.
template <class Visit>
void eachValue(ObsRecord& rec, const Visit& visit) {
    if (!rec.csvData) rec.csvData.create();
    if (!rec.biases) rec.biases.create();
    if (!rec.rfData) rec.rfData.create();
    forEachField([&](auto one) {
        if constexpr (one.facts.csv != 0 && one.facts.meaning == Meaning::only) visit(*one.find(rec));
    });
    for (double* value : {&rec.obsTime, &rec.elOrDec, &rec.elRate, &rec.azOrRa, &rec.azRate}) visit(*value);
}

std::vector<double> valuesOf(ObsRecord rec) {
    std::vector<double> values;
    eachValue(rec, [&](auto value) { values.push_back(value); });
    return values;
}

/// Of any type, with values from zero to the ends of a double's range; so many zeros that no line is too long.
ObsRecord randomRecord(std::mt19937_64& random) {
    ObsRecord rec;
    eachValue(rec, [&](auto& value) {
        using Value = std::decay_t<decltype(value)>;
        const double some = std::uniform_real_distribution<double>(-400, 400)(random);
        if constexpr (std::is_same_v<Value, char>) {
            value = static_cast<char>(' ' + random() % 12);
        } else if constexpr (std::is_same_v<Value, double>) {
            const double any = std::bit_cast<double>(random()), whole = std::round(some);
            const double kinds[] = {std::isfinite(any) ? any : 0, some, std::nextafter(whole, some),
                                    whole * std::pow(10.0, std::round(some / 20)), std::round(some * 1e9) / 1e9};
            const auto kind = random() % 40;
            value = kind < std::size(kinds) ? kinds[kind] : kind < 15 ? std::round(some * 1e4) / 1e4 : 0;
        } else {
            value = static_cast<std::int32_t>(random());
            if (random() % 8) value %= 100000;
        }
    });
    rec.secClass = "UCS"[random() % 3];
    rec.obsTime = std::uniform_real_distribution<double>(-18261, 383506)(random);  // 1900 to 2999
    rec.obsType = static_cast<std::int32_t>(random() % 20);
    if (rec.obsType == 7) rec.obsType = 9;
    if (rec.obsType == 8 || rec.obsType == 9) rec.range = -std::fabs(rec.range);  // no range: the type stays
    rec.equinoxInd = 0;
    if (random() % 2) rec.biases.release();
    if (random() % 2) rec.rfData.release();
    return rec;
}

}  // namespace

TEST(CsvWriter, linesAndNumbers) {
    ObsRecord rec = recordAt(family::tcomps2utc(2024, 15, 3, 4, 5.25));
    rec.obsType = 5;
    rec.satNum = 25544;
    rec.senNum = 211;
    rec.elOrDec = -12.3456;
    rec.azOrRa = 359.5;
    rec.biases.create().values = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(written(rec),
              "U,25544,211,2024,15,3,4,5.25,0,0,-12.3456,0,0,0,359.5,0,0,0,0,5,0,0,0,0,0,0,0,,0:0,0,0,0,0,0,"
              "1,2,3,4,5,6,7,0:0,0,0,1,4,5,6,7,0,0,0,0,0,0,0");
    for (const auto& [value, text] : valuesIn(
             "-0.0=0 5=5 -0.5=-0.5 0.001=0.001 0.0001=1e-04 99999.5=99999.5 100000=1e+05 "
             "123456=123456 0.30000000000000004=0.30000000000000004 -5e-324=-5e-324 12345.000000001=12345.000000001 "
             "1.7976931348623157e308=1.7976931348623157e+308")) {
        rec.range = value;
        EXPECT_EQ(field(written(rec), 17), text);
    }
}

TEST(CsvWriter, refusals) {
    ObsRecord rec = recordAt(27000.5);
    rec.obsType = 7;
    EXPECT_EQ(written(rec), "CreateCsvObs: Error - CSV format doesn't support type 7 obs.");
    for (const double time : {std::nan(""), -std::numeric_limits<double>::infinity(), 1e300, 2.95e6, -7.2e5})
        EXPECT_EQ(written(recordAt(time)), kUnable);
    rec.obsType = 13;
    eachValue(rec, [&](auto& value) {
        if constexpr (!std::is_same_v<decltype(value), std::int32_t&>) {
            constexpr bool kIsText = std::is_same_v<decltype(value), char&>;
            const auto right = value;
            for (const char c : {',', '\n', '\0', '\x7f'}) {
                if constexpr (kIsText) value = c;
                else value = std::nan("");
                EXPECT_EQ(written(rec), kUnable);
            }
            value = right;
        }
    });
}

// Bit for bit over 9999 years, near midnights, and close to 1950 day 0 where times are finest.
TEST(CsvWriter, timesComeBackBitForBit) {
    std::mt19937_64 random(19);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    for (int round = 0; round < 60000; ++round) {
        double time = 0;
        switch (round % 6) {
            case 0: time = uniform(-711856, 2940000); break;
            case 1: time = uniform(-1, 1) * std::pow(10.0, uniform(-12, 0)); break;
            case 2: time = std::round(uniform(20000, 30000) * 1440) / 1440; break;
            case 3: time = std::nextafter(std::round(uniform(-30000, 30000)), uniform(-1e6, 1e6)); break;
            case 4: time = std::pow(60, uniform(0, 1)) * (random() % 2 ? 1 : -1); break;
            default: time = std::floor(uniform(2557, 39000)) + std::floor(uniform(0, 86400000)) / 1000.0 / 86400.0;
        }
        const std::string line = written(recordAt(time)), seconds = field(line, 8);
        const double back = timeBack(line, std::strtod(seconds.c_str(), nullptr));
        // No parts compose to some of the times within a day; they come back within the spacing of what does.
        if (round % 6 == 1) ASSERT_NEAR(back, time, 4e-16 * std::fabs(time)) << time;
        else ASSERT_EQ(back, time) << line;
        const std::size_t point = seconds.find('.');
        ASSERT_TRUE(round % 6 != 5 || point == std::string::npos || seconds.size() - point <= 4) << line;
        // One decimal less misses, rounded either way; but near 1950 day 0, where few texts hit a time at all.
        if (point == std::string::npos || seconds.find('e') != std::string::npos || std::fabs(time) < 4) continue;
        const double power = std::pow(10.0, static_cast<double>(seconds.size() - point) - 2);
        for (const double ticks : {std::floor(std::stod(seconds) * power), std::ceil(std::stod(seconds) * power)})
            ASSERT_NE(timeBack(line, ticks / power), time) << line;
    }
}

TEST(CsvWriter, recordsComeBack) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 40000; ++round) {
        const ObsRecord rec = randomRecord(random);
        const std::string line = written(rec);
        ASSERT_EQ(ObsCardType(line), LineClass::csv) << line;
        ObsRecord back;
        FieldNotes notes;
        const MaybeRefusal refusal = ReadCsv(line, back, &notes);
        ASSERT_FALSE(refusal) << line << refusal->message();
        ASSERT_TRUE(notes.empty()) << line << notes.front().text;
        ASSERT_EQ(valuesOf(back), valuesOf(rec)) << line;
        ASSERT_EQ(written(back), line);
    }
}

TEST(CsvWriter, longLinesLoseDigitsUntilTheyFit) {
    ObsRecord rec = recordAt(27000.123456789);
    const double value = -1.2345678901234567e-101;
    rec.csvData.create().csvReals.fill(value);
    rec.biases.create().values.fill(value);
    rec.senPos = {value, std::numeric_limits<double>::max(), 0.25};
    const std::string line = written(rec);
    ObsRecord back;
    ASSERT_FALSE(ReadCsv(line, back));
    EXPECT_EQ(back.obsTime, rec.obsTime);
    EXPECT_EQ(back.senPos[2], 0.25);
    EXPECT_NEAR(back.senPos[0], value, 1e-9 * -value);
    EXPECT_NEAR(back.senPos[1] / rec.senPos[1], 1, 1e-9);
    constexpr std::size_t kLongNumbers = 22;
    EXPECT_LE(line.size(), kCardLength);
    EXPECT_GT(line.size() + kLongNumbers, kCardLength) << line;  // one more digit in each would not fit
    eachValue(rec, [&](auto& one) {
        if constexpr (std::is_same_v<decltype(one), double&>) one = &one == &rec.obsTime ? one : value;
    });
    EXPECT_EQ(written(rec), kUnable);  // nine digits everywhere are too many
}

// A card with a "V" in column 75 is a position card, whatever commas it holds.
TEST(CsvWriter, aLetterInTheTypeColumnLeavesItACsvLine) {
    for (int satNum = 1; satNum < 1000000000; satNum *= 10) {
        ObsRecord rec = recordAt(27000.123456);
        rec.csvData.create().csvChar = 'v';
        rec.satNum = satNum;
        rec.altSatNum2 = -20;
        const std::string line = written(rec);
        EXPECT_EQ(ObsCardType(line), LineClass::csv) << line;
        ObsRecord back;
        ASSERT_FALSE(ReadCsv(line, back));
        EXPECT_EQ(valuesOf(back), valuesOf(rec)) << line;
    }
}

}  // namespace obs::test
