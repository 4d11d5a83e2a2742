// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/OneLine.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
Draws a line with its columns: what each group means and how it is written, the text there and
the value read; marks under what is at fault. LINE is the line itself, FILE:LINE one of a file,
which is loaded, so that all its settings lines are obeyed; of a file that another includes, the
latter is given as MORE. Of a TTY message of two cards either line of a file will do; else MORE
is the second. Exit status 1 for a bad line.)";

struct Options : CommonOptions {
    std::string line, more;
};

struct Group {
    std::string name, form, fault;
    std::int32_t facts[4] = {1, 0, 0, 0};

    std::size_t card() const { return static_cast<std::size_t>(facts[OBS_LINE_COLUMN_CARD]); }
    std::size_t first() const { return static_cast<std::size_t>(facts[OBS_LINE_COLUMN_FIRST]); }
    std::size_t last() const { return static_cast<std::size_t>(facts[OBS_LINE_COLUMN_LAST]); }
};

std::vector<Group> groupsOf(const LineRead& read) {
    std::vector<Group> groups;
    const Text512 line1(read.line1), line2(read.line2);
    std::int32_t count = 1;
    for (std::int32_t i = 0; i < count; ++i) {
        Group group;
        Text512 name, form, fault;
        if (ObsGetLineColumn(line1.data(), line2.data(), i, name.data(), form.data(), fault.data(), group.facts) != 0)
            break;
        count = group.facts[OBS_LINE_COLUMN_COUNT];
        group.name = name.str();
        group.form = form.str();
        group.fault = fault.str();
        groups.push_back(std::move(group));
    }
    return groups;
}

/// A ruler, the card, and marks under the columns at fault.
void draw(Output& out, const std::string& line, const std::vector<Group>& groups, std::size_t card) {
    const std::string text = printable(line);
    std::string tens, units, marks;
    for (std::size_t column = 1; column <= text.size(); ++column) {
        tens += column % 10 == 0 ? static_cast<char>('0' + column / 10 % 10) : ' ';
        units += static_cast<char>('0' + column % 10);
    }
    for (const Group& group : groups) {
        if (group.card() != card || group.fault.empty()) continue;
        if (marks.size() < group.last()) marks.resize(group.last(), ' ');
        std::fill(marks.begin() + static_cast<std::ptrdiff_t>(group.first() - 1),
                  marks.begin() + static_cast<std::ptrdiff_t>(group.last()), '^');
    }
    out.print("{}\n{}\n{}\n", withoutTrailingBlanks(tens), units, text);
    if (!marks.empty()) out.print("{}\n", marks);
    out.print("\n");
}

bool isCsv(const std::string& line) {
    Text512 kind;
    return ObsGetLineKind(Text512(line).data(), kind.data()) == 0 && kind.str() == "CSV line";
}

std::string textOf(const LineRead& read, const Group& group) {
    const std::string& line = group.card() == 2 ? read.line2 : read.line1;
    if (group.first() > line.size()) return {};
    const std::string text = printable(line.substr(group.first() - 1, group.last() + 1 - group.first()));
    // An empty field is at its separator.
    return text == "," && isCsv(line) ? "" : text;
}

/// The value that came of a group; "-" when none did, nothing for what is a part of a value.
std::string valueOf(const Group& group, Rows* rows) {
    const Column* const column = findColumn(group.name);
    if (column == nullptr || column->source != Column::Source::field) return {};
    fmt::memory_buffer value;
    if (rows == nullptr || !column->append(*rows, 0, false, value)) value.push_back('-');
    return std::string(value.data(), value.size());
}

void printGroups(Output& out, const LineRead& read, const std::vector<Group>& groups, Rows* rows) {
    std::size_t textWidth = 4, nameWidth = 4;
    for (const Group& group : groups) {
        textWidth = std::max(textWidth, textOf(read, group).size() + 2);
        nameWidth = std::max(nameWidth, group.name.size());
    }
    out.print("{:>7}  {:<{}} {:<{}} {:<22} {}\n", "columns", "name", nameWidth, "text", textWidth, "value",
              "written as");
    for (const Group& group : groups) {
        const std::string columns = group.first() == group.last() ? fmt::format("{}", group.first())
                                                                  : fmt::format("{}-{}", group.first(), group.last());
        out.print("{:>7}  {:<{}} {:<{}} {:<22} {}\n", group.card() == 2 ? "2: " + columns : columns, group.name,
                  nameWidth, "'" + textOf(read, group) + "'", textWidth, valueOf(group, rows), group.form);
        if (!group.fault.empty()) out.print("{:>7}  {:^>{}} {}\n", "", "", nameWidth, group.fault);
    }
}

