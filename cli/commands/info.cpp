// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <unordered_map>
#include <utility>

#include "cli/ColumnScan.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Observations.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kInfoFooter = R"(
Shows the lines loaded, duplicate and bad in each file and what all its lines were; the time
span and the numbers of observations by type, sensor and satellite in all; and the lines that
are bad or passed over as FILE:LINE: reason, with --json every one of them. Formats, encoding and
line ends are those of the first 64 KiB.
With --group and --select all but the first table and the lines tell of the wanted
observations only; with --select there is also how many each criterion drops.)";

struct InfoOptions : CommonOptions {
    std::size_t top = 10;  ///< rows of the sensor and satellite tables; 0 is all
    bool json = false;
};

struct CountOf {
    std::int32_t number;  ///< of a satellite or sensor
    std::int64_t count;
};

/// The busiest of many; `more` were left out.
struct Ranking {
    std::vector<CountOf> busiest;
    std::size_t more = 0;
};

struct Report {
    std::vector<LoadResult> files;
    LoadResult all;  ///< sums
    std::optional<SelectionReport> selection;
    std::map<char, std::int64_t> types;
    Ranking sensors, satellites;
    double firstTime = std::numeric_limits<double>::infinity();  ///< days since 1950 UTC
    double lastTime = -std::numeric_limits<double>::infinity();
    std::map<std::int32_t, std::vector<LineReport>> lines;  ///< by kind (OBS_LINE_...)

    bool hasTimes() const { return firstTime <= lastTime; }
};

/// What the lines of a file were, and what came of them, in the order of the table.
struct LineCount {
    std::int64_t ObsLoadLines::*member;
    std::string_view title;  ///< empty: not in the table
    std::string_view jsonName;
    int width;  ///< in the table, without the blank before it
};
constexpr LineCount kLineCounts[] = {
    {&ObsLoadLines::lines, "lines", "lines", 10},
    {&ObsLoadLines::observations, "observations", "observation_lines", 13},
    {&ObsLoadLines::comments, "comments", "comments", 9},
    {&ObsLoadLines::keywords, "keywords", "keywords", 9},
    {&ObsLoadLines::laser, "laser", "laser", 7},
    {&ObsLoadLines::passedOver, "passed over", "passed_over", 12},
    {&ObsLoadLines::zeroed, "zeroed", "zeroed", 7},
    {&ObsLoadLines::includesLeftOut, {}, "includes_left_out", 0},
};

/// How often numbers occur.
class Counts {
public:
    void add(std::int32_t number) {
        if (number < 0 || number >= kMostOfList) {
            ++others_[number];
            return;
        }
        const auto at = static_cast<std::size_t>(number);
        if (at >= list_.size()) list_.resize(at + 1);
        ++list_[at];
    }

    std::vector<CountOf> all() const {
        std::vector<CountOf> all;
        for (std::size_t i = 0; i < list_.size(); ++i)
            if (list_[i] > 0) all.push_back({static_cast<std::int32_t>(i), list_[i]});
        for (const auto& [number, count] : others_) all.push_back({number, count});
        return all;
    }

private:
    static constexpr std::int32_t kMostOfList = 1 << 20;
    std::vector<std::int64_t> list_;  ///< by number
    std::unordered_map<std::int32_t, std::int64_t> others_;
};

Ranking rank(const Counts& counts, std::size_t top) {
    Ranking ranking{counts.all()};
    std::sort(ranking.busiest.begin(), ranking.busiest.end(), [](const CountOf& a, const CountOf& b) {
        return a.count != b.count ? a.count > b.count : a.number < b.number;
    });
    if (top != 0 && top < ranking.busiest.size()) {
        ranking.more = ranking.busiest.size() - top;
        ranking.busiest.resize(top);
    }
    return ranking;
}

void countFiles(Report& report) {
    for (const LoadResult& file : report.files) {
        report.all.loaded += file.loaded;
        report.all.duplicate += file.duplicate;
        report.all.bad += file.bad;
        for (const auto count : kLineCounts) report.all.lines.*count.member += file.lines.*count.member;
    }
}

void countObservations(Report& report, std::size_t top) {
    ColumnScan scan(OBS_ORDER_STORED, {"type", "sen_num", "sat_num", "ds50"});
    Counts sensors, satellites;
    std::array<std::int64_t, 256> types{};
    while (scan.next()) {
        const CodeColumn codes = scan.codes(0);
        for (std::size_t i = 0; i < codes.size(); ++i) ++types[codes[i]];
        for (const std::int32_t number : scan.wholes(1)) sensors.add(number);
        for (const std::int32_t number : scan.wholes(2)) satellites.add(number);
        for (const double time : scan.reals(3)) {
            report.firstTime = std::min(report.firstTime, time);
            report.lastTime = std::max(report.lastTime, time);
        }
    }
    for (std::size_t code = 0; code < types.size(); ++code)
        if (types[code] > 0) report.types[static_cast<char>(code)] = types[code];
    report.sensors = rank(sensors, top);
    report.satellites = rank(satellites, top);
}

