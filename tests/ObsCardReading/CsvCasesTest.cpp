// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Csv.h"

#include <gtest/gtest.h>

#include <fstream>
#include <limits>

#include "Obs/CardLayouts/Csv.h"
#include "siblings/include/Time.h"
#include "tests/CaseFile.h"

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
    fields[3] = std::string("2004");
    fields[19] = std::string("4");
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

using Texts = std::vector<std::string>;
Texts textsOf(const FieldNotes& notes) {
    Texts texts;
    for (const FieldNote& note : notes) texts.push_back(note.text);
    return texts;
}

ObsRecord readGood(const std::string& line, FieldNotes* notes = nullptr) {
    ObsRecord rec;
    const MaybeRefusal refusal = ReadCsv(line, rec, notes);
    EXPECT_FALSE(refusal) << line << "\n" << refusal->message();
    return rec;
}

}  // namespace

TEST(CsvCases, everyFieldReachesItsPlace) {
    FieldNotes notes;
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

TEST(CsvCases, pageNamesTheFields) {
    std::ifstream page(OBS_EXAMPLES "/../docs/formats/csv.md");
    std::size_t count = 0;
    for (std::string line; std::getline(page, line);) {
        const std::string start = "| " + std::to_string(count + 1) + " | ";
        if (line.rfind(start, 0) != 0) continue;
        const std::string name(csv::kFields.at(count++).name);
        EXPECT_EQ(line.compare(start.size(), name.size(), name), 0) << line;
    }
    EXPECT_EQ(count, csv::kFieldCount);
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
        fields[16] = std::string("-17");
        fields[43] = std::string("2");
        const ObsRecord rotated = readGood(joined(fields));
        EXPECT_EQ(rotated.obsType, type);
        EXPECT_EQ(rotated.equinoxInd, raDec ? 0 : 2);
        EXPECT_EQ(rotated.azOrRa != rec.azOrRa, raDec);
    }
}

TEST(CsvCases, fieldsInOtherForms) {
    const double most = std::numeric_limits<double>::max();
    const std::string notANumber = " is not a number and is taken as 0.";
    constexpr std::size_t kSatNum = 2, kRange = 17, kCsvChar = 28, kPair = 42;
    struct {
        std::size_t field;
        const char* text;
        double value, second;
        std::string note;
    } const cases[] = {
        // clang-format off
        {kRange, " ", 0, 0, ""}, {kRange, "-.5", -0.5, 0, ""}, {kRange, " +1 2.5 ", 12.5, 0, ""},
        {kRange, "1.5D2", 150, 0, ""}, {kRange, "5.", 5, 0, ""}, {kRange, "1.7976931348623157e308", most, 0, ""},
        {kRange, "nan", 0, 0, notANumber}, {kRange, "1:2", 0, 0, notANumber}, {kRange, "1e", 0, 0, notANumber},
        {kRange, "-1e999", -most, 0, " is out of range and is taken as the largest number."},
        {kRange, "1e-999", 0, 0, " is too small and is taken as 0."}, {kRange, "0e-999", 0, 0, ""},
        {kSatNum, "-0012", -12, 0, ""}, {kSatNum, "1e2", 100, 0, ""}, {kSatNum, "", 0, 0, ""},
        {kSatNum, "-2147483648", -2147483648.0, 0, ""}, {kSatNum, "T0001", 0, 0, notANumber},
        {kSatNum, "2147483648", 2147483647, 0, " is out of range and is taken as 2147483647."},
        {kSatNum, "1.7", 1, 0, " is not a whole number and is taken as 1."}, {kPair, "7", 7, 0, ""},
        {kPair, ":", 0, 0, ""}, {kPair, " 7 : +8 ", 7, 8, ""}, {kPair, "x:8", 0, 8, notANumber},
        {kCsvChar, "", ' ', 0, ""}, {kCsvChar, " R ", 'R', 0, ""},
        {kCsvChar, "TR", 'T', 0, " has more than one character and is taken as T."},
        // clang-format on
    };
    for (const auto& c : cases) {
        FieldNotes notes;
        const ObsRecord rec = readGood(with(c.field, c.text), &notes);
        const CsvObsData& data = *rec.csvData;
        const double value = c.field == kRange    ? rec.range
                             : c.field == kSatNum ? rec.satNum
                             : c.field == kPair   ? data.csvReals[2]
                                                  : data.csvChar;
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(c.field == kPair ? data.csvReals[3] : 0, c.second) << c.text;
        const std::string where =
            "ReadCsv: Field " + std::to_string(c.field) + " (" + csv::kFields[c.field - 1].name.data() + ")";
        EXPECT_EQ(textsOf(notes), Texts(c.note.empty() ? 0 : 1, where + c.note)) << c.text;
    }
    EXPECT_EQ(readGood(with(46, "x")).biases->values[3], 38.5);  // it only repeats an earlier field
}

