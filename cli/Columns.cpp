// SPDX-License-Identifier: Apache-2.0
#include "Columns.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <stdexcept>
#include <utility>

#include "ColumnScan.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Input.h"
#include "Nearest.h"
#include "Text.h"

namespace obstool {

namespace {

constexpr std::size_t kStates = 64;
constexpr double kMjdOfDs50 = 33281;  // ds50 1.0 is MJD 33282

using Source = Column::Source;

// --- The list ------------------------------------------------------------------------------------

/// How a field looks in a table, where that is not what its form says.
struct Look {
    std::string_view name;
    int width, decimals;
};
constexpr Look kLooks[] = {
    {"sat_num", 9, 0},          {"sen_num", 6, 0},      {"ds50", 18, 10},
    {"elevation", 13, 6},       {"declination", 13, 6}, {"azimuth", 13, 6},
    {"right_ascension", 13, 6}, {"range_km", 15, 5},    {"range_rate_km_s", 15, 5},
};

Column fieldOf(std::int32_t number, const std::string& name, const std::string& unit, std::int32_t form) {
    Column column{name, unit, {}, Source::field, Form::real, number};
    if (form == OBS_COLUMN_INTEGER) column.form = Form::integer;
    if (form == OBS_COLUMN_CHARACTER) column.form = Form::character;
    column.width = form == OBS_COLUMN_CHARACTER ? 4 : form == OBS_COLUMN_INTEGER ? 9 : 15;
    column.decimals = form == OBS_COLUMN_REAL ? 6 : 0;
    for (const Look& look : kLooks) {
        if (look.name != name) continue;
        column.width = look.width;
        column.decimals = look.decimals;
    }
    return column;
}

/// A row of the states array.
struct StateRow {
    std::int32_t first;
    int bit;
    std::array<const char*, 3> names;  ///< null: the row has fewer
    std::array<const char*, 3> units;
    int decimals;
    const char* meaning;
};
constexpr const char* kKm = "km";
constexpr const char* kKmS = "km/s";
constexpr const char* kDegrees = "degrees";
constexpr StateRow kStateRows[] = {
    {OBS_STATES_SAT_POS, 1, {"teme_x", "teme_y", "teme_z"}, {kKm, kKm, kKm}, 5, "satellite, of date (TEME)"},
    {OBS_STATES_SAT_VEL, 2, {"teme_vx", "teme_vy", "teme_vz"}, {kKmS, kKmS, kKmS}, 8, "satellite, of date (TEME)"},
    {OBS_STATES_SAT_POS_J2000, 3, {"j2000_x", "j2000_y", "j2000_z"}, {kKm, kKm, kKm}, 5, "satellite, J2000"},
    {OBS_STATES_SAT_VEL_J2000, 4, {"j2000_vx", "j2000_vy", "j2000_vz"}, {kKmS, kKmS, kKmS}, 8, "satellite, J2000"},
    {OBS_STATES_SEN_POS,
     5,
     {"sensor_teme_x", "sensor_teme_y", "sensor_teme_z"},
     {kKm, kKm, kKm},
     5,
     "sensor, of date (TEME)"},
    {OBS_STATES_SEN_VEL,
     6,
     {"sensor_teme_vx", "sensor_teme_vy", "sensor_teme_vz"},
     {kKmS, kKmS, kKmS},
     8,
     "sensor, of date (TEME)"},
    {OBS_STATES_SAT_LAT_LON_HEIGHT,
     7,
     {"sat_latitude", "sat_longitude", "sat_height"},
     {kDegrees, kDegrees, kKm},
     5,
     "satellite above WGS84"},
    {OBS_STATES_SEN_LAT_LON_HEIGHT,
     8,
     {"sensor_latitude", "sensor_longitude", "sensor_height"},
     {kDegrees, kDegrees, kKm},
     5,
     "sensor on WGS84"},
    {OBS_STATES_AZ_EL,
     9,
     {"topo_azimuth", "topo_elevation", nullptr},
     {kDegrees, kDegrees, nullptr},
     6,
     "as the sensor sees it"},
    {OBS_STATES_RANGE, 10, {"topo_range", nullptr, nullptr}, {kKm, nullptr, nullptr}, 5, "as the sensor sees it"},
    {OBS_STATES_RANGE_RATE,
     11,
     {"topo_range_rate", nullptr, nullptr},
     {kKmS, nullptr, nullptr},
     8,
     "as the sensor sees it"},
    {OBS_STATES_RA_DEC,
     12,
     {"topo_right_ascension", "topo_declination", nullptr},
     {kDegrees, kDegrees, nullptr},
     6,
     "as the sensor sees it, of date"},
};

void addStates(std::vector<Column>& columns) {
    for (const StateRow& row : kStateRows)
        for (std::size_t i = 0; i < row.names.size() && row.names[i] != nullptr; ++i)
            columns.push_back({row.names[i], row.units[i], row.meaning, Source::state, Form::real,
                               row.first + static_cast<std::int32_t>(i), 0, row.bit, 15, row.decimals});
}

std::vector<Column> makeColumns() {
    std::vector<Column> columns{{"key", {}, "key", Source::key, Form::integer, 0, 0, 0, 19}};
    std::int32_t facts[4] = {1, 0, 0, 0};
    for (std::int32_t number = 0; number < facts[OBS_COLUMN_COUNT]; ++number) {
        Text512 name, unit;
        ObsGetColumnInfo(number, name.data(), unit.data(), facts);
        columns.push_back(fieldOf(number, name.str(), unit.str(), facts[OBS_COLUMN_FORM]));
    }
    const auto numberOf = [&](std::string_view name) {
        return std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; })->number;
    };
    const std::int32_t time = numberOf("ds50");
    const auto addTime = [&](const char* name, const char* unit, const char* meaning, Source source, Form form,
                             int width, int decimals) {
        columns.push_back({name, unit, meaning, source, form, time, 0, 0, width, decimals, form == Form::text});
    };
    addTime("time", "UTC", "calendar, to the millisecond", Source::isoTime, Form::text, 24, 0);
    addTime("doy_time", "UTC", "with the day of the year", Source::dayOfYearTime, Form::text, 22, 0);
    addTime("date", "UTC", "calendar", Source::date, Form::text, 10, 0);
    addTime("year", "UTC", "", Source::year, Form::integer, 4, 0);
    addTime("day_of_year", "days", "1.0 is January 1, 00:00 UTC", Source::dayOfYear, Form::real, 14, 9);
    addTime("mjd", "days", "modified Julian date, UTC", Source::modifiedJulian, Form::real, 16, 9);
    columns.push_back({"el_or_dec", kDegrees, "elevation or declination", Source::angle, Form::real,
                       numberOf("elevation"), numberOf("declination"), 0, 13, 6});
    columns.push_back({"az_or_ra", kDegrees, "azimuth or right ascension", Source::angle, Form::real,
                       numberOf("azimuth"), numberOf("right_ascension"), 0, 13, 6});
    addStates(columns);
    columns.push_back({"group", "", "number of the FILE, from 1", Source::group, Form::integer, 0, 0, 0, 5});
    columns.push_back({"file", "", "from which it was loaded", Source::originFile, Form::text, 0, 0, 0, 12, 0, true});
    columns.push_back({"line", "", "of that file", Source::originLine, Form::integer, 0, 0, 0, 8});
    return columns;
}

