#include "Obs/ObsCardReading/Csv.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

#include "Obs/CardLayouts/Csv.h"
#include "siblings/include/Time.h"

namespace obs::test {

namespace {

using Fields = std::vector<std::string>;

/// A line whose fields hold their own numbers, so that a value tells where it came from: field 17 is 17.5,
/// 43 is 43. Its date is day 5 of 2004, 06:07:08.5, its type 4.
Fields ownNumbers() {
    Fields fields;
    for (std::size_t i = 0; i < csv::kFields.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        switch (csv::kFields[i].kind) {
            case csv::Kind::character: fields.push_back(i == 0 ? "S" : "T"); break;
            case csv::Kind::integer: fields.push_back(number); break;
            case csv::Kind::realPair: fields.push_back(number + ".25:" + number + ".75"); break;
            default: fields.push_back(number + ".5");
        }
    }
    fields[3] = "2004";
    fields[19] = "4";
    return fields;
}

std::string joined(const Fields& fields) {
    std::string line;
    for (const std::string& field : fields) line += field + ",";
    line.pop_back();
    return line;
}

std::string with(std::size_t number, const std::string& text) {
    Fields fields = ownNumbers();
    fields[number - 1] = text;
    return joined(fields);
}

ObsRecord readGood(const std::string& line, CsvNotes* notes = nullptr) {
    ObsRecord rec;
    const MaybeRefusal refusal = ReadCsv(line, rec, notes);
    EXPECT_FALSE(refusal) << line << "\n" << refusal->message();
    return rec;
}

}  // namespace

TEST(CsvCases, everyFieldReachesItsPlace) {
    CsvNotes notes;
    const ObsRecord rec = readGood(joined(ownNumbers()), &notes);
    EXPECT_TRUE(notes.empty());
    EXPECT_EQ(rec.secClass, 'S');
    EXPECT_EQ(rec.obsTime, family::tcomps2utc(2004, 5, 6, 7, 8.5));
    const std::int32_t integers[] = {rec.satNum,     rec.senNum,     rec.obsType,           rec.indicator1,
                                     rec.indicator2, rec.altSatNum1, rec.altSatNum2,        rec.csvData->csvInt1,
                                     rec.equinoxInd, rec.csvData->csvInt2};
    const std::int32_t expected[] = {2, 3, 4, 24, 25, 26, 27, 43, 44, 45};
    EXPECT_TRUE(std::equal(std::begin(integers), std::end(integers), expected));
    EXPECT_EQ((Vector3{rec.elOrDec, rec.elRate, rec.azOrRa}), (Vector3{9.5, 10.5, 13.5}));
    EXPECT_EQ((Vector3{rec.azRate, rec.range, rec.rangeRate}), (Vector3{14.5, 17.5, 18.5}));
    EXPECT_EQ(rec.rangeAccel, 19.5);
    EXPECT_EQ(rec.senPos, (Vector3{21.5, 22.5, 23.5}));
    EXPECT_EQ(rec.csvData->csvChar, 'T');
    EXPECT_EQ(rec.csvData->csvReals, (std::array{29.25, 29.75, 42.25, 42.75, 30.5, 31.5, 32.5, 33.5, 34.5}));
    EXPECT_EQ(rec.biases->values, (std::array{35.5, 36.5, 37.5, 38.5, 39.5, 40.5, 41.5}));
    EXPECT_EQ(rec.rfData->rangeSigmaM, 50.5);
    EXPECT_EQ(rec.csvData->unindexedReal, 51.5);
    EXPECT_EQ(rec.rfData->rangeRateSigmaMs, 52.5);
    EXPECT_EQ(rec.csvData->lastReals, (Vector3{53.5, 54.5, 55.5}));
    EXPECT_EQ(rec.csvData->csvReal10, 56.5);
    EXPECT_FALSE(rec.extraValues);
}

TEST(CsvCases, typesDecideAboutAnglesAndRanges) {
    for (const std::int32_t type : {0, 1, 5, 8, 9, 13, 18, 19, 20, -1}) {
        Fields fields = ownNumbers();
        fields[19] = std::to_string(type);
        fields[43] = "0";
        const ObsRecord rec = readGood(joined(fields));
        const bool raDec = type == 5 || type == 9 || type == 19;
        EXPECT_EQ((Vector3{rec.elOrDec, rec.elRate, rec.azOrRa}), raDec ? (Vector3{11.5, 12.5, 15.5}) : (Vector3{9.5, 10.5, 13.5}));
        EXPECT_EQ(rec.azRate, raDec ? 16.5 : 14.5);
        EXPECT_EQ(rec.obsType, type == 8 || type == 9 ? type + 10 : type);
        fields[16] = "-17";
        EXPECT_EQ(readGood(joined(fields)).obsType, type);
    }
    Fields fields = ownNumbers();
    fields[19] = "5";
    fields[43] = "2";
    ObsRecord kept;
    kept.rotateToDate = 0;
    ASSERT_FALSE(ReadCsv(joined(fields), kept));
    const ObsRecord rotated = readGood(joined(fields));
    EXPECT_EQ(kept.equinoxInd, 2);
    EXPECT_EQ(kept.azOrRa, 15.5);
    EXPECT_EQ(rotated.equinoxInd, 0);
    EXPECT_NE(rotated.azOrRa, 15.5);
    EXPECT_NEAR(rotated.azOrRa, 15.5, 0.5);
}

TEST(CsvCases, fieldsInOtherForms) {
    const double most = std::numeric_limits<double>::max();
    struct {
        const char* text;
        double range;
        const char* note;
    } const reals[] = {
        {"", 0, ""}, {"  ", 0, ""}, {"-.5", -0.5, ""}, {" +1 2.5 ", 12.5, ""}, {"1.5D2", 150, ""}, {"1e-2", 0.01, ""}, {"5.", 5, ""},
        {"0x", 0, "is not a number and is taken as 0."}, {"nan", 0, "is not a number and is taken as 0."},
        {"-", 0, "is not a number and is taken as 0."}, {"1:2", 0, "is not a number and is taken as 0."},
        {"1e", 0, "is not a number and is taken as 0."}, {".", 0, "is not a number and is taken as 0."},
        {"-1e999", -most, "is out of range and is taken as the largest number."},
        {"1e-999", 0, "is too small and is taken as 0."}, {"0e-999", 0, ""},
    };
    for (const auto& c : reals) {
        CsvNotes notes;
        EXPECT_EQ(readGood(with(17, c.text), &notes).range, c.range) << c.text;
        const CsvNotes expected(*c.note ? 1 : 0, std::string("ReadCsv: Field 17 (range) ") + c.note);
        EXPECT_EQ(notes, expected) << c.text;
        EXPECT_EQ(readGood(with(29, std::string(c.text) + ":7")).csvData->csvReals[1], *c.text == '1' && c.text[1] == ':' ? 0 : 7) << c.text;
        EXPECT_EQ(readGood(with(46, c.text), &notes).biases->values[3], 38.5);  // whatever repeats an earlier field
        EXPECT_EQ(notes, expected);
    }
    struct {
        const char* text;
        std::int32_t satNum;
        const char* note;
    } const integers[] = {
        {"-0012", -12, ""}, {" 7 ", 7, ""}, {"1e2", 100, ""}, {"", 0, ""}, {"2147483647", 2147483647, ""},
        {"-2147483648", -2147483647 - 1, ""}, {"2147483648", 2147483647, "is out of range and is taken as 2147483647."},
        {"1.7", 1, "is not a whole number and is taken as 1."}, {"T0001", 0, "is not a number and is taken as 0."},
    };
    for (const auto& c : integers) {
        CsvNotes notes;
        EXPECT_EQ(readGood(with(2, c.text), &notes).satNum, c.satNum) << c.text;
        EXPECT_EQ(notes, CsvNotes(*c.note ? 1 : 0, std::string("ReadCsv: Field 2 (satNum) ") + c.note));
    }
    CsvNotes notes;
    EXPECT_EQ(readGood(with(28, ""), &notes).csvData->csvChar, ' ');
    EXPECT_EQ(readGood(with(28, " R "), &notes).csvData->csvChar, 'R');
    EXPECT_EQ(readGood(with(42, "7"), &notes).csvData->csvReals[3], 0);
    EXPECT_TRUE(notes.empty());
    EXPECT_EQ(readGood(with(28, "TR"), &notes).csvData->csvChar, 'T');
    EXPECT_EQ(notes, CsvNotes{"ReadCsv: Field 28 (csvChar) has more than one character and is taken as T."});
}

TEST(CsvCases, linesOfOtherLengths) {
    const std::string whole = joined(ownNumbers());
    CsvNotes notes;
    EXPECT_EQ(readGood(whole + ",,9", &notes).csvData->csvReal10, 56.5);
    EXPECT_EQ(notes, CsvNotes{"ReadCsv: The line has 58 fields instead of 56; the ones behind these are ignored."});
    notes.clear();
    const ObsRecord rec = readGood("U,1,2,2024,1,0,0,0:0:0", &notes);
    EXPECT_EQ(notes, (CsvNotes{"ReadCsv: Field 8 (seconds) is not a number and is taken as 0.",
                               "ReadCsv: The line has 8 fields instead of 56; the missing ones are taken as 0."}));
    EXPECT_EQ(rec.csvData->csvInt2, 0);
    EXPECT_EQ(rec.csvData->csvChar, ' ');
    EXPECT_FALSE(rec.biases || rec.rfData);
    // A line cut anywhere is read up to there or refused, and never beyond its end.
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ObsRecord cut;
        const std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const MaybeRefusal refusal = ReadCsv(std::string_view(exact.data(), length), cut, &notes);
        const bool isRead = length >= std::string("S,2,3,2").size();
        EXPECT_EQ(!refusal, isRead) << length;
    }
}

