// SPDX-License-Identifier: Apache-2.0
/// The table that callers describe by names of columns.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DllExports/Obs/Columns/ColumnBuilder.h"

namespace obs {

/// What a caller asks for.
struct WantedColumns {
    const char* const* names;
    std::int32_t count;      ///< 0 all
    std::int32_t batchRows;  ///< 0 the usual number
};

/// Where rows come from: a text has columns of its own. Its file may have no name.
struct RowsFrom {
    bool isText = false;
    std::string_view fileName = {};
    /// Of stored observations: that origins are kept, and the names of their files.
    bool hasOrigins = false;
    std::vector<std::string> files = {};
};

/// Nothing, after a message, for names that are none of a column or occur twice, and for numbers out of range.
std::optional<TableBuilder> tableOf(std::string_view name, const WantedColumns& wanted, const RowsFrom& from);

}  // namespace obs
