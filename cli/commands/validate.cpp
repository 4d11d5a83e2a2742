// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/ColumnScan.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"
#include "siblings/include/ObsFamily.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
Names every line that is bad, passed over, a duplicate or has a value taken as 0, by reason and
by the columns at fault, and observations that make no sense, by the limits below. A check is
left out with a limit of 0; sensors are looked for when --sensors names a file. Each group has
its number and the first of it; 'obstool explain FILE:LINE' and 'obstool show KEY FILE' tell
more. Exit status 0 when there is nothing to name, 1 when there is, 2 when a file could not be
read.)";

constexpr double kSecondsPerDay = 86400;
constexpr double kKeyDays = 0.2 / kSecondsPerDay;  ///< by which times may go back in the order of keys

struct Options : CommonOptions {
    double lowestElevation = -5;  ///< degrees
    double mostRange = 1e6;       ///< km
    double mostSpeed = 15;        ///< km/s
    int firstYear = 1957;
    double near = 0.001;  ///< seconds
    std::size_t limit = 3;
    bool json = false;
};

/// Lines or observations with one thing wrong.
struct Group {
    std::string kind, reason;
    std::int64_t count = 0;
    std::vector<std::string> places;  ///< the first ones
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
        faults += fmt::format("{}{} (columns {}-{}{}) {}", faults.empty() ? ": " : ", ", name.str(),
                              facts[OBS_LINE_COLUMN_FIRST], facts[OBS_LINE_COLUMN_LAST],
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
            stream_ = std::ifstream(file);
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
        std::getline(stream_, line);
        if (line.ends_with('\r')) line.pop_back();
        return line;
    }

    std::string file_, current_, next_;
    std::ifstream stream_;
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
        default: break;
    }
}

// --- Observations --------------------------------------------------------------------------------

/// The values that are looked at; those that an observation does not have are not a number.
struct Values {
    double satellite, sensor, type, time, elevation, declination, azimuth, rightAscension, range, rangeRate;

    double elOrDec() const { return std::isnan(elevation) ? declination : elevation; }
    double azOrRa() const { return std::isnan(azimuth) ? rightAscension : azimuth; }
};

/// The columns of the members, in their order, and the keys.
constexpr std::array<double Values::*, 10> kMembers = {
    &Values::satellite,   &Values::sensor,  &Values::type,           &Values::time,  &Values::elevation,
    &Values::declination, &Values::azimuth, &Values::rightAscension, &Values::range, &Values::rangeRate};
constexpr std::array<const char*, kMembers.size() + 1> kColumns = {
    "sat_num",  "sen_num",         "type", "ds50", "elevation", "declination", "azimuth", "right_ascension",
    "range_km", "range_rate_km_s", "key"};

/// The latest time of each satellite, sensor and type, of observations that come in order of time. Those that are too
/// long ago to be near are forgotten, so that the rest stays at the processor's hand; open addressing.
class LatestTimes {
public:
    explicit LatestTimes(double keptDays) : keptDays_(keptDays) {}

    /// The latest time so far, which `v.time` is to take the place of; minus infinity for the first.
    double& of(const Values& v) {
        if (2 * (used_ + 1) > entries_.size()) makeRoom(v.time - keptDays_);
        const Entry wanted{static_cast<std::int32_t>(v.satellite), static_cast<std::int32_t>(v.sensor),
                           static_cast<std::int32_t>(v.type)};
        Entry& entry = find(wanted);
        if (entry.type == kFree) {
            entry = wanted;
            ++used_;
        }
        return entry.time;
    }

private:
    static constexpr std::int32_t kFree = -1;
    struct Entry {
        std::int32_t satellite = 0, sensor = 0, type = kFree;
        double time = -std::numeric_limits<double>::infinity();
    };

    Entry& find(const Entry& wanted) {
        constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15;
        const auto bits = [](std::int32_t number) { return std::uint64_t{static_cast<std::uint32_t>(number)}; };
        const std::uint64_t all = bits(wanted.satellite) << 32 ^ bits(wanted.sensor) << 8 ^ bits(wanted.type);
        for (std::size_t at = all * kFactor >> 20;; ++at) {
            Entry& entry = entries_[at & (entries_.size() - 1)];
            const bool isIt = entry.satellite == wanted.satellite && entry.sensor == wanted.sensor;
            if (entry.type == kFree || (isIt && entry.type == wanted.type)) return entry;
        }
    }

    void makeRoom(double since) {
        constexpr std::size_t kLeast = 1024;  // a power of 2
        const std::vector<Entry> former = std::move(entries_);
        const auto isKept = [&](const Entry& entry) { return entry.type != kFree && entry.time >= since; };
        used_ = static_cast<std::size_t>(std::count_if(former.begin(), former.end(), isKept));
        std::size_t size = kLeast;
        while (size < 4 * used_) size *= 2;
        entries_.assign(size, Entry());
        for (const Entry& entry : former)
            if (isKept(entry)) find(entry) = entry;
    }

    double keptDays_;
    std::vector<Entry> entries_;
    std::size_t used_ = 0;
};