// --- As text -------------------------------------------------------------------

void printFiles(Output& out, const Report& report) {
    out.print("{:>10} {:>10} {:>10}  {}\n", "loaded", "duplicate", "bad", "file");
    const auto row = [&](const LoadResult& r, const std::string& name) {
        out.print("{:>10} {:>10} {:>10}  {}\n", r.loaded, r.duplicate, r.bad, printable(name));
    };
    for (const LoadResult& file : report.files) {
        if (file.read) row(file, file.file);
        else out.print("{:>32}  {}\n", "not read", printable(file.file));
    }
    if (report.files.size() > 1) row(report.all, fmt::format("all {} files", report.files.size()));
}

/// The account of all lines.
void printLineCounts(Output& out, const Report& report) {
    out.print("\n");
    for (const LineCount& count : kLineCounts)
        if (!count.title.empty()) out.print("{:>{}} ", count.title, count.width);
    out.print(" file\n");
    const auto row = [&](const LoadResult& r, const std::string& name) {
        for (const LineCount& count : kLineCounts)
            if (!count.title.empty()) out.print("{:>{}} ", r.lines.*count.member, count.width);
        out.print(" {}\n", printable(name));
    };
    for (const LoadResult& file : report.files)
        if (file.read) row(file, file.file);
    if (report.files.size() > 1) row(report.all, fmt::format("all {} files", report.files.size()));
}

std::string shownFormats(const FileForm& form) {
    return form.formats.empty() ? "none" : fmt::format("{}", fmt::join(form.formats, ","));
}

/// What their beginnings show.
void printForms(Output& out, const Report& report) {
    out.print("\n{:<16} {:<18} {:<10} file\n", "formats", "encoding", "line ends");
    for (const LoadResult& file : report.files)
        if (file.read)
            out.print("{:<16} {:<18} {:<10} {}\n", shownFormats(file.form), file.form.encoding, file.form.lineEnds,
                      printable(file.file));
}

std::string dateWithDay(double time) {
    const auto parts = splitTime(time);
    return parts ? fmt::format("{} (day {:03})", isoTime(time), parts->dayOfYear) : "-";
}

void printRanking(Output& out, const char* title, const Ranking& ranking) {
    out.print("\n{:>9} {:>12}\n", title, "observations");
    for (const CountOf& row : ranking.busiest) out.print("{:>9} {:>12}\n", row.number, row.count);
    if (ranking.more > 0) out.print("{:>9} {} more\n", "and", ranking.more);
}

void printLines(Output& out, const Report& all, std::int32_t kind) {
    const auto lines = all.lines.find(kind);
    if (lines == all.lines.end()) return;
    out.print("\n{}\n", nameOfLines(kind));
    for (const LineReport& report : lines->second)
        out.print("{}\n", printable(fmt::format("{}: {}", report.place(), report.whatAndWhy())));
}

void printText(Output& out, const Report& report) {
    printFiles(out, report);
    printLineCounts(out, report);
    printForms(out, report);
    if (report.selection) {
        out.print("\n");
        printText(out, *report.selection);
    }
    if (report.hasTimes()) {
        out.print("\nfirst  {}\nlast   {}\n", dateWithDay(report.firstTime), dateWithDay(report.lastTime));
        out.print("\n{:>9} {:>12}\n", "type", "observations");
        for (const auto& [type, count] : report.types)
            out.print("{:>9} {:>12}  {}\n", type, count, typeInfo(type).carries);
        printRanking(out, "sensor", report.sensors);
        printRanking(out, "satellite", report.satellites);
    }
    for (const std::int32_t kind : {OBS_LINE_BAD, OBS_LINE_PASSED_OVER, OBS_LINE_DUPLICATE})
        printLines(out, report, kind);
}

// --- As JSON -------------------------------------------------------------------

/// Prints "[...]" with one element a line; `element` prints the i-th of `count`.
template <typename PrintElement>
void printArray(Output& out, std::size_t count, PrintElement element) {
    out.print("[");
    for (std::size_t i = 0; i < count; ++i) {
        out.print("{}\n    ", i == 0 ? "" : ",");
        element(i);
    }
    out.print("{}]", count == 0 ? "" : "\n  ");
}

