#include "Obs/FormatObs/Csv.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>

#include "Obs/CardLayouts/Csv.h"
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

/// The time of a line with other seconds.
double timeBack(const std::string& line, double seconds) {
    return family::tcomps2utc(std::stoi(field(line, 4)), std::stoi(field(line, 5)), std::stoi(field(line, 6)),
                              std::stoi(field(line, 7)), seconds);
}

double timeBack(const std::string& line) {
    return timeBack(line, std::strtod(field(line, 8).c_str(), nullptr));
}

/// Visits every value of a record that a line carries; absent parts are created.
template <class Visit>
void eachValue(ObsRecord& rec, const Visit& visit) {
    if (!rec.csvData) rec.csvData.create();
    if (!rec.biases) rec.biases.create();
    if (!rec.rfData) rec.rfData.create();
    const auto bytes = [](auto& owner) { return reinterpret_cast<char*>(&owner); };
    const csv::Owners<char> owners{nullptr, bytes(static_cast<ObsFields&>(rec)), bytes(*rec.csvData),
                                   bytes(*rec.biases), bytes(*rec.rfData)};
    for (const csv::Field& one : csv::kFields) {
        if (one.part == csv::Part::line) continue;
        if (one.kind == csv::Kind::character) visit(csv::valueOf<char>(owners, one));
        else if (one.kind == csv::Kind::integer) visit(csv::valueOf<std::int32_t>(owners, one));
        else visit(csv::valueOf<double>(owners, one));
        if (one.kind == csv::Kind::realPair) visit((&csv::valueOf<double>(owners, one))[1]);
    }
    for (double* value : {&rec.obsTime, &rec.elOrDec, &rec.elRate, &rec.azOrRa, &rec.azRate}) visit(*value);
}

std::vector<double> valuesOf(ObsRecord rec) {
    std::vector<double> values;
    eachValue(rec, [&](auto value) { values.push_back(value); });
    return values;
}

