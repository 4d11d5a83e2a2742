// SPDX-License-Identifier: Apache-2.0
/// @file
/// Columns of many stored observations, all in one call of the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

/// Blocks of rows. Throws std::runtime_error with the library's message where that cannot give the columns.
class ColumnScan {
public:
    /// All stored observations in an order of ObsExportArrow.
    ColumnScan(std::int32_t order, std::vector<const char*> columns);
    /// The observations of keys, as one block.
    ColumnScan(std::span<const std::int64_t> keys, std::vector<const char*> columns);
    ~ColumnScan();
    ColumnScan(const ColumnScan&) = delete;
    ColumnScan& operator=(const ColumnScan&) = delete;

    /// Goes to the next block; false when there is none.
    bool next();
    std::size_t rows() const { return static_cast<std::size_t>(batch_.length); }

    /// The i-th of the columns as ObsGetColumnReals gives it, appended to nothing: `values` becomes as long as the block.
    void values(std::size_t column, std::vector<double>& values) const;
    /// The i-th of the columns, which is that of the keys.
    const std::int64_t* keys(std::size_t column) const;

private:
    void start(std::int32_t count, const std::int64_t* keys, std::int32_t order, std::int32_t batchRows);
    void clear();
    [[noreturn]] void fail();

    std::vector<const char*> columns_;
    std::vector<char> formats_;  ///< the first letter of each
    ArrowArrayStream stream_{};
    ArrowArray batch_{};
};

}  // namespace obstool
