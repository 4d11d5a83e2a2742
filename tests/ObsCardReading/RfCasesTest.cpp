// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsCardReading/Cards/Rf.h"

#include <gtest/gtest.h>

#include "tests/CaseFile.h"

namespace obs::test {

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
            const MaybeRefusal refusal = ReadRFObs(line, rec);
            EXPECT_EQ(refusal.has_value(), missing < items.size()) << line;
            if (refusal) continue;
            const MaybeRefusal again = ReadRFObs(line, rec);  // the record has an RF part by now
            EXPECT_EQ(again ? again->message() : "", "ReadRFObs: Memory allocation failed");
        }
}

}  // namespace obs::test
