// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>

#include "Obs/FormatObs/B3.h"
#include "Obs/FormatObs/CardFormats.h"
#include "Obs/ObsCardReading/Loading/TtyYear.h"
#include "tests/ExportTest.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

/// An observation of a type with every field that the type has.
ObsRecord fullRecord(std::int32_t type) {
    ObsRecord rec = plainRecord(type);
    forEachFieldOf<ObsFields>([&](auto field) {
        if constexpr (field.isReal)
            if (field.facts.types.has(type)) field.in(rec) = 0.5 + 0.25 * field.facts.index;
    });
    rec.altSatNum1 = rec.altSatNum2 = rec.satNum;
    rec.indicator1 = 3;
    rec.obsTime = plainRecord(type).obsTime;
    return rec;
}

/// A form as the exported functions take and give it.
const struct {
    std::int32_t form;
    void (*addMl)(const char*, const char*, std::int64_t*);
    std::int64_t (*add)(const char*, const char*);
    std::int32_t (*get)(std::int64_t, char*, char*);
} kForms[] = {
    {OBS_FORMAT_B3, [](auto one, auto, auto key) { ObsAddFrB3CardML(one, key); },
     [](auto one, auto) { return ObsAddFrB3Card(one); },
     [](auto key, auto one, auto) { return ObsGetB3Card(key, one); }},
    {OBS_FORMAT_TTY, ObsAddFrTTYCardsML, ObsAddFrTTYCards, ObsGetTTYCard},
    {OBS_FORMAT_CSV, [](auto one, auto, auto key) { ObsAddFrCsvML(one, key); },
     [](auto one, auto) { return ObsAddFrCsv(one); }, [](auto key, auto one, auto) { return ObsGetCsv(key, one); }},
};

}  // namespace

class Conversions : public ExportTest {
protected:
    void SetUp() override {
        ExportTest::SetUp();
        SetTTYYear(2024);
    }
    void TearDown() override {
        SetTTYYear(0);
        ExportTest::TearDown();
    }
};

TEST_F(Conversions, addingAndGettingEachText) {
    for (const std::int32_t type : {0, 1, 4, 5, 6, 8, 19})
        for (const auto& [form, addMl, addOne, get] : kForms) {
            SCOPED_TRACE(std::to_string(form) + " type " + std::to_string(type));
            Text one, two, back1, back2;
            CardLines lines{{one, two}, {}};
            ASSERT_FALSE(cardFormatOfForm(form)->writing->write(fullRecord(type), lines));
            const std::string first = Text(std::string(lines.line(0))).trimmed(),
                              second = Text(std::string(lines.line(1))).trimmed();
            std::int64_t key = 0;
            addMl(first.c_str(), second.c_str(), &key);
            EXPECT_EQ(std::pair(SatNumFrObsKey(key), SenNumFrObsKey(key)), std::pair(12345, 211));
            EXPECT_EQ(get(key, back1, back2), 0);
            EXPECT_EQ(back1.trimmed(), first);
            EXPECT_TRUE(form != OBS_FORMAT_TTY || back2.trimmed() == second) << back2.trimmed();
            EXPECT_EQ(addOne(first.c_str(), second.c_str()), 0) << "a duplicate";
            EXPECT_EQ(ObsLoadTwoCards(Text(first), Text(second)), 0);
            EXPECT_EQ(ObsRemove(key), 0);
            EXPECT_GT(addOne(first.c_str(), second.c_str()), 0);
            ObsRemoveAll();
        }
}

TEST_F(Conversions, exportedConversions) {
    Text b3, csv, tty1, tty2, again;
    CardLines b3Lines{{b3, nullptr}, {}};
    ASSERT_FALSE(CreateB3Obs(fullRecord(3), b3Lines));
    const std::string card = Text(std::string(b3Lines.line(0))).trimmed();
    std::string lower = card;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return static_cast<char>(std::tolower(c)); });
    for (const std::string& one : {card, lower}) {
        EXPECT_EQ(ObsB3ToCsv(one.c_str(), csv), 0);
        EXPECT_EQ(csv.trimmed().substr(0, 30), "U,12345,211,2024,1,12,0,0,1.75");
    }
    EXPECT_EQ(ObsCsvToB3(csv, 0, again), 0);
    EXPECT_EQ(again.trimmed(), card);
    EXPECT_EQ(ObsCsvToB3(csv, 339999, again), 0);
    EXPECT_EQ(again.trimmed(), "UZ9999" + card.substr(6)) << "only the satellite number changes";
    EXPECT_EQ(ObsCsvToTTY(csv, 5, tty1, tty2), 0);
    EXPECT_EQ(tty1.trimmed().substr(0, 28) + tty2.trimmed(), "))U   3321100005001120000000");
    EXPECT_EQ(ObsTTYToCsv(tty1, tty2, again), 0);
    EXPECT_EQ(again.trimmed().substr(0, 20), "U,5,211,2024,1,12,0,");
    EXPECT_EQ(ObsGetCount(), 0) << "nothing was stored";
    for (const std::int32_t bad : {340000, -1}) {
        EXPECT_EQ(ObsCsvToB3(csv, bad, again), 2);
        EXPECT_EQ(log_.errors.back(), "Csv2B3: newSatno is not valid (must not be greater than 339999).");
        EXPECT_EQ(ObsCsvToTTY(csv, bad, tty1, tty2), 2);
        EXPECT_EQ(log_.errors.back(), "Csv2TTY: newSatno is not valid (must not be greater than 339999).");
        EXPECT_EQ(again.trimmed() + tty1.trimmed() + tty2.trimmed(), "");
    }
    ObsSetTTYYear(0);
    EXPECT_EQ(ObsTTYToCsv("))U", "", again), 2);
    EXPECT_EQ(log_.errors[log_.errors.size() - 2], "ReadTTY1stLine: Must set the year for TTY input file.");
    EXPECT_EQ(std::pair(ObsTypeCToI('m'), ObsTypeIToC(13)), std::pair(18, 'R'));
    EXPECT_EQ(ObsCsvToTTY(nullptr, 0, tty1, tty2) + ObsCsvToTTY("", 0, tty1, nullptr) + ObsGetCsv(77, nullptr), 6);
}

}  // namespace obs::test
