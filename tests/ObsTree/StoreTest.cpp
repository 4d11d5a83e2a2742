// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Store.h"

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <thread>

#include <sys/mman.h>
#include <sys/resource.h>

#include "Obs/ObsTree/BulkAdd.h"
#include "Obs/ObsTree/Groups.h"
#include "Obs/ObsTree/Named.h"
#include "Obs/ObsTree/Ordering.h"
#include "Obs/ObsTree/Pages.h"
#include "Obs/ObsTypes/TypeSets.h"
#include "siblings/include/Services.h"
#include "tests/Child.h"
#include "tests/RecordFields.h"
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
        const std::uint64_t fingerprint =
            equalityFingerprint(rangeRecord(range), timeSteps(rangeRecord(range).obsTime).back());
        for (int tries = 0; tries < kMaxRekeys; ++tries, key = family::nextsatkey(key, fingerprint)) {
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
            const bool isNew = add(stored, rangeRecord(range)) != kStatusDuplicate;
            ASSERT_EQ(isNew ? stored : kNoKey, modelAdd(key, range));
        } else if (choice < 570) {
            BulkAdd batch(7);
            ObsRecord rec = rangeRecord(range);
            for (std::int64_t i = 0; i < 50; ++i) batch.add(i, rec);
            batch.drop();  // given up: as if it had never been
            std::vector<std::size_t> expected, refused;
            const bool ascending = random() % 2 == 0;
            for (std::size_t i = 0, size = random() % 300; i < size; ++i) {
                const auto each = static_cast<std::int64_t>(ascending ? i * 13 : random() % kKeys) * 10'000'000'000;
                batch.add(each, rec);
                if (modelAdd(each, range) == kNoKey) expected.push_back(i);
            }
            for (const BulkAdd::Refused& one : batch.commit()) refused.push_back(one.position);
            ASSERT_EQ(refused, expected);
        } else if (choice < 998 && !model.empty()) {
            auto victim = model.lower_bound(key);
            if (victim == model.end()) victim = model.begin();
            ASSERT_EQ(obsremovenode(victim->first), kStatusOk);
            model.erase(victim);
        } else if (choice >= 998) {
            obsemptytree();
            model.clear();
        }
        if (step % (step < 3000 ? 50 : 700) != 0) continue;  // few and many changes between two walks
        std::map<std::int64_t, double> stored;
        for (const std::int64_t each : checkedKeys()) {
            ObsRecord rec;
            ASSERT_TRUE(obsfindrec(each, rec));
            stored[each] = rec.range;
        }
        ASSERT_EQ(stored, model);
    }
    EXPECT_GT(model.size(), 100u);
}

// Removed nodes hang in the tree until somebody walks; without a walk, too, the memory stays what it was.
TEST_F(StoreTest, slotsOfRemovedObservationsAreUsedAgain) {
    constexpr std::int64_t kCount = 3000;
    const ObsRecord rec = rangeRecord(1);
    const auto addInBulk = [&](std::int64_t from, std::int64_t to) {
        BulkAdd batch(0);
        for (ObsRecord copy = rec; from < to; ++from) batch.add(from, copy);
        batch.commit();
    };
    addInBulk(0, kCount);
    ASSERT_EQ(checkedKeys().size(), kCount);
    const std::uint32_t slots = gStore.pools.slotsUsed();
    for (std::int64_t round = 1; round <= 3; ++round) {
        for (std::int64_t key = 0; key < kCount; ++key) ASSERT_EQ(obsremovenode((round - 1) * kCount + key), kStatusOk);
        for (std::int64_t key = round * kCount; key < round * kCount + kCount / 2; ++key) {
            std::int64_t stored = key;
            ASSERT_NE(add(stored, rec), kStatusDuplicate);
        }
        addInBulk(round * kCount + kCount / 2, (round + 1) * kCount);
    }
    EXPECT_LE(gStore.pools.slotsUsed(), slots);
    EXPECT_EQ(checkedKeys().size(), kCount);
}

