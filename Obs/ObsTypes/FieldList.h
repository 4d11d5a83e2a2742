// SPDX-License-Identifier: Apache-2.0
/// The list of fields: one row for each value that a record holds, with all that is said of it anywhere. Whatever goes
/// through the fields of a record walks this list: access by index, array form, loose fields, CSV lines, the duplicate
/// test, the pages and the tests. A new field is a member in ObsRecord.h and a row here.
///
/// A walk calls a generic function once a row, so that it compiles to the code that would be written by hand:
///
///     forEachFieldOf<ObsFields>([&](auto field) {
///         if constexpr (field.facts.index != 0) names[field.facts.index] = field.facts.name;
///         field.in(to) = field.in(from);
///     });
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Obs/ObsTypes/ObsRecord.h"
#include "Obs/ObsTypes/TypeSets.h"

namespace obs {

/// How a field is written as text, before blanks in front of it are dropped.
enum class FieldForm : std::uint8_t {
    character,      ///< as it is
    typeCharacter,  ///< the character of an observation type
    integer0,       ///< as few digits as it needs
    integer1,       ///< one column: more than a digit is an asterisk. NOTE: kept so for its users
    integer9,       ///< nine columns
    real,           ///< 35 columns, 15 decimals
    list            ///< reals that are not a single text
};

/// Two rows may share one storage: it then means one thing for the types with right ascension and declination, and
/// the other for all others.
enum class Meaning : std::uint8_t { only, ofOthers, ofRaDec };

inline constexpr int kNoElement = -1;

/// What there is to know of a field besides its place in the record; 0 or empty where it has no such thing.
struct FieldFacts {
    std::string_view name;    ///< as functions and pages call it
    std::string_view column;  ///< as columns for other programs call it
    std::string_view unit;
    FieldForm form;
    ObsTypeSet types;               ///< observation types that carry it
    ObsTypeSet comparedFor;         ///< types of which duplicates have it equal
    int index;                      ///< for access by index, from 1
    int element;                    ///< of the array form, from 0; fields may share one
    int loose;                      ///< place among the loose fields (the list F), from 1
    int csv;                        ///< number of the field of a CSV line, from 1
    std::string_view csvName = {};  ///< as messages call that, where it is not `name`
    Meaning meaning = Meaning::only;
    std::string_view storage = {};  ///< as the record calls it, where it is not `name`

    constexpr std::string_view storageName() const { return storage.empty() ? name : storage; }
};

namespace fieldlist {

template <class>
struct MemberOf;
template <class V, class O>
struct MemberOf<V O::*> {
    using Value = V;
    using Owner = O;
};
template <class V>
struct ElementOf {
    using Value = V;
};
template <class V, std::size_t n>
struct ElementOf<std::array<V, n>> {
    using Value = V;
};

}  // namespace fieldlist

/// A value's place: a member of the record or of one of its parts, or an element of a member that is an array.
template <auto kMember, std::size_t kAt>
struct FieldPlace {
    using Owner = typename fieldlist::MemberOf<decltype(kMember)>::Owner;
    using Held = typename fieldlist::MemberOf<decltype(kMember)>::Value;
    using Value = typename fieldlist::ElementOf<Held>::Value;

    static constexpr bool isReal = std::is_same_v<Value, double>;
    static constexpr bool isInteger = std::is_integral_v<Value> && !std::is_same_v<Value, char>;
    static constexpr bool isCharacter = std::is_same_v<Value, char>;
    /// Of three, such as a position.
    static constexpr bool isComponent = std::is_same_v<Held, Vector3> && std::is_base_of_v<Owner, ObsFields>;

    template <class Some>
    static constexpr bool isOf = std::is_base_of_v<Owner, Some>;

    /// The value in its owner.
    template <class Some>
    static constexpr auto& in(Some& owner) {
        if constexpr (std::is_same_v<Held, Value>) return owner.*kMember;
        else return (owner.*kMember)[kAt];
    }

