#include "Obs/FormatObs/Rf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include "Obs/ObsCardReading/Rf.h"
#include "siblings/include/ObsFamily.h"

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
    std::size_t length = 0;
    EXPECT_EQ(CreateRFObs(rec, line.data(), length), 0);
    EXPECT_EQ(length, rf::kLineColumns);
    return line;
}

std::string column(const ObsRecord& rec, Item item) {
    const Columns columns = rf::columnsOf(item);
    return written(rec).substr(columns.offset(), columns.width());
}

void addSensor(std::int32_t number, const std::string& name) {
    std::string description = name;
    description.resize(512, ' ');
    ASSERT_EQ(FamilyAddSensor(number, description.c_str(), 1, 2, 3), 0);
}

}  // namespace

TEST(RfWriter, wholeLine) {
    EXPECT_EQ(written(plainRecord()),
              "2024:01:15::12:34:56.123456    1.5000000000E+03 1.500000000000E+00  "
              "-2.5000000000E+03 2.500000000000E-01 "
              "CDE_ESP 0.1 CDE_ESP   7 00042      123456 2024:01:16::12:34:56.123456      12.25 A B C");
}

TEST(RfWriter, refusals) {
    const std::string blank(rf::kLineColumns, ' ');
    ObsRecord rec = plainRecord();
    std::string line(rf::kLineColumns, '?');
    std::size_t length = 1;
    std::string_view message;
    rec.rfData.release();
    EXPECT_EQ(CreateRFObs(rec, line.data(), length, &message), 2);
    EXPECT_EQ(message, "CreateRFObs: RF obs type not allocated");
    EXPECT_EQ(line, blank);
    EXPECT_EQ(length, 0u);
    rec = plainRecord();
    rec.senNum = 999;
    line.assign(rf::kLineColumns, '?');
    message = {};
    EXPECT_NE(CreateRFObs(rec, line.data(), length, &message), 0);
    EXPECT_EQ(message, "");
    EXPECT_EQ(line, blank);
}

TEST(RfWriter, numbersInTheirColumns) {
    const double infinity = std::numeric_limits<double>::infinity();
    struct {
        double RfObsData::*field;
        Item item;
        double value;
        const char* text;
    } const cases[] = {
        {&RfObsData::delay1, Item::delay1, 9.94, "9.9"},    {&RfObsData::delay1, Item::delay1, 9.96, "***"},
        {&RfObsData::delay1, Item::delay1, 0.25, "0.3"},    {&RfObsData::delay1, Item::delay1, -0.25, "-.3"},
        {&RfObsData::delay1, Item::delay1, -0.04, "0.0"},   {&RfObsData::delay1, Item::delay1, -1, "***"},
        {&RfObsData::delay1, Item::delay1, infinity, "***"}, {&RfObsData::delay1, Item::delay1, std::nan(""), "***"},
        {&RfObsData::delay2, Item::delay2, -0.9, "  0"},    {&RfObsData::delay2, Item::delay2, 999.9, "999"},
        {&RfObsData::delay2, Item::delay2, 1000, "***"},    {&RfObsData::delay2, Item::delay2, -99.9, "-99"},
        {&RfObsData::delay2, Item::delay2, -100, "***"},    {&RfObsData::delay2, Item::delay2, 1e300, "***"},
        {&RfObsData::delay2, Item::delay2, std::nan(""), "***"},
        {&RfObsData::snr, Item::snr, 0, " 0.00"},           {&RfObsData::snr, Item::snr, 0.125, " 0.13"},
        {&RfObsData::snr, Item::snr, 99.99, "99.99"},       {&RfObsData::snr, Item::snr, 99.996, "*****"},
        {&RfObsData::snr, Item::snr, -9.99, "-9.99"},       {&RfObsData::snr, Item::snr, -10, "*****"},
        {&RfObsData::snr, Item::snr, 1e12, "*****"},
        // halves away from zero, on the exact value; decades; what only just fits
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, 0x1p-20, " 9.536743164063E-07"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, -1234567.8 / 1e7, "-1.234567800000E-01"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, 9.9999999999996, " 1.000000000000E+01"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, -0.0, " 0.000000000000E+00"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, 1e100, "1.000000000000E+100"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, -1e100, "*******************"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, infinity, "*******************"},
        {&RfObsData::rangeSigmaM, Item::rangeSigmaM, std::nan(""), "*******************"},
        {&RfObsData::processTime, Item::processTime, 1e9, "****************************"},
    };
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord();
        (*rec.rfData).*c.field = c.value;
        EXPECT_EQ(column(rec, c.item), c.text) << c.value;
    }
    ObsRecord rec = plainRecord();
    rec.range = 12.3450078125;  // 12345.0078125 m lies on a half of the eleventh digit
    EXPECT_EQ(column(rec, Item::rangeM), " 1.2345007813E+04");
    for (const std::int32_t satNum : {100000, -1}) {
        rec.satNum = satNum;
        EXPECT_EQ(column(rec, Item::satNum), "*****");
    }
    rec.rfData->rf = -1234567890;
    EXPECT_EQ(column(rec, Item::rf), "-1234567890");
    rec.rfData->rf = 123456789012;
    EXPECT_EQ(column(rec, Item::rf), "***********");
    rec.rfData->flags = {'\n', '\x7f', ' '};
    EXPECT_EQ(written(rec).substr(185), " * *  ");
}

