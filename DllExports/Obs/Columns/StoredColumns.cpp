// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/StoredColumns.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <utility>

#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsTree/BulkAdd.h"
#include "Obs/ObsTree/Ordering.h"

namespace obs {

namespace {

constexpr std::int64_t kMostTold = 100;

void putRow(SlotNumber slot, bool withParts, TableBuilder& table) {
    ColumnRow& row = table.nextRow();
    row.key = gStore.pools.node(slot).key;
    row.gid = gStore.pools.mark(slot).gid;
    gStore.pools.read(slot, row.rec, withParts);
}

/// Rows on their way into the store, which sees none of them before all are there.
class Newcomers {
public:
    /// Takes a row of the stream; false where it makes no key.
    bool add(ColumnRow& row, std::int64_t rowNumber) {
        const std::int64_t key = getobskey(row.rec);
        if (key == kNoKey) return false;
        rowNumbers_.push_back(rowNumber);
        if (!underAddressKeys_) adder_.add(key, row.rec, row.gid);
        else records_.emplace_back(std::move(row.rec), row.gid);
        return true;
    }

    void enter(ImportCounts& counts, const ImportOptions& options) {
        std::vector<std::int64_t> keys(rowNumbers_.size());
        underAddressKeys_ ? enterEach(keys) : enterAtOnce(keys, counts);
        counts.added = static_cast<std::int64_t>(keys.size()) - counts.duplicates;
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (rowNumbers_[i] < options.room) options.keys[rowNumbers_[i]] = keys[i];
    }

private:
    void enterAtOnce(std::vector<std::int64_t>& keys, ImportCounts& counts) {
        std::vector<BulkAdd::Refused> refused;
        try {
            refused = adder_.commit(keys.data());
        } catch (const std::bad_alloc&) {
            if (adder_.size() != 0) throw;  // else all are entered, and duplicates go without a message
        }
        counts.duplicates = std::count(keys.begin(), keys.end(), kDuplicateKey);
        for (const BulkAdd::Refused& one : refused) keys[one.position] = refuseDuplicate(one.key);
    }

    /// NOTE: under address keys nothing is a duplicate, and nothing is gained by a batch.
    void enterEach(std::vector<std::int64_t>& keys) {
        std::size_t added = 0;
        try {
            for (; added < keys.size(); ++added) keys[added] = AddObOnly(records_[added].first, records_[added].second);
        } catch (...) {
            obsremovenodes(keys.data(), added, [](std::int64_t) {});
            throw;
        }
    }

    bool underAddressKeys_ = addressKeysInForce();
    BulkAdd adder_{0};
    std::vector<std::pair<ObsRecord, std::int32_t>> records_;
    std::vector<std::int64_t> rowNumbers_;
};

class Import {
public:
    Import(ArrowArrayStream& stream, const ImportOptions& options) : stream_(stream), options_(options) {
        OwnedSchema schema;
        if (stream.get_schema(&stream, &*schema) != 0) fail();
        takeSchema(*schema);
    }

    ImportCounts run() {
        for (;;) {
            OwnedArray batch;
            if (stream_.get_next(&stream_, &*batch) != 0) fail();
            if (batch->release == nullptr) break;
            takeBatch(*batch);
        }
        newcomers_.enter(counts_, options_);
        return counts_;
    }

private:
    struct Source {
        ColumnReader reader;
        std::int64_t child;
    };

    [[noreturn]] void fail() {
        const char* const why = stream_.get_last_error(&stream_);
        throw ColumnRefusal(std::string("The stream fails: ") + (why != nullptr ? why : "it does not say why") + ".");
    }

    void takeSchema(const ArrowSchema& schema) {
        const bool isStruct = schema.release != nullptr && schema.format != nullptr &&
                              std::string_view(schema.format) == "+s" && schema.n_children >= 0;
        if (!isStruct || !haveAll(schema.children, schema.n_children))
            throw ColumnRefusal("The stream does not hold columns.");
        children_ = schema.n_children;
        for (std::int64_t i = 0; i < children_; ++i) {
            const ArrowSchema& child = *schema.children[i];
            const std::string name = child.name != nullptr ? child.name : "";
            const ColumnDef* const def = findColumn(name);
            if (def == nullptr) throw ColumnRefusal("Column " + name + ": There is no column of this name.");
            sources_.push_back({ColumnReader(*def, child, options_.naiveIsUtc), i});
        }
        // In the order of the list: what a column does with its values may depend on those before it.
        const auto defOf = [](const Source& source) { return &source.reader.def(); };
        std::sort(sources_.begin(), sources_.end(),
                  [&](const Source& a, const Source& b) { return defOf(a) < defOf(b); });
        const auto twice = std::adjacent_find(sources_.begin(), sources_.end(),
                                              [&](const Source& a, const Source& b) { return defOf(a) == defOf(b); });
        if (twice != sources_.end())
            throw ColumnRefusal("Column " + std::string(defOf(*twice)->name) + ": It occurs twice.");
    }

