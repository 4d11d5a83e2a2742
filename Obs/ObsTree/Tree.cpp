#include "Obs/ObsTree/Tree.h"

#include <bit>

namespace obs {

namespace {

SlotNumber childOf(const Node& node, bool right) {
    return right ? node.right() : node.left();
}

void setChild(Node& node, bool right, SlotNumber child) {
    if (right) node.setRight(child);
    else node.setLeft(child);
}

/// Height of the balanced tree that `build` makes of so many nodes.
int heightOf(std::size_t size) {
    return static_cast<int>(std::bit_width(size));
}

/// Hangs `order[from..to)` together, the middle one on top; halves differ by at most one node,
/// so their heights differ by at most one. Recurses to the height of the tree only.
SlotNumber build(Pools& pools, const SlotNumber* order, std::size_t from, std::size_t to) {
    if (from == to) return kNoSlot;
    const std::size_t middle = from + (to - from) / 2;
    Node& node = pools.node(order[middle]);
    const SlotNumber left = build(pools, order, from, middle);
    const SlotNumber right = build(pools, order, middle + 1, to);
    node.leftWord = left;
    node.rightWord = right;
    node.setBalance(heightOf(to - middle - 1) - heightOf(middle - from));
    return order[middle];
}

}  // namespace

/// Makes `child` the node below level `level` - 1 of the path, or the root.
void Tree::hang(const Path& path, std::size_t level, SlotNumber child) {
    if (level == 0) gobstreeroot_ = child;
    else setChild(node(path.node[level - 1]), path.toRight[level - 1], child);
}

SlotNumber Tree::rotateSingle(SlotNumber top, bool right) {
    const SlotNumber child = childOf(node(top), right);
    setChild(node(top), right, childOf(node(child), !right));
    setChild(node(child), !right, top);
    return child;
}

/// Brings the inner grandchild to the top; it ends balanced and its former lean tells how the others do.
SlotNumber Tree::rotateDouble(SlotNumber top, bool right) {
    const SlotNumber child = childOf(node(top), right);
    const SlotNumber grandchild = childOf(node(child), !right);
    const int side = right ? 1 : -1;
    const int lean = node(grandchild).balance();
    setChild(node(child), !right, childOf(node(grandchild), right));
    setChild(node(top), right, childOf(node(grandchild), !right));
    setChild(node(grandchild), right, child);
    setChild(node(grandchild), !right, top);
    node(top).setBalance(lean == side ? -side : 0);
    node(child).setBalance(lean == -side ? side : 0);
    node(grandchild).setBalance(0);
    return grandchild;
}

/// After growth on the side to which `top` leaned already.
SlotNumber Tree::rotateGrown(SlotNumber top, bool right) {
    const SlotNumber child = childOf(node(top), right);
    if (node(child).balance() != (right ? 1 : -1)) return rotateDouble(top, right);
    rotateSingle(top, right);
    node(top).setBalance(0);
    node(child).setBalance(0);
    return child;
}

/// After the lighter side of `top` shrank; `goesOn` tells whether the whole became lower.
SlotNumber Tree::rotateShrunk(SlotNumber top, bool leftShrank, bool& goesOn) {
    const bool right = leftShrank;  // the side that is now two higher
    const int side = right ? 1 : -1;
    const SlotNumber child = childOf(node(top), right);
    const int lean = node(child).balance();
    goesOn = lean != 0;
    if (lean == -side) return rotateDouble(top, right);
    rotateSingle(top, right);
    node(top).setBalance(lean == 0 ? side : 0);
    node(child).setBalance(lean == 0 ? -side : 0);
    return child;
}

/// Balances upwards from a new leaf below the path's end. True when the tree grew in height.
bool Tree::grown(Path& path) {
    for (std::size_t level = path.depth; level-- > 0;) {
        const SlotNumber top = path.node[level];
        const int side = path.toRight[level] ? 1 : -1;
        const int balance = node(top).balance();
        if (balance == 0) {
            node(top).setBalance(side);
            continue;
        }
        if (balance == -side) node(top).setBalance(0);
        else hang(path, level, rotateGrown(top, path.toRight[level]));
        return false;
    }
    return true;
}

/// Balances upwards after the subtree below the path's end became lower.
void Tree::shrunk(Path& path) {
    for (std::size_t level = path.depth; level-- > 0;) {
        const SlotNumber top = path.node[level];
        const bool leftShrank = !path.toRight[level];
        const int away = leftShrank ? 1 : -1;  // lean to the side that did not shrink
        const int balance = node(top).balance();
        if (balance == 0) {
            node(top).setBalance(away);
            return;
        }
        if (balance == -away) {
            node(top).setBalance(0);
            continue;
        }
        bool goesOn = false;
        hang(path, level, rotateShrunk(top, leftShrank, goesOn));
        if (!goesOn) return;
    }
}

bool Tree::link(SlotNumber slot) {
    if (!spineKnown_) findSpine();
    Node& fresh = node(slot);
    fresh.setLeaf();
    ++size_;
    if (spineLength_ == 0 || fresh.key > node(spine_[spineLength_ - 1]).key) return append(slot);

    Path path;
    for (SlotNumber at = gobstreeroot_; at != kNoSlot;) {
        const bool right = fresh.key > node(at).key;
        path.push(at, right);
        at = childOf(node(at), right);
    }
    hang(path, path.depth, slot);
    spineKnown_ = false;
    return grown(path);
}

void Tree::findSpine() {
    spineLength_ = 0;
    for (SlotNumber at = gobstreeroot_; at != kNoSlot; at = node(at).right()) spine_[spineLength_++] = at;
    spineKnown_ = true;
}

/// Links the greatest key: no descent, and balancing climbs a constant number of levels on average.
bool Tree::append(SlotNumber slot) {
    const std::size_t end = spineLength_;
    if (end == 0) gobstreeroot_ = slot;
    else node(spine_[end - 1]).setRight(slot);
    spine_[spineLength_++] = slot;
    for (std::size_t level = end; level-- > 0;) {
        const SlotNumber top = spine_[level];
        const int balance = node(top).balance();
        if (balance == 0) {
            node(top).setBalance(1);
            continue;
        }
        if (balance < 0) {
            node(top).setBalance(0);
            return false;
        }
        const SlotNumber child = rotateGrown(top, true);
        if (level == 0) gobstreeroot_ = child;
        else node(spine_[level - 1]).setRight(child);
        for (std::size_t i = level; i + 1 < spineLength_; ++i) spine_[i] = spine_[i + 1];
        --spineLength_;
        return false;
    }
    return true;
}

bool Tree::unlink(std::int64_t key) {
    Path path;
    SlotNumber at = gobstreeroot_;
    while (at != kNoSlot && node(at).key != key) {
        const bool right = key > node(at).key;
        path.push(at, right);
        at = childOf(node(at), right);
    }
    if (at == kNoSlot) return false;
    spineKnown_ = false;
    --size_;
    const SlotNumber left = node(at).left();
    const SlotNumber right = node(at).right();
    if (left == kNoSlot || right == kNoSlot) {
        hang(path, path.depth, left == kNoSlot ? right : left);
        shrunk(path);
        return true;
    }
    // The predecessor leaves its place to its left child and takes over the found node's
    // place, children and balance.
    const std::size_t level = path.depth;
    path.push(at, false);
    SlotNumber predecessor = left;
    while (node(predecessor).right() != kNoSlot) {
        path.push(predecessor, true);
        predecessor = node(predecessor).right();
    }
    hang(path, path.depth, node(predecessor).left());
    node(predecessor).leftWord = node(at).leftWord;
    node(predecessor).rightWord = node(at).rightWord;
    path.node[level] = predecessor;
    hang(path, level, predecessor);
    shrunk(path);
    return true;
}

void Tree::linkSorted(const std::vector<SlotNumber>& order) {
    spineKnown_ = false;
    if (empty()) {
        gobstreeroot_ = build(pools_, order.data(), 0, order.size());
        size_ = static_cast<std::uint32_t>(order.size());
        return;
    }
    std::vector<SlotNumber> all;
    all.reserve(size_ + order.size());
    auto next = order.begin();
    walk([&](SlotNumber slot) {
        const std::int64_t key = pools_.node(slot).key;
        while (next != order.end() && pools_.node(*next).key < key) all.push_back(*next++);
        all.push_back(slot);
    });
    all.insert(all.end(), next, order.end());
    gobstreeroot_ = build(pools_, all.data(), 0, all.size());
    size_ = static_cast<std::uint32_t>(all.size());
}

void Tree::clear() {
    gobstreeroot_ = kNoSlot;
    size_ = 0;
    spineKnown_ = false;
}

}  // namespace obs
