// SPDX-License-Identifier: Apache-2.0
/// The columns that observations have for other programs: those of the list of fields, and what is known of an
/// observation besides its record. One definition each says how values go out and come in.
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Obs/ObsTypes/FieldList.h"

namespace obs {

/// Rows that go through all columns together, few enough to stay in the cache.
inline constexpr std::size_t kBlockRows = 128;
using BlockFlags = std::array<std::uint8_t, kBlockRows>;

struct ColumnRow {
    ObsRecord rec;
    std::int64_t line = 0;
    std::int32_t gid = 0;
    std::int32_t file = -1;  ///< its number in the block's files; -1 none
};

/// That of a set of types, or one that is in no set.
constexpr std::uint32_t typeBit(std::int32_t type) { return 1u << (type >= 0 && type <= 19 ? type : 31); }

struct RowBlock {
    std::size_t count = 0;
    std::array<ColumnRow, kBlockRows> rows;
    std::array<std::int64_t, kBlockRows> keys;  ///< -1 none
    /// The common fields of each row: its own ones, or those in the store, which are then not copied.
    std::array<const CommonFields*, kBlockRows> common;
    std::array<std::uint32_t, kBlockRows> typeBits;  ///< of its type for each row
    bool hasGroups = false;                          ///< else groups are null
    bool hasFile = false;                            ///< all rows are of one
    std::vector<std::string> files;                  ///< of stored observations, and of rows that come in
};

/// What of a stored observation a column may need.
inline constexpr std::uint8_t kNeedsFields = 1;  ///< those that are not common
inline constexpr std::uint8_t kNeedsParts = 2;   ///< the optional parts of the record
inline constexpr std::uint8_t kNeedsMark = 4;    ///< group and origin

/// What a column is made of.
enum class ColumnForm : std::uint8_t { int32, int64, real, time, text, list };

class ColumnBuilder;

inline constexpr std::int64_t kMostSigmas = 21;
inline constexpr const char* kSigmaCounts = "a list has 6, 7 or 21 values";

/// Values of a block as they come in; which of the arrays are filled depends on the form. A row that is not given keeps
/// what a new record has.
struct Incoming {
    std::size_t count = 0;
    BlockFlags given;
    std::array<std::int64_t, kBlockRows> integers;  ///< of times: microseconds since 1970
    std::array<double, kBlockRows> reals;
    std::array<std::string_view, kBlockRows> texts;
    std::array<std::vector<double>, kBlockRows> lists;
    std::array<std::array<char, 20>, kBlockRows> digits;  ///< of texts that came as numbers

    /// Rows with a value that the column cannot take, and why; the first reason of a row stays.
    std::array<const char*, kBlockRows> faults;
    void refuse(std::size_t row, const char* why) { faults[row] = faults[row] == nullptr ? why : faults[row]; }
};

struct ColumnDef {
    std::string_view name, unit;
    ColumnForm form;
    std::uint32_t types;     ///< bits of the types that carry it; 0 for what is no matter of types
    std::uint8_t needs = 0;  ///< bits of what is looked at besides common fields and key
    void (*put)(const RowBlock& block, ColumnBuilder& out) = nullptr;
    void (*take)(Incoming& in, RowBlock& block) = nullptr;  ///< null: not looked at
    bool isOfText = false;  ///< known of lines of a text, or where origins are kept; never imported
};

/// All columns in their order.
const std::vector<ColumnDef>& columnList();

/// The column of a name, or null.
const ColumnDef* findColumn(std::string_view name);

/// Texts of characters and types in dictionaries: a character that is no ASCII one is that of ISO 8859-1; a type
/// without a character is its number.
std::string characterText(std::int32_t character);
std::string typeText(std::int32_t type);
/// The same back; false for a text that is none.
bool characterFrom(std::string_view text, char& character);
bool typeFrom(std::string_view text, std::int32_t& type);

/// The texts that every dictionary of types and of classes begins with.
inline constexpr std::int32_t kTypesWithCharacter[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 18, 19};
inline constexpr char kClasses[] = {'U', 'C', 'S'};

/// Microseconds since 1970 of a time in days since 1950 UTC, to the nearest; false where they do not fit.
bool microsecondsOf(double ds50, std::int64_t& microseconds);
double ds50Of(std::int64_t microseconds);

/// Whether the two are the same time to a microsecond.
bool isSameTime(double ds50, std::int64_t microseconds);

}  // namespace obs