    /// The value in a record, null where the record lacks the part that holds it.
    template <class Record>
    static constexpr auto* find(Record& rec) {
        if constexpr (isOf<ObsRecord>) return &in(rec);
        else if constexpr (isOf<CsvObsData>) return rec.csvData ? &in(*rec.csvData) : nullptr;
        else if constexpr (isOf<ObsBiases>) return rec.biases ? &in(*rec.biases) : nullptr;
        else return rec.rfData ? &in(*rec.rfData) : nullptr;
    }

    /// A form that does not suit the value does not compile, see below.
    static constexpr bool suits(FieldForm form) {
        if constexpr (isReal) return form == FieldForm::real;
        else if constexpr (isCharacter) return form == FieldForm::character;
        else if constexpr (isInteger) return form >= FieldForm::typeCharacter && form <= FieldForm::integer9;
        else return form == FieldForm::list;
    }
};

/// A row: the place of a field, and what there is to know of it.
template <auto kMember, std::size_t kAt = 0>
struct Field {
    using Place = FieldPlace<kMember, kAt>;
    FieldFacts facts;
};

namespace fieldlist {

using enum FieldForm;
using enum Meaning;
using F = ObsFields;
using C = CsvObsData;
using R = RfObsData;

inline constexpr ObsTypeSet kAll{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19};
inline constexpr ObsTypeSet kNone{};
inline constexpr ObsTypeSet kRf{kTypeRf};
// RF observations have a range and a range rate too, as differences between two sites.
inline constexpr ObsTypeSet kRange = kRangeTypes | kRf;
inline constexpr ObsTypeSet kRangeRate = kRangeRateTypes | kRf;
inline constexpr ObsTypeSet kSensor = kSensorPositionTypes | ObsTypeSet{kTypePositionVelocity};
inline constexpr ObsTypeSet kSatellite{kTypeEciPosition, kTypeEciPositionVelocity};
// What duplicates have in common besides satellite, time and type. NOTE: the sensor is not among it; a type that is
// nowhere here never has a duplicate.
inline constexpr ObsTypeSet kSameAngles = kAzElTypes | kRaDecTypes;
inline constexpr ObsTypeSet kSameRange = kAzElTypes | ObsTypeSet{kTypeRange};
inline constexpr ObsTypeSet kSameRangeRate = kAzElTypes | ObsTypeSet{0};
inline constexpr ObsTypeSet kSameRates = kAzElTypes;

// clang-format off
inline constexpr std::tuple kRows{
    //                           name, column, unit, form, types, compared for, index, element, loose, csv
    Field<&F::secClass>         {"secClass", "sec_class", "", character, kAll, kNone, 1, 0, 1, 1},
    Field<&F::satNum>           {"satNum", "sat_num", "", integer0, kAll, kNone, 2, 1, 2, 2},
    Field<&F::senNum>           {"senNum", "sen_num", "", integer0, kAll, kNone, 3, 2, 3, 3},
    Field<&F::obsTime>          {"obsTime", "ds50", "days since 1950 UTC", real, kAll, kNone, 4, 3, 4, 0},
    Field<&F::elOrDec>          {"elevation", "elevation", "degrees", real, kAzElTypes, kSameAngles, 5, 4, 5, 9,
                                 "", ofOthers, "elOrDec"},
    Field<&F::elOrDec>          {"declination", "declination", "degrees", real, kRaDecTypes, kNone, 6, 4, 0, 11,
                                 "", ofRaDec, "elOrDec"},
    Field<&F::azOrRa>           {"azimuth", "azimuth", "degrees", real, kAzElTypes, kSameAngles, 7, 5, 6, 13,
                                 "", ofOthers, "azOrRa"},
    Field<&F::azOrRa>           {"rightAscension", "right_ascension", "degrees", real, kRaDecTypes, kNone, 8, 5, 0, 15,
                                 "right ascension", ofRaDec, "azOrRa"},
    Field<&F::range>            {"range", "range_km", "km", real, kRange, kSameRange, 9, 6, 7, 17},
    Field<&F::rangeRate>        {"rangeRate", "range_rate_km_s", "km/s", real, kRangeRate, kSameRangeRate,
                                 10, 7, 8, 18},
    Field<&F::elRate>           {"elRate", "el_rate", "as on the cards", real, kRateTypes, kSameRates, 11, 8, 9, 10,
                                 "elevation rate", ofOthers},
    Field<&F::elRate>           {"decRate", "", "as on the cards", real, kNone, kNone, 0, -1, 0, 12,
                                 "declination rate", ofRaDec, "elRate"},
    Field<&F::azRate>           {"azRate", "az_rate", "as on the cards", real, kRateTypes, kSameRates, 12, 9, 10, 14,
                                 "azimuth rate", ofOthers},
    Field<&F::azRate>           {"raRate", "", "as on the cards", real, kNone, kNone, 0, -1, 0, 16,
                                 "right-ascension rate", ofRaDec, "azRate"},
    Field<&F::rangeAccel>       {"rangeAccel", "range_accel", "as on the cards", real, kRateTypes, kSameRates,
                                 13, 10, 11, 19},
    Field<&F::obsType>          {"obsType", "type", "", typeCharacter, kAll, kNone, 14, 11, 12, 20},
    Field<&F::indicator1>       {"indicator1", "indicator1", "", integer1, kAll, kNone, 15, 12, 13, 24},
    Field<&F::indicator2>       {"indicator2", "indicator2", "", integer1, kAll, kNone, 16, 13, 14, 25},
    Field<&F::altSatNum1>       {"altSatNum1", "alt_sat1", "", integer9, kAll, kNone, 17, 14, 15, 26},
    Field<&F::altSatNum2>       {"altSatNum2", "alt_sat2", "", integer9, kAll, kNone, 18, 15, 16, 27},
    Field<&F::senPos, 0>        {"senPosX", "sen_pos_x", "km", real, kSensor, kNone, 19, 16, 0, 21, "senPos X"},
    Field<&F::senPos, 1>        {"senPosY", "sen_pos_y", "km", real, kSensor, kNone, 20, 17, 0, 22, "senPos Y"},
    Field<&F::senPos, 2>        {"senPosZ", "sen_pos_z", "km", real, kSensor, kNone, 21, 18, 0, 23, "senPos Z"},
    Field<&F::senVel, 0>        {"senVelX", "sen_vel_x", "km/s", real, kSensor, kNone, 0, 19, 0, 0},
    Field<&F::senVel, 1>        {"senVelY", "sen_vel_y", "km/s", real, kSensor, kNone, 0, 20, 0, 0},
    Field<&F::senVel, 2>        {"senVelZ", "sen_vel_z", "km/s", real, kSensor, kNone, 0, 21, 0, 0},
    Field<&F::satPos, 0>        {"satPosX", "sat_pos_x", "km", real, kSatellite, kNone, 22, 16, 0, 0},
    Field<&F::satPos, 1>        {"satPosY", "sat_pos_y", "km", real, kSatellite, kNone, 23, 17, 0, 0},
    Field<&F::satPos, 2>        {"satPosZ", "sat_pos_z", "km", real, kSatellite, kNone, 24, 18, 0, 0},
    Field<&F::satVel, 0>        {"satVelX", "sat_vel_x", "km/s", real, kSatellite, kNone, 0, 19, 0, 0},
    Field<&F::satVel, 1>        {"satVelY", "sat_vel_y", "km/s", real, kSatellite, kNone, 0, 20, 0, 0},
    Field<&F::satVel, 2>        {"satVelZ", "sat_vel_z", "km/s", real, kSatellite, kNone, 0, 21, 0, 0},
    Field<&F::equinoxInd>       {"equinoxInd", "equinox", "", integer0, kRaDecTypes, kNone, 0, 22, 0, 44},
    Field<&F::rotateToDate>     {"rotateToDate", "", "", integer0, kAll, kNone, 0, -1, 0, 0},

    Field<&C::csvReals, 0>      {"csvReal1", "csv_real1", "", real, kAll, kNone, 25, 23, 0, 29, "csvReals 1 and 2"},
    Field<&C::csvReals, 1>      {"csvReal2", "csv_real2", "", real, kAll, kNone, 26, 24, 0, 29},
    Field<&C::csvReals, 2>      {"csvReal3", "csv_real3", "", real, kAll, kNone, 27, 25, 0, 42, "csvReals 3 and 4"},
    Field<&C::csvReals, 3>      {"csvReal4", "csv_real4", "", real, kAll, kNone, 28, 26, 0, 42},
    Field<&C::csvReals, 4>      {"csvReal5", "csv_real5", "", real, kAll, kNone, 29, 27, 0, 30, "csvReals 5"},
    Field<&C::csvReals, 5>      {"csvReal6", "csv_real6", "", real, kAll, kNone, 30, 28, 0, 31, "csvReals 6"},
    Field<&C::csvReals, 6>      {"csvReal7", "csv_real7", "", real, kAll, kNone, 31, 29, 0, 32, "csvReals 7"},
    Field<&C::csvReals, 7>      {"csvReal8", "csv_real8", "", real, kAll, kNone, 32, 30, 0, 33, "csvReals 8"},
    Field<&C::csvReals, 8>      {"csvReal9", "csv_real9", "", real, kAll, kNone, 33, 31, 0, 34, "csvReals 9"},
    Field<&C::csvReal10>        {"csvReal10", "csv_real10", "", real, kAll, kNone, 34, 32, 0, 56},
    Field<&C::csvInt1>          {"csvInt1", "csv_int1", "", integer9, kAll, kNone, 35, 33, 0, 43},
    Field<&C::csvInt2>          {"csvInt2", "csv_int2", "", integer1, kAll, kNone, 36, 34, 0, 45},
    Field<&C::csvChar>          {"csvChar", "csv_char", "", character, kAll, kNone, 37, 35, 0, 28},
    Field<&C::unindexedReal>    {"unindexedReal", "csv_unindexed_real", "", real, kAll, kNone, 0, -1, 0, 51},
    Field<&C::lastReals, 0>     {"lastReal1", "csv_last_real1", "", real, kAll, kNone, 0, -1, 0, 53, "lastReals 1"},
    Field<&C::lastReals, 1>     {"lastReal2", "csv_last_real2", "", real, kAll, kNone, 0, -1, 0, 54, "lastReals 2"},
    Field<&C::lastReals, 2>     {"lastReal3", "csv_last_real3", "", real, kAll, kNone, 0, -1, 0, 55, "lastReals 3"},

    Field<&ObsBiases::values, 0>{"bias1", "bias_1", "", real, kAll, kNone, 0, 33, 0, 35, "biases 1"},
    Field<&ObsBiases::values, 1>{"bias2", "bias_2", "", real, kAll, kNone, 0, 34, 0, 36, "biases 2"},
    Field<&ObsBiases::values, 2>{"bias3", "bias_3", "", real, kAll, kNone, 0, 35, 0, 37, "biases 3"},
    Field<&ObsBiases::values, 3>{"bias4", "bias_4", "", real, kAll, kNone, 0, 36, 0, 38, "biases 4"},
    Field<&ObsBiases::values, 4>{"bias5", "bias_5", "", real, kAll, kNone, 0, 37, 0, 39, "biases 5"},
    Field<&ObsBiases::values, 5>{"bias6", "bias_6", "", real, kAll, kNone, 0, 38, 0, 40, "biases 6"},
    Field<&ObsBiases::values, 6>{"bias7", "bias_7", "", real, kAll, kNone, 0, 39, 0, 41, "biases 7"},

    Field<&R::site1SenNum>      {"site1SenNum", "rf_site1_sen_num", "", integer0, kRf, kNone, 0, -1, 0, 0},
    Field<&R::delay1>           {"delay1", "rf_delay1", "", real, kRf, kNone, 0, -1, 0, 0},
    Field<&R::delay2>           {"delay2", "rf_delay2", "", real, kRf, kNone, 0, -1, 0, 0},
    Field<&R::rangeSigmaM>      {"rangeSigmaM", "rf_range_sigma_m", "m", real, kRf, kNone, 0, -1, 0, 50},
    Field<&R::rangeRateSigmaMs> {"rangeRateSigmaMs", "rf_range_rate_sigma_m_s", "m/s", real, kRf, kNone, 0, -1, 0, 52},
    Field<&R::rf>               {"rf", "rf_frequency", "", integer0, kRf, kNone, 0, -1, 0, 0},
    Field<&R::snr>              {"snr", "rf_snr", "", real, kRf, kNone, 0, -1, 0, 0},
    Field<&R::flags, 0>         {"flag1", "rf_flag1", "", character, kRf, kNone, 0, -1, 0, 0},
    Field<&R::flags, 1>         {"flag2", "rf_flag2", "", character, kRf, kNone, 0, -1, 0, 0},
    Field<&R::flags, 2>         {"flag3", "rf_flag3", "", character, kRf, kNone, 0, -1, 0, 0},
    Field<&R::processTime>      {"processTime", "rf_process_time", "days since 1950 UTC", real, kRf, kNone,
                                 0, -1, 0, 0},

    Field<&OptionalParts::extraValues>{"sigma", "sigma", "", list, kAll, kNone, 0, 41, 0, 0},
};
// clang-format on

}  // namespace fieldlist

inline constexpr std::size_t kFieldRows = std::tuple_size_v<decltype(fieldlist::kRows)>;

/// A row as a value without contents, so that its facts are constants wherever it is passed.
template <std::size_t i>
struct FieldRow : std::tuple_element_t<i, std::remove_const_t<decltype(fieldlist::kRows)>>::Place {
    static constexpr const FieldFacts& facts = std::get<i>(fieldlist::kRows).facts;
    static_assert(FieldRow::suits(facts.form), "the form of a field is not one of its type");
};

/// Calls `visit(row)` for every row, in their order.
template <class Visit>
constexpr void forEachField(Visit&& visit) {
    [&]<std::size_t... i>(std::index_sequence<i...>) { (visit(FieldRow<i>{}), ...); }
    (std::make_index_sequence<kFieldRows>{});
}

/// The same for the fields of the record or of one of its parts.
template <class Owner, class Visit>
constexpr void forEachFieldOf(Visit&& visit) {
    forEachField([&](auto field) {
        if constexpr (field.template isOf<Owner>) visit(field);
    });
}

/// The facts of a place, as a caller names it; those of its first row where it has two.
template <auto kMember, std::size_t kAt = 0>
inline constexpr const FieldFacts& kFactsOf =
    std::get<[] {
        // NOTE: a number, not a pointer: with sanitizers g++ 12 does not take the address of a row for a constant.
        std::size_t found = kFieldRows, row = 0;
        forEachField([&](auto field) {
            if (std::is_base_of_v<FieldPlace<kMember, kAt>, decltype(field)> && found == kFieldRows) found = row;
            ++row;
        });
        return found;
    }()>(fieldlist::kRows)
        .facts;

namespace fieldlist {

/// Bytes of the values of an owner that have a row.
template <class Owner>
constexpr std::size_t bytesListed() {
    std::size_t bytes = 0;
    forEachField([&](auto field) {
        if (std::is_same_v<typename decltype(field)::Owner, Owner> && field.facts.meaning != ofRaDec)
            bytes += sizeof(typename decltype(field)::Value);
    });
    return bytes;
}
static_assert(bytesListed<CommonFields>() == sizeof(CommonFields) && bytesListed<RareFields>() == sizeof(RareFields) &&
                  bytesListed<ObsBiases>() == sizeof(ObsBiases),
              "a field has no row");

}  // namespace fieldlist

}  // namespace obs
