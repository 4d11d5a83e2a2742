// SPDX-License-Identifier: Apache-2.0
// What is said of the columns of lines, against what the readers make of the same lines.
#include <gtest/gtest.h>

#include "Obs/ObsCardReading/LineColumns.h"
#include "tests/CaseFile.h"

namespace obs::test {

namespace {

std::string faultsOf(const Case& one) {
    std::string faults;
    for (const LineColumn& column : describeLine(one.card, one.card2))
        if (!column.fault.empty()) faults += column.name + " " + column.fault + "; ";
    return faults;
}

}  // namespace

// A good line has no column at fault; a bad one has, unless what is wrong with it is in no column.
TEST(LineColumns, faultsAreThoseOfTheReaders) {
    int good = 0, bad = 0, blamed = 0;
    for (const char* file : {"/b3/b3.cases", "/b3/b3e.cases", "/eci/eci.cases", "/rf/rf.cases"}) {
        for (const Case& one : readCases(std::string(OBS_TEST_DATA) + file)) {
            const std::string faults = faultsOf(one);
            if (one.refusal.empty()) {
                ++good;
                EXPECT_EQ(faults, "") << one.where << " " << one.card;
            } else {
                ++bad;
                blamed += faults.empty() ? 0 : 1;
            }
        }
    }
    EXPECT_GT(good, 60);
    EXPECT_GT(blamed, bad * 3 / 4) << blamed << " of " << bad;
}

}  // namespace obs::test
