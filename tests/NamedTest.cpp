// SPDX-License-Identifier: Apache-2.0
// The functions that are kept because the design names them: nothing else calls them, so nothing else tests them.
#include <gtest/gtest.h>

#include "Obs/FormatObs/Named.h"
#include "Obs/ObsCardReading/Named.h"
#include "Obs/ObsTree/Named.h"
#include "Obs/ObsTypes/Named.h"
#include "tests/TestLog.h"

namespace obs::test {

TEST(Named, singleFieldsOfCards) {
    const struct {
        double (*parse)(std::string_view);
        const char* field;
        double value;
    } cases[] = {
        // clang-format off
        {ParseOverpunchNum, "J23", -123}, {ParseOverpunchNum, "x23", 0}, {ParseRA, "1230300", 187.625},
        {ParseRA, "123030x", 0}, {ParseElev, "J23456", -12.3456}, {ParseAzim, "1234567", 123.4567},
        {ParseRange, "12345672", 1234.567}, {ParseRangeType6, "123456782", 12345.678},
        {ParseRangeRate, "J234567", -12.34567}, {ParseRateB3, "-1234", -0.1234}, {ParseRangeAccel, "R2345", -9.2345},
        {ParseEfgPos, "1123456784", -1.2345678}, {ParseEfgVel, "012345673", 0.1234567}, {ParseEfgVel, "", 0},
        {ParseElevTTY, "1123456", -12.3456}, {ParseElevTTY, "-12.5", 12.5}, {ParseRateTTY, "112345", -1.2345},
        {ParseRangeRateTTY, "J0123456", 1.23456}, {ParseRangeRateTTY, "1", 0},
        // clang-format on
    };
    for (const auto& c : cases) EXPECT_DOUBLE_EQ(c.parse(c.field), c.value) << c.field << " at " << &c - cases;
    EXPECT_EQ(GetSign('1') * GetSign('J'), -1);
    ValidateObs({});
}

TEST(Named, releaseAndTypes) {
    ObsBinTree node;
    node.left = 7;
    node.rec.create().biases.create();
    freeobsbintree(node);
    freeobsbintree(node);
    EXPECT_FALSE(node.rec);
    EXPECT_EQ(node.left, 7u);
    MatchedObs matched;
    matched.list.create();
    freematchedobs(matched);
    EXPECT_FALSE(matched.list);
    std::string types;
    for (std::int32_t type = -1; type <= 33; ++type) types += isangleonlyob(type) ? std::to_string(type) : "";
    EXPECT_EQ(types, "01589");
}

TEST(Named, ofTheStore) {
    obsemptytree();
    const TestLog log;
    ObsRecord rec;
    rec.obsType = 6;
    std::int64_t keys[] = {10, 20};
    for (std::int64_t& key : keys) {
        AddStage stage{};
        rec.range = static_cast<double>(key);
        ASSERT_LE(obsaddnode(key, rec, 0, stage), kStatusGrown);
    }
    const SlotNumber a = gStore.find(keys[0]), b = gStore.find(keys[1]);
    EXPECT_TRUE(lessthan(a, b, 8) && !lessthan(b, a, -8) && !lessthan(a, b, 1)) << "insertion; equal fields";
    ObsRecordPtr pointer = nullptr;
    EXPECT_EQ(getobsdataptr(20, pointer), kStatusOk);
    EXPECT_EQ(pointer, getobsptr(b));
    obsgetrec(b, rec);
    EXPECT_EQ(rec.range, 20);
    EXPECT_EQ(getobsdata(10, rec), kStatusOk);
    EXPECT_EQ(rec.range, 10);
    EXPECT_EQ(getobsdataptr(77, pointer), kStatusRefused);
    EXPECT_EQ(log.errors.back(), "GetObsDataPtr: Can not locate obsKey =                  77 in the tree.");
    EXPECT_EQ((nextobskey(5) - 5) % 1'000'000'000, 0);
    obsemptytree();
}

}  // namespace obs::test
