// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/FormatObs/Csv.h"
#include "Obs/FormatObs/Tty.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "Obs/ObsCardReading/Loading/ReadObs.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "ObsDllExports.h"
#include "tests/RecordFields.h"
#include "tests/StoreCheck.h"
#include "tests/TestLog.h"

namespace obs::test {

namespace {

using Format = SaveForm;
const std::map<Format, const char*> kNames{{Format::b3, "B3"}, {Format::tty, "TTY"}, {Format::csv, "CSV"}};

/// A record as it comes back from a format; false when the format cannot carry it or what it wrote is refused.
bool carry(Format format, const ObsRecord& rec, ObsRecord& back) {
    char line[kCardLength], second[kCardLength];
    CardLines lines{{line, second}, {}};
    back = ObsRecord{};
    back.rotateToDate = 0;
    if (cardFormatOfForm(static_cast<std::int32_t>(format))->writing->write(rec, lines)) return false;
    if (format == SaveForm::tty) return !ReadTTYFrLines(lines.line(0), lines.line(1), processSettings(), back);
    const LineClass lineClass = ObsCardType(lines.line(0));
    return hasReader(lineClass) && !readLine(lines.line(0), lineClass, back);
}

/// An observation of a type with every field that the type has.
ObsRecord fullRecord(std::int32_t type) {
    ObsRecord rec;
    rec.satNum = 12345;
    rec.senNum = 211;
    rec.altSatNum1 = 23456;
    rec.altSatNum2 = 34567;
    rec.indicator1 = 3;
    rec.indicator2 = 4;
    rec.obsType = type;
    rec.obsTime = 27029.5;
    if (kAngleTypes.has(type)) {
        rec.elOrDec = -12.3456;
        rec.azOrRa = 150.25;
    }
    if (ObsHasRaDec(type)) rec.equinoxInd = 2;
    if (ObsHasRange(type)) rec.range = 1234.5;
    if (ObsHasRangeRate(type)) rec.rangeRate = -5.25;
    if (type == 4) {
        rec.elRate = 0.5;
        rec.azRate = -0.25;
        rec.rangeAccel = 0.125;
    }
    if (kSensorPositionTypes.has(type)) rec.senPos = {6378.125, -100.5, 0.25};
    if (type == kTypeEciPosition || type == kTypeEciPositionVelocity) rec.satPos = {7000.5, -1, 2};
    if (type == kTypeEciPositionVelocity) rec.satVel = {7.5, 0, -0.5};
    return rec;
}

/// What a format loses of a type on purpose, or cannot hold: the field's name and what comes back instead.
struct Difference {
    Format format;
    std::int32_t type;  ///< -1: every type
    const char* field;
    double instead;
};
const Difference kDifferences[] = {
    {Format::tty, -1, "altSatNum1", 12345},  // card 1 has one satellite number, which stands in for all three
    {Format::tty, -1, "altSatNum2", 12345},
    {Format::tty, -1, "indicator2", 9},  // no column: "not given"
    {Format::tty, 5, "equinoxInd", 0},   // the writer's "0" in column 45
};

using Fields = std::map<std::string, double>;

Fields expectedAfter(Format format, Fields fields, std::int32_t type) {
    for (const Difference& d : kDifferences)
        if (d.format == format && (d.type == -1 || d.type == type)) fields[d.field] = d.instead;
    if (format == Format::b3 && fields["indicator2"] == 9) fields["indicator2"] = 0;  // written as a blank
    return fields;
}

void expectSame(const Fields& got, const Fields& expected, const std::string& what) {
    for (const auto& [name, value] : expected)
        EXPECT_NEAR(got.at(name), value, 1e-9 * std::fabs(value)) << what << ' ' << name;
}

struct Text {
    Text() { std::memset(chars, '?', sizeof chars); }
    operator char*() { return chars; }
    std::string trimmed() const {
        const std::string text(chars, 512);
        return text.substr(0, text.find_last_not_of(' ') + 1);
    }
    char chars[512];
};

}  // namespace

class Conversions : public testing::Test {
protected:
    void SetUp() override {
        ObsRemoveAll();
        SetTTYYear(2024);
    }
    void TearDown() override {
        SetTTYYear(0);
        ObsRemoveAll();
    }
    TestLog log_;
};

// Every type through every pair of formats: what comes back is what the table of differences says.
TEST_F(Conversions, everyPairOfFormats) {
    const std::set<std::int32_t> carried{0, 1, 2, 3, 4, 5, 6, 8, 9, 18, 19};
    for (const std::int32_t type : carried) {
        const ObsRecord rec = fullRecord(type);
        for (const auto& [first, firstName] : kNames) {
            ObsRecord once;
            ASSERT_TRUE(carry(first, rec, once)) << firstName << " type " << type;
            const Fields expectedOnce = expectedAfter(first, fieldsOf(rec), type);
            expectSame(fieldsOf(once), expectedOnce, std::string(firstName) + " type " + std::to_string(type));
            for (const auto& [second, secondName] : kNames) {
                ObsRecord twice;
                ASSERT_TRUE(carry(second, once, twice)) << firstName << secondName << " type " << type;
                expectSame(fieldsOf(twice), expectedAfter(second, expectedOnce, type),
                           std::string(firstName) + " to " + secondName + " type " + std::to_string(type));
            }
        }
    }
    ObsRecord back;
    for (const std::int32_t type : {10, 11}) {
        EXPECT_FALSE(carry(Format::tty, fullRecord(type), back)) << "the reader looks for the time on card 2";
        EXPECT_TRUE(carry(Format::csv, fullRecord(type), back));
        ASSERT_TRUE(carry(Format::b3, fullRecord(type), back));
        EXPECT_EQ(back.satVel, fullRecord(type).satVel);
    }
    EXPECT_FALSE(carry(Format::csv, fullRecord(7), back));
    EXPECT_FALSE(carry(Format::b3, fullRecord(7), back));
}

TEST_F(Conversions, exportedConversions) {
    char b3[kCardLength];
    CardLines b3Lines{{b3, nullptr}, {}};
    const ObsRecord rec = fullRecord(3);
    ASSERT_FALSE(CreateB3Obs(rec, b3Lines));
    const std::string card(b3Lines.line(0));
    Text csv, tty1, tty2, again;
    EXPECT_EQ(ObsB3ToCsv(card.c_str(), csv), 0);
    EXPECT_EQ(csv.trimmed().substr(0, 30), "U,12345,211,2024,1,12,0,0,-12.");
    std::string lower = card;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    EXPECT_EQ(ObsB3ToCsv(lower.c_str(), again), 0);
    EXPECT_EQ(again.trimmed(), csv.trimmed());
    EXPECT_EQ(ObsCsvToB3(csv, 0, again), 0);
    EXPECT_EQ(again.trimmed(), card);
    EXPECT_EQ(ObsCsvToB3(csv, 339999, again), 0);
    EXPECT_EQ(again.trimmed().substr(0, 6), "UZ9999");
    EXPECT_EQ(again.trimmed().substr(6), card.substr(6)) << "only the satellite number changes";
    EXPECT_EQ(ObsCsvToTTY(csv, 5, tty1, tty2), 0);
    EXPECT_EQ(tty1.trimmed().substr(0, 28),
              "))U   33211000050011200"
              "00000");
    EXPECT_EQ(tty2.trimmed(), "");
    EXPECT_EQ(ObsTTYToCsv(tty1, tty2, again), 0);
    EXPECT_EQ(again.trimmed().substr(0, 20), "U,5,211,2024,1,12,0,");
    EXPECT_EQ(ObsGetCount(), 0) << "nothing was stored";

    for (const std::int32_t bad : {340000, -1}) {
        EXPECT_EQ(ObsCsvToB3(csv, bad, again), 2);
        EXPECT_EQ(again.trimmed(), "");
        EXPECT_EQ(log_.errors.back(), "Csv2B3: newSatno is not valid (must not be greater than 339999).");
        EXPECT_EQ(ObsCsvToTTY(csv, bad, tty1, tty2), 2);
        EXPECT_EQ(tty1.trimmed() + tty2.trimmed(), "");
        EXPECT_EQ(log_.errors.back(), "Csv2TTY: newSatno is not valid (must not be greater than 339999).");
    }
    EXPECT_EQ(ObsCsvToB3("", 0, again), 2);
    EXPECT_EQ(log_.errors.back(), "Csv2B3: This isn't a valid CSV observation.");
    EXPECT_EQ(log_.errors[log_.errors.size() - 2], "ReadCsv: CSV string is blank");
    EXPECT_EQ(ObsCsvToTTY("", 0, tty1, tty2), 2);
    EXPECT_EQ(log_.errors.back(), "Csv2TTY: This isn't a valid CSV observation.");
    EXPECT_EQ(ObsB3ToCsv("nothing", again), 2);
    EXPECT_EQ(log_.errors.back(), "B32Csv: This isn't a valid B3/B3E card.");
    ObsSetTTYYear(0);
    EXPECT_EQ(ObsTTYToCsv("))U", "", again), 2);
    EXPECT_EQ(log_.errors.back(), "TTY2Csv: This isn't a valid TTY card.");
    EXPECT_EQ(log_.errors[log_.errors.size() - 2], "ReadTTY1stLine: Must set the year for TTY input file.");
    EXPECT_EQ(again.trimmed(), "");
    EXPECT_EQ(ObsTypeCToI('m'), 18);
    EXPECT_EQ(ObsTypeCToI('?'), -1);
    EXPECT_EQ(ObsTypeIToC(13), 'R');
    EXPECT_EQ(ObsTypeIToC(12), ' ');
}

TEST_F(Conversions, addingAndGettingEachText) {
    for (const std::int32_t type : {0, 1, 4, 5, 6, 8, 19}) {
        ObsRecord rec = fullRecord(type);
        rec.equinoxInd = 0;
        rec.obsTime += type / 24.0;
        char line[kCardLength] = {}, card1[kCardLength], card2[kCardLength];
        CardLines csvLine{{line, nullptr}, {}}, message{{card1, card2}, {}};
        ASSERT_FALSE(CreateCsvObs(rec, csvLine));
        const std::string csv(csvLine.line(0));
        std::int64_t key = 0;
        ObsAddFrCsvML(csv.c_str(), &key);
        ASSERT_GT(key, 0);
        Text text, text2;
        EXPECT_EQ(ObsGetCsv(key, text), 0);
        EXPECT_EQ(text.trimmed(), csv);
        ASSERT_FALSE(CreateTTYObs(rec, message));
        EXPECT_EQ(ObsGetTTYCard(key, text, text2), 0);
        EXPECT_EQ(std::string(text.chars, 80), std::string(card1, 80));
        EXPECT_EQ(std::string(text2.chars, 80), std::string(card2, 80));
        EXPECT_EQ(ObsAddFrCsv(csv.c_str()), 0) << "a duplicate";
        EXPECT_EQ(ObsRemove(key), 0);
        ObsAddFrTTYCardsML(std::string(card1, 80).c_str(), std::string(card2, 80).c_str(), &key);
        EXPECT_GT(key, 0) << type;
        EXPECT_EQ(ObsAddFrTTYCards(std::string(card1, 80).c_str(), std::string(card2, 80).c_str()), 0);
    }
    Text a, b;
    EXPECT_EQ(ObsGetCsv(77, a), 2);
    EXPECT_EQ(log_.errors.back(), "ObsGetCsv: Unable to locate obsKey                  77 in the OBS binary tree.");
    EXPECT_EQ(ObsGetTTYCard(77, a, b), 2);
    EXPECT_EQ(log_.errors.back(), "ObsGetTTYCard: Unable to locate obsKey                  77 in the OBS binary tree.");
    EXPECT_EQ(a.trimmed() + b.trimmed(), "");
    EXPECT_EQ(ObsAddFrCsv("U,,"), -1);
    EXPECT_EQ(ObsGetCsv(77, nullptr), 2);
    EXPECT_EQ(ObsCsvToTTY(nullptr, 0, a, b), 2);
    EXPECT_EQ(ObsCsvToTTY("", 0, a, nullptr), 2);
}

// A file that mixes all formats loads whole, and each form that it is saved in gives back what that form carries.
TEST_F(Conversions, aMixedFileInTwoGroups) {
    const std::string deck = OBS_TEST_DATA "/mixed/deck.txt";
    ObsLoadFileGID(deck.c_str(), 1);
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCountGID(1)));
    ObsLoadFileGID(deck.c_str(), 2);
    ObsGetLoadedGID(1, -10, keys.data());
    const auto rfLines = std::count_if(keys.begin(), keys.end(), [](std::int64_t key) {
        Text csv;
        ObsGetCsv(key, csv);
        return csv.trimmed().find(",13,") != std::string::npos;
    });
    EXPECT_GT(rfLines, 0);
    EXPECT_EQ(ObsGetCountGID(2), rfLines) << "all but RF observations were known already";
    const auto folder = std::filesystem::temp_directory_path() / ("obs_mixed_" + std::to_string(::getpid()));
    std::filesystem::create_directory(folder);
    const auto saved = folder / "saved.txt";
    EXPECT_EQ(ObsSaveFileGID(saved.c_str(), 1, 0, 2), 0);
    std::vector<std::pair<std::int64_t, std::string>> before, after;
    const auto list = [&](auto& out) {
        std::vector<std::int64_t> each(static_cast<std::size_t>(ObsGetCount()));
        ObsGetLoaded(9, each.data());
        for (const std::int64_t key : each) {
            Text csv;
            EXPECT_EQ(ObsGetCsv(key, csv), 0);
            out.emplace_back(key, csv.trimmed());
        }
    };
    EXPECT_EQ(ObsRemoveGID(2), 0);
    list(before);
    ObsRemoveAll();
    EXPECT_EQ(ObsLoadFile(saved.c_str()), 0);
    list(after);
    EXPECT_GT(before.size(), 15u);
    EXPECT_EQ(after, before) << "CSV gives the same store";

    std::int64_t untouched[1] = {-7};
    ObsGetLoadedGID(5, -1, untouched);
    EXPECT_EQ(untouched[0], -7);
    EXPECT_EQ(ObsRemoveGID(5), 0);
    EXPECT_EQ(ObsRemoveGID(0), 0);
    EXPECT_EQ(ObsGetCount(), 0);
    std::filesystem::remove_all(folder);
}

}  // namespace obs::test
