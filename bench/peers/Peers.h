// SPDX-License-Identifier: Apache-2.0
/// The stores that the product is measured against, built the way one would without it:
///
///   Naive  std::map, getline, stoi and strtod, snprintf
///   Avl    a boost::intrusive::avl_set with the record in the node, from_chars, to_chars
///   Btree  absl::btree_map from key to owned record, from_chars, to_chars
///
/// All do the product's work on clean B3 decks and write the same bytes. Single-threaded.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <boost/intrusive/avl_set.hpp>

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <memory>
#include <vector>

#include "absl/container/btree_map.h"
#include "bench/peers/B3Text.h"

namespace peers {

inline constexpr std::size_t kBlock = 1 << 20;

// ---- text: lines in, lines out ---------------------------------------------------------------

struct NaiveText {
    using Fields = NaiveFields;
    using Numbers = NaiveNumbers;

    template <class Use>
    static bool forEachLine(const std::string& path, Use use) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) use(line);
        return file.eof();
    }

    class Out {
    public:
        explicit Out(const std::string& path) : file_(path) {}
        void line(const char* text) { file_.write(text, kCardColumns).put('\n'); }
        bool close() { return file_.close(), !file_.fail(); }

    private:
        std::ofstream file_;
    };
};

struct CharsText {
    using Fields = CharsFields;
    using Numbers = CharsNumbers;

    template <class Use>
    static bool forEachLine(const std::string& path, Use use) {
        const int file = ::open(path.c_str(), O_RDONLY);
        if (file < 0) return false;
        std::vector<char> block(kBlock);
        std::size_t kept = 0;  // the unfinished line at the block's start
        ssize_t got = 0;
        while ((got = ::read(file, block.data() + kept, block.size() - kept)) > 0) {
            const char* at = block.data();
            const char* const end = at + kept + static_cast<std::size_t>(got);
            while (const void* const feed = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
                const char* const lineEnd = static_cast<const char*>(feed);
                use(std::string_view(at, static_cast<std::size_t>(lineEnd - at)));
                at = lineEnd + 1;
            }
            kept = static_cast<std::size_t>(end - at);
            std::memmove(block.data(), at, kept);
        }
        if (kept > 0) use(std::string_view(block.data(), kept));
        ::close(file);
        return got == 0;
    }

    class Out {
    public:
        explicit Out(const std::string& path)
            : file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644)), block_(kBlock) {}
        void line(const char* text) {
            if (used_ + kCardColumns + 1 > block_.size()) flush();
            std::memcpy(block_.data() + used_, text, kCardColumns);
            block_[used_ + kCardColumns] = '\n';
            used_ += kCardColumns + 1;
        }
        bool close() { return flush(), ::close(file_) == 0 && good_; }

    private:
        void flush() {
            good_ = good_ && ::write(file_, block_.data(), used_) == static_cast<ssize_t>(used_);
            used_ = 0;
        }
        int file_;
        std::vector<char> block_;
        std::size_t used_ = 0;
        bool good_ = true;
    };
};

// ---- indexes: key to record --------------------------------------------------------------------
// insert gives the record that stands under the key already, or null when the new one was added.

class MapIndex {
public:
    const Record* insert(std::int64_t key, const Record& record) {
        const auto [at, added] = map_.emplace(key, record);
        return added ? nullptr : &at->second;
    }
    const Record* find(std::int64_t key) const {
        const auto at = map_.find(key);
        return at == map_.end() ? nullptr : &at->second;
    }
    bool erase(std::int64_t key) { return map_.erase(key) == 1; }
    void clear() { map_.clear(); }
    template <class Use>
    void forEach(Use use) const {
        for (const auto& [key, record] : map_) use(key, record);
    }

private:
    std::map<std::int64_t, Record> map_;
};

class AvlIndex {
public:
    AvlIndex() = default;
    AvlIndex(const AvlIndex&) = delete;
    AvlIndex& operator=(const AvlIndex&) = delete;
    ~AvlIndex() { clear(); }

    const Record* insert(std::int64_t key, const Record& record) {
        Set::insert_commit_data place;
        const auto [at, free] = set_.insert_check(key, ByKey{}, place);
        if (!free) return &at->record;
        set_.insert_commit(*new Node{{}, key, record}, place);
        return nullptr;
    }
    const Record* find(std::int64_t key) const {
        const auto at = set_.find(key, ByKey{});
        return at == set_.end() ? nullptr : &at->record;
    }
    bool erase(std::int64_t key) {
        const auto at = set_.find(key, ByKey{});
        if (at == set_.end()) return false;
        set_.erase_and_dispose(at, std::default_delete<Node>{});
        return true;
    }
    void clear() { set_.clear_and_dispose(std::default_delete<Node>{}); }
    template <class Use>
    void forEach(Use use) const {
        for (const Node& node : set_) use(node.key, node.record);
    }

private:
    struct Node : boost::intrusive::avl_set_base_hook<> {
        Node(boost::intrusive::avl_set_base_hook<> hook, std::int64_t k, const Record& r)
            : boost::intrusive::avl_set_base_hook<>(hook), key(k), record(r) {}
        std::int64_t key;
        Record record;
    };
    struct ByKey {
        bool operator()(const Node& a, const Node& b) const { return a.key < b.key; }
        bool operator()(std::int64_t a, const Node& b) const { return a < b.key; }
        bool operator()(const Node& a, std::int64_t b) const { return a.key < b; }
    };
    using Set = boost::intrusive::avl_set<Node, boost::intrusive::compare<ByKey>>;
    Set set_;
};