namespace {

constexpr std::int64_t kSharedKey = 12'960'000'012'345'211;

constexpr double ObsRecord::*kValues[] = {&ObsRecord::elOrDec,   &ObsRecord::azOrRa, &ObsRecord::range,
                                          &ObsRecord::rangeRate, &ObsRecord::elRate, &ObsRecord::azRate,
                                          &ObsRecord::rangeAccel};

std::int32_t addToSharedKey(const ObsRecord& rec) {
    std::int64_t key = kSharedKey;
    return add(key, rec);
}

double stepped(double time, int lastPlaces) {
    return std::bit_cast<double>(std::bit_cast<std::int64_t>(time) + lastPlaces);
}

/// An observation that `equal` takes for the same, with all else changed.
ObsRecord equalOf(ObsRecord rec, std::string_view compared, int lastPlaces) {
    for (std::size_t v = 0; v < compared.size(); ++v) {
        double& value = rec.*kValues[v];
        if (compared[v] == '.') value += 1;
        else if (value == 0) value = -0.0;
    }
    rec.obsTime = stepped(rec.obsTime, lastPlaces);
    rec.secClass = 'S';
    rec.senNum = rec.altSatNum1 = rec.altSatNum2 = rec.equinoxInd = rec.indicator1 = rec.indicator2 = 9;
    rec.senPos = rec.senVel = rec.satPos = rec.satVel = {1, 2, 3};
    rec.rotateToDate = 0;
    return rec;
}

}  // namespace

// However many observations share a key, the different ones all stay, and an equal of each is refused whatever else
// it has: the second column marks the values that tell two apart.
TEST_F(StoreTest, differentObservationsUnderOneKeyStayAndEqualsDoNot) {
    const std::pair<std::int32_t, std::string_view> cases[] = {
        {0, "...x..."}, {1, "xxxxxxx"}, {2, "xxxxxxx"},  {3, "xxxxxxx"}, {4, "xxxxxxx"}, {5, "xx....."},
        {6, "..x...."}, {8, "xxxxxxx"}, {18, "xxxxxxx"}, {9, "xx....."}, {19, "xx....."}};
    for (const auto& [type, compared] : cases) {
        obsemptytree();
        ObsRecord base = rangeRecord(0);
        base.obsType = type;
        std::vector<ObsRecord> stored{base};
        for (int i = 1; i <= 300; ++i) {
            for (std::size_t v = 0; v < compared.size(); ++v)
                if (compared[v] == 'x') (stored.emplace_back(base).*kValues[v]) = 1e-6 * i;
            stored.emplace_back(base).obsTime = stepped(base.obsTime, 10 * i);
            stored.emplace_back(base).obsTime = base.obsTime + 365.0 * i;  // the same moment of another year
        }
        for (std::size_t i = 0; i < stored.size(); ++i)
            ASSERT_NE(addToSharedKey(stored[i]), kStatusDuplicate) << type << ": " << i;
        for (const int lastPlaces : {-4, 0, 4})
            for (const ObsRecord& rec : stored)
                ASSERT_EQ(addToSharedKey(equalOf(rec, compared, lastPlaces)), kStatusDuplicate) << type;
        const std::vector<std::int64_t> keys = checkedKeys();
        EXPECT_EQ(keys.size(), stored.size()) << type;
        EXPECT_EQ(keys.front() / 10'000'000'000, keys.back() / 10'000'000'000) << "order in time is kept";
    }
}

// Types that are never duplicates, and values that are not numbers, stay however many are alike.
TEST_F(StoreTest, observationsThatNothingEqualsStayHoweverManyAreAlike) {
    ObsRecord rec = rangeRecord(std::numeric_limits<double>::quiet_NaN());
    for (const std::int32_t type : {7, 10, 11, 13, 16, 2}) {
        rec.obsType = type;
        for (int i = 0; i < 3000; ++i) {
            rec.satPos[1] = i % 3 == 0 ? i : 0;
            ASSERT_NE(addToSharedKey(rec), kStatusDuplicate) << type << ": " << i;
        }
    }
    const std::vector<std::int64_t> keys = checkedKeys();
    EXPECT_EQ(keys.size(), 18000u);
    EXPECT_EQ(keys.front() / 10'000'000'000, keys.back() / 10'000'000'000);
}

