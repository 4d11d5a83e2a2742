// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/StoredColumns.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "Obs/ObsTree/BulkAdd.h"
#include "Obs/ObsTree/Ordering.h"

namespace obs {

namespace {

constexpr std::int64_t kMostTold = 100;

/// The common fields are looked at where they are until the table is flushed.
void putRow(SlotNumber slot, std::uint8_t needs, TableBuilder& table) {
    ColumnRow& row = table.nextRow(gStore.pools.node(slot).key, &gStore.pools.record(slot));
    if ((needs & kNeedsMark) != 0) {
        const Mark& mark = gStore.pools.mark(slot);
        const Origin origin = gStore.origins.of(mark.seqNum);
        row.gid = mark.gid;
        row.file = origin.file;
        row.line = origin.line;
    }
    if ((needs & (kNeedsFields | kNeedsParts)) != 0) gStore.pools.read(slot, row.rec, (needs & kNeedsParts) != 0);
}

/// The rows of the next batch in the order of slots, from one on, which becomes the one after them.
void putNextStored(SlotNumber& from, TableBuilder& table) {
    const ReadGuard guard;
    const std::uint8_t needs = table.needs();
    std::size_t left = table.batchRows();
    for (bool atEnd = false; !atEnd && left != 0;) {
        const auto end = static_cast<SlotNumber>(from + left);
        atEnd = gStore.pools.scanRecords(from, end, [&](SlotNumber slot) {
            putRow(slot, needs, table);
            --left;
        });
        from = end;
    }
    table.flush();
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
    Import(ArrowArrayStream& stream, const ImportOptions& options)
        : rows_(stream, {.naiveIsUtc = options.naiveIsUtc, .gid = options.gid}), options_(options) {}

    ImportCounts run() {
        while (rows_.next()) {
            for (std::size_t i = 0; i < rows_.count(); ++i) takeRow(i);
            counts_.rows += static_cast<std::int64_t>(rows_.count());
        }
        newcomers_.enter(counts_, options_);
        return counts_;
    }

private:
    void takeRow(std::size_t i) {
        const std::int64_t number = rows_.number(i);
        if (number < options_.room) options_.keys[number] = kNoKey;
        ColumnRow& taken = rows_.row(i);
        const auto because = [&](std::string_view columns, std::string_view why) {
            refuse(std::string(columns).append(", row ").append(std::to_string(number)).append(why));
        };
        if (rows_.isFaulty(i)) refuse(rows_.faultOf(i));
        else if (std::isnan(taken.rec.obsTime)) because("Columns ds50 and time", ": there is no time.");
        else if (!newcomers_.add(taken, number)) because("Columns sat_num, sen_num and ds50", ": they make no key.");
    }

    void refuse(std::string_view why) {
        if (counts_.refused++ < kMostTold) options_.tell(why);
    }

    StreamRows rows_;
    const ImportOptions& options_;
    ImportCounts counts_;
    Newcomers newcomers_;
};

}  // namespace

void putStored(const std::int64_t* keys, std::size_t count, TableBuilder& table,
               const std::function<void(std::int64_t)>& unknown) {
    const StandstillGuard guard;
    const std::uint8_t needs = table.needs();
    table.expect(count);
    obsfindslots(keys, count, [&](std::size_t i, SlotNumber slot) {
        slot == kNoSlot ? unknown(keys[i]) : putRow(slot, needs, table);
    });
    table.flush();
}

void putAllStored(std::int32_t order, TableBuilder& table) {
    constexpr std::size_t kAhead = 8;
    const OrderGuard<StandstillGuard> guard(isByKey(order));
    const std::uint8_t needs = table.needs();
    const std::vector<SlotNumber> slots = obslistslots(order);
    table.expect(slots.size());
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (i + kAhead < slots.size()) gStore.pools.prefetchRecord(slots[i + kAhead]);
        putRow(slots[i], needs, table);
    }
    table.flush();
}

ArrowArrayStream streamAsStored(TableBuilder table) {
    table.expect(static_cast<std::size_t>(obsgetnumoftreenodes()));
    return TableBuilder::streamOf(std::move(table),
                                  [from = SlotNumber{0}](TableBuilder& batch) mutable { putNextStored(from, batch); });
}

ImportCounts addRows(ArrowArrayStream& stream, const ImportOptions& options) { return Import(stream, options).run(); }

}  // namespace obs