void printOutcome(Output& out, const LineRead& read, const std::vector<Group>& groups, Rows* rows) {
    for (const LineRead::Told& told : read.told) {
        if (told.kind == OBS_LINE_PASSED_OVER)
            out.print("passed over: neither observation, comment nor keyword line\n");
        else if (told.kind == OBS_LINE_BAD) out.print("bad line: {}\n", printable(told.text));
        else if (told.kind != OBS_LINE_KEYWORD && told.kind != OBS_LINE_DUPLICATE)
            out.print("note: {}\n", printable(told.text));
    }
    if (!read.duplicateOf.empty()) out.print("duplicate of {}\n", printable(read.duplicateOf));
    const bool anyFault = std::any_of(groups.begin(), groups.end(), [](const Group& g) { return !g.fault.empty(); });
    if (read.isBad() && !groups.empty() && !anyFault) out.print("no single column is at fault\n");
    if (rows == nullptr) return;
    for (const char* name : {"time", "type", "sat_num", "sen_num", "elevation", "azimuth", "range_km"}) {
        const bool isDrawn = std::any_of(groups.begin(), groups.end(), [&](const Group& g) { return g.name == name; });
        fmt::memory_buffer value;
        if (!isDrawn && findColumn(name)->append(*rows, 0, false, value))
            out.print("{}: {}\n", name, std::string_view(value.data(), value.size()));
    }
}

void print(Output& out, const LineRead& read, const std::string& place) {
    Text512 kind;
    ObsGetLineKind(Text512(read.line1).data(), kind.data());
    // In a file it is one of these, or is passed over.
    const bool isComment = read.line1.starts_with('#');
    const bool isLaser =
        kind.str() == "not an observation" && !place.empty() && !isComment && !read.isTold(OBS_LINE_PASSED_OVER);
    out.print("{}{}\n\n", place.empty() ? "" : printable(place) + ": ",
              isLaser ? "record of a laser-ranging session or block" : kind.str());
    const std::vector<Group> groups = isLaser ? std::vector<Group>() : groupsOf(read);
    const std::int64_t keys[] = {read.duplicateOf.empty() ? read.key : storeDuplicate(read)};
    Rows rows;
    rows.begin(keys);
    Rows* const values = keys[0] != 0 ? &rows : nullptr;
    draw(out, read.line1, groups, 1);
    if (!read.line2.empty()) draw(out, read.line2, groups, 2);
    if (!groups.empty()) printGroups(out, read, groups, values);
    out.print("\n");
    printOutcome(out, read, groups, values);
}

ExitStatus explain(Output& out, const LineRead& read, const std::string& place) {
    print(out, read, place);
    return read.isBad() ? ExitStatus::badLines : ExitStatus::allGood;
}

ExitStatus run(const Options& options, Output& out) {
    if (const auto place = linePlace(options.line)) {
        CommonOptions load = static_cast<const CommonOptions&>(options);
        if (!options.more.empty()) static_cast<FileArguments&>(load) = expandFiles({options.more});
        const auto read = readLine(*place, load);
        return read ? explain(out, *read, fmt::format("{}:{}", place->file, read->number)) : ExitStatus::failure;
    }
    std::error_code none;
    if (std::filesystem::is_regular_file(options.line, none)) {
        complain(options.line, fmt::format("that is a file; a line of it is '{}:1'", options.line));
        return ExitStatus::failure;
    }
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    return explain(out, readText(options.line, options.more, options.ttyYear.value_or(0)), "");
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_option("LINE", options->line, "A line, or FILE:LINE")->type_name("")->required();
    app.add_option("MORE", options->more, "The second card of a TTY message, or the file that includes FILE")
        ->type_name("");
    addLoadOptions(app, *options);
    return runWith(std::move(options), run);
}

}  // namespace

Command commandExplain() {
    return {"explain", "Draw a line with its columns, and what is wrong with it", kFooter, add};
}

}  // namespace obstool
