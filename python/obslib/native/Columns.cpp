// SPDX-License-Identifier: Apache-2.0
/// @file
/// Columns, by the Arrow C interface: out as a stream or as bare buffers, and in.

#include <ObsDllExports.h>
#include <nanobind/stl/array.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <sstream>

#include "Call.h"
#include "Streams.h"

namespace obslib {

namespace {

/// @throws KeyUnknown for the first key that the store does not have.
void refuseUnknown(const Keys& keys) {
    for (size_t i = 0; i < keys.shape(0); ++i) {
        const int64_t key = keys.data()[i];
        if (SatNumFrObsKey(key) < 0) throw KeyUnknown("no stored observation has the key " + std::to_string(key));
    }
}

nb::capsule exportStream(std::optional<Keys> keys, int32_t order, std::vector<std::string> columns, int32_t batchRows) {
    const Names names(std::move(columns));
    auto stream = std::make_unique<Stream>();
    int32_t result = 0;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        result = ObsExportArrow(keys ? static_cast<int32_t>(keys->shape(0)) : -1, keys ? keys->data() : nullptr, order,
                                names.pointers.data(), names.count(), batchRows, &stream->value);
        if (result != 0) reason = lastError();
    }
    if (result != 0) {
        if (keys) refuseUnknown(*keys);
        throw Refused(reason);
    }
    return toCapsule(std::move(stream));
}

nb::tuple readStream(const nb::bytes& text, int32_t year, const std::optional<std::string>& file,
                     std::vector<std::string> columns, int32_t batchRows) {
    const Names names(std::move(columns));
    struct Report {
        int32_t kind;
        int64_t line;
        std::string reason;
    };
    std::vector<Report> reports;
    ObsReadState state{};
    state.size = sizeof state;
    state.ttyYear = year;
    state.rotateToDate = 1;
    state.isLast = 1;
    auto stream = std::make_unique<Stream>();
    int32_t result = 0;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        result = ObsReadArrow(
            text.c_str(), static_cast<int64_t>(text.size()), &state, file ? file->c_str() : nullptr,
            names.pointers.data(), names.count(), batchRows,
            [](int32_t kind, int64_t line, int64_t, const char* said, void* user) {
                static_cast<std::vector<Report>*>(user)->push_back({kind, line, said});
            },
            &reports, &stream->value);
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw Refused(reason);
    nb::list table;
    for (const Report& row : reports) {
        table.append(
            nb::make_tuple(row.kind, row.line, nb::steal<nb::str>(PyUnicode_DecodeFSDefault(row.reason.c_str()))));
    }
    return nb::make_tuple(toCapsule(std::move(stream)), table);
}

/// Adds the rows; with `rows` of them, the key of each, 0 for a duplicate and -1 for a refused one.
nb::tuple importStream(const nb::capsule& capsule, bool naiveIsUtc, int32_t group, int64_t rows) {
    auto* stream = static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule.ptr(), kStreamName));
    if (stream == nullptr) throw nb::python_error();
    std::array<int64_t, OBS_ARROW_COUNTS> counts{};
    std::vector<int64_t> keys(static_cast<size_t>(rows));
    int32_t result = 0;
    std::string reason;
    {
        const Exclusive exclusive;
        result = ObsImportArrow(stream, naiveIsUtc ? 1 : 0, group, counts.data(), rows, keys.data());
        if (result != 0) reason = lastError();
    }
    if (result != 0 && counts[OBS_ARROW_ROWS] == 0) throw Refused(reason);
    return nb::make_tuple(counts[OBS_ARROW_ROWS], counts[OBS_ARROW_ADDED], counts[OBS_ARROW_DUPLICATES],
                          counts[OBS_ARROW_REFUSED], toArray(std::move(keys)));
}

