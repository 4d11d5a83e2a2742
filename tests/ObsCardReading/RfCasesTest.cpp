#include "Obs/ObsCardReading/Rf.h"

#include <gtest/gtest.h>

#include "Obs/CardLayouts/Rf.h"
#include "siblings/include/ObsFamily.h"
#include "tests/CaseFile.h"

namespace obs::test {

namespace {

double fieldOf(const ObsRecord& rec, const std::string& name) {
    const RfObsData& data = *rec.rfData;
    const std::map<std::string, double> fields{
        {"satNum", rec.satNum},           {"senNum", rec.senNum},
        {"obsType", rec.obsType},         {"obsTime", rec.obsTime},
        {"range", rec.range},             {"rangeRate", rec.rangeRate},
        {"site1", data.site1SenNum},      {"delay1", data.delay1},
        {"delay2", data.delay2},          {"rangeSigma", data.rangeSigmaM},
        {"snr", data.snr},                {"rangeRateSigma", data.rangeRateSigmaMs},
        {"rf", static_cast<double>(data.rf)}, {"processTime", data.processTime}};
    return fields.at(name);
}

void runCase(const Case& one) {
    ObsRecord rec;
    const MaybeRefusal refusal = ReadRFObs(one.card, rec);
    ASSERT_EQ(refusal.has_value(), !one.refusal.empty()) << one.where << "\n" << one.card;
    if (refusal) {
        EXPECT_EQ(refusal->message().substr(0, one.refusal.size()), one.refusal) << one.where;
        return;
    }
    for (const auto& [name, value] : one.fields) {
        const std::string flags(rec.rfData->flags.begin(), rec.rfData->flags.end());
        if (name == "flags") EXPECT_EQ(flags, value) << one.where;
        else EXPECT_EQ(fieldOf(rec, name), std::strtod(value.c_str(), nullptr)) << one.where << " " << name;
    }
}

void addSensor(std::int32_t number, std::string description) {
    description.resize(512, ' ');
    ASSERT_EQ(FamilyAddSensor(number, description.c_str(), 1, 2, 3), 0);
}

}  // namespace

TEST(RfCases, linesGiveTheirFieldsOrTheirMessage) {
    addSensor(700, "NODE7");
    addSensor(701, "TWO WORD");
    for (const Case& one : readCases(OBS_TEST_DATA "/rf/rf.cases")) runCase(one);
    FamilyRemoveSensors();
}

// Any separator will do; whichever item is missing, the line is bad.
TEST(RfCases, separatorsAndMissingItems) {
    const std::string items[rf::kItemCount] = {
        "2024:01:15::12:34:56", "1", "2", "3", "4", "CCH_ESP", "5", "CDE_ESP", "6", "7", "8", "2024:01:16::00:00:00",
        "9", "A", "B", "C"};
    for (const std::string separator : {" ", ",", "  ,  ", "\t"}) {
        for (std::size_t missing = 0; missing <= rf::kItemCount; ++missing) {
            std::string line;
            for (std::size_t i = 0; i < rf::kItemCount; ++i) line += (i == missing ? "" : items[i]) + separator;
            ObsRecord rec;
            const MaybeRefusal refusal = ReadRFObs(line, rec);
            ASSERT_EQ(refusal.has_value(), missing < rf::kItemCount) << line;
            if (refusal) EXPECT_EQ(refusal->message(), "ReadRFObs: Can't read obs data.");
            else EXPECT_EQ(rec.rfData->flags[2], 'C');
        }
    }
}

TEST(RfCases, aRecordWithAnRfPartIsRefused) {
    ObsRecord rec;
    rec.rfData.create();
    const MaybeRefusal refusal = ReadRFObs(readCases(OBS_TEST_DATA "/rf/rf.cases").front().card, rec);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->message(), "ReadRFObs: Memory allocation failed");
}

}  // namespace obs::test
