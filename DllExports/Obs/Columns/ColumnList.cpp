// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/ColumnList.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include "DllExports/Obs/Columns/ColumnBuilder.h"
#include "siblings/include/Sensors.h"

namespace obs {

namespace {

constexpr std::uint32_t kAllTypes = fieldlist::kAll.bits();

template <class Value>
bool isNonzero(Value value) {
    if constexpr (std::is_same_v<Value, double>) return std::bit_cast<std::uint64_t>(value) != 0;  // -0.0 is kept
    else return value != 0;
}

template <auto kMember, std::size_t kAt>
FieldPlace<kMember, kAt> placeOf(const FieldPlace<kMember, kAt>&);

/// Whether another row of the list gives the same place the other meaning, in a column of its own.
template <class F>
constexpr bool kHasTwin = [] {
    bool has = false;
    forEachField([&](auto field) {
        using Place = decltype(placeOf(field));
        has = has || (std::is_same_v<Place, decltype(placeOf(F{}))> && field.facts.meaning != F::facts.meaning &&
                      !field.facts.column.empty());
    });
    return has;
}();

/// The types that hold the field's value at its place, not that of its twin.
template <class F>
constexpr std::uint32_t kMeantFor = F::facts.meaning == Meaning::ofRaDec ? kRaDecTypes.bits()
                                    : kHasTwin<F>                        ? ~kRaDecTypes.bits()
                                                                         : ~0u;

template <class F>
using ColumnValue = std::conditional_t<F::isReal, double, typename F::Value>;

/// A field that every record has.
template <class F>
auto valueIn(const RowBlock& block, std::size_t row) {
    if constexpr (F::template isOf<CommonFields>) return F::in(*block.common[row]);
    else return F::in(block.rows[row].rec);
}

/// Of values that the record itself holds. Without branches, since types come in any order.
template <class F>
void markGiven(const RowBlock& block, const ColumnValue<F>* values, BlockFlags& given) {
    constexpr std::uint32_t kTypes = F::facts.types.bits();
    if constexpr (kTypes == kAllTypes) {
        static_assert(kMeantFor<F> == ~0u);
        given.fill(1);
    } else {
        for (std::size_t i = 0; i < block.count; ++i) {
            const std::uint32_t type = block.typeBits[i];
            const bool hasOther = isNonzero(values[i]) & ((type & kMeantFor<F>) != 0);
            given[i] = static_cast<std::uint8_t>(hasOther | ((type & kTypes & kMeantFor<F>) != 0));
        }
    }
}

/// Values that are not numbers are null, and counted.
void dropNans(const RowBlock& block, const double* values, BlockFlags& given, std::int64_t& nanCount) {
    bool isAny = false;  // two are asked about at once, and hardly any deck has one
    for (std::size_t i = 0; i + 1 < block.count; i += 2) isAny = isAny || std::isunordered(values[i], values[i + 1]);
    if (block.count % 2 != 0) isAny = isAny || std::isnan(values[block.count - 1]);
    for (std::size_t i = 0; isAny && i < block.count; ++i) {
        if (!std::isnan(values[i])) continue;
        nanCount += given[i];
        given[i] = 0;
    }
}

/// A field of numbers. A part that is there has all its values; of the others those that the type carries, and what is
/// not 0.
template <class F>
void putNumbers(const RowBlock& block, ColumnBuilder& out) {
    ColumnValue<F> values[kBlockRows];
    BlockFlags given;
    if constexpr (F::template isOf<ObsRecord>) {
        for (std::size_t i = 0; i < block.count; ++i) values[i] = valueIn<F>(block, i);
        markGiven<F>(block, values, given);
    } else {
        for (std::size_t i = 0; i < block.count; ++i) {
            const auto* const value = F::find(block.rows[i].rec);
            values[i] = value != nullptr ? *value : 0;
            given[i] = value != nullptr;
        }
    }
    if constexpr (F::isReal) dropNans(block, values, given, out.nanCount);
    out.append(values, given, block.count);
}

template <class F>
void putCharacters(const RowBlock& block, ColumnBuilder& out) {
    std::int8_t indices[kBlockRows];
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) {
        if constexpr (F::facts.form == FieldForm::typeCharacter) {
            given[i] = 1;
            indices[i] = out.dictionary.indexOf(valueIn<F>(block, i), typeText);
        } else {
            const auto* const value = F::find(block.rows[i].rec);
            given[i] = value != nullptr;
            indices[i] = value == nullptr ? std::int8_t{0}
                                          : out.dictionary.indexOf(static_cast<unsigned char>(*value), characterText);
        }
    }
    out.append(indices, given, block.count);
}

void putSigmas(const RowBlock& block, ColumnBuilder& out) {
    for (std::size_t i = 0; i < block.count; ++i) {
        const Owned<RealList>& list = block.rows[i].rec.extraValues;
        out.appendList(list ? &list->values : nullptr);
    }
}

void putKeys(const RowBlock& block, ColumnBuilder& out) {
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) given[i] = block.keys[i] != -1;
    out.append(block.keys.data(), given, block.count);
}

