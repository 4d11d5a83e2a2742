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
#include "cli/Tracks.h"
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
constexpr std::size_t kSatelliteColumn = 0, kSensorColumn = 1, kTypeColumn = 2, kTimeColumn = 3;
constexpr std::array<const char*, kMembers.size() + 1> kColumns = {
    "sat_num",  "sen_num",         "type", "ds50", "elevation", "declination", "azimuth", "right_ascension",
    "range_km", "range_rate_km_s", "key"};

/// Observations with something wrong, which may come in any order: the first ones are those of lowest rank.
class Doubts {
public:
    explicit Doubts(std::size_t limit) : limit_(limit) {}

    /// @param check its number, in the order in which those of an observation are told
    /// @param place makes what shows the observation; called for what may be among the first ones
    template <class Place>
    void add(std::int64_t rank, int check, const std::string& reason, Place&& place) {
        OfReason& all = reasons_[reason];
        ++all.count;
        all.check = check;
        if (limit_ != 0 && all.first.size() == limit_) {
            if (rank >= all.first.back().first) return;
            all.first.pop_back();
        }
        auto at = all.first.end();
        while (at != all.first.begin() && rank < (at - 1)->first) --at;
        all.first.insert(at, {rank, place()});
    }

    /// Goes on as groups, that of the lowest rank first.
    void tell(Findings& findings) const {
        std::vector<const Reasons::value_type*> order;
        for (const auto& one : reasons_) order.push_back(&one);
        const auto lowest = [](const OfReason& one) { return std::pair(one.first.front().first, one.check); };
        std::sort(order.begin(), order.end(),
                  [&](const auto* a, const auto* b) { return lowest(a->second) < lowest(b->second); });
        for (const auto* one : order) {
            Group group{"doubtful", one->first, one->second.count, {}};
            for (const auto& [rank, place] : one->second.first) group.places.push_back(place);
            findings.add(std::move(group));
        }
    }

private:
    struct OfReason {
        std::int64_t count = 0;
        int check = 0;
        std::vector<std::pair<std::int64_t, std::string>> first;  ///< by rank
    };
    using Reasons = std::map<std::string, OfReason>;

    std::size_t limit_;
    Reasons reasons_;
};

/// How observations are gone through. What is told first is that of the lowest key in all but the last of the ways.
enum class Way { asStored, inPieces, byKey, byTime };

/// One look at all observations.
class Look {
public:
    Look(const Options& options, Way way)
        : options_(options),
          way_(way),
          doubts_(options.limit),
          latest_(options.near / kSecondsPerDay + (way == Way::byTime ? 0 : kKeyDays)) {
        using namespace std::chrono;
        const auto day = [](year_month_day date) {
            return static_cast<double>((sys_days{date} - sys_days{year{1950} / January / 1}).count()) + 1;
        };
        firstTime_ = day(year{options.firstYear} / January / 1);
        lastTime_ = day(year_month_day{floor<days>(system_clock::now())}) + 1;
    }

    /// False, and nothing is of use, where this way does not show what is near.
    bool run() {
        constexpr std::int32_t kAscendingKeys = 9, kByTime = -1;
        const std::int32_t order = isAsStored() ? OBS_ORDER_STORED : way_ == Way::byKey ? kAscendingKeys : kByTime;
        if (way_ == Way::inPieces) pieces_.expect(static_cast<std::size_t>(ObsGetCount()));
        ColumnScan scan(order, {kColumns.begin(), kColumns.end()});
        while (scan.next()) {
            for (std::size_t i = 0; i < columns_.size(); ++i) scan.values(i, columns_[i]);
            const std::int64_t* const keys = scan.keys(columns_.size());
            markDoubtful(scan.rows());
            for (std::size_t row = 0; row < scan.rows(); ++row) {
                rank_ = isAsStored() ? keys[row] : rank_ + 1;
                if (doubtful_[row] != 0) check(valuesOf(row), keys[row]);
                if (options_.near > 0 && !checkNear(row, keys[row])) return false;
            }
            if (!pieces_.areLong()) return false;
        }
        const auto suspects = pieces_.suspects();
        return std::all_of(suspects.begin(), suspects.end(),
                           [this](const auto& one) { return lookAt(one.first, one.second); });
    }

