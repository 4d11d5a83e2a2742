// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Tree.h"

#include <algorithm>
#include <bit>
#include <new>

#include "Obs/ObsTree/RadixSort.h"

namespace obs {

namespace {

/// Below this share of the nodes loose and gone ones are seen to one by one, above it the tree is built anew.
constexpr std::size_t kRebuildShare = 16;

/// Moves per element that an insertion sort may cost before the order counts as unsorted.
constexpr std::size_t kMovesAllowed = 8;

struct KeyAndSlot {
    std::int64_t key;
    SlotNumber slot;
};

/// Decks in order of time are nearly sorted already; anything else is sorted by digits.
void sortByKey(std::vector<KeyAndSlot>& list) {
    std::size_t movesLeft = kMovesAllowed * list.size();
    for (std::size_t i = 1; i < list.size(); ++i) {
        const KeyAndSlot moving = list[i];
        std::size_t at = i;
        for (; at > 0 && list[at - 1].key > moving.key && movesLeft > 0; --at, --movesLeft) list[at] = list[at - 1];
        list[at] = moving;
        if (movesLeft == 0)
            return radixSort(list, [](const KeyAndSlot& one) { return static_cast<std::uint64_t>(one.key); });
    }
}

/// The balance that stands for "this side is the higher one".
int lean(bool right) { return right ? 1 : -1; }

/// Height of the tree that `build` makes of that many nodes.
int heightOf(std::size_t size) { return static_cast<int>(std::bit_width(size)); }

}  // namespace

void Tree::setChild(SlotNumber top, bool right, SlotNumber child) {
    node(top).setChild(right, child);
    if (child != kNoSlot) parent(child) = top;
}

/// Puts another node, or none, where `old` hangs.
void Tree::replace(SlotNumber old, SlotNumber by) {
    const SlotNumber above = parent(old);
    if (above != kNoSlot) return setChild(above, node(above).right() == old, by);
    gobstreeroot_ = by;
    if (by != kNoSlot) parent(by) = kNoSlot;
}

/// Brings the child on a side above its parent; balances are left to the caller.
void Tree::rotate(SlotNumber top, bool right) {
    const SlotNumber child = node(top).child(right);
    replace(top, child);
    setChild(top, right, node(child).child(!right));
    setChild(child, !right, top);
}

/// Brings the inner grandchild on a side above both; it ends balanced and its former lean tells how they do.
void Tree::rotateTwice(SlotNumber top, bool right) {
    const SlotNumber child = node(top).child(right);
    const SlotNumber grandchild = node(child).child(!right);
    const int former = node(grandchild).balance();
    rotate(child, !right);
    rotate(top, right);
    node(top).setBalance(former == lean(right) ? -former : 0);
    node(child).setBalance(former == -lean(right) ? -former : 0);
    node(grandchild).setBalance(0);
}

/// After growth on the side to which `top` leaned already.
void Tree::rotateGrown(SlotNumber top, bool right) {
    const SlotNumber child = node(top).child(right);
    if (node(child).balance() != lean(right)) return rotateTwice(top, right);
    rotate(top, right);
    node(top).setBalance(0);
    node(child).setBalance(0);
}

/// After shrinking on the side from which `top` leaned away. True when the whole became lower.
bool Tree::rotateShrunk(SlotNumber top, bool right) {
    const SlotNumber child = node(top).child(right);
    const int former = node(child).balance();
    if (former == -lean(right)) {
        rotateTwice(top, right);
        return true;
    }
    rotate(top, right);
    node(top).setBalance(former == 0 ? lean(right) : 0);
    node(child).setBalance(former == 0 ? -lean(right) : 0);
    return former != 0;
}

/// Balances upwards from a subtree that became higher. True when the tree did.
bool Tree::grown(SlotNumber child) {
    for (SlotNumber top = parent(child); top != kNoSlot; child = top, top = parent(child)) {
        const bool right = node(top).right() == child;
        const int balance = node(top).balance();
        if (balance == 0) {
            node(top).setBalance(lean(right));
            continue;
        }
        if (balance == -lean(right)) node(top).setBalance(0);
        else rotateGrown(top, right);
        return false;
    }
    return true;
}

/// Balances upwards from a node one of whose subtrees became lower.
void Tree::shrunk(SlotNumber top, bool leftShrank) {
    while (top != kNoSlot) {
        const SlotNumber above = parent(top);
        const bool onTheLeft = above != kNoSlot && node(above).left() == top;
        const int balance = node(top).balance();
        if (balance == 0) return node(top).setBalance(lean(leftShrank));
        if (balance == -lean(leftShrank)) node(top).setBalance(0);
        else if (!rotateShrunk(top, leftShrank)) return;
        top = above;
        leftShrank = onTheLeft;
    }
}

bool Tree::link(SlotNumber slot) {
    const std::int64_t key = node(slot).key;
    node(slot).set(kNoSlot, kNoSlot, 0);
    ++linked_;
    SlotNumber above = greatest_;
    bool right = true;
    if (above == kNoSlot || key > node(above).orderKey()) {
        greatest_ = slot;
    } else {
        for (SlotNumber at = gobstreeroot_; at != kNoSlot; at = node(at).child(right)) {
            above = at;
            right = key > node(at).orderKey();
        }
    }
    if (above == kNoSlot) {
        gobstreeroot_ = slot;
        parent(slot) = kNoSlot;
        return true;
    }
    setChild(above, right, slot);
    return grown(slot);
}

bool Tree::remove(SlotNumber slot) {
    if (node(slot).isLoose()) {
        --loose_;
        return true;
    }
    try {
        gone_.push_back(slot);
    } catch (const std::bad_alloc&) {
        unlink(slot);
        return true;
    }
    node(slot).setGone();
    return false;
}

/// What takes the place of a node with two children is its predecessor, relinked with all that belongs to it.
void Tree::unlink(SlotNumber slot) {
    --linked_;
    const SlotNumber left = node(slot).left();
    const SlotNumber right = node(slot).right();
    const SlotNumber above = parent(slot);
    if (left == kNoSlot || right == kNoSlot) {
        const bool onTheLeft = above != kNoSlot && node(above).left() == slot;
        if (slot == greatest_) greatest_ = left != kNoSlot ? left : above;  // a left subtree is one node here
        replace(slot, left == kNoSlot ? right : left);
        return shrunk(above, onTheLeft);
    }
    // The predecessor leaves its place to its left child and takes over the place, children and balance.
    SlotNumber predecessor = left;
    while (node(predecessor).right() != kNoSlot) predecessor = node(predecessor).right();
    const bool isChild = predecessor == left;
    const SlotNumber lower = isChild ? predecessor : parent(predecessor);
    if (!isChild) {
        setChild(lower, true, node(predecessor).left());
        setChild(predecessor, false, left);
    }
    setChild(predecessor, true, right);
    node(predecessor).setBalance(node(slot).balance());
    replace(slot, predecessor);
    shrunk(lower, isChild);
}

/// Hangs nodes together, the middle one on top; its halves differ by at most one node, so their heights differ
/// by at most one.
SlotNumber Tree::build(const SlotNumber* order, std::size_t size, SlotNumber above) {
    if (size == 0) return kNoSlot;
    const std::size_t before = size / 2, behind = size - before - 1;
    const SlotNumber top = order[before];
    parent(top) = above;
    const SlotNumber left = build(order, before, top);
    const SlotNumber right = build(order + before + 1, behind, top);
    node(top).set(left, right, heightOf(behind) - heightOf(before));
    return top;
}

void Tree::makeOrder() {
    if (loose_ + gone_.size() >= linked_ / kRebuildShare) {
        try {
            linkSorted(looseInOrder());
            loose_ = 0;
            return giveGoneBack();
        } catch (const std::bad_alloc&) {  // one by one needs no memory
        }
    }
    for (const SlotNumber slot : gone_) unlink(slot);
    giveGoneBack();
    if (loose_ == 0) return;
    pools_.scan([&](SlotNumber slot) {
        if (node(slot).isLoose()) link(slot);
    });
    loose_ = 0;
}

void Tree::giveGoneBack() {
    for (const SlotNumber slot : gone_) pools_.releaseSlot(slot);
    gone_ = {};
}

/// By ascending key.
std::vector<SlotNumber> Tree::looseInOrder() const {
    if (loose_ == 0) return {};
    std::vector<KeyAndSlot> list;
    list.reserve(loose_);
    pools_.scan([&](SlotNumber slot) {
        if (pools_.node(slot).isLoose()) list.push_back({pools_.node(slot).key, slot});
    });
    sortByKey(list);
    std::vector<SlotNumber> order(list.size());
    std::transform(list.begin(), list.end(), order.begin(), [](const KeyAndSlot& one) { return one.slot; });
    return order;
}

/// Links nodes by ascending key, none of them in the tree, and leaves gone ones out. Throws std::bad_alloc, the tree being
/// as it was.
void Tree::linkSorted(const std::vector<SlotNumber>& order) {
    std::vector<SlotNumber> merged;
    const std::vector<SlotNumber>* all = &order;
    if (linked_ != 0) {
        merged.reserve(linked_ + order.size());
        auto next = order.begin();
        walk([&](SlotNumber slot) {
            if (pools_.node(slot).isGone()) return;
            const std::int64_t key = pools_.node(slot).key;
            while (next != order.end() && pools_.node(*next).key < key) merged.push_back(*next++);
            merged.push_back(slot);
        });
        merged.insert(merged.end(), next, order.end());
        all = &merged;
    }
    pools_.supplyParents();
    gobstreeroot_ = build(all->data(), all->size(), kNoSlot);
    greatest_ = all->empty() ? kNoSlot : all->back();
    linked_ = static_cast<std::uint32_t>(all->size());
}

void Tree::clear() {
    gobstreeroot_ = greatest_ = kNoSlot;
    linked_ = loose_ = 0;
    gone_ = {};
}

}  // namespace obs
