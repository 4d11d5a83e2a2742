// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
One row for each satellite and sensor: observations, passes, first and last time, the days
between them, observations a minute within passes, and the longest time between two passes in
hours. A pass ends where the time to the next observation exceeds both 10 minutes and five
times the median step between those of this satellite and sensor.)";

constexpr double kMinutesPerDay = 1440, kHoursPerDay = 24;

struct Options : CommonOptions {
    bool json = false, csv = false;
};

struct Row {
    std::int32_t satellite, sensor;
    std::int64_t observations = 0, passes = 0;
    double first = 0, last = 0;                  ///< days since 1950 UTC
    double longestGap = 0, minutesInPasses = 0;  ///< days, minutes

    double spanDays() const { return last - first; }
    /// Nothing can be said of passes of one observation.
    double perMinute() const {
        return minutesInPasses > 0 ? static_cast<double>(observations - passes) / minutesInPasses : 0;
    }
};

/// Calls `use` with each pass.
template <class Use>
void forEachPass(Use use) {
    constexpr std::int32_t kAll = -1;
    // Room for the most there can be, of which only what is needed is touched.
    const std::int32_t room = ObsGetCount();
    const auto passes = std::make_unique_for_overwrite<ObsPass[]>(static_cast<std::size_t>(room));
    std::int32_t count = 0;
    if (ObsGetPasses(kAll, nullptr, room, passes.get(), &count) != 0) throw std::runtime_error(lastError());
    std::for_each_n(passes.get(), count, use);
}

/// Calls `use` with each row. The passes come by satellite, sensor and time.
template <class Use>
void forEachRow(Use use) {
    Row row{0, 0};
    forEachPass([&](const ObsPass& pass) {
        const bool isNew = row.passes == 0 || row.satellite != pass.satNum || row.sensor != pass.senNum;
        if (isNew) {
            if (row.passes > 0) use(row);
            row = {pass.satNum, pass.senNum, 0, 0, pass.firstTime};
        } else {
            row.longestGap = std::max(row.longestGap, pass.firstTime - row.last);
        }
        row.observations += pass.observations;
        ++row.passes;
        row.minutesInPasses += (pass.lastTime - pass.firstTime) * kMinutesPerDay;
        row.last = pass.lastTime;
    });
    if (row.passes > 0) use(row);
}

/// The cells of a table's line.
class Cells {
public:
    explicit Cells(fmt::memory_buffer& lines) : lines_(lines), start_(lines.size()) {}

    void whole(std::int64_t value, std::size_t width) {
        const fmt::format_int digits(value);
        begin();
        lines_.append(digits.data(), digits.data() + digits.size());
        padTo(width, false, cell_, lines_);
    }
    void time(double value, std::size_t width) {
        begin();
        appendIsoTime(value, lines_);
        padTo(width, true, cell_, lines_);
    }
    void real(double value, std::size_t width) {
        constexpr int kDecimals = 3;
        begin();
        appendFixed(value, kDecimals, lines_);
        padTo(width, false, cell_, lines_);
    }
    void end() { lines_.push_back('\n'); }

private:
    void begin() {
        if (lines_.size() > start_) lines_.push_back(' ');
        cell_ = lines_.size();
    }

    fmt::memory_buffer& lines_;
    std::size_t start_, cell_ = 0;
};

void printTable(Output& out) {
    out.print("{:>9} {:>6} {:>12} {:>6} {:<24} {:<24} {:>9} {:>10} {:>9}\n", "satellite", "sensor", "observations",
              "passes", "first", "last", "span_days", "per_minute", "gap_hours");
    Row all{0, 0};
    std::int64_t rows = 0;
    forEachRow([&](const Row& row) {
        Cells cells(out.buffer());
        cells.whole(row.satellite, 9);
        cells.whole(row.sensor, 6);
        cells.whole(row.observations, 12);
        cells.whole(row.passes, 6);
        cells.time(row.first, 24);
        cells.time(row.last, 24);
        cells.real(row.spanDays(), 9);
        cells.real(row.perMinute(), 10);
        cells.real(row.longestGap * kHoursPerDay, 9);
        cells.end();
        out.written();
        all.observations += row.observations;
        all.passes += row.passes;
        ++rows;
    });
    out.print("{:>16} {:>12} {:>6}  of {} pairs of satellite and sensor\n", "all", all.observations, all.passes, rows);
}

void printCsv(Output& out) {
    out.print("sat_num,sen_num,observations,passes,first,last,span_days,per_minute,gap_hours\n");
    forEachRow([&](const Row& row) {
        out.print("{},{},{},{},", row.satellite, row.sensor, row.observations, row.passes);
        appendIsoTime(row.first, out.buffer());
        out.buffer().push_back(',');
        appendIsoTime(row.last, out.buffer());
        out.print(",{},{},{}\n", row.spanDays(), row.perMinute(), row.longestGap * kHoursPerDay);
    });
}

void printJson(Output& out) {
    out.print("{{\n  \"pairs\": [");
    bool isFirst = true;
    forEachRow([&](const Row& row) {
        out.print(R"({}
    {{"sat_num": {}, "sen_num": {}, "observations": {}, "passes": {}, "first": {}, "last": {}, "span_days": {}, )"
                  R"("per_minute": {}, "gap_hours": {}}})",
                  std::exchange(isFirst, false) ? "" : ",", row.satellite, row.sensor, row.observations, row.passes,
                  jsonString(isoTime(row.first)), jsonString(isoTime(row.last)), row.spanDays(), row.perMinute(),
                  row.longestGap * kHoursPerDay);
    });
    out.print("{}],\n  ", isFirst ? "" : "\n  ");
    printJsonConfiguration(out);
    out.print("\n}}\n");
}

ExitStatus run(const Options& options, Output& out) {
    Session session(options, complainOfLine);
    if (!session.start()) return session.status();
    session.load();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }
    if (options.json) printJson(out);
    else if (options.csv) printCsv(out);
    else printTable(out);
    return session.status();
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    addCommonOptions(app, *options);
    CLI::Option* const json = app.add_flag("-j,--json", options->json, "Write one JSON object instead of a table");
    app.add_flag("--csv", options->csv, "Write CSV instead of a table")->excludes(json);
    return runWith(std::move(options), run);
}

}  // namespace

Command commandStats() { return {"stats", "Count passes, gaps and rates by satellite and sensor", kFooter, add}; }

}  // namespace obstool