/// Which of the rows of a stream, of which there are at most `rows`, meet a text of criteria.
nb::object selectRows(const nb::capsule& capsule, const std::string& criteria, int64_t rows) {
    auto* stream = static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule.ptr(), kStreamName));
    if (stream == nullptr) throw nb::python_error();
    const std::string text = lineText(criteria);
    auto mask = std::make_unique<std::vector<int8_t>>(static_cast<size_t>(rows));
    int64_t found = 0;
    int32_t result = 0;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        result = ObsSelectRows(text.c_str(), stream, rows, mask->data(), &found);
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw Refused(reason);
    using Mask = nb::ndarray<nb::numpy, int8_t, nb::ndim<1>>;
    int8_t* const data = mask->data();
    const nb::capsule owner(mask.release(), [](void* p) noexcept { delete static_cast<std::vector<int8_t>*>(p); });
    return nb::cast(Mask(data, {static_cast<size_t>(found)}, owner));
}

std::vector<std::string> selectionColumns(const std::string& criteria) {
    char names[kTextLength];
    if (ObsGetSelectionColumns(lineText(criteria).c_str(), names) != 0) throw Refused(lastError());
    std::istringstream words(given(names));
    return {std::istream_iterator<std::string>(words), {}};
}

/// Whether rows can meet a text of criteria, by the least and greatest of their numbers and texts; blank: not known.
bool mayMeet(const std::string& criteria, const std::array<double, OBS_KNOWN_REALS>& reals,
             const std::array<std::string, OBS_KNOWN_TEXTS>& texts) {
    std::array<const char*, OBS_KNOWN_TEXTS> pointers{};
    std::transform(texts.begin(), texts.end(), pointers.begin(), [](const std::string& one) { return one.c_str(); });
    const int32_t may = ObsMayMeet(lineText(criteria).c_str(), reals.data(), pointers.data());
    if (may < 0) throw Refused(lastError());
    return may == 1;
}

/// The pairs of a metadata block: a count, then lengths and bytes.
nb::dict metadata(const char* block) {
    nb::dict pairs;
    if (block == nullptr) return pairs;
    auto number = [&block] {
        int32_t value = 0;
        std::memcpy(&value, block, sizeof value);
        block += sizeof value;
        return value;
    };
    auto text = [&] {
        const auto length = static_cast<size_t>(number());
        const nb::str value(block, length);
        block += length;
        return value;
    };
    for (int32_t left = number(); left > 0; --left) {
        const nb::str name = text();
        pairs[name] = text();
    }
    return pairs;
}

/// A buffer as bytes that NumPy gives a type; it holds on to the batch.
nb::object bytes(const void* data, int64_t length, const nb::object& owner) {
    if (data == nullptr) return nb::none();
    using Bytes = nb::ndarray<nb::numpy, uint8_t, nb::ndim<1>>;
    // NOTE: the batch is ours alone, so that nulls may be written into a column that has values of its own.
    return nb::cast(Bytes(const_cast<void*>(data), {static_cast<size_t>(length)}, owner));
}

int64_t width(const char* format) {
    switch (format[0]) {
        case 'c':
        case 'C': return 1;
        case 's':
        case 'S': return 2;
        case 'i':
        case 'I':
        case 'f':
        case 'u': return 4;  // u: offsets
        case '+': return 4;  // a list: offsets
        default: return 8;
    }
}

/// A column as Python takes it apart: format, length, validity, values (or offsets), and for texts their bytes, for
/// lists and dictionaries what they refer to.
nb::dict describe(const ArrowSchema& schema, const ArrowArray& array, const nb::object& owner) {
    const int64_t rows = array.offset + array.length;
    const bool offsets = schema.format[0] == 'u' || schema.format[0] == '+';
    nb::dict column;
    column["format"] = schema.format;
    column["metadata"] = metadata(schema.metadata);
    column["offset"] = array.offset;
    column["length"] = array.length;
    column["valid"] = array.null_count == 0 ? nb::none() : bytes(array.buffers[0], (rows + 7) / 8, owner);
    column["values"] = bytes(array.buffers[1], (rows + (offsets ? 1 : 0)) * width(schema.format), owner);
    if (schema.format[0] == 'u') {
        const auto* ends = static_cast<const int32_t*>(array.buffers[1]);
        column["text"] = bytes(array.buffers[2], ends == nullptr ? 0 : ends[rows], owner);
    }
    if (schema.format[0] == '+') column["items"] = describe(*schema.children[0], *array.children[0], owner);
    if (schema.dictionary != nullptr) column["dictionary"] = describe(*schema.dictionary, *array.dictionary, owner);
    return column;
}

