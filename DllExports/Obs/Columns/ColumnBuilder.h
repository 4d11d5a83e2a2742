// SPDX-License-Identifier: Apache-2.0
/// Columns being filled, block by block, and the batches and the stream made of them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "DllExports/Obs/Columns/ArrowNodes.h"
#include "DllExports/Obs/Columns/ColumnList.h"

namespace obs {

/// The texts of a column, each once, in the order in which they came; an index has 8 bits.
class TextDictionary {
public:
    using TextOf = std::string (*)(std::int32_t code);

    /// The index of a code. Throws std::length_error for more than an index can number.
    std::int8_t indexOf(std::int32_t code, TextOf textOf) {
        const bool isKnown = code >= 0 && code < kQuick && quick_[static_cast<std::size_t>(code)] != kNone;
        return isKnown ? quick_[static_cast<std::size_t>(code)] : indexOfOther(code, textOf);
    }
    std::int8_t indexOfText(std::string text);
    /// Of what is numbered otherwise than by `indexOf`.
    std::int8_t indexOf(std::int32_t number, const std::string& text);
    const std::vector<std::string>& texts() const { return texts_; }

private:
    static constexpr std::int32_t kQuick = 256;
    static constexpr std::int8_t kNone = -1;
    std::int8_t indexOfOther(std::int32_t code, TextOf textOf);

    std::array<std::int8_t, kQuick> quick_ = [] {
        std::array<std::int8_t, kQuick> none{};
        none.fill(kNone);
        return none;
    }();
    std::map<std::int32_t, std::int8_t> others_;
    std::vector<std::string> texts_;
};

/// A column of a batch, until it becomes an array.
struct ColumnPart {
    std::int64_t nulls = 0;
    SharedBytes buffers;
    std::vector<OwnedArray> children;
};

/// One column of the batch that is being filled. Memory is taken for what there is: a column that is all null needs
/// none, one without nulls has no validity bits.
class ColumnBuilder {
public:
    /// Rows that the batch will have, as far as that is known.
    void begin(std::size_t expectedRows) { expected_ = expectedRows; }

    /// The next rows of a block: values, and which of them are given.
    template <class Value>
    void append(const Value* values, const BlockFlags& given, std::size_t count) {
        appendRaw(values, sizeof(Value), given, count);
    }
    /// A row of a list column; null for one without.
    void appendList(const std::vector<double>* values);
    std::size_t rows() const { return rows_; }
    /// The most rows that it or what its lists hold has.
    std::size_t mostRows() const { return std::max(rows_, items_ ? items_->rows() : 0); }

    TextDictionary dictionary;
    std::int64_t nanCount = 0;

    /// What was appended since `begin`; `zeros` are enough for a column of nulls alone.
    ColumnPart finish(ColumnForm form, const std::shared_ptr<const void>& zeros);

private:
    void appendRaw(const void* values, std::size_t size, const BlockFlags& given, std::size_t count);

    std::size_t expected_ = 0, rows_ = 0, nulls_ = 0;
    Buffer validity_, values_;
    std::unique_ptr<ColumnBuilder> items_;  ///< of a list
};

/// Rows to a stream of batches.
class TableBuilder {
    struct Batch {
        std::int64_t rows;
        std::vector<ColumnPart> parts;
    };

public:
    TableBuilder(std::vector<const ColumnDef*> columns, std::size_t batchRows, bool hasGroups,
                 const std::string& fileName, std::vector<std::string> files = {});

    /// Bits of what the columns need (ColumnList.h).
    std::uint8_t needs() const;
    /// How many rows will come in all.
    void expect(std::size_t rows) { expected_ = rows; }
    /// The place of the next row, to be filled before the next call. What an earlier row left there is to be replaced.
    /// @param key -1 none
    /// @param common those of a stored record, which stay until `flush`; null: they will be the row's own
    ColumnRow& nextRow(std::int64_t key, const CommonFields* common = nullptr) {
        if (block_->count == blockRoom_) flush();
        ColumnRow& row = block_->rows[block_->count];
        block_->keys[block_->count] = key;
        block_->common[block_->count++] = common != nullptr ? common : &row.rec;
        return row;
    }
    /// Takes the rows so far into the columns.
    void flush();
    std::size_t batchRows() const { return batchRows_; }
    /// Ends the table. Throws std::bad_alloc.
    ArrowArrayStream finish();
    /// Ends the batch and gives it; without rows there is none, and its `release` is null. Throws std::bad_alloc.
    OwnedArray takeBatch();

    /// Hands out the batches of a builder as they are asked for: `fill` puts the rows of the next one into it.
    using Fill = std::function<void(TableBuilder&)>;
    static ArrowArrayStream streamOf(TableBuilder builder, Fill fill);

private:
    void endBatch();
    std::vector<TextBuffers> dictionaries() const;
    OwnedArray arrayOf(Batch& batch, const std::vector<TextBuffers>& dictionaries) const;

    std::vector<const ColumnDef*> defs_;
    std::vector<ColumnBuilder> builders_;
    std::unique_ptr<RowBlock> block_ = std::make_unique<RowBlock>();
    std::size_t batchRows_, blockRoom_ = 0, rowsInBatch_ = 0, rowsBefore_ = 0, expected_ = 0;
    std::shared_ptr<const void> zeros_;
    std::size_t zeroRows_ = 0;
    std::vector<Batch> batches_;
};

}  // namespace obs
