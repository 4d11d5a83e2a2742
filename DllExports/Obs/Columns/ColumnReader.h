// SPDX-License-Identifier: Apache-2.0
/// Columns of others, as their schema describes them, to the values of ours.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "DllExports/Obs/Columns/ColumnList.h"
#include "DllExports/Obs/ObsDllExports/ObsArrow.h"

namespace obs {

/// Why columns cannot be taken.
struct ColumnRefusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How the values of an array lie in its buffers.
enum class ArrowKind : std::uint8_t {
    null,
    int8,
    uint8,
    int16,
    uint16,
    int32,
    uint32,
    int64,
    uint64,
    float32,
    float64,
    text,
    largeText,
    textView,
    timestamp,
    list,
    largeList,
    other
};

/// One column of a stream: what its schema says, which outlives the schema.
class ColumnReader {
public:
    /// Throws ColumnRefusal for a type that the column cannot be taken from.
    ColumnReader(const ColumnDef& def, const ArrowSchema& schema, bool naiveIsUtc);

    const ColumnDef& def() const { return *def_; }

    /// Takes the array of a batch, which stays the caller's, of at least that many values. Throws ColumnRefusal for one
    /// that its schema does not describe.
    void begin(const ArrowArray& array, std::int64_t rows);

    /// Whether the batch has nothing to read here: all is null, or not looked at.
    bool isIdle() const { return def_->take == nullptr || array_->null_count == array_->length; }

    /// Reads the values from a row of the batch on, `in.count` of them.
    void read(std::int64_t from, Incoming& in) const;

private:
    /// Places of arrays are added and multiplied by sizes; beyond this no memory has room for values.
    static constexpr std::int64_t kMostValues = std::int64_t{1} << 56;

    void check(const ArrowArray& array, ArrowKind kind, std::int64_t values) const;
    [[noreturn]] void refuseArray() const;
    void readText(const ArrowArray& array, ArrowKind kind, std::int64_t at, Incoming& in, std::size_t row) const;
    void readNumber(const ArrowArray& array, ArrowKind kind, std::int64_t at, Incoming& in, std::size_t row) const;
    void readTime(std::int64_t value, Incoming& in, std::size_t row) const;
    void readList(std::int64_t at, Incoming& in, std::size_t row) const;
    template <class Read>
    void readEach(std::int64_t from, Incoming& in, Read&& readOne) const;

    const ColumnDef* def_;
    ArrowKind kind_, valueKind_;  ///< of the column, and of a dictionary's or a list's values
    bool hasDictionary_ = false;
    char timeUnit_ = 0;
    const ArrowArray* array_ = nullptr;
};

}  // namespace obs
