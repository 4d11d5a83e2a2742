// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/BulkAdd.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "Obs/ObsTree/Ordering.h"
#include "tests/StoreCheck.h"

namespace obs::test {

// Whatever the order of the keys, the kinds of observation and the size of the store, batches leave what single
// additions leave, with removals in between: keys, order of insertion, groups and refusals.
TEST(BulkAdd, leavesWhatSingleAdditionsLeave) {
    std::mt19937_64 random(7);
    const auto pick = [&](std::size_t n) { return static_cast<std::int64_t>(random() % n); };
    for (const std::size_t scatter : {1u, 40u, 100000u}) {
        for (const std::size_t before : {0u, 10u, 5000u}) {
            std::vector<std::pair<std::int64_t, ObsRecord>> input;
            for (std::size_t i = 0; i < before + 3000; ++i) {
                ObsRecord rec = rangeRecord(pick(20) == 0 ? std::numeric_limits<double>::quiet_NaN()
                                                          : static_cast<double>(pick(2)));
                if (pick(3) == 0) rec.obsType = 11;
                rec.satPos[1] = static_cast<double>(pick(2));
                input.emplace_back((static_cast<std::int64_t>(i / 3) + pick(scatter)) * 10'000'000'000 + 5'000, rec);
            }
            struct Left {
                std::vector<std::int64_t> keysByInsertion;
                std::vector<std::size_t> refused;
                bool operator==(const Left&) const = default;
            };
            const auto left = [&](bool inBulk) {
                obsemptytree();
                Left result;
                BulkAdd batch(3);
                for (std::size_t i = 0; i < input.size(); ++i) {
                    std::int64_t key = input[i].first;
                    ObsRecord rec = input[i].second;
                    if (inBulk && i >= before) batch.add(key, rec);
                    else if (add(key, input[i].second, i < before ? 0 : 3) == kStatusDuplicate)
                        result.refused.push_back(i);
                    if ((i + 1 - before) % 1000 != 0) continue;
                    for (const BulkAdd::Refused& refused : batch.commit())
                        result.refused.push_back(i - 999 + refused.position);
                    const std::vector<std::int64_t> keys = checkedKeys();
                    for (std::size_t gone = i % 5; gone < keys.size(); gone += 5) obsremovenode(keys[gone]);
                }
                result.keysByInsertion.resize(checkedKeys().size());
                obslistkeys(-8, std::nullopt, result.keysByInsertion.data(), result.keysByInsertion.size());
                return result;
            };
            EXPECT_EQ(left(true), left(false)) << "scatter " << scatter << ", before " << before;
            EXPECT_GT(obsgetnumoftreenodes(3), 0);
        }
    }
    obsemptytree();
}

// A batch that is being filled survives others changing or emptying the store, and gives its memory back.
TEST(BulkAdd, standsBesideOtherChanges) {
    obsemptytree();
    BulkAdd batch(1);
    ObsRecord withParts = rangeRecord(1);
    withParts.senPos = {1, 2, 3};
    withParts.biases.create();
    for (std::int64_t i = 0; i < 9000; ++i) {
        ObsRecord rec(withParts);
        batch.add(2 * i, rec);
    }
    std::int64_t odd = 1;
    add(odd, withParts);
    obsemptytree();
    std::int64_t other = 3;
    add(other, rangeRecord(9));
    EXPECT_TRUE(batch.commit().empty());
    EXPECT_EQ(checkedKeys().size(), 9001u);
    const std::uint32_t used = gStore.pools.slotsUsed();
    for (int round = 0; round < 5; ++round) {
        for (std::int64_t i = 0; i < 9000; ++i) obsremovenode(2 * i);
        for (std::int64_t i = 0; i < 9000; ++i) {
            ObsRecord rec(withParts);
            batch.add(2 * i, rec);
        }
        batch.commit();
    }
    EXPECT_LT(gStore.pools.slotsUsed(), used + 5000) << "removed places are used again";
    obsemptytree();
}

// Large pages come with the second chunk; what the store holds is the same.
TEST(BulkAdd, largePagesHoldTheSame) {
    obsemptytree();
    gLargePagesWanted = true;
    constexpr std::int64_t kCount = 150'000;
    BulkAdd batch(0);
    for (std::int64_t i = 0; i < kCount; ++i) {
        ObsRecord rec = rangeRecord(static_cast<double>(i));
        batch.add(7 * i % kCount, rec);
    }
    EXPECT_TRUE(batch.commit().empty());
    EXPECT_EQ(std::ssize(checkedKeys()), kCount);
    for (std::int64_t i = 0; i < kCount; i += 1000) {
        ObsRecord rec;
        EXPECT_TRUE(obsfindrec(7 * i % kCount, rec));
        EXPECT_EQ(rec.range, static_cast<double>(i));
    }
    obsemptytree();
    gLargePagesWanted = false;
}

}  // namespace obs::test