void putGroups(const RowBlock& block, ColumnBuilder& out) {
    std::int32_t groups[kBlockRows];
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) groups[i] = block.rows[i].gid;
    given.fill(block.hasGroups);
    out.append(groups, given, block.count);
}

void putTimes(const RowBlock& block, ColumnBuilder& out) {
    std::int64_t times[kBlockRows];
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) given[i] = microsecondsOf(block.common[i]->obsTime, times[i]);
    out.append(times, given, block.count);
}

void putFile(const RowBlock& block, ColumnBuilder& out) {
    std::int8_t indices[kBlockRows] = {};
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) {
        const std::int32_t file = block.rows[i].file;
        const bool isKnown = file >= 0 && static_cast<std::size_t>(file) < block.files.size();
        given[i] = block.hasFile || isKnown;
        if (isKnown) indices[i] = out.dictionary.indexOf(file, block.files[static_cast<std::size_t>(file)]);
    }
    out.append(indices, given, block.count);
}

void putLines(const RowBlock& block, ColumnBuilder& out) {
    std::int64_t lines[kBlockRows];
    BlockFlags given;
    for (std::size_t i = 0; i < block.count; ++i) {
        lines[i] = block.rows[i].line;
        given[i] = lines[i] > 0;
    }
    out.append(lines, given, block.count);
}

/// The place of a field in a record, its part made when it is not there.
template <class F>
auto& placeIn(ObsRecord& rec) {
    const auto in = [](auto& part) -> auto& {
        if (!part) part.create();
        return F::in(*part);
    };
    if constexpr (F::template isOf<ObsRecord>) return F::in(rec);
    else if constexpr (F::template isOf<CsvObsData>) return in(rec.csvData);
    else if constexpr (F::template isOf<ObsBiases>) return in(rec.biases);
    else return in(rec.rfData);
}

template <class F>
void takeNumbers(Incoming& in, RowBlock& block) {
    using Limits = std::numeric_limits<typename F::Value>;
    for (std::size_t i = 0; i < in.count; ++i) {
        if (in.given[i] == 0) continue;
        ObsRecord& rec = block.rows[i].rec;
        if constexpr (F::isReal) {
            if ((kMeantFor<F> & typeBit(rec.obsType)) != 0) placeIn<F>(rec) = in.reals[i];
            else if (in.reals[i] != 0) in.refuse(i, "the observation's type has the other pair of angles");
        } else if (in.integers[i] < Limits::min() || in.integers[i] > Limits::max()) {
            in.refuse(i, "the number is too large");
        } else {
            placeIn<F>(rec) = static_cast<typename F::Value>(in.integers[i]);
        }
    }
}

