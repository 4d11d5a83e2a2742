// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cmath>
#include <optional>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Observations.h"
#include "cli/OneLine.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
Shows every field that the observation has, with its unit, the time in other forms, and the
states that follow. KEY is as list shows it; FILE:LINE is a line of a file, which is loaded, or
of one that it includes, as 'list --columns file,line' names it before FILE. The names are those
of list --columns.)";

struct Options : CommonOptions {
    std::string what;  ///< KEY or FILE:LINE
};

std::optional<std::int64_t> keyOf(const std::string& text) {
    std::int64_t key = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, key);
    return error == std::errc() && stop == end ? std::optional(key) : std::nullopt;
}

bool isDerived(const Column& column) { return column.source == Column::Source::state; }

/// The columns that an observation has, one a line. False when it has none of them.
bool printColumns(Output& out, Rows& rows, bool derived) {
    fmt::memory_buffer value;
    bool any = false;
    for (const Column& column : allColumns()) {
        value.clear();
        if (column.source == Column::Source::angle || isDerived(column) != derived) continue;
        if (!column.append(rows, 0, false, value)) continue;
        any = true;
        const std::string_view text(value.data(), value.size());
        const std::string rest =
            column.meaning.empty() || column.meaning == column.name
                ? column.unit
                : fmt::format("{}{}{}", column.unit, column.unit.empty() ? "" : ", ", column.meaning);
        out.print("{:<24} {:>24}{}{}\n", column.name, text, rest.empty() ? "" : "  ", rest);
    }
    return any;
}

void print(Output& out, std::int64_t key) {
    const Observation o = observationOf(key);
    const std::int64_t keys[] = {key};
    Rows rows;
    rows.begin(keys);
    if (o.type == ' ') out.print("type not known\n\n");
    else out.print("type {}: {}\n\n", o.type, typeInfo(o.type).carries);
    printColumns(out, rows, false);
    out.print("\nstates\n");
    if (!printColumns(out, rows, true)) out.print("none\n");
    Text512 name;
    double latitude = 0, longitude = 0, height = 0;
    if (FamilyGetSensor(o.sensor, name.data(), &latitude, &longitude, &height) != 0)
        out.print("sensor {} is not known: --sensors gives the places of sensors\n", o.sensor);
    else out.print("sensor {}: {}\n", o.sensor, printable(name.str()));
}

ExitStatus showLine(const Options& options, const LinePlace& place, Output& out) {
    const auto read = readLine(place, static_cast<const CommonOptions&>(options));
    if (!read) return ExitStatus::failure;
    if (read->key == 0) {
        complain(options.what, fmt::format("no observation; 'obstool explain {}' tells more", options.what));
        return ExitStatus::failure;
    }
    if (!read->duplicateOf.empty())
        complain(options.what, fmt::format("a duplicate of {}, which is shown", read->duplicateOf));
    print(out, read->key);
    return ExitStatus::allGood;
}

ExitStatus showKey(const Options& options, std::int64_t key, Output& out) {
    ObsKeepOrigins(1);
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    session.load();
    if (SatNumFrObsKey(key) >= 0) print(out, key);
    else session.fail(options.what, "no observation has this key ('obstool list --keys')");
    return session.status();
}

ExitStatus run(const Options& options, Output& out) {
    const auto key = keyOf(options.what);
    if (const auto place = key ? std::nullopt : linePlace(options.what)) return showLine(options, *place, out);
    if (key && !options.files.empty()) return showKey(options, *key, out);
    complain(options.what,
             key ? "no FILE is named in which the key might be" : "is neither a key nor a line of a file as FILE:LINE");
    return ExitStatus::failure;
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("WHAT", options->what, "KEY of an observation of FILE, or FILE:LINE")->type_name("")->required();
    addFiles(app, *options)->required(false);
    addLoadOptions(app, *options);
    return runWith(std::move(options), run);
}

}  // namespace

Command commandShow() { return {"show", "Show all of one observation", kFooter, add}; }

}  // namespace obstool
