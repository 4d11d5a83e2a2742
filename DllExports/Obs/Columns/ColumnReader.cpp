// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/ColumnReader.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace obs {

namespace {

constexpr std::int64_t kMicrosecondsPerSecond = 1'000'000;
constexpr const char* kInexact = "the number is not whole, or more than the column can hold exactly";

/// The format that a schema states; empty, which is that of no kind, where one is due and missing.
std::string_view formatOf(const ArrowSchema* schema) {
    return schema != nullptr && schema->format != nullptr ? schema->format : "";
}

ArrowKind kindOf(std::string_view format) {
    struct Named {
        std::string_view format;
        ArrowKind kind;
    };
    using enum ArrowKind;
    constexpr Named kKinds[] = {{"n", null},      {"c", int8},      {"C", uint8},   {"s", int16},
                                {"S", uint16},    {"i", int32},     {"I", uint32},  {"l", int64},
                                {"L", uint64},    {"f", float32},   {"g", float64}, {"u", text},
                                {"U", largeText}, {"vu", textView}, {"+l", list},   {"+L", largeList}};
    for (const Named& named : kKinds)
        if (named.format == format) return named.kind;
    return format.substr(0, 2) == "ts" && format.size() >= 4 ? timestamp : other;
}

bool isNumber(ArrowKind kind) { return kind >= ArrowKind::int8 && kind <= ArrowKind::float64; }
bool isInteger(ArrowKind kind) { return kind >= ArrowKind::int8 && kind <= ArrowKind::uint64; }
bool isText(ArrowKind kind) { return kind >= ArrowKind::text && kind <= ArrowKind::textView; }
bool isList(ArrowKind kind) { return kind == ArrowKind::list || kind == ArrowKind::largeList; }

/// Whether a column can be taken from values of a kind.
bool suits(const ColumnDef& def, ArrowKind kind, ArrowKind itemKind) {
    if (kind == ArrowKind::null || def.take == nullptr) return true;
    switch (def.form) {
        case ColumnForm::text: return isText(kind) || (def.name == "type" && isNumber(kind));
        case ColumnForm::time: return kind == ArrowKind::timestamp;
        case ColumnForm::list: return isList(kind) && (isNumber(itemKind) || itemKind == ArrowKind::null);
        default: return isNumber(kind);
    }
}

template <class Value>
Value valueAt(const void* buffer, std::int64_t at) {
    Value value;
    std::memcpy(&value, static_cast<const char*>(buffer) + at * static_cast<std::int64_t>(sizeof value), sizeof value);
    return value;
}

bool isNull(const ArrowArray& array, std::int64_t at) {
    if (array.n_buffers == 0) return true;  // an array of the null type
    if (array.null_count == 0 || array.buffers[0] == nullptr) return false;
    const auto* const bits = static_cast<const std::uint8_t*>(array.buffers[0]);
    return (unsigned{bits[at / 8]} >> at % 8 & 1u) == 0;
}

/// A number as both kinds, and whether each is exact.
struct Number {
    std::int64_t integer = 0;
    double real = 0;
    bool isInteger = true, isReal = true;
};

Number fromInteger(std::int64_t value) {
    Number number{value, static_cast<double>(value)};
    constexpr double kEnd = 9223372036854775808.0;
    number.isReal = number.real < kEnd && static_cast<std::int64_t>(number.real) == value;
    return number;
}

Number fromReal(double value) {
    Number number{0, value};
    constexpr double kEnd = 9223372036854775808.0;
    number.isInteger = value >= -kEnd && value < kEnd && std::trunc(value) == value;
    if (number.isInteger) number.integer = static_cast<std::int64_t>(value);
    return number;
}

Number numberAt(const ArrowArray& array, ArrowKind kind, std::int64_t at) {
    const void* const values = array.buffers[1];
    switch (kind) {
        case ArrowKind::int8: return fromInteger(valueAt<std::int8_t>(values, at));
        case ArrowKind::uint8: return fromInteger(valueAt<std::uint8_t>(values, at));
        case ArrowKind::int16: return fromInteger(valueAt<std::int16_t>(values, at));
        case ArrowKind::uint16: return fromInteger(valueAt<std::uint16_t>(values, at));
        case ArrowKind::int32: return fromInteger(valueAt<std::int32_t>(values, at));
        case ArrowKind::uint32: return fromInteger(valueAt<std::uint32_t>(values, at));
        case ArrowKind::int64: return fromInteger(valueAt<std::int64_t>(values, at));
        case ArrowKind::uint64: {
            const auto value = valueAt<std::uint64_t>(values, at);
            if (value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()})
                return fromInteger(static_cast<std::int64_t>(value));
            return {0, 0, false, false};
        }
        case ArrowKind::float32: return fromReal(valueAt<float>(values, at));
        case ArrowKind::float64: return fromReal(valueAt<double>(values, at));
        default: return {0, 0, false, false};
    }
}

