/// The height-balanced tree of the store, over the nodes of the pools.
///
/// Invariants:
/// 1. Order: all keys in the left subtree of a node are smaller, all in the right one greater;
///    keys are unique.
/// 2. Balance: height(right) - height(left) of every node is -1, 0 or +1 and stands in the node.
/// 3. Ownership: the tree owns nothing; a node that leaves it still belongs to the pools.
///
/// Nothing here recurses over the data; a path of kMaxHeight nodes reaches every leaf.
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
    bool empty() const { return gobstreeroot_ == kNoSlot; }
    std::uint32_t size() const { return size_; }

    /// Links a node whose key is set and not in the tree yet. True when the tree grew in height.
    bool link(SlotNumber slot);

    /// Unlinks the node with a key; false when there is none. The node that takes the place of one with
    /// two children is its predecessor, relinked with all that belongs to it.
    bool unlink(std::int64_t key);

    /// Links many nodes: `order` holds their slots by ascending key, none of them in the tree.
    void linkSorted(const std::vector<SlotNumber>& order);

    void clear();

    /// Calls `visit(slot)` for every node by ascending key.
    template <class Visit>
    void walk(Visit&& visit) const {
        std::array<SlotNumber, kMaxHeight> path;
        std::size_t depth = 0;
        SlotNumber at = gobstreeroot_;
        while (at != kNoSlot || depth > 0) {
            for (; at != kNoSlot; at = pools_.node(at).left()) path[depth++] = at;
            at = path[--depth];
            const SlotNumber right = pools_.node(at).right();
            visit(at);
            at = right;
        }
    }

private:
    /// A tree of height h has at least F(h+2)-1 nodes: 46 levels hold more than 2^31.
    static constexpr std::size_t kMaxHeight = 48;

    /// The way down to a place: the nodes, and to which side each was left.
    struct Path {
        std::array<SlotNumber, kMaxHeight> node;
        std::array<bool, kMaxHeight> toRight;
        std::size_t depth = 0;
        void push(SlotNumber slot, bool right) {
            node[depth] = slot;
            toRight[depth++] = right;
        }
    };

    Node& node(SlotNumber slot) { return pools_.node(slot); }
    void hang(const Path& path, std::size_t level, SlotNumber child);
    bool append(SlotNumber slot);
    void findSpine();
    bool grown(Path& path);
    void shrunk(Path& path);
    SlotNumber rotateGrown(SlotNumber top, bool right);
    SlotNumber rotateShrunk(SlotNumber top, bool leftShrank, bool& goesOn);
    SlotNumber rotateSingle(SlotNumber top, bool right);
    SlotNumber rotateDouble(SlotNumber top, bool right);

    Pools& pools_;
    SlotNumber gobstreeroot_ = kNoSlot;
    std::uint32_t size_ = 0;

    /// The rightmost path, root first, while it is known: input in order of time goes to its end.
    std::array<SlotNumber, kMaxHeight> spine_;
    std::size_t spineLength_ = 0;
    bool spineKnown_ = false;
};

}  // namespace obs
