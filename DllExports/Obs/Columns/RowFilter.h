// SPDX-License-Identifier: Apache-2.0
/// Selections of rows that are not in the store, and of whole files of them by what is known of their columns.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsArrow.h"
#include "Obs/ObsTree/Selection.h"

namespace obs {

/// The columns that a selection asks about, in their order.
std::vector<std::string_view> columnsOf(const ObsSelection& selection);

/// What is selected of rows, given the names of the files that they come from so far.
using RowSelection = std::function<ObsSelection(const std::vector<std::string>& files)>;

/// Sets mask[row] to 1 for each row of a stream that meets a selection, to 0 for the others; how many rows there were.
/// Throws ColumnRefusal for a column that is missing or has a value which it cannot hold, when the stream fails, and for
/// more rows than `room`; std::bad_alloc.
std::int64_t selectRows(ArrowArrayStream& stream, const RowSelection& selectionFor, std::int64_t room,
                        std::int8_t* mask);

/// What is known of some rows: the least and the greatest value of columns.
struct KnownValues {
    static constexpr std::size_t kNumbers = 3, kTexts = 2;

    std::array<std::array<double, 2>, kNumbers> numbers;                       ///< ds50, sat_num, sen_num
    std::array<std::array<std::optional<std::string_view>, 2>, kTexts> texts;  ///< type, sec_class; byte by byte
};
SelectionBox boxOf(const KnownValues& known);

}  // namespace obs