/// The text at a place; null data where the array contradicts itself.
std::string_view textAt(const ArrowArray& array, ArrowKind kind, std::int64_t at) {
    const auto within = [&](std::int64_t from, std::int64_t to) -> std::string_view {
        if (from < 0 || to < from || (to > from && array.buffers[2] == nullptr)) return {};
        if (to == from) return "";
        return {static_cast<const char*>(array.buffers[2]) + from, static_cast<std::size_t>(to - from)};
    };
    if (kind == ArrowKind::text)
        return within(valueAt<std::int32_t>(array.buffers[1], at), valueAt<std::int32_t>(array.buffers[1], at + 1));
    if (kind == ArrowKind::largeText)
        return within(valueAt<std::int64_t>(array.buffers[1], at), valueAt<std::int64_t>(array.buffers[1], at + 1));
    // A view: its length, and twelve bytes of text or a prefix, a buffer's number and a place in it.
    constexpr std::int32_t kMostInside = 12;
    const char* const view = static_cast<const char*>(array.buffers[1]) + at * 16;
    const auto length = valueAt<std::int32_t>(view, 0);
    if (length <= kMostInside)
        return length < 0 ? std::string_view() : std::string_view(view + 4, static_cast<std::size_t>(length));
    const auto buffer = valueAt<std::int32_t>(view, 2), from = valueAt<std::int32_t>(view, 3);
    if (buffer < 0 || buffer >= array.n_buffers - 3 || from < 0) return {};  // the last buffer holds lengths
    if (array.buffers[2 + buffer] == nullptr) return {};
    return {static_cast<const char*>(array.buffers[2 + buffer]) + from, static_cast<std::size_t>(length)};
}

std::int64_t buffersOf(ArrowKind kind) { return kind == ArrowKind::null ? 0 : isText(kind) ? 3 : 2; }

}  // namespace

ColumnReader::ColumnReader(const ColumnDef& def, const ArrowSchema& schema, bool naiveIsUtc)
    : def_(&def), kind_(kindOf(formatOf(&schema))), valueKind_(kind_) {
    const std::string_view format = formatOf(&schema);
    const std::string column = "Column " + std::string(def.name) + ": ";
    hasDictionary_ = schema.dictionary != nullptr;
    if (hasDictionary_) {
        if (!isInteger(kind_)) throw ColumnRefusal(column + "The indices of its dictionary are not integers.");
        valueKind_ = kindOf(formatOf(schema.dictionary));
    } else if (isList(kind_) && schema.n_children == 1 && schema.children != nullptr) {
        const ArrowSchema* const items = schema.children[0];
        valueKind_ = kindOf(formatOf(items));
        if (items != nullptr && items->dictionary != nullptr) valueKind_ = ArrowKind::other;
    }
    const bool isPlain = isNumber(valueKind_) || isText(valueKind_) || valueKind_ == ArrowKind::null;
    if (!suits(def, hasDictionary_ ? valueKind_ : kind_, valueKind_) ||
        (hasDictionary_ && def.take != nullptr && !isPlain))
        throw ColumnRefusal(column + "It cannot be taken from values of the format \"" +
                            std::string(hasDictionary_ ? formatOf(schema.dictionary) : format) + "\".");
    if (kind_ != ArrowKind::timestamp || def.take == nullptr) return;
    timeUnit_ = format[2];
    if (std::string_view("smun").find(timeUnit_) == std::string_view::npos || format[3] != ':')
        throw ColumnRefusal(column + "Its unit of time is not known.");
    if (format.size() == 4 && !naiveIsUtc)
        throw ColumnRefusal(column + "Its times have no time zone, and were not declared to be UTC.");
}

void ColumnReader::check(const ArrowArray& array, ArrowKind kind, std::int64_t values) const {
    const std::int64_t buffers = buffersOf(kind);
    bool isGood = array.offset >= 0 && values >= 0 && array.length >= values && array.n_buffers >= buffers &&
                  array.length <= kMostValues && array.offset <= kMostValues;
    if (isGood && array.n_buffers > 0) isGood = array.buffers != nullptr;
    if (isGood && array.offset + values > 0 && buffers >= 2) isGood = array.buffers[1] != nullptr;
    if (!isGood) refuseArray();
}

void ColumnReader::refuseArray() const {
    throw ColumnRefusal("Column " + std::string(def_->name) + ": Its values are not what its schema says.");
}

void ColumnReader::begin(const ArrowArray& array, std::int64_t rows) {
    array_ = &array;
    if (def_->take == nullptr) return;
    check(array, kind_, rows);
    if (hasDictionary_ && array.dictionary == nullptr) refuseArray();
    if (isList(kind_) && (array.n_children != 1 || array.children == nullptr || array.children[0] == nullptr))
        refuseArray();
    if (hasDictionary_) check(*array.dictionary, valueKind_, array.dictionary->length);
    if (isList(kind_)) check(*array.children[0], valueKind_, array.children[0]->length);
}

