// SPDX-License-Identifier: Apache-2.0
/// @file
/// Files: loading them, and saving to them.

#include <ObsDllExports.h>
#include <nanobind/stl/string.h>

#include <exception>
#include <utility>

#include "Call.h"

namespace obslib {

namespace {

using Bytes = nb::ndarray<const uint8_t, nb::ndim<1>, nb::c_contig, nb::device::cpu>;

struct LineReport {
    int32_t kind;
    std::string file;
    int64_t line;
    std::string reason;
};

struct SaveReport {
    int64_t key;
    int32_t kind;
    std::string reason;
};

nb::str text(const std::string& bytes) { return nb::steal<nb::str>(PyUnicode_DecodeFSDefault(bytes.c_str())); }

void keepLine(int32_t kind, const char* file, int64_t line, const char* reason, void* user) {
    if (kind == OBS_LINE_DUPLICATE) return;  // the counts tell; an overlapping deck has as many as lines
    static_cast<std::vector<LineReport>*>(user)->push_back({kind, file, line, reason});
}

void keepSaved(int64_t key, int32_t kind, const char* reason, void* user) {
    static_cast<std::vector<SaveReport>*>(user)->push_back({key, kind, reason});
}

/// The key mode of a load, and the former one after it.
class FieldKeys {
public:
    FieldKeys() : former_(GetObsKeyMode()) { SetObsKeyMode(0); }
    ~FieldKeys() { SetObsKeyMode(former_); }
    FieldKeys(const FieldKeys&) = delete;
    FieldKeys& operator=(const FieldKeys&) = delete;

private:
    int32_t former_;
};

/// Tells a function of Python how far a load or save has come, and lets Ctrl-C and its exceptions end it.
class Progress {
public:
    explicit Progress(const nb::object& function) : function_(function) {
        ObsSetProgressCallback(&Progress::tell, this);
    }
    ~Progress() { ObsSetProgressCallback(nullptr, nullptr); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// What ended the call, if anything did.
    std::exception_ptr thrown;

private:
    static int32_t tell(int64_t done, int64_t total, void* user) {
        auto& progress = *static_cast<Progress*>(user);
        const nb::gil_scoped_acquire acquired;
        try {
            if (PyErr_CheckSignals() != 0) throw nb::python_error();
            if (!progress.function_.is_none()) progress.function_(done, total);
            return 0;
        } catch (...) {
            progress.thrown = std::current_exception();
            return 1;
        }
    }

    const nb::object& function_;
};

/// The result of a load, which `run` does with a name, as the library wants it, and options.
template <class Run>
nb::tuple load(const nb::bytes& path, int32_t year, bool includes, const nb::object& function, Run&& run) {
    const std::string name = nameText({path.c_str(), path.size()});
    ObsLoadOptions options{};
    options.size = sizeof options;
    options.ttyYear = year != 0 ? year : -1;
    options.settingsLines = 1;
    options.includes = includes ? 0 : 2;
    ObsLoadLines lines{};
    lines.size = sizeof lines;
    int64_t loaded = 0, duplicate = 0, bad = 0;
    int32_t result = 0;
    std::vector<LineReport> reports;
    std::string reason;
    std::exception_ptr thrown;
    {
        const Exclusive exclusive;
        const FieldKeys fieldKeys;
        Progress progress(function);
        ObsSetLoadCallback(keepLine, &reports);
        result = run(name.c_str(), options);
        if (result != 0) reason = lastError();
        ObsSetLoadCallback(nullptr, nullptr);
        ObsGetLoadCounts(&loaded, &duplicate, &bad);
        ObsGetLoadLines(&lines);
        thrown = progress.thrown;
    }
    if (thrown) std::rethrow_exception(thrown);
    // NOTE: 2 is also what a load returns whose last observation line is bad; a file that was not opened has no lines.
    if (result != 0 && (result != 2 || lines.lines == 0)) throw SystemError(result, name);
    nb::dict counts;
    const std::pair<const char*, int64_t> numbers[] = {{"loaded", loaded},
                                                       {"duplicate", duplicate},
                                                       {"bad", bad},
                                                       {"lines", lines.lines},
                                                       {"observations", lines.observations},
                                                       {"comments", lines.comments},
                                                       {"keywords", lines.keywords},
                                                       {"laser", lines.laser},
                                                       {"passed_over", lines.passedOver},
                                                       {"zeroed", lines.zeroed},
                                                       {"includes_left_out", lines.includesLeftOut}};
    for (const auto& [key, value] : numbers) counts[key] = value;
    nb::list table;
    for (const LineReport& row : reports)
        table.append(nb::make_tuple(row.kind, text(row.file), row.line, text(row.reason)));
    return nb::make_tuple(counts, table);
}

nb::tuple loadFile(const nb::bytes& path, int32_t group, int32_t year, bool includes, const nb::object& function) {
    return load(path, year, includes, function, [group](const char* name, const ObsLoadOptions& options) {
        return ObsLoadFileWith(name, group, &options);
    });
}

nb::tuple loadText(const nb::bytes& path, const Bytes& text, int32_t group, int32_t year, bool includes,
                   const nb::object& function) {
    const auto* bytes = reinterpret_cast<const char*>(text.data());
    return load(path, year, includes, function, [&, group](const char* name, const ObsLoadOptions& options) {
        return ObsLoadText(name, bytes != nullptr ? bytes : "", static_cast<int64_t>(text.size()), group, &options);
    });
}

nb::tuple saveFile(const nb::bytes& path, int32_t format, bool append, std::optional<int32_t> group) {
    const std::string name = nameText({path.c_str(), path.size()});
    char formatName[kTextLength], description[kTextLength];
    int32_t facts[16];
    if (ObsGetFormatInfo(format, formatName, description, facts) != 0) throw Refused(lastError());
    const int32_t form = facts[OBS_FORMAT_SAVE_FORM], data = facts[OBS_FORMAT_DATA_TYPE];
    std::vector<SaveReport> reports;
    const nb::object silent = nb::none();
    std::exception_ptr thrown;
    int64_t written = 0, leftOut = 0, altered = 0;
    int32_t result = 0, failure = 0;
    std::string reason;
    {
        const Exclusive exclusive;
        const Progress progress(silent);
        ObsSetSaveCallback(keepSaved, &reports);
        if (form >= 0) {
            result =
                group ? ObsSaveFileGID(name.c_str(), *group, append, form) : ObsSaveFile(name.c_str(), append, form);
        } else {
            result = group ? ObsSaveSlrFileGID(name.c_str(), *group, append, data)
                           : ObsSaveSlrFile(name.c_str(), append, data);
        }
        if (result != 0) reason = lastError();
        ObsSetSaveCallback(nullptr, nullptr);
        ObsGetSaveCounts(&written, &leftOut, &altered, &failure);
        thrown = progress.thrown;
    }
    if (thrown) std::rethrow_exception(thrown);
    if (result != 0 || failure != 0) throw SystemError(failure != 0 ? failure : result, name);
    nb::list table;
    for (const SaveReport& row : reports) table.append(nb::make_tuple(row.key, row.kind, row.reason));
    return nb::make_tuple(written, leftOut, altered, table);
}

}  // namespace

void bindLoading(nb::module_& m) {
    define(m, "load_file", loadFile, nb::arg("path"), nb::arg("group"), nb::arg("year"), nb::arg("includes"),
           nb::arg("progress").none(),
           nb::sig("def load_file(path: bytes, group: int, year: int, includes: bool,"
                   " progress: collections.abc.Callable[[int, int], object] | None)"
                   " -> tuple[dict[str, int], list[tuple[int, str, int, str]]]"),
           "Loads one file: its counts, and the lines that are worth a word.");
    define(m, "load_text", loadText, nb::arg("name"), nb::arg("text"), nb::arg("group"), nb::arg("year"),
           nb::arg("includes"), nb::arg("progress").none(),
           nb::sig("def load_text(name: bytes, text: typing_extensions.Buffer, group: int, year: int, includes: bool,"
                   " progress: collections.abc.Callable[[int, int], object] | None)"
                   " -> tuple[dict[str, int], list[tuple[int, str, int, str]]]"),
           "Loads a text in memory under a name, as load_file.");
    define(
        m, "set_threads",
        +[](int32_t number) {
            if (ObsSetThreads(number) != 0) throw Refused(lastError());
        },
        nb::arg("number"));
    define(m, "save_file", saveFile, nb::arg("path"), nb::arg("format"), nb::arg("append"), nb::arg("group").none(),
           nb::sig("def save_file(path: bytes, format: int, append: bool, group: int | None)"
                   " -> tuple[int, int, int, list[tuple[int, int, str]]]"),
           "Saves all observations or a group's: how many were written, left out and altered, and which.");
}

}  // namespace obslib
