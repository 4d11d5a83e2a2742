// SPDX-License-Identifier: Apache-2.0
/// RF lines (differential range and range rate between two sites): the sixteen items that are read and the fixed
/// columns in which they are written. docs/formats/rf.md prints the same table; a test holds the two together.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

#include "Obs/CardLayouts/Columns.h"

namespace obs::rf {

/// The first line of an RF file, a comment to the loader. NOTE: the single blank before "fdoa_dot" is its
/// established form.
inline constexpr std::string_view kHeaderLine =
    "# date  drange  drange_sigma  drange_rate  drange_rate_sigma  site1  delay1  site2  delay2  norad  rf  "
    "processtime  snr  flags fdoa_dot  reserved";
static_assert(kHeaderLine.size() == 145);

/// The items of a line, in order.
enum class Item : std::size_t {
    date,
    rangeM,
    rangeSigmaM,
    rangeRateMs,
    rangeRateSigmaMs,
    site1,
    delay1,
    site2,
    delay2,
    satNum,
    rf,
    processTime,
    snr,
    flag1,
    flag2,
    reserved
};
inline constexpr std::size_t kItemCount = 16;

/// An item by its name in the header line, with the columns in which it is written.
struct ItemColumns {
    std::string_view name;
    Columns columns;
};
inline constexpr std::array<ItemColumns, kItemCount> kItems{{
    {"date", {1, 28}},
    {"drange", {31, 47}},              // metres
    {"drange_sigma", {48, 66}},        // metres
    {"drange_rate", {69, 85}},         // m/s
    {"drange_rate_sigma", {86, 104}},  // m/s
    {"site1", {106, 113}},
    {"delay1", {114, 116}},
    {"site2", {118, 125}},
    {"delay2", {126, 128}},
    {"norad", {130, 134}},
    {"rf", {136, 146}},
    {"processtime", {148, 175}},
    {"snr", {181, 185}},
    {"flags", {187, 187}},
    {"fdoa_dot", {189, 189}},
    {"reserved", {191, 191}},
}};

constexpr Columns columnsOf(Item item) { return kItems[static_cast<std::size_t>(item)].columns; }

inline constexpr unsigned kLineColumns = 191;

/// The columns between the items, blank in every written line.
inline constexpr std::array<Columns, 11> kBlanks{{{29, 30},
                                                  {67, 68},
                                                  {105, 105},
                                                  {117, 117},
                                                  {129, 129},
                                                  {135, 135},
                                                  {147, 147},
                                                  {176, 180},
                                                  {186, 186},
                                                  {188, 188},
                                                  {190, 190}}};

inline constexpr int kMeasurementDecimals = 10;
inline constexpr int kSigmaDecimals = 12;
inline constexpr int kDelay1Decimals = 1;  ///< NOTE: delay 2 is written as an integer
inline constexpr int kSnrDecimals = 2;

/// Longest texts that a free-form line may hold.
inline constexpr std::size_t kTimeLength = 28;
inline constexpr std::size_t kSiteLength = 25;

// RF time text, YYYY:MM:DD::HH:MM:SS.ffffff and a blank. Any character separates when read.
inline constexpr Columns kYear{1, 4};
inline constexpr Columns kMonth{6, 7};
inline constexpr Columns kDay{9, 10};
inline constexpr Columns kHour{13, 14};
inline constexpr Columns kMinute{16, 17};
inline constexpr Columns kSecond{19, 20};
inline constexpr Columns kFraction{21, 28};
inline constexpr int kFractionDecimals = 6;  ///< written; up to 7 are read after the point

}  // namespace obs::rf