// The C library rounds the exact value too. Only halves differ: random numbers of these sizes do not lie there.
TEST(RfWriter, measurementsAreRoundedCorrectly) {
    std::mt19937_64 random(7);
    for (int round = 0; round < 20000; ++round) {
        const double exponent = std::uniform_real_distribution<double>(-9, 9)(random);
        const double size = std::pow(10.0, round % 3 == 0 ? exponent + 28 : exponent);
        const double value = round % 2 == 0 ? size : -size;
        ObsRecord rec = plainRecord();
        rec.rfData->rangeSigmaM = value;
        rec.range = value;
        char sigma[64], range[64];
        std::snprintf(sigma, sizeof sigma, "%19.12E", value);
        std::snprintf(range, sizeof range, "%17.10E", value * 1000.0);
        ASSERT_EQ(column(rec, Item::rangeSigmaM), sigma);
        ASSERT_EQ(column(rec, Item::rangeM), range);
    }
}

TEST(RfTime, textToTimeToText) {
    std::mt19937_64 random(11);
    const auto text = [](double time) {
        std::string out(rf::kTimeLength, '?');
        formatrftime(time, out.data());
        return out;
    };
    for (const char* fixed : {"2024:01:15::12:34:56.123456 ", "2024:12:31::23:59:59.999999 ",
                              "2024:02:29::00:00:00.000000 ", "1949:12:31::00:00:00.000000 "})
        EXPECT_EQ(text(parserftime(fixed)), fixed);
    for (int round = 0; round < 20000; ++round) {
        const std::string once = text(std::uniform_real_distribution<double>(-10000, 60000)(random));
        ASSERT_EQ(text(parserftime(once)), once);
    }
    EXPECT_EQ(text(std::nan("")), std::string(rf::kTimeLength, '*'));
}

// Fields that touch, blank flags, names with blanks, commas or numbers: what was written is read again.
TEST(RfWriter, writtenLinesComeBack) {
    std::mt19937_64 random(3);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    static constexpr const char* kNames[] = {"CDE_ESP", "A", "EIGHTLTR", "TWO WORD", "X 1.5", "1 2 3", "A,B"};
    std::int32_t number = 700;
    for (const char* name : kNames) addSensor(number++, name);
    for (int round = 0; round < 5000; ++round) {
        ObsRecord rec = plainRecord();
        rec.senNum = 700 + static_cast<std::int32_t>(random() % std::size(kNames));
        rec.satNum = static_cast<std::int32_t>(random() % 100000);
        rec.obsTime = uniform(20000, 40000);
        rec.range = uniform(-1e5, 1e5);
        rec.rangeRate = std::pow(10.0, uniform(-12, 1));
        *rec.rfData = {rec.senNum, uniform(-0.9, 9.9), uniform(-99, 999), uniform(-9, 9), uniform(-9, 9),
                       static_cast<std::int64_t>(random() % 99999999999), uniform(-9, 99),
                       {"AB ,"[random() % 4], "AB ,"[random() % 4], "AB ,"[random() % 4]}, uniform(20000, 40000)};
        const std::string line = written(rec);
        ObsRecord back;
        // a saved line ends without its trailing blanks
        const MaybeRefusal refusal = ReadRFObs(std::string_view(line).substr(0, line.find_last_not_of(' ') + 1), back);
        ASSERT_FALSE(refusal) << line << "\n" << refusal->message();
        if (rec.senNum == 700) back.senNum = 700;  // the built-in site has the name, too
        ASSERT_EQ(back.satNum, rec.satNum) << line;
        ASSERT_NEAR(back.range, rec.range, 0.5e-10 * std::fabs(rec.range) * 10) << line;
        ASSERT_EQ(back.rfData->rf, rec.rfData->rf) << line;
        ASSERT_EQ(back.rfData->flags, rec.rfData->flags) << line;
        ASSERT_EQ(written(back), line);
    }
    FamilyRemoveSensors();
}

TEST(RfLayout, headerAndPageNameTheItems) {
    std::istringstream header{std::string(rf::kHeaderLine)};
    std::string word;
    header >> word;
    EXPECT_EQ(word, "#");
    std::ifstream file(OBS_TEST_DATA "/../../docs/formats/rf.md");
    const std::string page(std::istreambuf_iterator<char>(file), {});
    unsigned next = 1;
    for (std::size_t i = 0; i < rf::kItemCount; ++i) {
        const auto& [name, columns] = rf::kItems[i];
        ASSERT_TRUE(header >> word);
        EXPECT_EQ(word, name);
        const std::string row = "| " + std::to_string(i + 1) + " | `" + word + "` | " + std::to_string(columns.first) +
                                "-" + std::to_string(columns.last) + " |";
        EXPECT_NE(page.find(row), std::string::npos) << row;
        for (const Columns& blank : rf::kBlanks)
            if (blank.first == next) next = blank.last + 1;
        EXPECT_EQ(columns.first, next) << name;  // items and blanks cover the line without a gap
        next = columns.last + 1;
    }
    EXPECT_EQ(next, rf::kLineColumns + 1);
}

}  // namespace obs::test