template <class F>
void takeCharacters(Incoming& in, RowBlock& block) {
    for (std::size_t i = 0; i < in.count; ++i) {
        if (in.given[i] == 0) continue;
        bool isRead;
        if constexpr (F::facts.form == FieldForm::typeCharacter)
            isRead = typeFrom(in.texts[i], placeIn<F>(block.rows[i].rec));
        else isRead = characterFrom(in.texts[i], placeIn<F>(block.rows[i].rec));
        if (!isRead) in.refuse(i, "the text is not what the column can hold");
    }
}

void takeSigmas(Incoming& in, RowBlock& block) {
    for (std::size_t i = 0; i < in.count; ++i) {
        const std::size_t count = in.given[i] != 0 ? in.lists[i].size() : 0;
        if (count == 0) continue;
        if (count == 6 || count == 7 || count == 21) block.rows[i].rec.extraValues.create().values = in.lists[i];
        else in.refuse(i, kSigmaCounts);
    }
}

void takeGroups(Incoming& in, RowBlock& block) {
    for (std::size_t i = 0; i < in.count; ++i) {
        if (in.given[i] == 0) continue;
        if (in.integers[i] != static_cast<std::int32_t>(in.integers[i])) in.refuse(i, "the number is too large");
        else block.rows[i].gid = static_cast<std::int32_t>(in.integers[i]);
    }
}

void takeFiles(Incoming& in, RowBlock& block) {
    std::vector<std::string>& files = block.files;
    std::size_t last = 0;  // most rows have the file of the row before
    for (std::size_t i = 0; i < in.count; ++i) {
        if (in.given[i] == 0) continue;
        if (last >= files.size() || files[last] != in.texts[i])
            last = static_cast<std::size_t>(std::find(files.begin(), files.end(), in.texts[i]) - files.begin());
        if (last == files.size()) files.emplace_back(in.texts[i]);
        block.rows[i].file = static_cast<std::int32_t>(last);
    }
}

void takeLines(Incoming& in, RowBlock& block) {
    for (std::size_t i = 0; i < in.count; ++i)
        if (in.given[i] != 0) block.rows[i].line = in.integers[i];
}

/// The time where the row has no ds50, which comes before this column; else the two are compared.
void takeTimes(Incoming& in, RowBlock& block) {
    for (std::size_t i = 0; i < in.count; ++i) {
        if (in.given[i] == 0) continue;
        double& time = block.rows[i].rec.obsTime;
        if (std::isnan(time)) time = ds50Of(in.integers[i]);
        else if (!isSameTime(time, in.integers[i])) in.refuse(i, "it differs from ds50 by more than 1 us");
    }
}

template <class F>
ColumnDef fieldColumn() {
    ColumnDef def{F::facts.column, F::facts.unit, ColumnForm::real, F::facts.types.bits()};
    if constexpr (!F::template isOf<ObsFields>) def.needs = kNeedsParts;
    else if constexpr (!F::template isOf<CommonFields>) def.needs = kNeedsFields;
    if constexpr (F::facts.form == FieldForm::list) {
        def.form = ColumnForm::list;
        def.put = putSigmas;
        def.take = takeSigmas;
    } else if constexpr (F::isCharacter || F::facts.form == FieldForm::typeCharacter) {
        def.form = ColumnForm::text;
        def.put = putCharacters<F>;
        def.take = takeCharacters<F>;
    } else {
        def.form = F::isReal                        ? ColumnForm::real
                   : sizeof(typename F::Value) == 8 ? ColumnForm::int64
                                                    : ColumnForm::int32;
        def.put = putNumbers<F>;
        def.take = takeNumbers<F>;
    }
    return def;
}

