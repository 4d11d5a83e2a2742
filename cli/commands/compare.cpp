// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <span>
#include <tuple>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Configuration.h"
#include "cli/Observations.h"
#include "cli/OptionTree.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
Finds for each observation of the first file that of the second with the same satellite, sensor
and type at the same time, within --time seconds, and compares their fields. --tolerance sets
how far a field may differ, by the names of 'obstool help columns': elevation=0.0001,range_km=0.01;
all others must be equal. With "fields=X" all others may differ by X. --select applies to each
file by itself. Exit status 0 when nothing differs, 1 when something does.)";

constexpr double kSecondsPerDay = 86400;

struct Options : CommonOptions {
    std::string left, right;
    double timeSeconds = 0.001;
    std::string tolerance;
    std::size_t limit = 10;
    bool json = false;
};

/// What a deck holds, column by column; it outlives the store.
struct Deck {
    std::vector<std::int64_t> keys;
    std::vector<std::vector<double>> fields;  ///< of `compared`, in their order

    std::size_t size() const { return keys.size(); }
};

/// The columns of fields, with how far each may differ.
struct Compared {
    std::vector<const Column*> columns;
    std::vector<double> tolerances;
    std::vector<bool> isCircle;                                 ///< columns of degrees in which 360 is 0
    std::size_t satellite = 0, sensor = 0, type = 0, time = 0;  ///< places of the columns that make a pair
};

bool setTolerances(Compared& compared, std::string_view text, std::string& problem) {
    while (!text.empty()) {
        const std::string_view one = text.substr(0, text.find(','));
        text.remove_prefix(std::min(one.size() + 1, text.size()));
        const std::size_t equal = std::min(one.find('='), one.size());
        const std::string_view name = one.substr(0, equal), number = one.substr(std::min(equal + 1, one.size()));
        double tolerance = 0;
        const auto [stop, error] = std::from_chars(number.data(), number.data() + number.size(), tolerance);
        bool isKnown = false;
        for (std::size_t i = 0; i < compared.columns.size(); ++i) {
            if (name != "fields" && name != compared.columns[i]->name) continue;
            if (name != "fields" || compared.tolerances[i] == 0) compared.tolerances[i] = tolerance;
            isKnown = true;
        }
        if (isKnown && error == std::errc() && stop == number.data() + number.size() && tolerance >= 0) continue;
        problem = isKnown ? fmt::format("'{}' is not a number of 0 or more", number)
                          : fmt::format("there is no field '{}' ('obstool help columns')", name);
        return false;
    }
    return true;
}

Compared comparedOf(const Options& options, std::string& problem) {
    Compared compared;
    for (const Column& column : allColumns())
        if (column.source == Column::Source::field) compared.columns.push_back(&column);
    compared.tolerances.resize(compared.columns.size(), 0);
    for (const Column* column : compared.columns)
        compared.isCircle.push_back(column->name == "azimuth" || column->name == "right_ascension");
    const auto at = [&](std::string_view name) {
        return static_cast<std::size_t>(std::find(compared.columns.begin(), compared.columns.end(), findColumn(name)) -
                                        compared.columns.begin());
    };
    compared.satellite = at("sat_num");
    compared.sensor = at("sen_num");
    compared.type = at("type");
    compared.time = at("ds50");
    if (setTolerances(compared, options.tolerance, problem))
        compared.tolerances[compared.time] = options.timeSeconds / kSecondsPerDay;
    return compared;
}

Deck takeDeck(const Compared& compared) {
    constexpr std::int32_t kSatelliteSensorTime = -10;
    Deck deck;
    deck.keys = storedKeys(kSatelliteSensorTime);
    for (const Column* column : compared.columns) {
        Rows rows;
        rows.begin(deck.keys);
        const std::vector<double>& values = rows.field(column->number);
        // A column that no observation has takes no room.
        const bool isEmpty = std::all_of(values.begin(), values.end(), [](double value) { return std::isnan(value); });
        deck.fields.push_back(isEmpty ? std::vector<double>() : values);
    }
    return deck;
}

double valueAt(const Deck& deck, std::size_t field, std::size_t row) {
    return deck.fields[field].empty() ? std::numeric_limits<double>::quiet_NaN() : deck.fields[field][row];
}

struct FieldDifference {
    std::int64_t count = 0;
    double largest = 0;
};

struct Result {
    std::size_t pairs = 0;
    std::vector<std::size_t> onlyLeft, onlyRight;
    struct Pair {
        std::size_t left, right;
    };
    std::vector<Pair> differing;
    std::vector<FieldDifference> fields;             ///< by column
    std::vector<std::vector<std::size_t>> fieldsOf;  ///< of each pair in `differing`
};