class SenseChecks {
public:
    SenseChecks(const Options& options, Findings& findings) : options_(options), findings_(findings) {
        using namespace std::chrono;
        const auto day = [](year_month_day date) {
            return static_cast<double>((sys_days{date} - sys_days{year{1950} / January / 1}).count()) + 1;
        };
        firstTime_ = day(year{options.firstYear} / January / 1);
        lastTime_ = day(year_month_day{floor<days>(system_clock::now())}) + 1;
    }

    void run() {
        // Within a year keys have the order of times, but for a tenth of a second.
        constexpr std::int32_t kAscendingKeys = 9, kByTime = -1;
        const Findings before = findings_;
        look(kAscendingKeys);
        if (!isOutOfOrder_) return;
        findings_ = before;
        latest_ = LatestTimes(options_.near / kSecondsPerDay);
        look(kByTime);
    }

private:
    void look(std::int32_t order) {
        ColumnScan scan(order, {kColumns.begin(), kColumns.end()});
        for (std::array<std::vector<double>, kMembers.size()> columns; scan.next();) {
            for (std::size_t i = 0; i < columns.size(); ++i) scan.values(i, columns[i]);
            const std::int64_t* const keys = scan.keys(columns.size());
            for (std::size_t row = 0; row < scan.rows(); ++row) {
                Values v{};
                for (std::size_t i = 0; i < columns.size(); ++i) v.*kMembers[i] = columns[i][row];
                check(v, keys[row]);
            }
        }
    }

    void check(const Values& v, std::int64_t key) {
        const auto isOut = [](double value, double least, double most) { return value < least || value > most; };
        if (isOut(v.time, firstTime_, lastTime_))
            tell(key, v, fmt::format("the time is before {} or in the future", options_.firstYear));
        if (isOut(v.elOrDec(), -90, 90)) tell(key, v, "the elevation or declination is beyond 90 degrees");
        else if (options_.lowestElevation != 0 && v.elevation < options_.lowestElevation)
            tell(key, v, fmt::format("the elevation is below {} degrees", options_.lowestElevation));
        if (isOut(v.azOrRa(), 0, 360)) tell(key, v, "the azimuth or right ascension is not from 0 to 360 degrees");
        if (v.range <= 0) tell(key, v, "the range is 0 or below");
        if (options_.mostRange > 0 && v.range > options_.mostRange)
            tell(key, v, fmt::format("the range is above {} km", options_.mostRange));
        if (options_.mostSpeed > 0 && std::fabs(v.rangeRate) > options_.mostSpeed)
            tell(key, v, fmt::format("the range rate is above {} km/s", options_.mostSpeed));
        if (!options_.sensors.empty() && !isKnown(static_cast<std::int32_t>(v.sensor)))
            tell(key, v, fmt::format("sensor {} is not known", v.sensor));
        if (options_.near > 0) checkNear(v, key);
    }

    void checkNear(const Values& v, std::int64_t key) {
        double& latest = latest_.of(v);
        if (v.time < latest || v.time < latestOfAll_ - kKeyDays) isOutOfOrder_ = true;
        latestOfAll_ = std::max(latestOfAll_, v.time);
        if ((v.time - latest) * kSecondsPerDay <= options_.near)
            tell(key, v,
                 fmt::format("another one of the same satellite, sensor and type is within {} seconds", options_.near));
        latest = v.time;
    }

    bool isKnown(std::int32_t sensor) {
        const auto [at, isNew] = known_.try_emplace(sensor, false);
        if (!isNew) return at->second;
        Text512 name;
        double latitude = 0, longitude = 0, height = 0;
        return at->second = FamilyGetSensor(sensor, name.data(), &latitude, &longitude, &height) == 0;
    }

    void tell(std::int64_t key, const Values& v, const std::string& reason) {
        findings_.add("doubtful", reason, [&] {
            return fmt::format("key {}: {} satellite {} sensor {} type {}", key, isoTime(v.time), v.satellite, v.sensor,
                               static_cast<char>(v.type));
        });
    }

    const Options& options_;
    Findings& findings_;
    double firstTime_ = 0, lastTime_ = 0;
    LatestTimes latest_{options_.near / kSecondsPerDay + kKeyDays};
    double latestOfAll_ = -std::numeric_limits<double>::infinity();
    bool isOutOfOrder_ = false;
    std::unordered_map<std::int32_t, bool> known_;
};

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
    if (!session.start()) return session.status();
    const std::vector<LoadResult> files = session.load();
    LineTexts texts;
    for (const LineReport& report : reports) addLine(findings, texts, report);
    SenseChecks(options, findings).run();
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
    app.add_option("--lowest-elevation", options->lowestElevation, "Least elevation")
        ->type_name("DEGREES")
        ->check(CLI::Range(-90.0, 90.0).description(""))
        ->capture_default_str();
    addLimit("--most-range", options->mostRange, "KM", "Greatest range");
    addLimit("--most-speed", options->mostSpeed, "KM/S", "Greatest range rate");
    addLimit("--near", options->near, "SECONDS", "Two of one satellite, sensor and type this near are named");
    app.add_option("--first-year", options->firstYear, "Year before which no observation is")
        ->type_name("YEAR")
        ->check(CLI::Range(1, 9999).description(""))
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