std::string jsonTexts(const std::vector<std::string>& texts) {
    std::string json = "[";
    for (const std::string& text : texts) json += (json.size() > 1 ? ", " : "") + jsonString(text);
    return json + "]";
}

void printJsonRanking(Output& out, const char* name, const char* member, const Ranking& ranking) {
    out.print(",\n  \"{}\": ", name);
    printArray(out, ranking.busiest.size(), [&](std::size_t i) {
        const CountOf& row = ranking.busiest[i];
        out.print(R"({{"{}": {}, "observations": {}}})", member, row.number, row.count);
    });
    out.print(",\n  \"{}_more\": {}", name, ranking.more);
}

void printJsonLines(Output& out, const char* name, const std::vector<LineReport>& lines) {
    out.print(",\n  \"{}\": ", name);
    printArray(out, lines.size(), [&](std::size_t i) {
        out.print(R"({{"file": {}, "line": {}, "reason": {}}})", jsonString(lines[i].file), lines[i].line,
                  jsonString(lines[i].reason));
    });
}

std::string jsonTime(double time) {
    const auto parts = splitTime(time);
    if (!parts) return "null";
    return fmt::format(R"({{"utc": "{}", "day_of_year": {}}})", isoTime(time), parts->dayOfYear);
}

void printJsonCounts(Output& out, const LoadResult& counts) {
    out.print(R"("loaded": {}, "duplicate": {}, "bad": {})", counts.loaded, counts.duplicate, counts.bad);
    for (const LineCount& count : kLineCounts) out.print(R"(, "{}": {})", count.jsonName, counts.lines.*count.member);
    out.print("}}");
}

void printJson(Output& out, Report& report, bool duplicates) {
    out.print("{{\n  \"files\": ");
    printArray(out, report.files.size(), [&](std::size_t i) {
        const LoadResult& f = report.files[i];
        out.print(R"({{"name": {}, "read": {}, "formats": {}, "encoding": {}, "line_ends": {}, )", jsonString(f.file),
                  f.read, jsonTexts(f.form.formats), jsonString(f.form.encoding), jsonString(f.form.lineEnds));
        printJsonCounts(out, f);
    });
    out.print(",\n  \"all\": {{");
    printJsonCounts(out, report.all);
    out.print(",\n  \"selection\": ");
    if (report.selection) printJson(out, *report.selection);
    else out.print("null");
    out.print(",\n  \"first\": {},\n  \"last\": {}", jsonTime(report.firstTime), jsonTime(report.lastTime));
    out.print(",\n  \"types\": ");
    auto type = report.types.begin();
    printArray(out, report.types.size(), [&](std::size_t) {
        out.print(R"({{"type": {}, "observations": {}}})", jsonString({&type->first, 1}), type->second);
        ++type;
    });
    printJsonRanking(out, "sensors", "sensor", report.sensors);
    printJsonRanking(out, "satellites", "satellite", report.satellites);
    printJsonLines(out, "bad_lines", report.lines[OBS_LINE_BAD]);
    printJsonLines(out, "passed_over_lines", report.lines[OBS_LINE_PASSED_OVER]);
    printJsonLines(out, "zeroed_lines", report.lines[OBS_LINE_ZEROED]);
    if (duplicates) printJsonLines(out, "duplicate_lines", report.lines[OBS_LINE_DUPLICATE]);
    out.print(",\n  ");
    printJsonConfiguration(out);
    out.print("\n}}\n");
}

ExitStatus run(const InfoOptions& options, Output& out) {
    Report report;
    const auto keep = [&](const LineReport& line) {
        if (line.kind == OBS_LINE_ZEROED && !options.json) complainOfLine(line);
        else report.lines[line.kind].push_back(line);
    };
    Session session(options, keep, options.json);
    if (!session.start()) return session.status();
    report.files = session.load();
    countFiles(report);
    report.selection = session.selection();
    if (!options.dryRun) countObservations(report, options.top);
    if (options.json) printJson(out, report, options.duplicates);
    else printText(out, report);
    return session.status();
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<InfoOptions>();
    addCommonOptions(app, *options);
    app.add_option("-n,--top", options->top, "Show the busiest N sensors and satellites; 0 shows all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    app.add_flag("--duplicates", options->duplicates, "Name the duplicate lines, too");
    app.add_flag("-j,--json", options->json, "Write one JSON object instead of tables");
    return runWith(std::move(options), run);
}

}  // namespace

Command commandInfo() { return {"info", "Tell what files hold and which lines are bad", kInfoFooter, add}; }

}  // namespace obstool
