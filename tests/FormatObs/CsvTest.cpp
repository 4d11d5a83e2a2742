#include "Obs/FormatObs/Csv.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "Obs/ObsCardReading/Classify.h"
#include "Obs/ObsCardReading/Csv.h"
#include "siblings/include/Services.h"
#include "siblings/include/Time.h"

namespace obs::test {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::string written(const ObsRecord& rec) {
    std::string line(kCardLength, '?');
    std::size_t length = 0;
    const MaybeRefusal refusal = CreateCsvObs(rec, line.data(), length);
    EXPECT_FALSE(refusal) << refusal->message();
    EXPECT_EQ(line.find_last_not_of('?') + 1, length);
    line.resize(length);
    return line;
}

std::string refusalOf(const ObsRecord& rec) {
    std::string line(kCardLength, '?');
    std::size_t length = 1;
    const MaybeRefusal refusal = CreateCsvObs(rec, line.data(), length);
    EXPECT_EQ(length, refusal ? 0u : line.find('?'));
    return refusal ? refusal->message() : "";
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

double timeBack(const std::string& line) {
    return family::tcomps2utc(std::stoi(field(line, 4)), std::stoi(field(line, 5)), std::stoi(field(line, 6)),
                              std::stoi(field(line, 7)), std::strtod(field(line, 8).c_str(), nullptr));
}

/// Everything that a line carries. Zeros are equal whatever their sign.
bool sameOnLine(const ObsRecord& a, const ObsRecord& b) {
    const CsvObsData none, &x = a.csvData ? *a.csvData : none, &y = b.csvData ? *b.csvData : none;
    const ObsBiases noBiases;
    const RfObsData noRf, &p = a.rfData ? *a.rfData : noRf, &q = b.rfData ? *b.rfData : noRf;
    return a.secClass == b.secClass && a.equinoxInd == b.equinoxInd && a.satNum == b.satNum && a.senNum == b.senNum &&
           a.obsType == b.obsType && a.indicator1 == b.indicator1 && a.indicator2 == b.indicator2 &&
           a.altSatNum1 == b.altSatNum1 && a.altSatNum2 == b.altSatNum2 && a.obsTime == b.obsTime &&
           a.elOrDec == b.elOrDec && a.azOrRa == b.azOrRa && a.range == b.range && a.rangeRate == b.rangeRate &&
           a.elRate == b.elRate && a.azRate == b.azRate && a.rangeAccel == b.rangeAccel && a.senPos == b.senPos &&
           x.csvChar == y.csvChar && x.csvInt1 == y.csvInt1 && x.csvInt2 == y.csvInt2 && x.csvReals == y.csvReals &&
           x.unindexedReal == y.unindexedReal && x.csvReal10 == y.csvReal10 && x.lastReals == y.lastReals &&
           (a.biases ? *a.biases : noBiases).values == (b.biases ? *b.biases : noBiases).values &&
           p.rangeSigmaM == q.rangeSigmaM && p.rangeRateSigmaMs == q.rangeRateSigmaMs;
}

/// Records of all types, with values from zero to the ends of a double's range.
class RandomRecords {
public:
    ObsRecord next() {
        ObsRecord rec;
        rec.secClass = "UCS"[random_() % 3];
        rec.obsType = static_cast<std::int32_t>(random_() % 22) - 1;
        if (rec.obsType == 7) rec.obsType = 4;
        for (std::int32_t* value : {&rec.satNum, &rec.senNum, &rec.indicator1, &rec.indicator2, &rec.altSatNum1, &rec.altSatNum2})
            *value = integer();
        rec.obsTime = std::uniform_real_distribution<double>(-7e5, 2.9e6)(random_);
        for (double* value : {&rec.elOrDec, &rec.azOrRa, &rec.range, &rec.rangeRate, &rec.elRate, &rec.azRate, &rec.rangeAccel})
            *value = real();
        for (double& value : rec.senPos) value = real();
        if (rec.obsType == 8 || rec.obsType == 9) rec.range = -std::fabs(rec.range);
        if (random_() % 2) {
            CsvObsData& data = rec.csvData.create();
            data = {static_cast<char>(' ' + random_() % 12), integer(), integer(), {}, real(), real(), {real(), real(), real()}};
            for (double& value : data.csvReals) value = real();
        }
        if (random_() % 2)
            for (double& value : rec.biases.create().values) value = real();
        if (random_() % 4 == 0) {
            rec.rfData.create().rangeSigmaM = real();
            rec.rfData->rangeRateSigmaMs = real();
        }
        return rec;
    }

private:
    std::int32_t integer() {
        const auto any = static_cast<std::int32_t>(random_());
        return random_() % 8 ? any % 100000 : any;
    }

    double real() {
        const double some = std::uniform_real_distribution<double>(-400, 400)(random_);
        switch (random_() % 16) {
            case 0: {
                const double any = std::bit_cast<double>(random_());
                return std::isfinite(any) ? any : 0;
            }
            case 1: return some;
            case 2: return std::nextafter(std::round(some), some);
            case 3: return std::round(some) * std::pow(10.0, std::round(some / 20));
            case 4: case 5: case 6: return std::round(some * 1e4) / 1e4;
            case 7: case 8: return std::round(some * 1e9) / 1e9;
            default: return 0;
        }
    }

    std::mt19937_64 random_{7};
};

}  // namespace

TEST(CsvWriter, lineOfAPlainRecord) {
    ObsRecord rec = recordAt(family::tcomps2utc(2024, 15, 3, 4, 5.25));
    rec.obsType = 5;
    rec.satNum = 25544;
    rec.senNum = 211;
    rec.elOrDec = -12.3456;
    rec.azOrRa = 359.5;
    rec.biases.create().values = {1, 2, 3, 4, 5, 6, 7};
    EXPECT_EQ(written(rec),
              "U,25544,211,2024,15,3,4,5.25,0,0,-12.3456,0,0,0,359.5,0,0,0,0,5,0,0,0,0,0,0,0, ,0:0,0,0,0,0,0,"
              "1,2,3,4,5,6,7,0:0,0,0,1,4,5,6,7,0,0,0,0,0,0,0");
    rec.csvData.create().csvChar = 'T';
    EXPECT_EQ(family::compresscsvline(written(rec)), written(rec));
}

TEST(CsvWriter, numbersAreShortest) {
    const std::pair<double, const char*> cases[] = {
        {0, "0"}, {-0.0, "0"}, {5, "5"}, {-0.5, "-0.5"}, {0.1, "0.1"}, {0.001, "0.001"}, {0.0001, "1e-04"}, {99999.5, "99999.5"},
        {100000, "1e+05"}, {123456, "123456"}, {0.1 + 0.2, "0.30000000000000004"}, {1.0 / 3, "0.3333333333333333"},
        {-5e-324, "-5e-324"}, {1.7976931348623157e308, "1.7976931348623157e+308"}, {0.00100001, "0.00100001"},
        {99999.99999, "99999.99999"}, {0.0123456789, "0.0123456789"}, {12345.000000001, "12345.000000001"},
    };
    for (const auto& [value, text] : cases) {
        ObsRecord rec = recordAt(27000.5);
        rec.range = value;
        EXPECT_EQ(field(written(rec), 17), text);
    }
}

TEST(CsvWriter, refusals) {
    const char* const kUnable = "CreateCsvObs: Error - Unable to construct CSV card.";
    ObsRecord rec = recordAt(27000.5);
    EXPECT_EQ(refusalOf(rec), "");
    rec.obsType = 7;
    EXPECT_EQ(refusalOf(rec), "CreateCsvObs: Error - CSV format doesn't support type 7 obs.");
    for (const double time : {std::nan(""), kInfinity, -kInfinity, 1e300, 2.95e6, -7.2e5}) EXPECT_EQ(refusalOf(recordAt(time)), kUnable);
    for (const char c : {',', '\n', '\0', '\x7f', '\t'}) {
        ObsRecord changed = recordAt(27000.5);
        changed.secClass = c;
        EXPECT_EQ(refusalOf(changed), kUnable);
        changed.secClass = 'U';
        changed.csvData.create().csvChar = c;
        EXPECT_EQ(refusalOf(changed), kUnable);
    }
    for (double ObsRecord::*value : {&ObsRecord::elOrDec, &ObsRecord::azRate, &ObsRecord::range}) {
        ObsRecord changed = recordAt(27000.5);
        changed.*value = std::nan("");
        EXPECT_EQ(refusalOf(changed), kUnable);
        changed.*value = -kInfinity;
        EXPECT_EQ(refusalOf(changed), kUnable);
    }
    ObsRecord changed = recordAt(27000.5);
    changed.biases.create().values[6] = kInfinity;
    EXPECT_EQ(refusalOf(changed), kUnable);
}

TEST(CsvWriter, secondsAreTheShortestThatGiveTheTime) {
    const std::tuple<double, const char*, const char*> cases[] = {
        {27029, "2024,1", "0,0,0"}, {std::nextafter(27029, 0), "2023,365", "23,59,59.9999997"}, {0.25, "1949,365", "6,0,0"},
        {-1.5, "1949,363", "12,0,0"}, {family::tcomps2utc(1, 1, 0, 0, 0), "1,1", "0,0,0"},
        {family::tcomps2utc(9999, 365, 23, 59, 59.5), "9999,365", "23,59,59.5"}, {27029 + 1e-9, "2024,1", "0,0,0.0000865"},
    };
    for (const auto& [time, date, clock] : cases) {
        const std::string line = written(recordAt(time));
        EXPECT_EQ(line.substr(6, line.find(",0,0,0,0") - 6).substr(0, std::string(date).size()), date);
        EXPECT_EQ(timeBack(line), time) << line;
        EXPECT_EQ(field(line, 6) + "," + field(line, 7) + "," + field(line, 8), clock);
    }
}

// Bit for bit over 9999 years, near midnights, and close to 1950 day 0 where times grow finer than a second's text.
TEST(CsvWriter, timesComeBackBitForBit) {
    std::mt19937_64 random(19);
    const auto uniform = [&](double low, double high) { return std::uniform_real_distribution<double>(low, high)(random); };
    for (int round = 0; round < 60000; ++round) {
        double time = 0;
        switch (round % 6) {
            case 0: time = uniform(-711857, 2940000); break;
            case 1: time = uniform(20000, 30000); break;
            case 2: time = std::round(uniform(20000, 30000) * 1440) / 1440; break;
            case 3: time = std::nextafter(std::round(uniform(-30000, 30000)), uniform(-1e6, 1e6)); break;
            case 4: time = uniform(1, 3) * (random() % 2 ? 1 : -1); break;
            default: time = std::floor(uniform(2557, 39000)) + std::floor(uniform(0, 86400000)) / 1000.0 / 86400.0;
        }
        const std::string line = written(recordAt(time));
        ASSERT_EQ(timeBack(line), time) << line;
        const std::string seconds = field(line, 8);
        const std::size_t point = seconds.find('.');
        ASSERT_TRUE(round % 6 != 5 || point == std::string::npos || seconds.size() - point <= 4) << line;
        // One decimal less misses, rounded either way.
        if (point == std::string::npos || seconds.find('e') != std::string::npos) continue;
        const double power = std::pow(10.0, static_cast<double>(seconds.size() - point) - 2);
        for (const double ticks : {std::floor(std::stod(seconds) * power), std::ceil(std::stod(seconds) * power)}) {
            const double tried = family::tcomps2utc(std::stoi(field(line, 4)), std::stoi(field(line, 5)), std::stoi(field(line, 6)),
                                                    std::stoi(field(line, 7)), ticks / power);
            ASSERT_NE(tried, time) << line;
        }
    }
    // No parts compose to some of these; they come back within the spacing of what does.
    for (int round = 0; round < 5000; ++round) {
        const double time = uniform(-1, 1) * std::pow(10.0, uniform(-12, 0));
        ASSERT_NEAR(timeBack(written(recordAt(time))), time, 4e-16 * std::fabs(time)) << time;
    }
}

TEST(CsvWriter, recordsComeBack) {
    RandomRecords records;
    int whole = 0;
    for (int round = 0; round < 40000; ++round) {
        const ObsRecord rec = records.next();
        const std::string line = written(rec);
        ASSERT_EQ(ObsCardType(line), LineClass::csv) << line;
        ObsRecord back;
        CsvNotes notes;
        const MaybeRefusal refusal = ReadCsv(line, back, &notes);
        ASSERT_FALSE(refusal) << line << refusal->message();
        ASSERT_TRUE(notes.empty()) << line << notes.front();
        ASSERT_EQ(back.obsTime, rec.obsTime) << line;
        if (!sameOnLine(rec, back)) {
            ASSERT_GT(line.size(), 400u) << line;  // shortened
            continue;
        }
        ++whole;
        ASSERT_EQ(written(back), line);
    }
    EXPECT_GT(whole, 39000);
}

TEST(CsvWriter, longLinesLoseDigitsUntilTheyFit) {
    ObsRecord rec = recordAt(27000.123456789);
    const double value = -1.2345678901234567e-101;
    rec.csvData.create().csvReals.fill(value);
    rec.biases.create().values.fill(value);
    rec.senPos = {value, std::numeric_limits<double>::max(), 0.25};
    const std::string line = written(rec);
    EXPECT_LE(line.size(), kCardLength);
    ObsRecord back;
    ASSERT_FALSE(ReadCsv(line, back));
    EXPECT_EQ(back.obsTime, rec.obsTime);
    EXPECT_EQ(back.senPos[2], 0.25);
    EXPECT_NE(back.senPos[0], value);
    EXPECT_NEAR(back.senPos[0], value, 1e-9 * -value);
    EXPECT_NEAR(back.senPos[1] / rec.senPos[1], 1, 1e-9);
    // As many digits as fit: with one more the line would be too long.
    const std::size_t digits = field(line, 21).find('e') - 2;
    std::size_t numbers = 0;
    for (int i = 1; i <= 56; ++i) {
        const std::string text = field(line, i);
        for (std::size_t at = text.find("e-101"); at != std::string::npos; at = text.find("e-101", at + 1)) ++numbers;
    }
    EXPECT_EQ(numbers, 21u);
    EXPECT_GE(digits, 9u);
    EXPECT_GT(line.size() + numbers, kCardLength) << line;
    // Nine digits everywhere are too many.
    for (double* slot : {&rec.elOrDec, &rec.azOrRa, &rec.range, &rec.rangeRate, &rec.elRate, &rec.azRate, &rec.rangeAccel, &rec.csvData->csvReal10})
        *slot = value;
    rec.csvData->lastReals.fill(value);
    EXPECT_EQ(refusalOf(rec), "CreateCsvObs: Error - Unable to construct CSV card.");
}

// A card with a "V" in column 75 is a position card, whatever commas it holds.
TEST(CsvWriter, aLetterInTheTypeColumnLeavesItACsvLine) {
    int moved = 0;
    for (int satNum = 1, columns = 0; columns < 12; satNum *= -1, satNum *= columns % 2 ? 1 : -10, ++columns) {
        ObsRecord rec = recordAt(27000.123456);
        rec.csvData.create().csvChar = 'V';
        rec.satNum = satNum;
        rec.altSatNum2 = columns - 20;
        for (double& value : rec.senPos) value = columns / 8.0;
        const std::string line = written(rec);
        EXPECT_EQ(ObsCardType(line), LineClass::csv) << line;
        ObsRecord back;
        ASSERT_FALSE(ReadCsv(line, back));
        EXPECT_TRUE(sameOnLine(rec, back)) << line;
        moved += field(line, 27).find("-0") == 0;
    }
    EXPECT_GT(moved, 0);
}

}  // namespace obs::test
