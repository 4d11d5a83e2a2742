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
    EXPECT_EQ(rec.obsTime, family::tcomps2utc(2004, 5, 6, 7, 8.5));
    EXPECT_EQ((std::array{rec.secClass, rec.csvData->csvChar}), (std::array{'S', 'T'}));
    EXPECT_EQ((std::array{rec.satNum, rec.senNum, rec.obsType, rec.indicator1, rec.indicator2, rec.altSatNum1,
                          rec.altSatNum2, rec.csvData->csvInt1, rec.equinoxInd, rec.csvData->csvInt2}),
              (std::array{2, 3, 4, 24, 25, 26, 27, 43, 44, 45}));
    EXPECT_EQ((std::array{rec.range, rec.rangeRate, rec.rangeAccel, rec.rfData->rangeSigmaM, rec.csvData->unindexedReal,
                          rec.rfData->rangeRateSigmaMs, rec.csvData->csvReal10}),
              (std::array{17.5, 18.5, 19.5, 50.5, 51.5, 52.5, 56.5}));
    EXPECT_EQ(rec.senPos, (Vector3{21.5, 22.5, 23.5}));
    EXPECT_EQ(rec.csvData->csvReals, (std::array{29.25, 29.75, 42.25, 42.75, 30.5, 31.5, 32.5, 33.5, 34.5}));
    EXPECT_EQ(rec.biases->values, (std::array{35.5, 36.5, 37.5, 38.5, 39.5, 40.5, 41.5}));
    EXPECT_EQ(rec.csvData->lastReals, (Vector3{53.5, 54.5, 55.5}));
}

TEST(CsvCases, typesDecideAboutAnglesAndRanges) {
    for (const std::int32_t type : {0, 1, 5, 8, 9, 13, 18, 19, 20, -1}) {
        Fields fields = ownNumbers();
        fields[19] = std::to_string(type);
        ObsRecord rec;
        rec.rotateToDate = 0;
        ASSERT_FALSE(ReadCsv(joined(fields), rec));
        const bool raDec = type == 5 || type == 9 || type == 19;
        EXPECT_EQ((std::array{rec.elOrDec, rec.elRate, rec.azOrRa, rec.azRate}),
                  raDec ? (std::array{11.5, 12.5, 15.5, 16.5}) : (std::array{9.5, 10.5, 13.5, 14.5}));
        EXPECT_EQ(rec.obsType, type == 8 || type == 9 ? type + 10 : type);
        fields[16] = "-17";
        fields[43] = "2";
        const ObsRecord rotated = readGood(joined(fields));
        EXPECT_EQ(rotated.obsType, type);
        EXPECT_EQ(rotated.equinoxInd, raDec ? 0 : 2);
        EXPECT_EQ(rotated.azOrRa != rec.azOrRa, raDec);
    }
}

TEST(CsvCases, fieldsInOtherForms) {
    const double most = std::numeric_limits<double>::max();
    struct {
        const char* text;
        double range;
        const char* note;
    } const reals[] = {
        {"", 0, ""}, {"  ", 0, ""}, {"-.5", -0.5, ""}, {" +1 2.5 ", 12.5, ""}, {"1.5D2", 150, ""},
        {"1e-2", 0.01, ""}, {"5.", 5, ""}, {"1.7976931348623157e308", most, ""},
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
    const std::tuple<const char*, double, double> pairs[] = {
        {"7", 7, 0}, {":", 0, 0}, {" 7 : +8 ", 7, 8}, {"0:1e1", 0, 10}};
    for (const auto& [text, first, second] : pairs) {
        const ObsRecord rec = readGood(with(42, text), &notes);
        EXPECT_EQ(std::tuple(rec.csvData->csvReals[2], rec.csvData->csvReals[3]), std::tuple(first, second)) << text;
    }
    EXPECT_TRUE(notes.empty());
    EXPECT_EQ(readGood(with(42, "x:2:3"), &notes).csvData->csvReals[3], 0);
    EXPECT_EQ(notes, CsvNotes(2, "ReadCsv: Field 42 (csvReals 3 and 4) is not a number and is taken as 0."));
    notes.clear();
    EXPECT_EQ(readGood(with(28, "TR"), &notes).csvData->csvChar, 'T');
    EXPECT_EQ(notes, CsvNotes{"ReadCsv: Field 28 (csvChar) has more than one character and is taken as T."});
}

TEST(CsvCases, linesOfOtherLengths) {
    const std::string whole = joined(ownNumbers());
    CsvNotes notes;
    EXPECT_EQ(readGood(whole + ",,9", &notes).csvData->csvReal10, 56.5);
    EXPECT_EQ(notes, CsvNotes{"ReadCsv: The line has 58 fields instead of 56; the ones behind these are ignored."});
    notes.clear();
    // The record is read into again: it has the parts of the last line alone.
    ObsRecord rec = readGood(whole);
    static_cast<ObsFields&>(rec) = kDefaultFields;
    ASSERT_FALSE(ReadCsv(std::string("U,1,2,2024,1,0,0,0:0:0"), rec, &notes));
    EXPECT_EQ(notes, (CsvNotes{"ReadCsv: Field 8 (seconds) is not a number and is taken as 0.",
                               "ReadCsv: The line has 8 fields instead of 56; the missing ones are taken as 0."}));
    const CsvObsData& data = *rec.csvData;
    EXPECT_EQ(std::tuple(data.csvInt2, data.csvChar, data.csvReals[8]), std::tuple(0, ' ', 0.0));
    EXPECT_FALSE(rec.biases || rec.rfData);
    // A line cut anywhere is read up to there, and never beyond its end.
    for (std::size_t length = 1; length < whole.size(); ++length) {
        ObsRecord cut;
        const std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        ASSERT_FALSE(ReadCsv(std::string_view(exact.data(), length), cut, &notes)) << length;
        EXPECT_EQ(cut.satNum, length > 2 ? 2 : 0);
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

// The quick number reader decides nothing: it gives the bits that the C library gives.
TEST(CsvCases, numbersAreRoundedCorrectly) {
    std::mt19937_64 random(11);
    for (int round = 0; round < 100000; ++round) {
        std::string text = random() % 2 ? "-" : "";
        const auto whole = random() % 12, decimals = random() % 12 + (whole == 0);
        for (auto i = whole; i > 0; --i) text += static_cast<char>('0' + random() % 10);
        if (decimals) text += '.';
        for (auto i = decimals; i > 0; --i) text += static_cast<char>('0' + random() % 10);
        if (random() % 8 == 0) text.append("e").append(std::to_string(static_cast<int>(random() % 620) - 320));
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
