// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/BulkAdd.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/StoreCheck.h"

namespace obs::test {

// Whatever the order of the keys and the size of the store, one batch leaves what single additions leave: keys,
// order of insertion, groups and refusals.
TEST(BulkAdd, leavesWhatSingleAdditionsLeave) {
    std::mt19937_64 random(7);
    for (const int scatter : {0, 1, 40, 100000}) {
        for (const std::size_t before : {0u, 10u, 5000u}) {
            std::vector<std::pair<std::int64_t, ObsRecord>> input;
            for (std::size_t i = 0; i < before + 3000; ++i) {
                const auto time = static_cast<std::int64_t>(i) + (scatter != 0 ? static_cast<std::int64_t>(random() % static_cast<unsigned>(scatter)) : 0);
                input.emplace_back(time * 10'000'000'000 + 5'000, rangeRecord(static_cast<double>(random() % 2)));
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
                    else if (add(key, input[i].second, i < before ? 0 : 3) == kStatusDuplicate) result.refused.push_back(i);
                }
                for (const BulkAdd::Refused& refused : batch.commit()) result.refused.push_back(before + refused.position);
                checkedKeys();
                std::vector<std::pair<std::int32_t, std::int64_t>> numbered;
                gStore.pools.scan([&](SlotNumber slot) {
                    numbered.emplace_back(gStore.pools.mark(slot).seqNum, gStore.pools.node(slot).key);
                });
                std::sort(numbered.begin(), numbered.end());
                for (const auto& [seqNum, key] : numbered) result.keysByInsertion.push_back(key);
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

}  // namespace obs::test