class BtreeIndex {
public:
    const Record* insert(std::int64_t key, const Record& record) {
        const auto [at, added] = map_.try_emplace(key);
        if (!added) return at->second.get();
        at->second = std::make_unique<Record>(record);
        return nullptr;
    }
    const Record* find(std::int64_t key) const {
        const auto at = map_.find(key);
        return at == map_.end() ? nullptr : at->second.get();
    }
    bool erase(std::int64_t key) { return map_.erase(key) == 1; }
    void clear() { map_.clear(); }
    template <class Use>
    void forEach(Use use) const {
        for (const auto& [key, record] : map_) use(key, *record);
    }

private:
    absl::btree_map<std::int64_t, std::unique_ptr<Record>> map_;
};

// ---- the store -----------------------------------------------------------------------------------

struct Counts {
    std::int64_t loaded = 0, duplicate = 0, bad = 0;
};

template <class Index, class Text>
class Peer {
public:
    bool load(const std::string& path, Counts& counts) {
        return Text::forEachLine(path, [&](const auto& line) {
            Record record;
            if (line.size() < kCardColumns || !readCard(typename Text::Fields{line}, record)) ++counts.bad;
            else if (add(record)) ++counts.loaded;
            else ++counts.duplicate;
        });
    }

    std::int32_t satNum(std::int64_t key) const {
        const Record* const record = index_.find(key);
        return record == nullptr ? -1 : record->satNum;
    }

    /// Ascending in one of the orders 1, 6, 9, 10.
    void list(int order, std::int64_t* keys) const {
        if (order == 9) {
            index_.forEach([&](std::int64_t key, const Record&) { *keys++ = key; });
            return;
        }
        std::vector<Entry> entries;
        entries.reserve(count_);
        index_.forEach([&](std::int64_t key, const Record& record) { entries.push_back({key, &record}); });
        if (order == 1) sort<comesBefore1>(entries);
        else if (order == 6) sort<comesBefore6>(entries);
        else sort<comesBefore10>(entries);
        for (const Entry& entry : entries) *keys++ = entry.key;
    }

    bool save(const std::string& path) const {
        typename Text::Out out(path);
        index_.forEach([&](std::int64_t, const Record& record) {
            char card[kCardColumns];
            writeCard<typename Text::Numbers>(record, card);
            out.line(card);
        });
        return out.close();
    }

    bool remove(std::int64_t key) {
        const bool removed = index_.erase(key);
        count_ -= removed;
        return removed;
    }
    void clear() { index_.clear(), count_ = 0; }
    std::size_t count() const { return count_; }

private:
    struct Entry {
        std::int64_t key;
        const Record* record;
    };
    template <auto before>
    static void sort(std::vector<Entry>& entries) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& a, const Entry& b) { return before(*a.record, *b.record); });
    }

    /// Another observation under a taken key moves on to the next free one; in the decks measured
    /// here that does not happen.
    bool add(const Record& record) {
        std::int64_t key = keyOf(record);
        while (const Record* const there = index_.insert(key, record)) {
            if (sameObservation(*there, record)) return false;
            ++key;
        }
        ++count_;
        return true;
    }

    Index index_;
    std::size_t count_ = 0;
};

using Naive = Peer<MapIndex, NaiveText>;
using Avl = Peer<AvlIndex, CharsText>;
using Btree = Peer<BtreeIndex, CharsText>;

// ---- what no store can beat ----------------------------------------------------------------------

/// Reads a file in blocks and counts its lines.
inline std::size_t scanLines(const std::string& path) {
    std::size_t lines = 0;
    CharsText::forEachLine(path, [&](std::string_view) { ++lines; });
    return lines;
}

/// Fresh memory for n observations, as much as a load took at its peak when its target was set, each written once; hand
/// it back to keep it alive.
inline std::unique_ptr<std::byte[]> touchRecords(std::size_t n) {
    constexpr std::size_t kFreshBytes = 142;
    std::unique_ptr<std::byte[]> memory(new std::byte[n * kFreshBytes]);
    for (std::size_t i = 0; i < n; ++i) std::memset(memory.get() + i * kFreshBytes, 1, kFreshBytes);
    return memory;
}

/// Writes n finished lines to a new file in blocks.
inline bool writeLines(const std::string& path, std::size_t n) {
    CharsText::Out out(path);
    const std::string card(kCardColumns, '8');
    for (std::size_t i = 0; i < n; ++i) out.line(card.data());
    return out.close();
}

}  // namespace peers
