// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Keys.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ObsDllExports.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Time.h"
#include "tests/TestLog.h"

namespace obs::test {

TEST(Keys, aFieldKeyIsTimeSatelliteSensor) {
    const double noon = family::tcomps2utc(2024, 1, 12, 0, 0);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    struct Case {
        std::int32_t satNum, senNum;
        double time;
        std::int64_t key;
    };
    const Case cases[] = {
        {12345, 211, noon, 12'960'000'012'345'211},
        {10'000'001, 1211, noon, 12'960'000'000'001'211},
        {12345, 211, family::tcomps2utc(2020, 33, 1, 2, 3.44),
         ObsFieldsToObsKey(12345, 211, family::tcomps2utc(2021, 33, 1, 2, 3.44))},
        // clang-format off
        {-1, 211, noon, kNoKey}, {12345, -1, noon, kNoKey}, {-10'000'000, 211, noon, kNoKey},
        {12345, 211, nan, kNoKey}, {12345, 211, infinity, kNoKey}, {12345, 211, -1e300, kNoKey},
        {12345, 211, 1e300, kNoKey},
        // clang-format on
    };
    for (const Case& c : cases) {
        std::int64_t key = 0;
        EXPECT_EQ(ObsFieldsToObsKeyML(c.satNum, c.senNum, c.time, &key), c.key)
            << c.satNum << ' ' << c.senNum << ' ' << c.time;
        EXPECT_EQ(key, c.key);
    }
    const std::int64_t lastOfYear = ObsFieldsToObsKey(9'999'999, 999, family::tcomps2utc(2024, 366, 23, 59, 59.999));
    EXPECT_LT(lastOfYear, kLastFieldKeyLimit);
    EXPECT_FALSE(isdmaobs(kLastFieldKeyLimit));
    EXPECT_TRUE(isdmaobs(kLastFieldKeyLimit + 1));
    EXPECT_FALSE(isdmaobs(kNoKey));
}

TEST(Keys, theFirstSatelliteNumberThatIsNotZeroIdentifies) {
    ObsRecord rec;
    rec.obsTime = 20000;
    EXPECT_EQ(getobskey(rec), kNoKey);
    rec.altSatNum2 = 77;
    EXPECT_EQ(getobskey(rec), obsfields2obskey(20000, 77, 0));
    rec.altSatNum1 = 23456;
    EXPECT_EQ(getobskey(rec), obsfields2obskey(20000, 23456, 0));
    rec.satNum = 5;
    EXPECT_EQ(getobskey(rec), obsfields2obskey(20000, 5, 0));
}

TEST(Keys, theFamilysModeRulesWhileItIsOn) {
    const TestLog log;
    for (const std::int32_t bad : {2, -1}) EXPECT_EQ(SetObsKeyMode(bad), 2);
    EXPECT_EQ(log.errors.back(), "SetObsKeyMode: invalid input value for obs key mode.");
    EXPECT_EQ(SetObsKeyMode(1), 0);
    EXPECT_TRUE(addressKeysInForce());
    EXPECT_EQ(FamilySetAllKeyMode(1, 0), 0);
    EXPECT_FALSE(addressKeysInForce());
    EXPECT_EQ(GetObsKeyMode(), 1);
    EXPECT_EQ(SetObsKeyMode(0), 0);
    EXPECT_EQ(FamilySetAllKeyMode(1, 1), 0);
    EXPECT_TRUE(addressKeysInForce());
    EXPECT_EQ(FamilySetAllKeyMode(0, 0), 0);
    EXPECT_FALSE(addressKeysInForce());
}

}  // namespace obs::test