// --- Numbers -------------------------------------------------------------------------------------

/// The digits of a number that fits, from the left; as many places as it needs.
void appendDigits(std::uint64_t number, fmt::memory_buffer& out) {
    const fmt::format_int digits(number);
    out.append(digits.data(), digits.data() + digits.size());
}

void appendPadded(unsigned number, int places, fmt::memory_buffer& out) {
    char digits[10];
    for (int i = places; i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
    out.append(digits, digits + places);
}

void appendClock(const UtcTime& t, fmt::memory_buffer& out) {
    out.push_back('T');
    appendPadded(static_cast<unsigned>(t.hour), 2, out);
    out.push_back(':');
    appendPadded(static_cast<unsigned>(t.minute), 2, out);
    out.push_back(':');
    appendPadded(static_cast<unsigned>(t.second), 2, out);
    out.push_back('.');
    appendPadded(static_cast<unsigned>(t.millisecond), 3, out);
    out.push_back('Z');
}

/// The calendar time of a year with four digits, as `appendTime`; dates are made once for all that share them.
bool appendQuickly(double ds50, fmt::memory_buffer& out) {
    constexpr double kFrom = 2, kBefore = 100000, kMillisecondsPerDay = 86'400'000.0;  // of the years 1950 to 2223
    constexpr std::size_t kDates = 1024;
    struct Date {
        std::int64_t day = -1;
        char text[10];
    };
    static std::array<Date, kDates> dates;
    if (!(ds50 >= kFrom && ds50 < kBefore)) return false;
    const std::int64_t milliseconds = std::llround((ds50 - 1.0) * kMillisecondsPerDay);
    const std::int64_t day = milliseconds / static_cast<std::int64_t>(kMillisecondsPerDay);
    Date& date = dates[static_cast<std::size_t>(day) % kDates];
    if (date.day != day) {
        const auto t = splitTime(ds50);
        fmt::format_to_n(date.text, sizeof date.text, "{:04}-{:02}-{:02}", t->year, t->month, t->day);
        date.day = day;
    }
    auto rest = static_cast<unsigned>(milliseconds % static_cast<std::int64_t>(kMillisecondsPerDay));
    char text[] = "2024-01-01T00:00:00.000Z";
    std::copy_n(date.text, sizeof date.text, text);
    const auto put = [&](std::size_t place, std::size_t digits, unsigned unit) {
        for (unsigned number = rest / unit; digits-- > 0; number /= 10)
            text[place + digits] = static_cast<char>('0' + number % 10);
        rest %= unit;
    };
    put(11, 2, 3'600'000);
    put(14, 2, 60'000);
    put(17, 2, 1000);
    put(20, 3, 1);
    out.append(text, text + sizeof text - 1);
    return true;
}

bool appendTime(Source source, double ds50, fmt::memory_buffer& out) {
    if (source == Source::isoTime && appendQuickly(ds50, out)) return true;
    const auto t = splitTime(ds50);
    if (!t) return false;
    appendPadded(static_cast<unsigned>(t->year), 4, out);
    out.push_back('-');
    if (source == Source::dayOfYearTime) {
        appendPadded(static_cast<unsigned>(t->dayOfYear), 3, out);
    } else {
        appendPadded(static_cast<unsigned>(t->month), 2, out);
        out.push_back('-');
        appendPadded(static_cast<unsigned>(t->day), 2, out);
    }
    if (source != Source::date) appendClock(*t, out);
    return true;
}

/// With as many digits as bring it back.
void appendExact(double value, fmt::memory_buffer& out) { fmt::format_to(std::back_inserter(out), "{}", value); }

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// Days from the beginning of the year, which are counted from 1, with the time of the day.
double dayOfYearOf(double ds50) {
    const auto t = splitTime(std::floor(ds50));
    return t ? t->dayOfYear + (ds50 - std::floor(ds50)) : kNone;
}

}  // namespace

// --- Rows ----------------------------------------------------------------------------------------

namespace {

/// The column of a field, which the list begins with, after the key.
const Column& fieldOfNumber(std::int32_t number) { return allColumns().at(static_cast<std::size_t>(number) + 1); }

}  // namespace

Rows::Rows(const std::vector<Column>& columns) {
    const auto want = [&](std::int32_t column) {
        if (std::find(wanted_.begin(), wanted_.end(), column) == wanted_.end()) wanted_.push_back(column);
    };
    for (const Column& column : columns) {
        if (column.source == Source::key || column.source == Source::state || column.source == Source::group ||
            column.isOrigin())
            continue;
        want(column.number);
        if (column.source == Source::angle) want(column.second);
    }
}

void Rows::begin(std::span<const std::int64_t> keys) {
    keys_ = keys;
    for (auto& field : fields_) field.clear();
    states_.clear();
    origins_.clear();
    groups_.clear();
    if (!wanted_.empty() && !keys.empty()) askWanted();
}

void Rows::askWanted() {
    std::vector<const char*> names;
    for (const std::int32_t column : wanted_) names.push_back(fieldOfNumber(column).name.c_str());
    ColumnScan scan(keys_, std::move(names));
    scan.next();
    for (std::size_t i = 0; i < wanted_.size(); ++i) {
        const auto at = static_cast<std::size_t>(wanted_[i]);
        if (fields_.size() <= at) fields_.resize(at + 1);
        scan.values(i, fields_[at]);
    }
}

const std::vector<double>& Rows::field(std::int32_t column) {
    const auto at = static_cast<std::size_t>(column);
    if (fields_.size() <= at) fields_.resize(at + 1);
    if (std::vector<double>& values = fields_[at]; values.size() != keys_.size()) {
        values.resize(keys_.size());
        if (ObsGetColumnReals(static_cast<std::int32_t>(keys_.size()), keys_.data(), column, values.data()) != 0)
            throw std::runtime_error(lastError());
    }
    return fields_[at];
}

const std::pair<std::string, std::int64_t>& Rows::origin(std::size_t row) {
    for (std::size_t i = origins_.size(); i < keys_.size(); ++i) {
        Text512 file;
        auto& [name, line] = origins_.emplace_back();
        if (ObsGetOrigin(keys_[i], file.data(), &line) != 0) continue;
        name = file.str();
        if (name == standardInputFile()) name.assign(1, '-');
    }
    return origins_[row];
}

const std::vector<double>& Rows::groups() {
    if (groups_.size() != keys_.size()) {
        ColumnScan scan(keys_, {"group"});
        scan.next();
        scan.values(0, groups_);
    }
    return groups_;
}

const std::vector<double>& Rows::states() {
    constexpr double kItsOwnTime = 0;
    if (states_.size() != kStates * keys_.size()) {
        states_.assign(kStates * keys_.size(), 0);
        for (std::size_t i = 0; i < keys_.size(); ++i) ObsGetStates(keys_[i], &states_[kStates * i], kItsOwnTime);
    }
    return states_;
}

// --- Columns -------------------------------------------------------------------------------------

double Column::value(Rows& rows, std::size_t row) const {
    switch (source) {
        case Source::key: return static_cast<double>(rows.keys()[row]);
        case Source::group: return rows.groups()[row];
        case Source::originFile: return kNone;
        case Source::originLine:
            return rows.origin(row).second > 0 ? static_cast<double>(rows.origin(row).second) : kNone;
        case Source::angle: {
            const double first = rows.field(number)[row];
            return std::isnan(first) ? rows.field(second)[row] : first;
        }
        case Source::state: {
            const double* const states = &rows.states()[kStates * row];
            const auto mask = static_cast<std::int64_t>(states[OBS_STATES_MASK]);
            return (mask >> bit & 1) != 0 ? states[number] : kNone;
        }
        case Source::year: {
            const auto t = splitTime(rows.field(number)[row]);
            return t ? t->year : kNone;
        }
        case Source::dayOfYear: return dayOfYearOf(rows.field(number)[row]);
        case Source::modifiedJulian: return rows.field(number)[row] + kMjdOfDs50;
        default: return rows.field(number)[row];
    }
}

bool Column::append(Rows& rows, std::size_t row, bool forTable, fmt::memory_buffer& out) const {
    if (source == Source::key) {
        appendDigits(static_cast<std::uint64_t>(rows.keys()[row]), out);
        return true;
    }
    if (source == Source::originFile) {
        const std::string& file = rows.origin(row).first;
        const std::string safe = forTable ? printable(file) : file;
        out.append(safe.data(), safe.data() + safe.size());
        return !file.empty();
    }
    if (form == Form::text) return appendTime(source, rows.field(number)[row], out);
    const double of = value(rows, row);
    if (std::isnan(of)) return false;
    switch (form) {
        case Form::integer: {
            const auto whole = static_cast<std::int64_t>(of);
            if (whole < 0) out.push_back('-');
            appendDigits(static_cast<std::uint64_t>(whole < 0 ? -whole : whole), out);
            return true;
        }
        case Form::character: {
            const char c = static_cast<char>(static_cast<unsigned char>(of));
            if (c == ' ' || c == '\0') return false;
            const std::string safe = printable({&c, 1});
            out.append(safe.data(), safe.data() + safe.size());
            return true;
        }
        default:
            if (forTable) appendFixed(of, static_cast<std::size_t>(decimals), 0, out);
            else appendExact(of, out);
            return true;
    }
}

const std::vector<Column>& allColumns() {
    static const std::vector<Column> all = makeColumns();
    return all;
}

const Column* findColumn(std::string_view name) {
    const auto& all = allColumns();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Column& c) { return c.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::int32_t fieldColumn(std::string_view name) {
    const Column* const column = findColumn(name);
    if (column == nullptr) throw std::logic_error("the library has no column of a name");
    return column->number;
}

std::optional<std::vector<Column>> columnsOf(std::string_view names, std::string& problem) {
    if (names.empty()) {
        problem = "no column is named";
        return std::nullopt;
    }
    std::vector<Column> columns;
    while (true) {
        const std::size_t comma = std::min(names.find(','), names.size());
        const std::string_view name = names.substr(0, comma);
        const Column* const column = findColumn(name);
        if (column == nullptr) {
            std::vector<std::string> all;
            for (const Column& one : allColumns()) all.push_back(one.name);
            problem = fmt::format("there is no column '{}' ('obstool help columns' lists them){}", printable(name),
                                  didYouMean(name, all));
            return std::nullopt;
        }
        const auto isSame = [&](const Column& one) { return one.name == name; };
        if (std::any_of(columns.begin(), columns.end(), isSame)) {
            problem = fmt::format("column '{}' is named twice", printable(name));
            return std::nullopt;
        }
        columns.push_back(*column);
        if (comma == names.size()) return columns;
        names.remove_prefix(comma + 1);
    }
}

void appendIsoTime(double ds50, fmt::memory_buffer& out) {
    if (!appendTime(Source::isoTime, ds50, out)) out.push_back('-');
}

void padTo(std::size_t width, bool isLeft, std::size_t start, fmt::memory_buffer& out) {
    const std::size_t length = out.size() - start;
    if (length >= width) return;
    out.resize(start + width);
    char* const text = out.data() + start;
    if (!isLeft) std::memmove(text + (width - length), text, length);
    std::memset(isLeft ? text + length : text, ' ', width - length);
}

namespace {

/// Room for a text at the right of a width, or beyond it; blanks stand before it.
char* roomAtRight(std::size_t length, std::size_t width, fmt::memory_buffer& out) {
    const std::size_t start = out.size(), blanks = width > length ? width - length : 0;
    out.resize(start + blanks + length);
    return std::fill_n(out.data() + start, blanks, ' ');
}

}  // namespace

void appendWhole(std::int64_t value, std::size_t width, fmt::memory_buffer& out) {
    const fmt::format_int digits(value);
    std::copy_n(digits.data(), digits.size(), roomAtRight(digits.size(), width, out));
}

void appendFixed(double value, std::size_t decimals, std::size_t width, fmt::memory_buffer& out) {
    static constexpr double kPowers[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10};
    constexpr double kMost = 1e12, kNearTie = 1e-3;
    const double scaled = std::fabs(value) * kPowers[decimals];
    const double whole = std::floor(scaled);
    // The product is rounded: what is close to a tie, and what has too many digits, is left to exact arithmetic.
    if (!(scaled < kMost) || std::fabs(scaled - whole - 0.5) < kNearTie) {
        const std::size_t start = out.size();
        fmt::format_to(std::back_inserter(out), "{:.{}f}", value, decimals);
        padTo(width, false, start, out);
        return;
    }
    const fmt::format_int digits(static_cast<std::uint64_t>(scaled - whole > 0.5 ? whole + 1 : whole));
    const std::size_t zeros = decimals >= digits.size() ? decimals + 1 - digits.size() : 0;  // before the digits
    const std::size_t sign = std::signbit(value) ? 1 : 0, point = decimals > 0 ? 1 : 0;
    const std::size_t before = digits.size() + zeros - decimals;  // the point
    char* to = roomAtRight(sign + before + point + decimals, width, out);
    if (sign != 0) *to++ = '-';
    char* const end = std::copy_n(digits.data(), digits.size(), std::fill_n(to, zeros, '0'));
    if (point == 0) return;
    std::copy_backward(to + before, end, end + 1);
    to[before] = '.';
}

}  // namespace obstool
