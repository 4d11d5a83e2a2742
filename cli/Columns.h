// SPDX-License-Identifier: Apache-2.0
/// @file
/// The columns that observations are shown in: every field under its name in tables for other programs, and what
/// follows from the fields.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

namespace obstool {

struct Column;

/// Values of many observations, column by column, asked from the library when they are wanted.
class Rows {
public:
    Rows() = default;
    /// For those that will want the fields of these columns, which are asked for in one call.
    explicit Rows(const std::vector<Column>& columns);

    /// Goes on to other observations.
    void begin(std::span<const std::int64_t> keys);

    std::span<const std::int64_t> keys() const { return keys_; }

    /// A column of ObsGetColumnReals.
    const std::vector<double>& field(std::int32_t column);

    /// File and line; without a name where they are not kept.
    const std::pair<std::string, std::int64_t>& origin(std::size_t row);

    const std::vector<double>& groups();

    /// 64 reals an observation (ObsGetStates); all zeros where nothing is determined.
    const std::vector<double>& states();

private:
    void askWanted();

    std::span<const std::int64_t> keys_;
    std::vector<std::int32_t> wanted_;         ///< columns
    std::vector<std::vector<double>> fields_;  ///< by column; empty: not asked for yet
    std::vector<double> states_, groups_;
    std::vector<std::pair<std::string, std::int64_t>> origins_;
};

/// How the values of a column are written.
enum class Form { integer, real, character, text };

struct Column {
    enum class Source {
        key,
        field,  ///< `number` is the column of the library
        angle,  ///< `number` is the column of the first of a pair, of which an observation has one; `second`
        state,  ///< `number` is the element of the states, `bit` that of its mask
        isoTime,
        dayOfYearTime,
        date,
        year,
        dayOfYear,
        modifiedJulian,
        group,
        originFile,
        originLine,
    };

    std::string name, unit, meaning;
    Source source;
    Form form;
    std::int32_t number = 0, second = 0;
    int bit = 0;
    int width = 0;     ///< in a table, without the blank before it
    int decimals = 0;  ///< in a table
    bool isLeft = false;

    bool isOrigin() const { return source == Source::originFile || source == Source::originLine; }

    /// Appends the value of a row: for a table with `decimals`, else with all its digits. False, and nothing is
    /// appended, where the observation does not have it.
    bool append(Rows& rows, std::size_t row, bool forTable, fmt::memory_buffer& out) const;
    /// The value of a column of numbers; not a number where the observation does not have it.
    double value(Rows& rows, std::size_t row) const;
};

/// All of them, those of the fields first.
const std::vector<Column>& allColumns();

/// Null when there is none of the name.
const Column* findColumn(std::string_view name);

/// The library's number of a field's column, which must exist.
std::int32_t fieldColumn(std::string_view name);

/// Columns by a list of names with commas. @param problem why there is no result
std::optional<std::vector<Column>> columnsOf(std::string_view names, std::string& problem);

/// As isoTime gives it.
void appendIsoTime(double ds50, fmt::memory_buffer& out);

/// Ends what was appended since `start` with blanks, or puts them before it, so that it takes `width` places.
void padTo(std::size_t width, bool isLeft, std::size_t start, fmt::memory_buffer& out);

/// Numbers at the right of `width` places, or of as many as they need; the second with a fixed number of decimals,
/// rounded to the nearest, as fmt writes it.
void appendWhole(std::int64_t value, std::size_t width, fmt::memory_buffer& out);
void appendFixed(double value, std::size_t decimals, std::size_t width, fmt::memory_buffer& out);

}  // namespace obstool