std::vector<std::size_t> differencesOf(const Deck& left, std::size_t l, const Deck& right, std::size_t r,
                                       const Compared& compared, Result& result) {
    std::vector<std::size_t> found;
    for (std::size_t i = 0; i < compared.columns.size(); ++i) {
        const double a = valueAt(left, i, l), b = valueAt(right, i, r);
        if (a == b || (std::isnan(a) && std::isnan(b))) continue;
        double difference = std::fabs(a - b);
        if (compared.isCircle[i]) difference = std::min(difference, std::fabs(360.0 - difference));
        if (difference <= compared.tolerances[i]) continue;
        ++result.fields[i].count;
        if (std::isfinite(difference)) result.fields[i].largest = std::max(result.fields[i].largest, difference);
        found.push_back(i);
    }
    return found;
}

/// Both decks are in the order of satellite, sensor and time; those of the same moment are told apart by their type.
Result compare(const Deck& left, const Deck& right, const Compared& compared) {
    Result result;
    result.fields.resize(compared.columns.size());
    const double tolerance = compared.tolerances[compared.time];
    std::vector<bool> isTaken(right.size(), false);
    const auto pairOf = [&](const Deck& deck, std::size_t row) {
        return std::tuple(valueAt(deck, compared.satellite, row), valueAt(deck, compared.sensor, row));
    };
    std::size_t from = 0;
    for (std::size_t l = 0; l < left.size(); ++l) {
        const auto pair = pairOf(left, l);
        const double time = valueAt(left, compared.time, l);
        const auto isBefore = [&](std::size_t r) {
            const auto other = pairOf(right, r);
            return other < pair || (other == pair && valueAt(right, compared.time, r) < time - tolerance);
        };
        while (from < right.size() && isBefore(from)) ++from;
        std::size_t best = right.size();
        std::vector<std::size_t> fewest;
        for (std::size_t r = from;
             r < right.size() && pairOf(right, r) == pair && valueAt(right, compared.time, r) <= time + tolerance;
             ++r) {
            if (isTaken[r] || valueAt(left, compared.type, l) != valueAt(right, compared.type, r)) continue;
            Result ignored;
            ignored.fields.resize(compared.columns.size());
            auto differences = differencesOf(left, l, right, r, compared, ignored);
            if (best != right.size() && differences.size() >= fewest.size()) continue;
            best = r;
            fewest = std::move(differences);
            if (fewest.empty()) break;
        }
        if (best == right.size()) {
            result.onlyLeft.push_back(l);
            continue;
        }
        isTaken[best] = true;
        ++result.pairs;
        if (fewest.empty()) continue;
        differencesOf(left, l, right, best, compared, result);
        result.differing.push_back({l, best});
        result.fieldsOf.push_back(std::move(fewest));
    }
    for (std::size_t r = 0; r < right.size(); ++r)
        if (!isTaken[r]) result.onlyRight.push_back(r);
    return result;
}

// --- What is told --------------------------------------------------------------------------------

std::string shownValue(double value, const Column& column) {
    if (std::isnan(value)) return "-";
    return column.form == Form::character ? printable(std::string(1, static_cast<char>(value)))
                                          : fmt::format("{}", value);
}

std::string shownObservation(const Deck& deck, std::size_t row, const Compared& compared) {
    return fmt::format("{} satellite {} sensor {} type {} (key {})", isoTime(valueAt(deck, compared.time, row)),
                       valueAt(deck, compared.satellite, row), valueAt(deck, compared.sensor, row),
                       shownValue(valueAt(deck, compared.type, row), *compared.columns[compared.type]), deck.keys[row]);
}

void printOnly(Output& out, const char* title, const std::string& file, const Deck& deck,
               const std::vector<std::size_t>& rows, const Compared& compared, std::size_t limit) {
    if (rows.empty()) return;
    out.print("\n{} {}\n", title, printable(file));
    const std::size_t shown = limit == 0 ? rows.size() : std::min(limit, rows.size());
    for (std::size_t i = 0; i < shown; ++i) out.print("  {}\n", shownObservation(deck, rows[i], compared));
    if (shown < rows.size()) out.print("  and {} more (--limit 0 shows all)\n", rows.size() - shown);
}

void printText(Output& out, const Options& options, const Deck& left, const Deck& right, const Compared& compared,
               const Result& result) {
    out.print("{:<24} {:>12}\n", "observations", "number");
    out.print("{:<24} {:>12}\n", "in both, equal", result.pairs - result.differing.size());
    out.print("{:<24} {:>12}\n", "in both, differing", result.differing.size());
    out.print("{:<24} {:>12}\n", "in the first only", result.onlyLeft.size());
    out.print("{:<24} {:>12}\n", "in the second only", result.onlyRight.size());
    if (!result.differing.empty()) {
        out.print("\n{:<24} {:>12} {:>20}  {}\n", "field", "differing", "largest difference", "unit");
        for (std::size_t i = 0; i < result.fields.size(); ++i)
            if (result.fields[i].count > 0)
                out.print("{:<24} {:>12} {:>20.6g}  {}\n", compared.columns[i]->name, result.fields[i].count,
                          result.fields[i].largest, compared.columns[i]->unit);
        out.print("\ndiffering\n");
        const std::size_t shown =
            options.limit == 0 ? result.differing.size() : std::min(options.limit, result.differing.size());
        for (std::size_t i = 0; i < shown; ++i) {
            const auto [l, r] = result.differing[i];
            out.print("  {}\n", shownObservation(left, l, compared));
            for (const std::size_t field : result.fieldsOf[i])
                out.print("    {:<22} {:>22} {:>22}\n", compared.columns[field]->name,
                          shownValue(valueAt(left, field, l), *compared.columns[field]),
                          shownValue(valueAt(right, field, r), *compared.columns[field]));
        }
        if (shown < result.differing.size())
            out.print("  and {} more (--limit 0 shows all)\n", result.differing.size() - shown);
    }
    printOnly(out, "only in", options.left, left, result.onlyLeft, compared, options.limit);
    printOnly(out, "only in", options.right, right, result.onlyRight, compared, options.limit);
}

