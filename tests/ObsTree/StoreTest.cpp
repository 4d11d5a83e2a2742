// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Store.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "Obs/ObsTree/BulkAdd.h"
#include "siblings/include/Services.h"
#include "tests/StoreCheck.h"
#include "tests/TestLog.h"

namespace obs::test {

class StoreTest : public testing::Test {
protected:
    void SetUp() override { obsemptytree(); }
    void TearDown() override { obsemptytree(); }
};

// One seeded run of everything that changes the store, against an ordered map that does it the obvious way.
TEST_F(StoreTest, behavesAsAnOrderedMap) {
    std::mt19937 random(20240101);
    std::map<std::int64_t, double> model;  // key to range; equal ranges are equal observations
    constexpr std::int64_t kKeys = 4000;
    const auto modelAdd = [&](std::int64_t key, double range) {
        for (int tries = 0; tries < kMaxRekeys; ++tries, key = family::nextsatkey(key, equalityFingerprint(rangeRecord(range)))) {
            const auto [place, added] = model.emplace(key, range);
            if (added) return key;
            if (place->second == range) break;
        }
        return kNoKey;
    };
    for (int step = 0; step < 6000; ++step) {
        const std::int64_t key = static_cast<std::int64_t>(random() % kKeys) * 10'000'000'000;
        const double range = 1.0 + static_cast<double>(random() % 3);
        const auto choice = random() % 1000;
        if (choice < 560) {
            std::int64_t stored = key;
            const std::int32_t status = add(stored, rangeRecord(range));
            const std::int64_t expected = modelAdd(key, range);
            ASSERT_EQ(status == kStatusDuplicate, expected == kNoKey);
            if (expected != kNoKey) {
                ASSERT_EQ(stored, expected);
            }
        } else if (choice < 570) {
            BulkAdd batch(7);
            ObsRecord rec = rangeRecord(range);
            for (std::int64_t i = 0; i < 50; ++i) batch.add(i, rec);
            batch.drop();  // given up: as if it had never been
            std::vector<std::size_t> expected;
            const std::size_t size = random() % 300;
            const bool ascending = random() % 2 == 0;
            for (std::size_t i = 0; i < size; ++i) {
                const std::int64_t each = (ascending ? static_cast<std::int64_t>(i * 13) : static_cast<std::int64_t>(random() % kKeys)) *
                                          10'000'000'000;
                batch.add(each, rec);
                if (modelAdd(each, range) == kNoKey) expected.push_back(i);
            }
            const auto refused = batch.commit();
            ASSERT_EQ(refused.size(), expected.size());
            for (std::size_t i = 0; i < expected.size(); ++i) ASSERT_EQ(refused[i].position, expected[i]);
        } else if (choice < 998 && !model.empty()) {
            auto victim = model.lower_bound(key);
            if (victim == model.end()) victim = model.begin();
            ASSERT_EQ(obsremovenode(victim->first), kStatusOk);
            model.erase(victim);
        } else if (choice >= 998) {
            obsemptytree();
            model.clear();
        }
        if (step % 50 != 0) continue;
        const std::vector<std::int64_t> keys = checkedKeys();
        ASSERT_TRUE(std::equal(keys.begin(), keys.end(), model.begin(), model.end(),
                               [](std::int64_t k, const auto& entry) { return k == entry.first; }));
        for (const auto& [modelKey, modelRange] : model) {
            ObsRecord rec;
            ASSERT_TRUE(obsfindrec(modelKey, rec));
            ASSERT_EQ(rec.range, modelRange);
        }
    }
    EXPECT_GT(model.size(), 100u);
}

TEST_F(StoreTest, threeAscendingKeysMakeOneRotation) {
    for (std::int64_t key : {1, 2, 3}) EXPECT_LE(add(key, rangeRecord(static_cast<double>(key))), kStatusGrown);
    const ReadGuard guard;
    const ObsBinTree root = obsgetnode(gStore.tree.root());
    EXPECT_EQ(root.obsKey, 2);
    EXPECT_EQ(root.balance, 0);
    EXPECT_EQ(obsgetnode(root.left).obsKey, 1);
    EXPECT_EQ(obsgetnode(root.right).obsKey, 3);
    EXPECT_EQ(obsgetnode(root.right).balance, 0);
}

// What counts as the same observation depends on the type; the sensor never counts.
TEST_F(StoreTest, knowsDuplicatesByType) {
    struct Case {
        std::int32_t type;
        double ObsRecord::*field;
        bool matters;
    };
    const Case cases[] = {
        {0, &ObsRecord::rangeRate, true}, {0, &ObsRecord::range, false},   {1, &ObsRecord::elOrDec, true},
        {3, &ObsRecord::rangeRate, true}, {4, &ObsRecord::azRate, true},   {18, &ObsRecord::range, true},
        {5, &ObsRecord::azOrRa, true},    {19, &ObsRecord::range, false},  {6, &ObsRecord::range, true},
        {6, &ObsRecord::elOrDec, false},  {2, &ObsRecord::rangeAccel, true}, {5, &ObsRecord::obsTime, true},
    };
    for (const Case& c : cases) {
        ObsRecord a;
        a.obsType = c.type;
        a.obsTime = 20000;
        ObsRecord b = a;
        b.senNum = 99;
        EXPECT_TRUE(equal(a, b)) << c.type;
        b.*c.field += 1;
        EXPECT_EQ(equal(a, b), !c.matters) << c.type;
    }
    for (const std::int32_t type : {7, 10, 11, 13, 16}) {
        ObsRecord a;
        a.obsType = type;
        EXPECT_FALSE(equal(a, a)) << "type " << type << " is never a duplicate";
    }
}

// Thousands of different observations of one satellite and sensor within a tenth of a second all stay; the
// same ones again are all recognised.
TEST_F(StoreTest, denseObservationsKeepApart) {
    constexpr int kDense = 5000;
    for (const std::int32_t expected : {kStatusOk, kStatusDuplicate})
        for (int i = 0; i < kDense; ++i) {
            std::int64_t key = 12'960'000'012'345'211;
            const std::int32_t status = add(key, rangeRecord(1000 + 1e-6 * i));
            ASSERT_EQ(status == kStatusDuplicate, expected == kStatusDuplicate) << i;
        }
    EXPECT_EQ(checkedKeys().size(), static_cast<std::size_t>(kDense));
    EXPECT_EQ(checkedKeys().front() / 10'000'000'000, checkedKeys().back() / 10'000'000'000) << "order in time is kept";
}

TEST_F(StoreTest, updatesByKeyAndRotatesWhateverTheFlag) {
    ObsRecord rec = rangeRecord(0);
    rec.obsType = 5;
    rec.elOrDec = 30;
    rec.azOrRa = 100;
    std::int64_t key = 1;
    add(key, rec);
    rec.equinoxInd = 2;
    rec.rotateToDate = 0;
    rec.senPos = {1, 2, 3};
    rec.biases.create().values[6] = 0.5;
    ASSERT_EQ(obsupdaterec(key, rec), kStatusOk);
    ObsRecord stored;
    ASSERT_EQ(getobsdata(key, stored), kStatusOk);
    EXPECT_EQ(stored.equinoxInd, 0);
    EXPECT_NE(stored.azOrRa, 100);
    EXPECT_NEAR(stored.azOrRa, 100, 1.0);
    EXPECT_EQ(stored.senPos, (Vector3{1, 2, 3}));
    ASSERT_TRUE(stored.biases);
    EXPECT_EQ(stored.biases->values[6], 0.5);

    const TestLog log;
    EXPECT_EQ(obsupdaterec(77, rec), kStatusRefused);
    EXPECT_EQ(log.errors.back(), "UpdateRec: Unable to locate key                  77 in its binary tree.");
    EXPECT_EQ(getobsdata(77, stored), kStatusRefused);
    EXPECT_EQ(stored.satNum, kSatNumNotFound);
    EXPECT_EQ(log.errors.back(), "GetObsData: Can not locate obsKey =                  77 in the tree.");
}

TEST_F(StoreTest, keepsAddressKeysApartAndNeverTrustsThem) {
    const TestLog log;
    std::int64_t first = kNewAddressKey, second = kNewAddressKey, field = 12;
    ObsRecord rec = rangeRecord(4);
    rec.csvData.create().csvChar = 'T';
    add(first, rec);
    add(second, rec);
    add(field, rangeRecord(5));
    EXPECT_TRUE(isdmaobs(first));
    EXPECT_NE(first, second);
    EXPECT_EQ(checkedKeys().front(), field);
    ObsRecord found;
    ASSERT_TRUE(obsfindrec(second, found));
    EXPECT_EQ(found.csvData->csvChar, 'T');
    EXPECT_EQ(obsremovenode(first), kStatusOk);
    for (const std::int64_t key : {first, first + 1, second + 8, std::int64_t{4'000'000'000'000'000'000}, INT64_MAX, kLastFieldKeyLimit + 1}) {
        std::string_view reason;
        EXPECT_FALSE(obsfindrec(key, found, &reason)) << key;
        EXPECT_EQ(obsremovenode(key), kStatusRefused) << key;
        EXPECT_EQ(obsupdaterec(key, rec), kStatusRefused) << key;
        EXPECT_EQ(log.errors.back(), "UpdateRec: rec/DMA doesn't exist or was already deallocated");
    }
    obsemptytree();
    EXPECT_EQ(obsremovenode(second), kStatusRefused);
    EXPECT_EQ(log.errors.back(), "RemoveDMA: /DMA doesn't exist or was already deallocated");
}

TEST_F(StoreTest, countsGroupsAndNumbersInsertions) {
    std::int64_t keys[] = {30, 10, 20};
    for (std::int64_t& key : keys) add(key, rangeRecord(static_cast<double>(key)), key == 20 ? 4 : 0);
    EXPECT_EQ(obsgetnumoftreenodes(), 3);
    EXPECT_EQ(obsgetnumoftreenodes(4), 1);
    EXPECT_EQ(obsgetnumoftreenodes(5), 0);
    std::vector<std::int32_t> seqNums;
    const ReadGuard guard;
    for (const std::int64_t key : keys) seqNums.push_back(obsgetnode(gStore.find(key)).seqNum);
    EXPECT_EQ(seqNums[1], seqNums[0] + 1);
    EXPECT_EQ(seqNums[2], seqNums[0] + 2);
}

// Every field and every part survives the compact form in which records are kept.
TEST_F(StoreTest, keepsWholeRecords) {
    ObsRecord rec;
    rec.secClass = 'S';
    rec.equinoxInd = -7;
    rec.satNum = 339999;
    rec.senNum = INT32_MAX;
    rec.obsType = 11;
    rec.indicator1 = INT32_MIN;
    rec.indicator2 = 9;
    rec.altSatNum1 = 1;
    rec.altSatNum2 = 2;
    double value = 0.5;
    for (double ObsRecord::*field : {&ObsRecord::obsTime, &ObsRecord::elOrDec, &ObsRecord::azOrRa, &ObsRecord::range,
                                     &ObsRecord::rangeRate, &ObsRecord::elRate, &ObsRecord::azRate, &ObsRecord::rangeAccel})
        rec.*field = value += 1;
    rec.senVel = {0, -0.0, 0};
    rec.satPos = {1, 2, 3};
    rec.satVel = {0, 0, 4};
    rec.rotateToDate = 0;
    rec.extraValues.create() = {0, {1, 2, 3, 4, 5}};
    rec.rfData.create().rf = INT64_MIN;
    std::int64_t key = 3;
    add(key, rec);
    rec.extraValues->values[0] = 99;  // the store has its own copy
    ObsRecord kept;
    ASSERT_TRUE(obsfindrec(key, kept));
    EXPECT_EQ(kept.equinoxInd, -7);
    EXPECT_EQ(kept.senNum, INT32_MAX);
    EXPECT_EQ(kept.indicator1, INT32_MIN);
    EXPECT_EQ(kept.rangeAccel, 8.5);
    EXPECT_TRUE(std::signbit(kept.senVel[1]));
    EXPECT_EQ(kept.satVel, (Vector3{0, 0, 4}));
    EXPECT_EQ(kept.rotateToDate, 0);
    EXPECT_EQ(kept.extraValues->lowerBound, 0);
    EXPECT_EQ(kept.extraValues->values, (std::vector<double>{1, 2, 3, 4, 5}));
    EXPECT_EQ(kept.rfData->rf, INT64_MIN);
    EXPECT_FALSE(kept.biases || kept.csvData);
    // A CSV part that holds only defaults is there again, too, and one that does not keeps every bit.
    rec = rangeRecord(1);
    rec.csvData.create();
    ASSERT_EQ(obsupdaterec(key, rec), kStatusOk);
    ASSERT_TRUE(obsfindrec(key, kept));
    ASSERT_TRUE(kept.csvData);
    EXPECT_FALSE(kept.extraValues || kept.rfData);
    EXPECT_EQ(kept.csvData->csvInt2, 1);
    rec.csvData->csvReals[8] = -0.0;
    ASSERT_EQ(obsupdaterec(key, rec), kStatusOk);
    ASSERT_TRUE(obsfindrec(key, kept));
    EXPECT_TRUE(std::signbit(kept.csvData->csvReals[8]));
}

}  // namespace obs::test