nb::dict describeEmpty(const ArrowSchema& schema) {
    nb::dict column;
    column["format"] = schema.format;
    column["metadata"] = metadata(schema.metadata);
    column["length"] = 0;
    if (schema.dictionary != nullptr) column["dictionary"] = describeEmpty(*schema.dictionary);
    return column;
}

[[noreturn]] void streamFailed(ArrowArrayStream& stream) {
    const char* reason = stream.get_last_error(&stream);
    throw Refused(reason != nullptr ? reason : "the stream failed");
}

/// The columns of a stream of one batch, without a copy.
nb::object takeApart(const nb::capsule& capsule) {
    auto* stream = static_cast<ArrowArrayStream*>(PyCapsule_GetPointer(capsule.ptr(), kStreamName));
    if (stream == nullptr) throw nb::python_error();
    Schema schema;
    if (stream->get_schema(stream, &schema.value) != 0) streamFailed(*stream);
    auto batch = std::make_unique<Batch>();
    int failed = 0;
    {
        const nb::gil_scoped_release released;
        failed = stream->get_next(stream, &batch->value);
    }
    if (failed != 0) streamFailed(*stream);
    nb::dict columns;
    if (batch->value.release == nullptr) {
        for (int64_t i = 0; i < schema.value.n_children; ++i) {
            columns[schema.value.children[i]->name] = describeEmpty(*schema.value.children[i]);
        }
        return columns;
    }
    const ArrowArray& rows = batch->value;
    const nb::capsule owner(batch.release(), [](void* p) noexcept { delete static_cast<Batch*>(p); });
    for (int64_t i = 0; i < schema.value.n_children; ++i) {
        columns[schema.value.children[i]->name] = describe(*schema.value.children[i], *rows.children[i], owner);
    }
    return columns;
}

}  // namespace

void bindColumns(nb::module_& m) {
    define(m, "export_stream", exportStream, nb::arg("keys").none(), nb::arg("order"), nb::arg("columns"),
           nb::arg("batch_rows"));
    define(m, "read_stream", readStream, nb::arg("text"), nb::arg("year"), nb::arg("file").none(), nb::arg("columns"),
           nb::arg("batch_rows"),
           nb::sig("def read_stream(text: bytes, year: int, file: str | None, columns: collections.abc.Sequence[str],"
                   " batch_rows: int) -> tuple[typing_extensions.CapsuleType, list[tuple[int, int, str]]]"));
    define(m, "import_stream", importStream, nb::arg("stream"), nb::arg("naive_is_utc"), nb::arg("group"),
           nb::arg("rows"),
           nb::sig("def import_stream(stream: typing_extensions.CapsuleType, naive_is_utc: bool, group: int, rows: int)"
                   " -> tuple[int, int, int, int, numpy.typing.NDArray[numpy.int64]]"));
    define(m, "select_rows", selectRows, nb::arg("stream"), nb::arg("criteria"), nb::arg("rows"),
           nb::sig("def select_rows(stream: typing_extensions.CapsuleType, criteria: str, rows: int)"
                   " -> numpy.typing.NDArray[numpy.int8]"));
    define(m, "selection_columns", selectionColumns, nb::arg("criteria"));
    define(m, "may_meet", mayMeet, nb::arg("criteria"), nb::arg("reals"), nb::arg("texts"),
           nb::sig("def may_meet(criteria: str, reals: collections.abc.Sequence[float],"
                   " texts: collections.abc.Sequence[str]) -> bool"));
    define(m, "take_apart", takeApart, nb::arg("stream"),
           nb::sig("def take_apart(stream: typing_extensions.CapsuleType) -> dict[str, dict[str, typing.Any]]"));
}

}  // namespace obslib