// Neither many alike under one key nor keys made to meet in one place of a hash with known constants cost much more
// than others.
TEST_F(StoreTest, noInputMakesAddingQuadratic) {
    constexpr std::size_t kCount = 20000;
    const auto secondsToAdd = [](auto keyOf, std::int32_t type) {
        obsemptytree();
        ObsRecord rec = rangeRecord(1);
        rec.obsType = type;
        const auto start = std::chrono::steady_clock::now();
        for (std::size_t i = 0; i < kCount; ++i) {
            std::int64_t key = keyOf(i);
            EXPECT_NE(add(key, rec), kStatusDuplicate);
        }
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    // The inverse of two rounds of "xor with itself shifted, multiply" whose results agree in the upper half.
    const auto inverse = [](std::uint64_t odd) {
        std::uint64_t x = odd;
        for (int round = 0; round < 5; ++round) x *= 2 - odd * x;
        return x;
    };
    std::vector<std::int64_t> crafted;
    for (std::uint64_t h = std::uint64_t{1} << 32; crafted.size() < kCount; ++h) {
        std::uint64_t key = h * inverse(0xBF58476D1CE4E5B9u);
        key = (key ^ key >> 29 ^ key >> 58) * inverse(0x9E3779B97F4A7C15u);
        key ^= key >> 32;
        if (key < static_cast<std::uint64_t>(kLastFieldKeyLimit)) crafted.push_back(static_cast<std::int64_t>(key));
    }
    const double ordinary =
        secondsToAdd([](std::size_t i) { return static_cast<std::int64_t>(i) * 10'000'000'000; }, kTypeRange);
    EXPECT_LT(secondsToAdd([&](std::size_t i) { return crafted[i]; }, kTypeRange), 20 * ordinary);
    EXPECT_LT(secondsToAdd([](std::size_t) { return kSharedKey; }, kTypeEciPositionVelocity), 50 * ordinary);
}

TEST_F(StoreTest, updatesByKeyAndRotatesWhateverTheFlag) {
    ObsRecord rec = rangeRecord(0);
    std::int64_t key = 1;
    add(key, rec);
    rec.obsType = 5;
    rec.elOrDec = 30;
    rec.azOrRa = 100;
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
    for (const std::int64_t key :
         {first, first + 1, second + 8, std::int64_t{4'000'000'000'000'000'000}, INT64_MAX, kLastFieldKeyLimit + 1}) {
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

// Emptying gives the memory of handles back, but never their addresses again.
TEST_F(StoreTest, emptyingGivesTheMemoryOfAddressKeysBack) {
    const auto isInMemory = [](std::int64_t key) {
        unsigned char held = 0;
        mincore(reinterpret_cast<void*>(obskeytoaddr(key) & ~(kPageSize - 1)), kPageSize, &held);
        return (held & 1) != 0;
    };
    std::vector<std::int64_t> keys(300'000, kNewAddressKey);
    for (int round = 0; round < 2; ++round) {
        std::vector<std::int64_t> again(keys.size(), kNewAddressKey);
        for (std::int64_t& key : round == 0 ? keys : again) add(key, rangeRecord(1));
        if (round == 0) EXPECT_TRUE(isInMemory(keys[0]));
        else
            EXPECT_TRUE(std::none_of(again.begin(), again.end(),
                                     [&](auto key) { return std::binary_search(keys.begin(), keys.end(), key); }));
        obsemptytree();
        std::sort(keys.begin(), keys.end());
        EXPECT_FALSE(isInMemory(keys[1000]));
    }
    const TestLog log;
    ObsRecord found;
    for (const std::int64_t key : {keys.front(), keys[keys.size() / 2], keys.back()}) {
        EXPECT_FALSE(obsfindrec(key, found));
        EXPECT_EQ(obsremovenode(key), kStatusRefused);
        EXPECT_EQ(log.errors.back(), "RemoveDMA: /DMA doesn't exist or was already deallocated");
    }
}

// A child whose parent was changing the store is told; one whose parent only read or saved has a store of its own.
TEST_F(StoreTest, aForkedChildGoesOnOrIsTold) {
    std::int64_t key = 1;
    add(key, rangeRecord(1));
    const auto inChildOf = [](auto&& begin, auto&& end) {
        std::atomic<bool> inside{false}, leave{false};
        std::thread other([&] {
            begin();
            inside = true;
            while (!leave) std::this_thread::yield();
            end();
        });
        while (!inside) std::this_thread::yield();
        const int result = inChild([] {
            try {
                std::int64_t next = 2;
                return add(next, rangeRecord(2)) <= kStatusGrown && obsgetnumoftreenodes() == 2 ? 0 : 1;
            } catch (const StoreLost&) { return 2; }
        });
        leave = true;
        other.join();
        return result;
    };
    EXPECT_EQ(inChildOf([] { gProtocol.beginRead(); }, [] { gProtocol.endRead(); }), 0);
    EXPECT_EQ(inChildOf([] { gProtocol.beginStandstill(); }, [] { gProtocol.endStandstill(); }), 0);
    EXPECT_EQ(inChildOf([] { gProtocol.beginUnseenUpdate(); }, [] { gProtocol.endStandstill(); }), 2);
    EXPECT_EQ(inChildOf([] { gProtocol.beginUpdate(); }, [] { gProtocol.endUpdate(); }), 2);
    EXPECT_EQ(obsgetnumoftreenodes(), 1);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_F(StoreTest, aGroupThatStaysForWantOfMemoryIsTold) {
    for (std::int64_t key = 0; key < 300'000; ++key) {
        std::int64_t own = key;
        add(own, rangeRecord(1), 4);
    }
    EXPECT_EQ(inChild([] {
                  const rlimit nothingMore{1, 1};
                  setrlimit(RLIMIT_AS, &nothingMore);
                  void* volatile taken = nullptr;
                  do taken = std::malloc(1 << 20);
                  while (taken != nullptr);
                  FamilyClearLastError();
                  if (removegidobs(4) != kStatusOk) return 1;
                  char text[512];
                  FamilyGetLastError(text);
                  return std::string_view(text, 512).starts_with("ObsRemoveGID: Out of memory.") &&
                                 obsgetnumoftreenodes(4) == 300'000
                             ? 0
                             : 2;
              }),
              0);
}
#endif

// The order of insertion survives the end of the insertion numbers, for single additions and in bulk.
TEST_F(StoreTest, insertionNumbersStartAgainInOrder) {
    std::vector<std::int64_t> added;
    const auto addNext = [&](std::int64_t key) {
        add(key, rangeRecord(1));
        added.push_back(key);
    };
    for (std::int64_t i = 0; i < 50; ++i) addNext(1000 - i);
    gStore.lastSeqNum = std::numeric_limits<std::int32_t>::max() - 30;
    for (std::int64_t i = 0; i < 40; ++i) addNext(2000 - i);
    gStore.lastSeqNum = std::numeric_limits<std::int32_t>::max() - 30;
    BulkAdd batch(0);
    for (std::int64_t i = 0; i < 60; ++i) {
        ObsRecord rec = rangeRecord(1);
        batch.add(3000 - i, rec);
        added.push_back(3000 - i);
    }
    batch.commit();
    addNext(1);
    std::vector<std::int64_t> listed(added.size());
    EXPECT_EQ(obslistkeys(-8, std::nullopt, listed.data(), listed.size()), static_cast<std::int32_t>(added.size()));
    EXPECT_EQ(listed, added);
}

// Every field and every part survives the compact form in which records are kept.
TEST_F(StoreTest, keepsWholeRecords) {
    ObsRecord rec, kept;
    double value = 0.5;
    forEachFieldOf<ObsFields>(
        [&](auto field) { field.in(rec) = static_cast<typename decltype(field)::Value>(value += 1); });
    rec.equinoxInd = -7;
    rec.senNum = INT32_MAX;
    rec.indicator1 = INT32_MIN;
    rec.senVel = {0, -0.0, 0};
    rec.satVel = {0, 0, 4};
    rec.rotateToDate = 0;
    rec.extraValues.create() = {0, {1, 2, 3, 4, 5}};
    rec.rfData.create().rf = INT64_MIN;
    std::int64_t key = 3;
    add(key, rec);
    rec.extraValues->values[0] = 99;  // the store has its own copy
    ASSERT_TRUE(obsfindrec(key, kept));
    EXPECT_EQ(fieldsOf(kept), fieldsOf(rec));
    EXPECT_EQ(std::tuple(kept.secClass, kept.rotateToDate, kept.extraValues->lowerBound),
              std::tuple(rec.secClass, 0, 0));
    EXPECT_TRUE(std::signbit(kept.senVel[1]));
    EXPECT_EQ(kept.extraValues->values, (std::vector<double>{1, 2, 3, 4, 5}));
    EXPECT_FALSE(kept.biases || kept.csvData);
    // A CSV part that holds only defaults is there again, too, and one that does not keeps every bit.
    for (const double last : {CsvObsData{}.csvReals[8], -0.0}) {
        rec = rangeRecord(1);
        rec.csvData.create().csvReals[8] = last;
        ASSERT_EQ(obsupdaterec(key, rec), kStatusOk);
        ASSERT_TRUE(obsfindrec(key, kept));
        ASSERT_TRUE(kept.csvData && !kept.extraValues && !kept.rfData);
        EXPECT_EQ(fieldsOf(kept), fieldsOf(rec));
        EXPECT_EQ(std::signbit(kept.csvData->csvReals[8]), std::signbit(last));
    }
}

TEST(Protocol, readersGetATurnInALongUpdate) {
    std::atomic<bool> wasIn{false};
    gProtocol.beginUpdate();
    std::thread reader([&] {
        const ReadGuard guard;
        wasIn = true;
    });
    for (; !wasIn; std::this_thread::yield()) gProtocol.letReadersIn();
    EXPECT_EQ(gProtocol.numreads(), 0) << "the update goes on alone";
    gProtocol.endUpdate();
    reader.join();
}

}  // namespace obs::test