    const Doubts& doubts() const { return doubts_; }

private:
    static constexpr double kMore = 1.001;  ///< so that rounding matters nowhere

    bool isAsStored() const { return way_ == Way::asStored || way_ == Way::inPieces; }
    static bool isOut(double value, double least, double most) { return value < least || value > most; }

    Values valuesOf(std::size_t row) const {
        Values v{};
        for (std::size_t i = 0; i < columns_.size(); ++i) v.*kMembers[i] = columns_[i][row];
        return v;
    }

    /// Rows for which a check may fail: without branches, since nearly all pass.
    void markDoubtful(std::size_t rows) {
        doubtful_.assign(rows, 0);
        const auto mark = [&](double Values::*member, double least, double most) {
            const auto at = std::find(kMembers.begin(), kMembers.end(), member) - kMembers.begin();
            const double* const values = columns_[static_cast<std::size_t>(at)].data();
            for (std::size_t i = 0; i < rows; ++i)
                doubtful_[i] |=
                    static_cast<std::uint8_t>(values[i] < least) | static_cast<std::uint8_t>(values[i] > most);
        };
        using Limits = std::numeric_limits<double>;
        const auto limitOf = [](double option) { return option > 0 ? option : Limits::infinity(); };
        mark(&Values::time, firstTime_, lastTime_);
        mark(&Values::elevation, options_.lowestElevation != 0 ? options_.lowestElevation : -90, 90);
        mark(&Values::declination, -90, 90);
        mark(&Values::azimuth, 0, 360);
        mark(&Values::rightAscension, 0, 360);
        mark(&Values::range, Limits::denorm_min(), limitOf(options_.mostRange));
        mark(&Values::rangeRate, -limitOf(options_.mostSpeed), limitOf(options_.mostSpeed));
        if (!options_.sensors.empty())
            for (std::size_t i = 0; i < rows; ++i) doubtful_[i] |= static_cast<std::uint8_t>(!isKnown(valuesOf(i)));
    }

    void check(const Values& v, std::int64_t key) {
        if (isOut(v.time, firstTime_, lastTime_))
            tell(key, v, 0, fmt::format("the time is before {} or in the future", options_.firstYear));
        if (isOut(v.elOrDec(), -90, 90)) tell(key, v, 1, "the elevation or declination is beyond 90 degrees");
        else if (options_.lowestElevation != 0 && v.elevation < options_.lowestElevation)
            tell(key, v, 2, fmt::format("the elevation is below {} degrees", options_.lowestElevation));
        if (isOut(v.azOrRa(), 0, 360)) tell(key, v, 3, "the azimuth or right ascension is not from 0 to 360 degrees");
        if (v.range <= 0) tell(key, v, 4, "the range is 0 or below");
        if (options_.mostRange > 0 && v.range > options_.mostRange)
            tell(key, v, 5, fmt::format("the range is above {} km", options_.mostRange));
        if (options_.mostSpeed > 0 && std::fabs(v.rangeRate) > options_.mostSpeed)
            tell(key, v, 6, fmt::format("the range rate is above {} km/s", options_.mostSpeed));
        if (!options_.sensors.empty() && !isKnown(v)) tell(key, v, 7, fmt::format("sensor {} is not known", v.sensor));
    }

    /// False where the observations are in no order of time, or where that by key would show others.
    bool checkNear(std::size_t row, std::int64_t key) {
        const Track track = trackOf(row);
        const Moment now{columns_[kTimeColumn][row], key};
        if (isAsStored() && !hasTimeOfKey(now)) return false;
        if (way_ == Way::inPieces) {
            pieces_.add(track, now);
            return true;
        }
        Moment& latest = latest_.of(track, now.time);
        if (way_ == Way::asStored && key <= latest.key) return false;
        if (way_ != Way::byTime && (now.time < latest.time || now.time < latestOfAll_ - kKeyDays)) return false;
        latestOfAll_ = std::max(latestOfAll_, now.time);
        if (areNear(latest, now)) tellNear(track, now);
        latest = now;
        return true;
    }

