// SPDX-License-Identifier: Apache-2.0
/// The 56 fields of a CSV line in their order, walked by reader and writer. The list of fields tells which value stands
/// where; here is what a line gives in another form than the record. docs/formats/csv.md prints the table; a test holds
/// the two together.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Obs/ObsTypes/FieldList.h"

namespace obs::csv {

inline constexpr char kSeparator = ',';
inline constexpr char kPairSeparator = ':';
inline constexpr std::size_t kFieldCount = 56;

/// The fields of the time, counted from 1.
inline constexpr std::size_t kFirstDateField = 4, kLastDateField = 8;

/// The time in parts, one a field.
struct TimeParts {
    std::int32_t year = 0;
    std::int32_t dayOfYear = 0;
    std::int32_t hour = 0;
    std::int32_t minute = 0;
    double seconds = 0;
};

/// A line that is too long has its reals rounded, to this many significant digits at least.
inline constexpr int kFewestDigits = 9;

enum class Kind : std::uint8_t {
    character,
    integer,
    real,
    exactReal,  ///< never rounded to make a long line fit: the key hangs on it
    realPair,   ///< two reals
    repeated,   ///< a real that an earlier field gives already: written again, ignored when read
};

/// Fields 46 to 49 give fields 38 to 41 again.
constexpr bool isRepeated(std::size_t number) { return number >= 46 && number <= 49; }
inline constexpr std::size_t kRepeatedAfter = 8;

/// The owners of a line's values, to be read through or only read. Of the values whose meaning hangs on the type, the
/// one that `ofRaDec` has counts for types with right ascension and declination, the other for all others.
template <bool kWritable>
struct Owners {
    template <class Owner>
    using Some = std::conditional_t<kWritable, Owner, const Owner>;

    Some<TimeParts>& time;
    Some<ObsFields>& fields;
    Some<ObsFields>& ofOthers;
    Some<ObsFields>& ofRaDec;
    Some<CsvObsData>& csvData;
    Some<ObsBiases>& biases;
    Some<RfObsData>& rfData;

    template <class Row>
    auto& valueOf(Row row) const {
        if constexpr (row.template isOf<CsvObsData>) return row.in(csvData);
        else if constexpr (row.template isOf<ObsBiases>) return row.in(biases);
        else if constexpr (row.template isOf<RfObsData>) return row.in(rfData);
        else if constexpr (row.facts.meaning == Meaning::ofOthers) return row.in(ofOthers);
        else if constexpr (row.facts.meaning == Meaning::ofRaDec) return row.in(ofRaDec);
        else return row.in(fields);
    }
};

/// The first row of the list of fields, from one on, that has a number; `kFieldRows` when there is none.
constexpr std::size_t rowOf(std::size_t number, std::size_t from = 0) {
    std::size_t at = 0, found = kFieldRows;
    obs::forEachField([&](auto row) {
        if (at >= from && found == kFieldRows && row.facts.csv == static_cast<int>(number)) found = at;
        ++at;
    });
    return found;
}

/// A field by its number, from 1, as a value without contents.
template <std::size_t kNumber>
struct FieldAt {
    static constexpr std::size_t number = kNumber;
    static constexpr std::size_t kRow = rowOf(isRepeated(kNumber) ? kNumber - kRepeatedAfter : kNumber);
    static constexpr std::size_t kSecondRow = rowOf(kNumber, kRow + 1);
    using Row = FieldRow<kRow>;

    static constexpr std::string_view name = Row::facts.csvName.empty() ? Row::facts.name : Row::facts.csvName;
    static constexpr Kind kind = isRepeated(kNumber)       ? Kind::repeated
                                 : Row::isCharacter        ? Kind::character
                                 : Row::isInteger          ? Kind::integer
                                 : kSecondRow < kFieldRows ? Kind::realPair
                                                           : Kind::real;

    /// The value, or the first of a pair.
    template <class Some>
    static auto& in(const Some& owners) {
        return owners.valueOf(Row{});
    }
    template <class Some>
    static auto& secondIn(const Some& owners) {
        return owners.valueOf(FieldRow<kSecondRow>{});
    }
};

/// A part of the time.
template <std::size_t kNumber, auto kMember, Kind kKind = Kind::integer>
struct TimeField {
    static constexpr std::size_t number = kNumber;
    static constexpr std::array<std::string_view, 5> kNames{"year", "day of year", "hour", "minute", "seconds"};
    static constexpr std::string_view name = kNames[kNumber - kFirstDateField];
    static constexpr Kind kind = kKind;

    template <class Some>
    static auto& in(const Some& owners) {
        return owners.time.*kMember;
    }
};
template <>
struct FieldAt<4> : TimeField<4, &TimeParts::year> {};
template <>
struct FieldAt<5> : TimeField<5, &TimeParts::dayOfYear> {};
template <>
struct FieldAt<6> : TimeField<6, &TimeParts::hour> {};
template <>
struct FieldAt<7> : TimeField<7, &TimeParts::minute> {};
template <>
struct FieldAt<8> : TimeField<8, &TimeParts::seconds, Kind::exactReal> {};

/// Calls `visit(field)` for the fields in the order of the line.
template <class Visit>
constexpr void forEachField(Visit&& visit) {
    [&]<std::size_t... i>(std::index_sequence<i...>) { (visit(FieldAt<i + 1>{}), ...); }
    (std::make_index_sequence<kFieldCount>{});
}

/// What messages say of a field.
struct Field {
    std::string_view name;
    Kind kind;
};
inline constexpr std::array<Field, kFieldCount> kFields = [] {
    std::array<Field, kFieldCount> fields{};
    std::size_t count = 0;
    forEachField([&](auto field) { fields[count++] = {field.name, field.kind}; });
    return fields;
}();

}  // namespace obs::csv
