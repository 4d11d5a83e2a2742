// SPDX-License-Identifier: Apache-2.0
/// The height-balanced tree of the store, over the nodes of the pools.
///
/// Invariants:
/// 1. Order: all keys in the left subtree of a node are smaller, all in the right one greater;
///    keys are unique.
/// 2. Balance: height(right) - height(left) of every node is -1, 0 or +1 and is in the node.
/// 3. Parents: the parent of every node is in the pools, apart from the nodes, since no look-up needs it. It
///    lets a node that the key index found leave without a descent.
/// 4. A node may be loose: counted and to be found under its key, but not in order yet. One that was removed may be
///    left where it hangs, marked as gone and not counted. `makeOrder` ends both; what walks needs it done before, all
///    else is right without.
/// 5. Ownership: the tree owns nothing but the slots of gone nodes, which it gives back; any other node that leaves it
///    still belongs to the pools.
///
/// Only `build` recurses, to the height of the tree; a path of kMaxHeight nodes reaches every leaf.
/// Threads: reading needs the reader side of the protocol, the rest the updater side.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "Obs/ObsTree/Pools.h"

namespace obs {

class Tree {
public:
    explicit Tree(Pools& pools) : pools_(pools) {}

    SlotNumber root() const { return gobstreeroot_; }
    bool empty() const { return size() == 0; }
    std::uint32_t size() const { return linked_ + loose_ - static_cast<std::uint32_t>(gone_.size()); }

    /// Links a node whose key is set and not in the tree yet. True when the tree grew in height.
    bool link(SlotNumber slot);

    /// Takes a node out. False: its slot is not the caller's yet, for the node hangs on as gone.
    bool remove(SlotNumber slot);

    /// Takes a node that `makeOrder` is to link. One that leaves before it is linked costs nothing.
    void addLoose(SlotNumber slot) {
        pools_.node(slot).setLoose();
        ++loose_;
    }

    /// Whether all nodes are linked and none of those that hang is gone.
    bool isInOrder() const { return loose_ == 0 && gone_.empty(); }
    /// Sees to that. Needs no memory, but is faster with some.
    void makeOrder();
    /// Whether the slots of gone nodes are worth an update of their own.
    bool hasManyGone() const { return gone_.size() > linked_ / kManyGoneShare; }

    void clear();

    /// Calls `visit(slot)` for every node by ascending key.
    template <class Visit>
    void walk(Visit&& visit) const {
        Path path;
        walkOn(path, gobstreeroot_, [&](SlotNumber slot) {
            visit(slot);
            return true;
        });
    }

    /// The same for the keys above one, as long as `visit` gives true. False when it gave false.
    template <class Visit>
    bool walkAbove(std::int64_t key, Visit&& visit) const {
        Path path;
        for (SlotNumber at = gobstreeroot_; at != kNoSlot;) {
            const bool right = pools_.node(at).key <= key;
            if (!right) path.slots[path.depth++] = at;
            at = pools_.node(at).child(right);
        }
        return walkOn(path, kNoSlot, visit);
    }

private:
    /// A tree of height h has at least F(h+2)-1 nodes: 46 levels hold more than 2^31.
    static constexpr std::size_t kMaxHeight = 48;

    static constexpr std::uint32_t kManyGoneShare = 4;

    /// Nodes whose turn comes, and that of what is to their right, after all to the left; the next one last.
    struct Path {
        std::array<SlotNumber, kMaxHeight> slots;
        std::size_t depth = 0;
    };

    /// Visits what is below a node, then the path.
    template <class Visit>
    bool walkOn(Path& path, SlotNumber at, Visit&& visit) const {
        while (at != kNoSlot || path.depth > 0) {
            for (; at != kNoSlot; at = pools_.node(at).left()) {
                path.slots[path.depth++] = at;
                // The right child's turn comes once all to the left are visited.
                if (pools_.node(at).right() != kNoSlot) __builtin_prefetch(&pools_.node(pools_.node(at).right()));
            }
            at = path.slots[--path.depth];
            const SlotNumber right = pools_.node(at).right();
            if (!visit(at)) return false;
            at = right;
        }
        return true;
    }

    Node& node(SlotNumber slot) { return pools_.node(slot); }
    SlotNumber& parent(SlotNumber slot) { return pools_.parent(slot); }
    void unlink(SlotNumber slot);
    void giveGoneBack();
    void setChild(SlotNumber top, bool right, SlotNumber child);
    void replace(SlotNumber old, SlotNumber by);
    bool grown(SlotNumber child);
    void shrunk(SlotNumber top, bool leftShrank);
    void rotate(SlotNumber top, bool right);
    void rotateTwice(SlotNumber top, bool right);
    void rotateGrown(SlotNumber top, bool right);
    bool rotateShrunk(SlotNumber top, bool right);
    std::vector<SlotNumber> looseInOrder() const;
    void linkSorted(const std::vector<SlotNumber>& order);
    SlotNumber build(const SlotNumber* order, std::size_t size, SlotNumber above);

    Pools& pools_;
    SlotNumber gobstreeroot_ = kNoSlot;
    SlotNumber greatest_ = kNoSlot;  ///< where input in order of time is linked, without a descent
    std::uint32_t linked_ = 0;       ///< all that hang, gone ones included
    std::uint32_t loose_ = 0;
    std::vector<SlotNumber> gone_;
};

}  // namespace obs
