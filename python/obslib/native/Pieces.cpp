// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts read piece by piece, by any process in any order, without the store.

#include <ObsDllExports.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include "Call.h"
#include "Streams.h"

namespace obslib {

namespace {

struct Report {
    int32_t kind;
    int64_t line;
    int64_t offset;
    std::string text;
};

void keepReport(int32_t kind, int64_t line, int64_t offset, const char* text, void* user) {
    static_cast<std::vector<Report>*>(user)->push_back({kind, line, offset, text});
}

nb::str fileText(const std::string& bytes) { return nb::steal<nb::str>(PyUnicode_DecodeFSDefault(bytes.c_str())); }

nb::list table(const std::vector<Report>& reports) {
    nb::list rows;
    for (const Report& one : reports) rows.append(nb::make_tuple(one.kind, one.line, one.offset, fileText(one.text)));
    return rows;
}

std::string textOf(const ObsReadState& state) {
    char text[kTextLength];
    if (ObsReadStateToText(&state, text) != 0) throw Refused(lastError());
    return given(text);
}

std::string firstState(int32_t year, int32_t pass, bool isLaserFile) {
    ObsReadState state{};
    state.size = sizeof state;
    state.ttyYear = year;
    state.rotateToDate = 1;
    state.pass = pass;
    state.laserFile = isLaserFile ? 1 : 0;
    return textOf(state);
}

/// The state of a text, as a call that reads bytes wants it.
ObsReadState stateOf(const std::string& text, bool isLast) {
    ObsReadState state{};
    if (ObsReadStateFromText(lineText(text).c_str(), &state) != 0) throw Refused(lastError());
    state.isLast = isLast ? 1 : 0;
    return state;
}

nb::dict whatWasRead(const ObsReadState& before, const ObsReadState& after) {
    nb::dict read;
    read["state"] = textOf(after);
    read["year"] = after.ttyYear;
    read["at_cut"] = after.atCut != 0;
    read["section"] = after.laserSection != 0;
    const std::pair<const char*, int64_t> numbers[] = {{"bytes", after.offset - before.offset},
                                                       {"lines", after.lines - before.lines},
                                                       {"observations", after.observations},
                                                       {"comments", after.comments},
                                                       {"keywords", after.keywords},
                                                       {"laser", after.laserLines},
                                                       {"passed_over", after.passedOver},
                                                       {"zeroed", after.zeroed}};
    for (const auto& [name, value] : numbers) read[name] = value;
    return read;
}

nb::tuple scanPiece(const nb::bytes& text, const std::string& stateText, bool isLast, int64_t cutAfter) {
    const ObsReadState before = stateOf(stateText, isLast);
    ObsReadState state = before;
    state.cutAfter = cutAfter;
    std::vector<Report> reports;
    int32_t result = 0;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        result = ObsReadLines(text.c_str(), static_cast<int64_t>(text.size()), &state, nullptr, keepReport, &reports);
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw Refused(reason);
    return nb::make_tuple(whatWasRead(before, state), table(reports));
}

nb::tuple readPiece(const nb::bytes& text, const std::string& stateText, bool isLast, std::vector<std::string> columns,
                    int32_t batchRows) {
    const Names names(std::move(columns));
    const ObsReadState before = stateOf(stateText, isLast);
    ObsReadState state = before;
    std::vector<Report> reports;
    auto stream = std::make_unique<Stream>();
    int32_t result = 0;
    std::string reason;
    {
        const nb::gil_scoped_release released;
        result = ObsReadArrow(text.c_str(), static_cast<int64_t>(text.size()), &state, nullptr, names.pointers.data(),
                              names.count(), batchRows, keepReport, &reports, &stream->value);
        if (result != 0) reason = lastError();
    }
    if (result != 0) throw Refused(reason);
    return nb::make_tuple(toCapsule(std::move(stream)), whatWasRead(before, state), table(reports));
}

int64_t nextCut(const nb::bytes& text, int64_t from) {
    const nb::gil_scoped_release released;
    return ObsNextCut(text.c_str(), static_cast<int64_t>(text.size()), from);
}

std::optional<nb::bytes> namedFile(const nb::bytes& line, const nb::bytes& file) {
    char name[kTextLength];
    const std::string text = lineText({line.c_str(), line.size()}), naming = nameText({file.c_str(), file.size()});
    if (ObsGetNamedFile(text.c_str(), naming.c_str(), name) != 0) return std::nullopt;
    const std::string found = given(name);
    return nb::bytes(found.data(), found.size());
}

}  // namespace

void bindPieces(nb::module_& m) {
    constexpr const char* kReports = "list[tuple[int, int, int, str]]";
    const std::string scanned = std::string(
                                    "def scan_piece(text: bytes, state: str, is_last: bool, cut_after: int)"
                                    " -> tuple[dict[str, typing.Any], ") +
                                kReports + "]";
    const std::string read = std::string(
                                 "def read_piece(text: bytes, state: str, is_last: bool,"
                                 " columns: collections.abc.Sequence[str], batch_rows: int)"
                                 " -> tuple[typing_extensions.CapsuleType, dict[str, typing.Any], ") +
                             kReports + "]";
    define(m, "first_state", firstState, nb::arg("year"), nb::arg("which"), nb::arg("is_laser_file"));
    define(m, "scan_piece", scanPiece, nb::arg("text"), nb::arg("state"), nb::arg("is_last"), nb::arg("cut_after"),
           nb::sig(scanned.c_str()));
    define(m, "read_piece", readPiece, nb::arg("text"), nb::arg("state"), nb::arg("is_last"), nb::arg("columns"),
           nb::arg("batch_rows"), nb::sig(read.c_str()));
    define(m, "next_cut", nextCut, nb::arg("text"), nb::arg("from_byte"));
    define(m, "named_file", namedFile, nb::arg("line"), nb::arg("file"));
}

}  // namespace obslib