TEST(CsvCases, linesOfOtherLengths) {
    const std::string whole = joined(ownNumbers());
    FieldNotes notes;
    EXPECT_EQ(readGood(whole + ",,9", &notes).csvData->csvReal10, 56.5);
    EXPECT_EQ(textsOf(notes),
              Texts{"ReadCsv: The line has 58 fields instead of 56; the ones after these are ignored."});
    notes.clear();
    // The record is read into again: it has the parts of the last line alone.
    ObsRecord rec = readGood(whole);
    static_cast<ObsFields&>(rec) = kDefaultFields;
    ASSERT_FALSE(ReadCsv(std::string("U,1,2,2024,1,0,0,0"), rec, &notes));
    EXPECT_EQ(textsOf(notes), Texts{"ReadCsv: The line has 8 fields instead of 56; the missing ones are taken as 0."});
    const CsvObsData& data = *rec.csvData;
    EXPECT_EQ(std::tuple(data.csvInt2, data.csvChar, data.csvReals[8]), std::tuple(0, ' ', 0.0));
    EXPECT_FALSE(rec.biases || rec.rfData);
    // A line cut anywhere is read up to there, and never beyond its end.
    for (std::size_t length = 1; length < whole.size(); ++length) {
        const std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        ObsRecord cut;
        const std::size_t withDay = whole.find(",6,7,");
        ASSERT_EQ(ReadCsv(std::string_view(exact.data(), length), cut).has_value(), length < withDay) << length;
        EXPECT_EQ(cut.satNum, length > 2 ? 2 : 0);
    }
}

TEST(CsvCases, refusals) {
    const auto refusalOf = [](const std::string& line) {
        ObsRecord rec;
        FieldNotes notes;
        const MaybeRefusal refusal = ReadCsv(line, rec, &notes);
        EXPECT_TRUE(line.size() < 8 || notes.size() < 2) << line;  // at most that fields are missing
        return refusal ? refusal->message() : "";
    };
    for (const char* line : {"", "   "}) EXPECT_EQ(refusalOf(line), "ReadCsv: CSV string is blank");
    const std::string bad =
        "hello 1949,365,0,0,0 1950,0,0,0,0 2024,0,24,0,0 2024,400,0,0,0 2023,366,0,0,0 "
        "2024,1,24,0,0 2024,1,99,0,0 2024,1,0,60,0 2024,1,0,-1,0 2024,1,0,0,86401 "
        "2024,1,0,0,-86401 2024,1,0,0,1e999 24,1,0,0,0 99999,1,0,0,0 1899,365,0,0,0 "
        "3000,1,0,0,0 x,1,0,0,0 2024,x,0,0,0 2024,1,x,0,0 2024,1,0,x,0 2024,1,0,0,x "
        "2024,1.5,0,0,0 ,,,, 2024,,0,0,0";
    for (const std::string& date : split(bad, ' '))
        EXPECT_EQ(refusalOf("U,1,2," + date), "ReadCsv: Bad date time in CSV string") << date;
    for (const auto& [date, time] : {std::pair{"2024,366,23,59,60", family::parts2utc(2025, 1, 0, 0, 0)},
                                     {"2024, 3.66e2,,,", family::parts2utc(2024, 366, 0, 0, 0)},
                                     {"1950,1,0,0,-43200", 0.5}})
        EXPECT_EQ(readGood(std::string("U,1,2,") + date).obsTime, time) << date;
}

}  // namespace obs::test