void printJson(Output& out, const Options& options, const Deck& left, const Deck& right, const Compared& compared,
               const Result& result) {
    const auto keys = [&](const Deck& deck, const std::vector<std::size_t>& rows) {
        std::string text;
        for (const std::size_t row : rows) text += fmt::format("{}{}", text.empty() ? "" : ", ", deck.keys[row]);
        return text;
    };
    const auto number = [](double value) { return std::isfinite(value) ? fmt::format("{}", value) : "null"; };
    out.print("{{\n  \"first\": {},\n  \"second\": {},\n  \"equal\": {},\n  \"differing\": [", jsonString(options.left),
              jsonString(options.right), result.pairs - result.differing.size());
    for (std::size_t i = 0; i < result.differing.size(); ++i) {
        const auto [l, r] = result.differing[i];
        out.print("{}\n    {{\"first_key\": {}, \"second_key\": {}, \"fields\": {{", i == 0 ? "" : ",", left.keys[l],
                  right.keys[r]);
        for (const std::size_t field : result.fieldsOf[i])
            out.print("{}{}: [{}, {}]", field == result.fieldsOf[i].front() ? "" : ", ",
                      jsonString(compared.columns[field]->name), number(valueAt(left, field, l)),
                      number(valueAt(right, field, r)));
        out.print("}}}}");
    }
    out.print("{}],\n  \"first_only\": [{}],\n  \"second_only\": [{}],\n  ", result.differing.empty() ? "" : "\n  ",
              keys(left, result.onlyLeft), keys(right, result.onlyRight));
    printJsonConfiguration(out);
    out.print("\n}}\n");
}

/// Loads one file by itself. Nothing when it fails.
Deck load(const Options& options, const std::string& file, const Compared& compared, ExitStatus& status) {
    Options one = options;
    static_cast<FileArguments&>(one) = expandFiles({file});
    Session session(one, complainOfLine);
    if (session.start()) session.load();
    status = std::max(status, session.status());
    Deck deck = takeDeck(compared);
    ObsRemoveAll();
    return deck;
}

ExitStatus run(const Options& options, Output& out) {
    std::string problem;
    const Compared compared = comparedOf(options, problem);
    if (!problem.empty()) {
        complain("--tolerance", problem);
        return ExitStatus::failure;
    }
    if (options.left == "-" && options.right == "-") {
        complain("-", "standard input can be only one of the two");
        return ExitStatus::failure;
    }
    ExitStatus status = ExitStatus::allGood;
    const Deck left = load(options, options.left, compared, status);
    if (status == ExitStatus::failure) return status;
    const Deck right = load(options, options.right, compared, status);
    if (status == ExitStatus::failure) return status;
    const Result result = compare(left, right, compared);
    if (options.json) printJson(out, options, left, right, compared, result);
    else printText(out, options, left, right, compared, result);
    const bool isSame = result.differing.empty() && result.onlyLeft.empty() && result.onlyRight.empty();
    return isSame ? status : std::max(status, ExitStatus::badLines);
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    ofFile(app.add_option("FIRST", options->left, "File to compare; - is standard input"))->type_name("")->required();
    ofFile(app.add_option("SECOND", options->right, "File to compare it with"))->type_name("")->required();
    app.add_option("--time", options->timeSeconds, "Seconds that the times of one observation may differ")
        ->type_name("SECONDS")
        ->check(isMeasure())
        ->capture_default_str();
    app.add_option("--tolerance", options->tolerance, "How far fields may differ, for example range_km=0.01")
        ->type_name("NAME=VALUE,...");
    app.add_option("-n,--limit", options->limit, "Show the first N of each list; 0 shows all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    app.add_flag("-j,--json", options->json, "Write one JSON object instead of tables");
    app.add_option("-s,--select", options->select, "Only what meets the criteria")->type_name("CRITERIA");
    addLoadOptions(app, *options);
    return runWith(std::move(options), run);
}

}  // namespace

Command commandCompare() { return {"compare", "Tell what differs between two files", kFooter, add}; }

}  // namespace obstool