/// Records of all types, with values from zero to the ends of a double's range; so many zeros that no line is too long.
class RandomRecords {
public:
    ObsRecord next() {
        ObsRecord rec;
        eachValue(rec, [&](auto& value) { set(value); });
        rec.secClass = "UCS"[random_() % 3];
        rec.obsTime = std::uniform_real_distribution<double>(-7e5, 2.9e6)(random_);
        rec.obsType = static_cast<std::int32_t>(random_() % 8 + random_() % 2 * 12);  // 0-7, 12-19
        if (rec.obsType == 7) rec.obsType = static_cast<std::int32_t>(random_() % 3 + 8);
        if (rec.obsType == 8 || rec.obsType == 9) rec.range = -std::fabs(rec.range);
        rec.equinoxInd = 0;
        if (random_() % 2) rec.biases.release();
        if (random_() % 2) rec.rfData.release();
        return rec;
    }

private:
    void set(char& value) { value = static_cast<char>(' ' + random_() % 12); }
    void set(std::int32_t& value) {
        const auto any = static_cast<std::int32_t>(random_());
        value = random_() % 8 ? any % 100000 : any;
    }
    void set(double& value) {
        const double some = std::uniform_real_distribution<double>(-400, 400)(random_);
        const double any = std::bit_cast<double>(random_());
        const double kinds[] = {std::isfinite(any) ? any : 0, some, std::nextafter(std::round(some), some),
                                std::round(some) * std::pow(10.0, std::round(some / 20)), std::round(some * 1e9) / 1e9};
        const auto kind = random_() % 40;
        value = kind < std::size(kinds) ? kinds[kind] : kind < 15 ? std::round(some * 1e4) / 1e4 : 0;
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
        {0, "0"}, {-0.0, "0"}, {5, "5"}, {-0.5, "-0.5"}, {0.1, "0.1"}, {0.001, "0.001"}, {0.0001, "1e-04"},
        {99999.5, "99999.5"}, {100000, "1e+05"}, {123456, "123456"}, {0.1 + 0.2, "0.30000000000000004"},
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
    for (const double time : {std::nan(""), kInfinity, -kInfinity, 1e300, 2.95e6, -7.2e5})
        EXPECT_EQ(refusalOf(recordAt(time)), kUnable);
    for (const char c : {',', '\n', '\0', '\x7f', '\t'}) {
        ObsRecord changed = recordAt(27000.5);
        changed.secClass = c;
        EXPECT_EQ(refusalOf(changed), kUnable);
        changed.secClass = 'U';
        changed.csvData.create().csvChar = c;
        EXPECT_EQ(refusalOf(changed), kUnable);
    }
    ObsRecord whole = recordAt(27000.5);
    eachValue(whole, [&](auto& value) {
        if constexpr (std::is_same_v<decltype(value), double&>) {
            const double right = std::exchange(value, std::nan(""));
            EXPECT_EQ(refusalOf(whole), kUnable);
            value = right;
        }
    });
}

// Bit for bit over 9999 years, near midnights, and close to 1950 day 0 where times grow finer than a second's text.
TEST(CsvWriter, timesComeBackBitForBit) {
    std::mt19937_64 random(19);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    for (int round = 0; round < 60000; ++round) {
        double time = 0;
        switch (round % 6) {
            case 0: time = uniform(-711856, 2940000); break;
            case 1: time = uniform(20000, 30000); break;
            case 2: time = std::round(uniform(20000, 30000) * 1440) / 1440; break;
            case 3: time = std::nextafter(std::round(uniform(-30000, 30000)), uniform(-1e6, 1e6)); break;
            case 4: time = uniform(1, 60) * (random() % 2 ? 1 : -1); break;
            default: time = std::floor(uniform(2557, 39000)) + std::floor(uniform(0, 86400000)) / 1000.0 / 86400.0;
        }
        const std::string line = written(recordAt(time));
        ASSERT_EQ(timeBack(line), time) << line;
        const std::string seconds = field(line, 8);
        const std::size_t point = seconds.find('.');
        ASSERT_TRUE(round % 6 != 5 || point == std::string::npos || seconds.size() - point <= 4) << line;
        // One decimal less misses, rounded either way; but near 1950 day 0, where few texts hit a time at all.
        if (point == std::string::npos || seconds.find('e') != std::string::npos || std::fabs(time) < 4) continue;
        const double power = std::pow(10.0, static_cast<double>(seconds.size() - point) - 2);
        for (const double ticks : {std::floor(std::stod(seconds) * power), std::ceil(std::stod(seconds) * power)})
            ASSERT_NE(timeBack(line, ticks / power), time) << line;
    }
    for (int round = 0; round < 5000; ++round) {
        const double time = uniform(1, 2) * (round % 2 ? 1 : -1);
        ASSERT_EQ(timeBack(written(recordAt(time))), time) << time;
    }
    // No parts compose to some of these; they come back within the spacing of what does.
    for (int round = 0; round < 5000; ++round) {
        const double time = uniform(-1, 1) * std::pow(10.0, uniform(-12, 0));
        ASSERT_NEAR(timeBack(written(recordAt(time))), time, 4e-16 * std::fabs(time)) << time;
    }
}

TEST(CsvWriter, recordsComeBack) {
    RandomRecords records;
    for (int round = 0; round < 40000; ++round) {
        const ObsRecord rec = records.next();
        const std::string line = written(rec);
        ASSERT_EQ(ObsCardType(line), LineClass::csv) << line;
        ObsRecord back;
        CsvNotes notes;
        const MaybeRefusal refusal = ReadCsv(line, back, &notes);
        ASSERT_FALSE(refusal) << line << refusal->message();
        ASSERT_TRUE(notes.empty()) << line << notes.front();
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
    EXPECT_LE(line.size(), kCardLength);
    ObsRecord back;
    ASSERT_FALSE(ReadCsv(line, back));
    EXPECT_EQ(back.obsTime, rec.obsTime);
    EXPECT_EQ(back.senPos[2], 0.25);
    EXPECT_NE(back.senPos[0], value);
    EXPECT_NEAR(back.senPos[0], value, 1e-9 * -value);
    EXPECT_NEAR(back.senPos[1] / rec.senPos[1], 1, 1e-9);
    constexpr std::size_t kLongNumbers = 22;
    EXPECT_GT(line.size() + kLongNumbers, kCardLength) << line;  // one more digit in each would not fit
    // Nine digits everywhere are too many.
    for (double* slot : {&rec.elOrDec, &rec.azOrRa, &rec.range, &rec.rangeRate, &rec.elRate, &rec.azRate,
                         &rec.rangeAccel, &rec.csvData->csvReal10})
        *slot = value;
    rec.csvData->lastReals.fill(value);
    EXPECT_EQ(refusalOf(rec), "CreateCsvObs: Error - Unable to construct CSV card.");
}

// A card with a "V" in column 75 is a position card, whatever commas it holds.
TEST(CsvWriter, aLetterInTheTypeColumnLeavesItACsvLine) {
    int moved = 0;
    for (int satNum = 1; satNum < 1000000000; satNum *= 10)
        for (const int senNum : {1, 100}) {
            ObsRecord rec = recordAt(27000.123456);
            rec.csvData.create().csvChar = senNum == 1 ? 'V' : 'v';
            rec.satNum = satNum;
            rec.senNum = senNum;
            rec.altSatNum2 = -20;
            const std::string line = written(rec);
            EXPECT_EQ(ObsCardType(line), LineClass::csv) << line;
            ObsRecord back;
            ASSERT_FALSE(ReadCsv(line, back));
            EXPECT_EQ(valuesOf(back), valuesOf(rec)) << line;
            moved += field(line, 27) == "-020";
        }
    EXPECT_EQ(moved, 2);
}

}  // namespace obs::test