TEST(CsvCases, refusals) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "ReadCsv: CSV string is blank"},
        {std::string(600, ' '), "ReadCsv: CSV string is blank"},
        {"U,1,2,1949,365,0,0,0", "ReadCsv: Bad date time in CSV string"},
        {"U,1,2,1950,0,0,0,0", "ReadCsv: Bad date time in CSV string"},
    };
    for (const auto& [line, message] : cases) {
        ObsRecord rec;
        const MaybeRefusal refusal = ReadCsv(line, rec);
        ASSERT_TRUE(refusal) << line;
        EXPECT_EQ(refusal->message(), message);
    }
    // A day and hour that no calendar has count on.
    EXPECT_EQ(readGood("U,1,2,2024,0,24,0,0").obsTime, family::tcomps2utc(2024, 1, 0, 0, 0));
}

TEST(CsvCases, aRecordReadIntoAgainTakesTheLinesPartsOnly) {
    ObsRecord rec;
    ASSERT_FALSE(ReadCsv(joined(ownNumbers()), rec));
    const CsvObsData* const before = &*rec.csvData;
    static_cast<ObsFields&>(rec) = kDefaultFields;
    ASSERT_FALSE(ReadCsv(std::string("U,1,2,2024,1,0,0,0"), rec));
    EXPECT_EQ(&*rec.csvData, before);
    EXPECT_EQ(rec.csvData->csvReals, (std::array<double, 9>{}));
    EXPECT_FALSE(rec.biases || rec.rfData);
}

