// SPDX-License-Identifier: Apache-2.0
/// The rows of a stream as records, a block at a time.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "DllExports/Obs/Columns/ArrowNodes.h"
#include "DllExports/Obs/Columns/ColumnReader.h"

namespace obs {

struct StreamOptions {
    bool naiveIsUtc = false;
    std::int32_t gid = 0;  ///< of rows without a group
    /// The columns to read, all of which must be there while others may be anything; null: all, and others are refused.
    const std::vector<std::string_view>* wanted = nullptr;
    void (*prepare)(ObsRecord& rec) =
        nullptr;  ///< makes a new record what it is where columns give nothing; may be null
};

class StreamRows {
public:
    /// Throws ColumnRefusal for what the columns cannot be, or when the stream fails, as `next` does.
    StreamRows(ArrowArrayStream& stream, const StreamOptions& options);

    /// Goes on to the next rows; false after the last.
    bool next();

    std::size_t count() const { return block_->count; }
    /// The number of a row of the block in the stream, from 0.
    std::int64_t number(std::size_t i) const { return first_ + static_cast<std::int64_t>(i); }
    ColumnRow& row(std::size_t i) { return block_->rows[i]; }
    /// The names of the files that rows came from, by their numbers; more with each block.
    const std::vector<std::string>& files() const { return block_->files; }

    /// Whether a row of the block has a value that its column cannot take, and which and why. A time that is not given
    /// is NaN, and no fault.
    bool isFaulty(std::size_t i) const { return in_->faults[i] != nullptr; }
    std::string faultOf(std::size_t i) const;

private:
    struct Source {
        ColumnReader reader;
        std::int64_t child;
    };

    [[noreturn]] void fail();
    void takeSchema(const ArrowSchema& schema);
    void refuseMissing() const;
    bool nextBatch();
    void takeBlock();

    ArrowArrayStream& stream_;
    StreamOptions options_;
    std::int64_t children_ = 0;
    std::vector<Source> sources_;
    OwnedArray batch_;
    std::int64_t at_ = 0, end_ = 0;      ///< where in the batch, its offset included
    std::int64_t first_ = 0, rows_ = 0;  ///< the number of the block's first row, and how many were read
    std::unique_ptr<RowBlock> block_ = std::make_unique<RowBlock>();
    std::unique_ptr<Incoming> in_ = std::make_unique<Incoming>();
    std::array<const ColumnDef*, kBlockRows> blamed_{};
};

}  // namespace obs
