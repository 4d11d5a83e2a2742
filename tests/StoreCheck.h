// SPDX-License-Identifier: Apache-2.0
/// Looks at the whole store from inside and fails where an invariant is broken.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Obs/ObsTree/Store.h"

namespace obs::test {

/// Height of a subtree, its keys appended in order; balances checked on the way.
inline int checkSubtree(SlotNumber at, std::vector<std::int64_t>& keys) {
    if (at == kNoSlot) return 0;
    const ObsBinTree node = obsgetnode(at);
    const int left = checkSubtree(node.left, keys);
    keys.push_back(node.obsKey);
    const int right = checkSubtree(node.right, keys);
    EXPECT_EQ(node.balance, right - left) << "at key " << node.obsKey;
    EXPECT_LE(std::abs(right - left), 1) << "at key " << node.obsKey;
    return 1 + std::max(left, right);
}

/// The keys in order, after checking order, balance, index and count.
inline std::vector<std::int64_t> checkedKeys() {
    const OrderGuard<ReadGuard> guard;
    std::vector<std::int64_t> keys;
    checkSubtree(gStore.tree.root(), keys);
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
    EXPECT_EQ(gStore.tree.size(), keys.size());
    EXPECT_EQ(gStore.index.count(), keys.size());
    std::size_t live = 0;
    gStore.pools.scan([&](SlotNumber) { ++live; });
    EXPECT_EQ(live, keys.size());
    for (const std::int64_t key : keys) EXPECT_NE(gStore.find(key), kNoSlot) << key;
    return keys;
}

inline std::int32_t add(std::int64_t& key, const ObsRecord& rec, std::int32_t gid = 0) {
    AddStage stage{};
    return obsaddnode(key, rec, gid, stage);
}

inline ObsRecord rangeRecord(double range, double time = 20000.5) {
    ObsRecord rec;
    rec.satNum = 5;
    rec.obsType = 6;
    rec.obsTime = time;
    rec.range = range;
    return rec;
}

}  // namespace obs::test