// The quick number reader decides nothing: it gives the bits that the C library gives.
TEST(CsvCases, numbersAreRoundedCorrectly) {
    std::mt19937_64 random(11);
    for (int round = 0; round < 100000; ++round) {
        std::string text = random() % 2 ? "-" : "";
        const auto whole = random() % 12, decimals = random() % 12 + (whole == 0);
        for (auto i = whole; i > 0; --i) text += static_cast<char>('0' + random() % 10);
        if (decimals) text += '.';
        for (auto i = decimals; i > 0; --i) text += static_cast<char>('0' + random() % 10);
        if (random() % 8 == 0) text += "e" + std::to_string(static_cast<int>(random() % 620) - 320);
        const double value = readGood(with(17, text)).range, model = std::strtod(text.c_str(), nullptr);
        if (std::isinf(model)) continue;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(model)) << text;
    }
}

// The page is written by hand, the table is what reader and writer walk.
TEST(CsvCases, pageNamesTheFieldsOfTheTable) {
    std::ifstream page(OBS_TEST_DATA "/../../docs/formats/csv.md");
    std::size_t next = 0;
    for (std::string line; std::getline(page, line);) {
        std::istringstream row(line);
        std::string bar, number;
        if (!(row >> bar >> number) || bar != "|" || number != std::to_string(next + 1)) continue;
        ASSERT_LT(next, csv::kFields.size());
        EXPECT_NE(line.find("| " + std::string(csv::kFields[next].name) + " |"), std::string::npos) << line;
        ++next;
    }
    EXPECT_EQ(next, csv::kFields.size());
}

}  // namespace obs::test
