// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Doubts.h"
#include "cli/Input.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
Names every line that is bad, passed over, a duplicate, a settings line at fault or has a value
taken as 0, by reason and by the columns at fault, and observations that make no sense, by the
limits below. A check is left out with a limit of 0; sensors are looked for when --sensors names
a file. Each group has its number and the first of it, observations by key; 'obstool explain
FILE:LINE' and 'obstool show KEY FILE' tell more. Exit status 0 when there is nothing to name, 1
when there is, 2 when a file could not be read.)";

struct Options : CommonOptions {
    SenseLimits sense;
    std::size_t limit = 3;
    bool json = false;
};

class Findings {
public:
    explicit Findings(std::size_t limit) : limit_(limit) {}

    /// @param place makes FILE:LINE, or what shows an observation; called for the first ones only
    template <class Place>
    void add(const std::string& kind, const std::string& reason, Place&& place) {
        const auto [at, isNew] = places_.try_emplace(std::pair(kind, reason), groups_.size());
        if (isNew) groups_.push_back({kind, reason, 0, {}});
        Group& group = groups_[at->second];
        ++group.count;
        if (limit_ == 0 || group.places.size() < limit_) group.places.push_back(place());
    }

    /// A group of a kind and reason that there is not yet.
    void add(Group group) { groups_.push_back(std::move(group)); }
    const std::vector<Group>& groups() const { return groups_; }

private:
    std::size_t limit_;
    std::map<std::pair<std::string, std::string>, std::size_t> places_;
    std::vector<Group> groups_;
};

// --- Lines ---------------------------------------------------------------------------------------

/// The reason without the text that it quotes.
std::string plainReason(const std::string& reason) {
    if (reason.starts_with("Bad B3 card/")) return "bad B3 card";
    std::string plain = reason;
    for (const std::string_view mark : {" (", "/"})
        if (const std::size_t at = plain.find(mark); at != std::string::npos && plain.starts_with("Bad"))
            plain.erase(at);
    return plain;
}

/// The groups of columns of a line that cannot be taken, with why.
std::string columnsAtFault(const std::string& line, const std::string& next) {
    const Text512 line1(line), line2(next);
    std::string faults;
    std::int32_t facts[4] = {1, 0, 0, 0};
    std::int32_t count = 1;
    for (std::int32_t i = 0; i < count; ++i) {
        Text512 name, form, fault;
        if (ObsGetLineColumn(line1.data(), line2.data(), i, name.data(), form.data(), fault.data(), facts) != 0) break;
        count = facts[OBS_LINE_COLUMN_COUNT];
        if (fault.str().empty()) continue;
        const std::int32_t first = facts[OBS_LINE_COLUMN_FIRST], last = facts[OBS_LINE_COLUMN_LAST];
        const std::string where =
            first == last ? fmt::format("column {}", first) : fmt::format("columns {}-{}", first, last);
        faults += fmt::format("{}{} ({}{}) {}", faults.empty() ? ": " : ", ", name.str(), where,
                              facts[OBS_LINE_COLUMN_CARD] == 2 ? " of the second card" : "", fault.str());
    }
    return faults;
}

/// Texts of lines of files, one file at a time and forwards.
class LineTexts {
public:
    /// A line and the one after it; empty where the file cannot be read again, as standard input.
    std::pair<std::string, std::string> at(const std::string& file, std::int64_t line) {
        if (file != file_ || line < number_) {
            file_ = file;
            lines_.reset();
            lines_.emplace(input_.emplace(file));
            current_.clear();
            next_ = read();
            number_ = 0;
        }
        for (; number_ < line; ++number_) {
            current_ = std::move(next_);
            next_ = read();
        }
        return {current_, next_};
    }

private:
    std::string read() {
        std::string line;
        return lines_->next(line) ? line : std::string();
    }

    std::string file_, current_, next_;
    std::optional<Input> input_;
    std::optional<InputLines> lines_;
    std::int64_t number_ = 0;
};

