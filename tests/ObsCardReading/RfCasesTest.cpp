// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Rf.h"

#include <gtest/gtest.h>

#include "siblings/include/ObsFamily.h"
#include "tests/RecordFields.h"

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
        expectCase(one, refusal, rec);
        if (refusal) continue;
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