    Track trackOf(std::size_t row) const {
        const auto number = [&](std::size_t column) { return static_cast<std::int32_t>(columns_[column][row]); };
        return {number(kSatelliteColumn), number(kSensorColumn), number(kTypeColumn)};
    }

    bool areNear(const Moment& one, const Moment& next) const {
        return (next.time - one.time) * kSecondsPerDay <= options_.near;
    }

    void tellNear(const Track& track, const Moment& now) {
        Values v{};
        v.satellite = track.satellite;
        v.sensor = track.sensor;
        v.type = track.type;
        v.time = now.time;
        tell(now.key, v, 8,
             fmt::format("another one of the same satellite, sensor and type is within {} seconds", options_.near));
    }

    /// Goes through a track by its keys; as `run`.
    bool lookAt(const Track& track, std::vector<Moment> moments) {
        std::sort(moments.begin(), moments.end(), [](const Moment& a, const Moment& b) { return a.key < b.key; });
        for (std::size_t i = 1; i < moments.size(); ++i) {
            if (moments[i].time < moments[i - 1].time) return false;
            rank_ = moments[i].key;
            if (areNear(moments[i - 1], moments[i])) tellNear(track, moments[i]);
        }
        return true;
    }

    /// Whether keys tell the times but for their tenth of a second, as they do within a year.
    bool hasTimeOfKey(const Moment& now) {
        constexpr std::int64_t kUnit = 10'000'000'000;
        constexpr double kTenthsPerDay = 864000, kMostApart = 0.15 / kSecondsPerDay;
        const std::int64_t tenths = now.key / kUnit;
        const double apart = now.time - static_cast<double>(tenths) / kTenthsPerDay;
        leastApart_ = std::min(leastApart_, apart);
        mostApart_ = std::max(mostApart_, apart);
        return mostApart_ - leastApart_ <= kMostApart;
    }

    bool isKnown(const Values& v) {
        const auto sensor = static_cast<std::int32_t>(v.sensor);
        const auto [at, isNew] = known_.try_emplace(sensor, false);
        if (!isNew) return at->second;
        Text512 name;
        double latitude = 0, longitude = 0, height = 0;
        return at->second = FamilyGetSensor(sensor, name.data(), &latitude, &longitude, &height) == 0;
    }

    /// @param number of the check, in the order of those of an observation
    void tell(std::int64_t key, const Values& v, int number, const std::string& reason) {
        doubts_.add(rank_, number, reason, [&] {
            return fmt::format("key {}: {} satellite {} sensor {} type {}", key, isoTime(v.time), v.satellite, v.sensor,
                               static_cast<char>(v.type));
        });
    }

    const Options& options_;
    Way way_;
    Doubts doubts_;
    double firstTime_ = 0, lastTime_ = 0;
    std::array<std::vector<double>, kMembers.size()> columns_;  ///< of a block of rows
    std::vector<std::uint8_t> doubtful_;
    std::int64_t rank_ = 0;
    LatestMoments latest_;
    Pieces pieces_{kMore * options_.near / kSecondsPerDay, std::max(kMore* options_.near / kSecondsPerDay, kKeyDays)};
    double latestOfAll_ = -std::numeric_limits<double>::infinity();
    double leastApart_ = std::numeric_limits<double>::infinity(), mostApart_ = -leastApart_;
    std::unordered_map<std::int32_t, bool> known_;
};

/// Within a year keys have the order of times, but for a tenth of a second. A deck mostly has it, too, or goes track
/// after track, so that nothing has to be sorted.
void checkSense(const Options& options, Findings& findings) {
    for (const Way way : {Way::asStored, Way::inPieces, Way::byKey, Way::byTime}) {
        Look look(options, way);
        if (!look.run()) continue;
        look.doubts().tell(findings);
        return;
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
    if (!session.start()) return session.status();
    const std::vector<LoadResult> files = session.load();
    LineTexts texts;
    for (const LineReport& report : reports) addLine(findings, texts, report);
    checkSense(options, findings);
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