template <class Read>
void ColumnReader::readEach(std::int64_t from, Incoming& in, Read&& readOne) const {
    for (std::size_t row = 0; row < in.count; ++row) {
        const std::int64_t at = array_->offset + from + static_cast<std::int64_t>(row);
        in.given[row] = !isNull(*array_, at);
        if (in.given[row] == 0) continue;
        if (!hasDictionary_) {
            readOne(*array_, kind_, at, row);
            continue;
        }
        const ArrowArray& dictionary = *array_->dictionary;
        const Number number = numberAt(*array_, kind_, at);
        const std::int64_t index = number.integer;
        if (!number.isInteger || index < 0 || index >= dictionary.length) {
            in.given[row] = 0;
            in.refuse(row, "the index is not in the dictionary");
        } else if (isNull(dictionary, dictionary.offset + index)) {
            in.given[row] = 0;
        } else {
            readOne(dictionary, valueKind_, dictionary.offset + index, row);
        }
    }
}

void ColumnReader::readNumber(const ArrowArray& array, ArrowKind kind, std::int64_t at, Incoming& in,
                              std::size_t row) const {
    const Number number = numberAt(array, kind, at);
    if (std::isnan(number.real)) {
        in.given[row] = 0;
    } else if (def_->form == ColumnForm::real ? !number.isReal : !number.isInteger) {
        in.given[row] = 0;
        in.refuse(row, kInexact);
    }
    in.integers[row] = number.integer;
    in.reals[row] = number.real;
}

void ColumnReader::readText(const ArrowArray& array, ArrowKind kind, std::int64_t at, Incoming& in,
                            std::size_t row) const {
    if (isText(kind)) {
        in.texts[row] = textAt(array, kind, at);
        return;
    }
    readNumber(array, kind, at, in, row);  // a type by its number
    auto& digits = in.digits[row];
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), in.integers[row]).ptr;
    in.texts[row] = {digits.data(), static_cast<std::size_t>(end - digits.data())};
}

void ColumnReader::readTime(std::int64_t value, Incoming& in, std::size_t row) const {
    std::int64_t scale = timeUnit_ == 's' ? kMicrosecondsPerSecond : timeUnit_ == 'm' ? 1000 : 1;
    if (timeUnit_ == 'n') {
        constexpr std::int64_t kNanoseconds = 1000;
        if (value % kNanoseconds != 0) in.refuse(row, "the time is finer than a microsecond");
        value /= kNanoseconds;
    }
    if (__builtin_mul_overflow(value, scale, &in.integers[row])) in.refuse(row, "the time is too far away");
}

void ColumnReader::readList(std::int64_t at, Incoming& in, std::size_t row) const {
    const ArrowArray& items = *array_->children[0];
    const bool isLarge = kind_ == ArrowKind::largeList;
    const auto offset = [&](std::int64_t i) -> std::int64_t {
        return isLarge ? valueAt<std::int64_t>(array_->buffers[1], i) : valueAt<std::int32_t>(array_->buffers[1], i);
    };
    const std::int64_t from = offset(at), to = offset(at + 1);
    std::vector<double>& list = in.lists[row];
    list.clear();
    if (from < 0 || to < from || to > items.length) return in.refuse(row, "the list is not within its values");
    if (to - from > kMostSigmas) return in.refuse(row, kSigmaCounts);
    for (std::int64_t i = items.offset + from; i < items.offset + to; ++i) {
        const Number number = isNull(items, i) ? Number{} : numberAt(items, valueKind_, i);
        if (!number.isReal) in.refuse(row, kInexact);
        list.push_back(std::isnan(number.real) ? 0 : number.real);
    }
}

void ColumnReader::read(std::int64_t from, Incoming& in) const {
    switch (kind_ == ArrowKind::null ? ArrowKind::null : hasDictionary_ ? valueKind_ : kind_) {
        case ArrowKind::null: in.given.fill(0); return;
        case ArrowKind::timestamp:
            return readEach(from, in, [&](const ArrowArray& array, ArrowKind, std::int64_t at, std::size_t row) {
                readTime(valueAt<std::int64_t>(array.buffers[1], at), in, row);
            });
        case ArrowKind::list:
        case ArrowKind::largeList:
            return readEach(from, in, [&](const ArrowArray&, ArrowKind, std::int64_t at, std::size_t row) {
                readList(at, in, row);
            });
        default: break;
    }
    if (def_->form == ColumnForm::text)
        return readEach(from, in, [&](const ArrowArray& array, ArrowKind kind, std::int64_t at, std::size_t row) {
            readText(array, kind, at, in, row);
        });
    readEach(from, in, [&](const ArrowArray& array, ArrowKind kind, std::int64_t at, std::size_t row) {
        readNumber(array, kind, at, in, row);
    });
}

}  // namespace obs
