// SPDX-License-Identifier: Apache-2.0
/// Stored observations to columns and back.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "DllExports/Obs/Columns/ColumnBuilder.h"
#include "DllExports/Obs/Columns/StreamRows.h"

namespace obs {

/// Fills a table with the observations of some keys, as they are at one moment, the rows in the order of the keys;
/// calls `unknown(key)` for those without one. Throws std::bad_alloc and what the table throws.
void putStored(const std::int64_t* keys, std::size_t count, TableBuilder& table,
               const std::function<void(std::int64_t)>& unknown);

/// The same for all observations, in an order (Ordering.h).
void putAllStored(std::int32_t order, TableBuilder& table);

/// A stream of all observations in the order of their slots, of which each batch is copied when it is asked for.
/// Throws std::bad_alloc.
ArrowArrayStream streamAsStored(TableBuilder table);

struct ImportCounts {
    std::int64_t rows = 0, added = 0, duplicates = 0, refused = 0;
};

struct ImportOptions {
    bool naiveIsUtc = false;
    std::int32_t gid = 0;   ///< of rows without a group
    std::int64_t room = 0;  ///< number of keys wanted
    std::int64_t* keys = nullptr;
    std::function<void(std::string_view)> tell;  ///< gets the message of each refused row, up to a number
};

/// Adds the rows of a stream, duplicates being logged as everywhere. Throws ColumnRefusal, nothing being added, for
/// what the columns cannot be or when the stream fails; std::bad_alloc, nothing being added.
ImportCounts addRows(ArrowArrayStream& stream, const ImportOptions& options);

}  // namespace obs