void addLine(Findings& findings, LineTexts& texts, const LineReport& report) {
    const auto place = [&] { return report.place(); };
    switch (report.kind) {
        case OBS_LINE_BAD: {
            const auto [line, next] = texts.at(report.file, report.line);
            findings.add("bad line", plainReason(report.reason) + columnsAtFault(line, next), place);
            break;
        }
        case OBS_LINE_PASSED_OVER: {
            const auto [line, next] = texts.at(report.file, report.line);
            findings.add("passed over", "of no known kind" + columnsAtFault(line, next), place);
            break;
        }
        case OBS_LINE_ZEROED: findings.add("value taken as 0", plainReason(report.reason), place); break;
        case OBS_LINE_DUPLICATE: findings.add("duplicate", "the same observation in an earlier line", place); break;
        case OBS_LINE_KEYWORD_FAULT: findings.add("keyword line", report.reason, place); break;
        case OBS_LINE_INCLUDE_LEFT_OUT: findings.add("include file left out", report.reason, place); break;
        default: break;
    }
}

// --- What is told --------------------------------------------------------------------------------

void printText(Output& out, const std::vector<Group>& groups, const std::vector<LoadResult>& files) {
    std::int64_t lines = 0, loaded = 0;
    for (const LoadResult& file : files) {
        lines += file.lines.lines;
        loaded += file.loaded;
    }
    for (const Group& group : groups) {
        out.print("{} {}: {}\n", group.count, group.kind, printable(group.reason));
        for (const std::string& place : group.places) out.print("    {}\n", printable(place));
        const auto shown = static_cast<std::int64_t>(group.places.size());
        if (shown < group.count) out.print("    and {} more (--limit 0 names all)\n", group.count - shown);
    }
    out.print("{}{} lines, {} observations: {}\n", groups.empty() ? "" : "\n", lines, loaded,
              groups.empty() ? "nothing to name" : fmt::format("{} kinds of findings", groups.size()));
}

void printJson(Output& out, const std::vector<Group>& groups) {
    out.print("{{\n  \"findings\": [");
    for (const Group& group : groups) {
        out.print("{}\n    {{\"kind\": {}, \"reason\": {}, \"count\": {}, \"places\": [",
                  &group == &groups.front() ? "" : ",", jsonString(group.kind), jsonString(group.reason), group.count);
        for (const std::string& place : group.places)
            out.print("{}{}", &place == &group.places.front() ? "" : ", ", jsonString(place));
        out.print("]}}");
    }
    out.print("{}],\n  ", groups.empty() ? "" : "\n  ");
    printJsonConfiguration(out);
    out.print("\n}}\n");
}

ExitStatus run(Options options, Output& out) {
    options.duplicates = true;
    Findings findings(options.limit);
    std::vector<LineReport> reports;
    Session session(
        options, [&](const LineReport& report) { reports.push_back(report); }, true);
    session.tellFaultsToo();
    if (!session.start()) return session.status();
    const std::vector<LoadResult> files = session.load();
    LineTexts texts;
    for (const LineReport& report : reports) addLine(findings, texts, report);
    options.sense.isOfKnownSensor = !options.sensors.empty();
    for (Group& group : doubtfulObservations(options.sense, options.limit)) findings.add(std::move(group));
    if (options.json) printJson(out, findings.groups());
    else printText(out, findings.groups(), files);
    return findings.groups().empty() ? session.status() : std::max(session.status(), ExitStatus::badLines);
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    addFiles(app, *options);
    addLoadOptions(app, *options);
    const auto addLimit = [&](const char* name, double& value, const char* unit, const char* help) {
        app.add_option(name, value, help)->type_name(unit)->check(isMeasure())->capture_default_str();
    };
    app.add_option("--lowest-elevation", options->sense.lowestElevation, "Least elevation")
        ->type_name("DEGREES")
        ->check(isFrom(-90.0, 90.0))
        ->capture_default_str();
    addLimit("--most-range", options->sense.mostRange, "KM", "Greatest range");
    addLimit("--most-speed", options->sense.mostSpeed, "KM/S", "Greatest range rate");
    addLimit("--near", options->sense.near, "SECONDS", "Two of one satellite, sensor and type this near are named");
    app.add_option("--first-year", options->sense.firstYear, "Year before which no observation is")
        ->type_name("YEAR")
        ->check(isFrom(1, 9999))
        ->capture_default_str();
    app.add_option("-n,--limit", options->limit, "Name the first N of each group; 0 names all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    app.add_flag("-j,--json", options->json, "Write one JSON object instead of text");
    return runWith(std::move(options), run);
}

}  // namespace

Command commandValidate() {
    return {"validate", "Name every line and observation that is wrong or doubtful", kFooter, add};
}

}  // namespace obstool
