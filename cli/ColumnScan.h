// SPDX-License-Identifier: Apache-2.0
/// @file
/// Columns of many stored observations, all in one call of the library.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

/// The characters of a column of a block, as codes; those of longer texts are blanks.
class CodeColumn {
public:
    std::size_t size() const { return indices_.size(); }
    unsigned char operator[](std::size_t row) const { return codes_[static_cast<std::size_t>(indices_[row]) & kMask]; }

private:
    friend class ColumnScan;
    static constexpr std::size_t kMask = 127;

    std::span<const std::int8_t> indices_;
    std::array<unsigned char, kMask + 1> codes_{};
};

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

    // The i-th of the columns as it lies in the block; where a row has no value there may be any.
    std::span<const std::int32_t> wholes(std::size_t column) const { return valuesOf<std::int32_t>(column); }
    std::span<const std::int64_t> keys(std::size_t column) const { return valuesOf<std::int64_t>(column); }
    std::span<const double> reals(std::size_t column) const { return valuesOf<double>(column); }
    CodeColumn codes(std::size_t column) const;
    /// Of a column of texts the place of each row's in `texts`, and those, each once.
    std::span<const std::int8_t> indices(std::size_t column) const { return valuesOf<std::int8_t>(column); }
    std::vector<std::string> texts(std::size_t column) const;
    /// Which rows have a value, a bit for each from the lowest on; null where all have one.
    const std::uint8_t* given(std::size_t column) const {
        return static_cast<const std::uint8_t*>(batch_.children[column]->buffers[0]);
    }
    /// A value of a column of reals, not a number where the row has none.
    double real(std::size_t column, std::size_t row) const;

private:
    void start(std::int32_t count, const std::int64_t* keys, std::int32_t order, std::int32_t batchRows);
    void clear();
    [[noreturn]] void fail();
    /// The library's arrays have no offset.
    template <class Value>
    std::span<const Value> valuesOf(std::size_t column) const {
        return {static_cast<const Value*>(batch_.children[column]->buffers[1]), rows()};
    }

    std::vector<const char*> columns_;
    std::vector<char> formats_;  ///< the first letter of each
    ArrowArrayStream stream_{};
    ArrowArray batch_{};
};

}  // namespace obstool