std::vector<ColumnDef> makeList() {
    std::vector<ColumnDef> fields;
    forEachField([&](auto field) {
        if constexpr (!field.facts.column.empty()) fields.push_back(fieldColumn<decltype(field)>());
    });
    // First what says of which observation the rest is; the time after ds50 and all after the type, see their `take`.
    const std::string_view kFirst[] = {"ds50", "time", "sat_num", "sen_num", "type", "sec_class"};
    std::vector<ColumnDef> list{{"key", "", ColumnForm::int64, 0, 0, putKeys},
                                {"group", "", ColumnForm::int32, 0, kNeedsMark, putGroups, takeGroups}};
    for (const std::string_view name : kFirst) {
        if (name == "time") {
            list.push_back({name, "", ColumnForm::time, 0, 0, putTimes, takeTimes});
            continue;
        }
        const auto found =
            std::find_if(fields.begin(), fields.end(), [&](const auto& def) { return def.name == name; });
        list.push_back(*found);
        fields.erase(found);
    }
    list.insert(list.end(), fields.begin(), fields.end());
    list.push_back({"file", "", ColumnForm::text, 0, kNeedsMark, putFile, takeFiles, true});
    list.push_back({"line", "", ColumnForm::int64, 0, kNeedsMark, putLines, takeLines, true});
    return list;
}

constexpr std::int64_t kMicrosecondsPerDay = 86'400'000'000;
constexpr double kDs50Of1970 = 7306;

}  // namespace

const std::vector<ColumnDef>& columnList() {
    static const std::vector<ColumnDef> list = makeList();
    return list;
}

const ColumnDef* findColumn(std::string_view name) {
    for (const ColumnDef& def : columnList())
        if (def.name == name) return &def;
    return nullptr;
}

std::string characterText(std::int32_t character) {
    if (character < 0x80) return {static_cast<char>(character)};
    return {static_cast<char>(0xC0 | (character >> 6)), static_cast<char>(0x80 | (character & 0x3F))};
}

bool characterFrom(std::string_view text, char& character) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    if (text.size() == 1 && byte(0) < 0x80) {
        character = text[0];
    } else if (text.size() == 2 && (byte(0) & 0xFC) == 0xC0 && (byte(1) & 0xC0) == 0x80) {
        character = static_cast<char>((byte(0) & 3) << 6 | (byte(1) & 0x3F));
    } else {
        return false;
    }
    return true;
}

std::string typeText(std::int32_t type) {
    const char character = family::obstypeinttochar(type);
    return character != ' ' ? std::string(1, character) : std::to_string(type);
}

bool typeFrom(std::string_view text, std::int32_t& type) {
    if (text.size() == 1) {
        const std::int32_t known = family::obstypechartoint(text[0]);
        if (known >= 0) type = known;
        return known >= 0;
    }
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, type);
    return error == std::errc{} && stop == end;
}

bool microsecondsOf(double ds50, std::int64_t& microseconds) {
    constexpr double kMostDays = 1e8;
    microseconds = 0;
    if (!(std::abs(ds50) < kMostDays)) return false;
    const double day = std::floor(ds50);
    microseconds = static_cast<std::int64_t>(day - kDs50Of1970) * kMicrosecondsPerDay +
                   std::llround((ds50 - day) * static_cast<double>(kMicrosecondsPerDay));
    return true;
}

double ds50Of(std::int64_t microseconds) {
    std::int64_t day = microseconds / kMicrosecondsPerDay;
    if (microseconds % kMicrosecondsPerDay < 0) --day;
    const auto rest = static_cast<double>(microseconds - day * kMicrosecondsPerDay);
    return static_cast<double>(day) + kDs50Of1970 + rest / static_cast<double>(kMicrosecondsPerDay);
}

bool isSameTime(double ds50, std::int64_t microseconds) {
    std::int64_t own;
    // The own time is rounded, too.
    if (!microsecondsOf(ds50, own)) return false;
    std::int64_t apart;
    return !__builtin_sub_overflow(own, microseconds, &apart) && apart >= -1 && apart <= 1;
}

}  // namespace obs