    template <class Child>
    static bool haveAll(Child* const* children, std::int64_t count) {
        return count == 0 ||
               (children != nullptr && std::find(children, children + count, nullptr) == children + count);
    }

    void takeBatch(const ArrowArray& batch) {
        const bool isPossible = batch.n_children == children_ && batch.length >= 0 && batch.offset >= 0 &&
                                haveAll(batch.children, children_);
        if (!isPossible) throw ColumnRefusal("A batch is not what the schema says.");
        if (batch.length > kMostRows - counts_.rows || batch.offset > std::numeric_limits<std::int64_t>::max() / 2)
            throw ColumnRefusal("The stream has more rows than there can be observations.");
        batch_ = &batch;
        for (Source& source : sources_) source.reader.begin(*batch.children[source.child], batch.offset + batch.length);
        constexpr std::int64_t kRows = kBlockRows;
        for (std::int64_t from = 0; from < batch.length; from += kRows) {
            block_->count = static_cast<std::size_t>(std::min(kRows, batch.length - from));
            takeBlock(batch.offset + from);
        }
    }

    void takeBlock(std::int64_t from) {
        for (std::size_t i = 0; i < block_->count; ++i) {
            ColumnRow& row = block_->rows[i];
            resetobsrecord(row.rec);
            row.rec.obsTime = std::numeric_limits<double>::quiet_NaN();  // until it is known
            row.gid = options_.gid;
        }
        in_->count = block_->count;
        blamed_.fill(nullptr);
        in_->faults.fill(nullptr);
        for (const Source& source : sources_) {
            if (source.reader.isIdle()) continue;
            source.reader.read(from, *in_);
            source.reader.def().take(*in_, *block_);
            for (std::size_t i = 0; i < block_->count; ++i)
                if (in_->faults[i] != nullptr && blamed_[i] == nullptr) blamed_[i] = &source.reader.def();
        }
        for (std::size_t i = 0; i < block_->count; ++i)
            takeRow(i, isNullRow(*batch_, from + static_cast<std::int64_t>(i)));
        counts_.rows += static_cast<std::int64_t>(block_->count);
    }

    static bool isNullRow(const ArrowArray& batch, std::int64_t at) {
        if (batch.null_count == 0 || batch.n_buffers < 1 || batch.buffers == nullptr || batch.buffers[0] == nullptr)
            return false;
        return ((static_cast<const std::uint8_t*>(batch.buffers[0])[at / 8] >> at % 8) & 1u) == 0;
    }

    void takeRow(std::size_t i, bool isNull) {
        const std::int64_t row = counts_.rows + static_cast<std::int64_t>(i);
        if (row < options_.room) options_.keys[row] = kNoKey;
        ColumnRow& taken = block_->rows[i];
        if (isNull) refuse(row, "Row ", "it is null as a whole");
        else if (blamed_[i] != nullptr)
            refuse(row, "Column " + std::string(blamed_[i]->name) + ", row ", in_->faults[i]);
        else if (std::isnan(taken.rec.obsTime)) refuse(row, "Columns ds50 and time, row ", "there is no time");
        else if (!newcomers_.add(taken, row))
            refuse(row, "Columns sat_num, sen_num and ds50, row ", "they make no key");
    }

    void refuse(std::int64_t row, std::string where, std::string_view why) {
        if (counts_.refused++ < kMostTold)
            options_.tell(where.append(std::to_string(row)).append(": ").append(why).append("."));
    }

    ArrowArrayStream& stream_;
    const ImportOptions& options_;
    /// Insertion numbers, which are 32 bits.
    static constexpr std::int64_t kMostRows = std::numeric_limits<std::int32_t>::max();

    std::int64_t children_ = 0;
    const ArrowArray* batch_ = nullptr;
    std::vector<Source> sources_;
    std::unique_ptr<RowBlock> block_ = std::make_unique<RowBlock>();
    std::unique_ptr<Incoming> in_ = std::make_unique<Incoming>();
    std::array<const ColumnDef*, kBlockRows> blamed_{};
    ImportCounts counts_;
    Newcomers newcomers_;
};

}  // namespace

void putStored(const std::int64_t* keys, std::size_t count, TableBuilder& table,
               const std::function<void(std::int64_t)>& unknown) {
    const StandstillGuard guard;
    const bool withParts = table.needsParts();
    table.expect(count);
    obsfindslots(keys, count, [&](std::size_t i, SlotNumber slot) {
        slot == kNoSlot ? unknown(keys[i]) : putRow(slot, withParts, table);
    });
}

void putAllStored(std::int32_t order, TableBuilder& table) {
    constexpr std::size_t kAhead = 8;
    const OrderGuard<StandstillGuard> guard(isByKey(order));
    const bool withParts = table.needsParts();
    const std::vector<SlotNumber> slots = obslistslots(order);
    table.expect(slots.size());
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (i + kAhead < slots.size()) gStore.pools.prefetchRecord(slots[i + kAhead]);
        putRow(slots[i], withParts, table);
    }
}

ImportCounts addRows(ArrowArrayStream& stream, const ImportOptions& options) { return Import(stream, options).run(); }

}  // namespace obs
