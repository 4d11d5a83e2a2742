// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Rf.h"

#include <gtest/gtest.h>

#include "siblings/include/ObsFamily.h"
#include "tests/CaseFile.h"

namespace obs::test {

TEST(RfCases, linesGiveTheirFieldsOrTheirMessage) {
    for (const std::int32_t number : {700, 701}) {
        std::string description = number == 700 ? "NODE7" : "TWO WORD";
        description.resize(512, ' ');
        ASSERT_EQ(FamilyAddSensor(number, description.c_str(), 1, 2, 3), 0);
    }
    for (const Case& one : readCases(OBS_TEST_DATA "/rf/rf.cases")) {
        ObsRecord rec;
        const MaybeRefusal refusal = ReadRFObs(one.card, rec);
        EXPECT_EQ(refusal ? refusal->message() : "", one.refusal) << one.where;
        if (refusal) continue;
        const RfObsData& data = *rec.rfData;
        const std::map<std::string, double> fields{{"satNum", rec.satNum},
                                                   {"senNum", rec.senNum},
                                                   {"obsType", rec.obsType},
                                                   {"obsTime", rec.obsTime},
                                                   {"range", rec.range},
                                                   {"rangeRate", rec.rangeRate},
                                                   {"site1", data.site1SenNum},
                                                   {"snr", data.snr},
                                                   {"delay1", data.delay1},
                                                   {"delay2", data.delay2},
                                                   {"rf", static_cast<double>(data.rf)},
                                                   {"rangeSigma", data.rangeSigmaM},
                                                   {"rangeRateSigma", data.rangeRateSigmaMs},
                                                   {"processTime", data.processTime}};
        for (const auto& [name, value] : one.fields) {
            if (name == "flags") EXPECT_EQ(std::string(data.flags.data(), data.flags.size()), value) << one.where;
            else EXPECT_EQ(fields.at(name), std::strtod(value.c_str(), nullptr)) << one.where << " " << name;
        }
        const MaybeRefusal again = ReadRFObs(one.card, rec);  // the record has an RF part by now
        ASSERT_TRUE(again);
        EXPECT_EQ(again->message(), "ReadRFObs: Memory allocation failed");
    }
    FamilyRemoveSensors();
}

// Any separator will do; whichever item is missing, the line is bad.
TEST(RfCases, separatorsAndMissingItems) {
    const std::vector<std::string> items{
        "2024:01:15::12:34:56", "1", "2", "3", "4", "CCH_ESP", "5", "CDE_ESP", "6", "7", "8",
        "2024:01:16::00:00:00", "9", "A", "B", "C"};
    for (const std::string separator : {" ", ",", "  ,  ", "\t"})
        for (std::size_t missing = 0; missing <= items.size(); ++missing) {
            std::string line;
            for (std::size_t i = 0; i < items.size(); ++i) line += (i == missing ? "" : items[i]) + separator;
            ObsRecord rec;
            EXPECT_EQ(ReadRFObs(line, rec).has_value(), missing < items.size()) << line;
        }
}

}  // namespace obs::test
