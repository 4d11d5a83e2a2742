// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <span>

#include "cli/Columns.h"
#include "cli/CommandLine.h"
#include "cli/Observations.h"
#include "cli/OptionTree.h"
#include "cli/Session.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kListFooter = R"(
Times are UTC. A value that the observation's type does not carry is shown as -. Lines
that are bad or passed over are named on standard error.

A table on a terminal is fitted to it: decimals, then columns are left out, which is told. The
other formats have all digits; what an observation does not have is empty, or null.
'obstool help columns' lists the columns: every field, the time in other forms, states of date
(teme_x ...) and of J2000 (j2000_x ...), and what the sensor sees (topo_azimuth ...). el_or_dec
and az_or_ra are whichever of the two the type carries. 'obstool help orders' lists the orders.)";

struct ListOptions : CommonOptions {
    std::int32_t order = -1;  ///< of ObsGetLoaded
    bool keysOnly = false;
    std::optional<std::size_t> limit;
    std::string columns;  ///< names with commas; empty: those of the format
    std::string format = "table";
    std::optional<std::size_t> width;  ///< of a table; 0: any; nothing: that of the terminal
};

constexpr std::string_view kFormats[] = {"table", "csv", "tsv", "jsonl"};

/// The columns of a table, and of the other formats, when none are asked for.
constexpr std::string_view kTableColumns = "key,time,sat_num,sen_num,type,el_or_dec,az_or_ra,range_km,range_rate_km_s";
constexpr const char* kTableTitles[] = {"key",        "time",      "satellite", "sensor",         "type",
                                        "el/dec_deg", "az/ra_deg", "range_km",  "range_rate_km/s"};
constexpr std::string_view kFileColumns =
    "key,time,sat_num,sen_num,type,elevation,declination,azimuth,right_ascension,range_km,range_rate_km_s";

constexpr std::size_t kRowsAtOnce = 2048;

/// A table whose columns have a width of their own.
class Table {
public:
    /// @param width of the terminal; 0: any. @param first rows that are shown first, by which the columns are fitted
    Table(std::vector<Column> columns, bool isDefault, std::size_t width, Rows& first) : columns_(std::move(columns)) {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            titles_.push_back(isDefault ? kTableTitles[i] : columns_[i].name);
            widen(i, static_cast<std::size_t>(columns_[i].width));
        }
        if (width > 0 && lineWidth() > width) fit(isDefault, width, first);
    }

    /// Names of the columns that the terminal has no room for.
    const std::string& leftOut() const { return leftOut_; }

    void printHeader(Output& out) const {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const char* const separator = i == 0 ? "" : " ";
            if (columns_[i].isLeft) out.print("{}{:<{}}", separator, titles_[i], columns_[i].width);
            else out.print("{}{:>{}}", separator, titles_[i], columns_[i].width);
        }
        out.print("\n");
    }

    void printRow(Output& out, Rows& rows, std::size_t row) {
        fmt::memory_buffer& line = out.buffer();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            const Column& column = columns_[i];
            if (i > 0) line.push_back(' ');
            value_.clear();
            if (!column.append(rows, row, true, value_)) value_.push_back('-');
            const auto width = static_cast<std::size_t>(column.width);
            const std::size_t blanks = width - std::min(width, value_.size());
            if (!column.isLeft) pad(line, blanks);
            line.append(value_);
            if (column.isLeft) pad(line, blanks);
        }
        line.push_back('\n');
        out.written();
    }

private:
    static void pad(fmt::memory_buffer& line, std::size_t blanks) {
        static constexpr std::string_view kBlanks = "                                ";
        for (; blanks > 0;) {
            const std::size_t some = std::min(blanks, kBlanks.size());
            line.append(kBlanks.data(), kBlanks.data() + some);
            blanks -= some;
        }
    }

    void widen(std::size_t i, std::size_t width) {
        columns_[i].width = static_cast<int>(std::max(width, titles_[i].size()));
    }

    std::size_t lineWidth() const {
        std::size_t width = columns_.size() - 1;
        for (const Column& column : columns_) width += static_cast<std::size_t>(column.width);
        return width;
    }

    /// As wide as the rows need; then, while that is too much, decimals and at last columns are left out.
    void fit(bool isDefault, std::size_t width, Rows& first) {
        constexpr int kFewestDecimals = 2;
        const auto measure = [&](std::size_t i) {
            std::size_t widest = 1;
            for (std::size_t row = 0; row < first.keys().size(); ++row) {
                value_.clear();
                columns_[i].append(first, row, true, value_);
                widest = std::max(widest, value_.size());
            }
            widen(i, widest);
        };
        for (std::size_t i = 0; i < columns_.size(); ++i) measure(i);
        while (lineWidth() > width) {
            bool isShortened = false;
            for (std::size_t i = 0; i < columns_.size() && lineWidth() > width; ++i) {
                if (columns_[i].decimals <= kFewestDecimals) continue;
                --columns_[i].decimals;
                measure(i);
                isShortened = true;
            }
            if (!isShortened) break;
        }
        // The key, which nobody asked for, tells the least.
        if (lineWidth() > width && isDefault) leave(0);
        while (lineWidth() > width && columns_.size() > 1) leave(columns_.size() - 1);
    }

    void leave(std::size_t i) {
        leftOut_ += (leftOut_.empty() ? "" : ",") + columns_[i].name;
        columns_.erase(columns_.begin() + static_cast<std::ptrdiff_t>(i));
        titles_.erase(titles_.begin() + static_cast<std::ptrdiff_t>(i));
    }

    std::vector<Column> columns_;
    std::vector<std::string> titles_;
    std::string leftOut_;
    fmt::memory_buffer value_;
};

/// Lines of values, with a separator between them and a line of names before them.
class SeparatedLines {
public:
    SeparatedLines(std::vector<Column> columns, char separator) : columns_(std::move(columns)), separator_(separator) {}

    void printHeader(Output& out) const {
        for (const Column& column : columns_)
            out.print("{}{}", &column == &columns_.front() ? std::string() : std::string(1, separator_), column.name);
        out.print("\n");
    }

    void printRow(Output& out, Rows& rows, std::size_t row) const {
        fmt::memory_buffer& line = out.buffer();
        for (const Column& column : columns_) {
            if (&column != &columns_.front()) line.push_back(separator_);
            const std::size_t start = line.size();
            column.append(rows, row, false, line);
            if (column.form == Form::character || column.source == Column::Source::originFile) quote(line, start);
            if (columns_.size() == 1 && line.size() == start) line.append(kEmpty, kEmpty + 2);
        }
        line.push_back('\n');
        out.written();
    }

private:
    /// A text that would not be read as itself.
    void quote(fmt::memory_buffer& line, std::size_t start) const {
        const std::string text(line.data() + start, line.size() - start);
        if (text.find_first_of(fmt::format("{}\"\r\n", separator_)) == std::string::npos) return;
        line.resize(start);
        line.push_back('"');
        for (const char c : text) {
            if (c == '"') line.push_back(c);
            line.push_back(c);
        }
        line.push_back('"');
    }

    static constexpr char kEmpty[] = R"("")";  ///< a line of nothing would not be a row to readers

    std::vector<Column> columns_;
    char separator_;
};

class JsonLines {
public:
    explicit JsonLines(std::vector<Column> columns) : columns_(std::move(columns)) {
        for (const Column& column : columns_)
            names_.push_back(fmt::format("{}{}: ", names_.empty() ? "{" : ", ", jsonString(column.name)));
    }

    void printHeader(Output&) const {}

    void printRow(Output& out, Rows& rows, std::size_t row) const {
        fmt::memory_buffer& line = out.buffer();
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            line.append(names_[i].data(), names_[i].data() + names_[i].size());
            appendValue(line, columns_[i], rows, row);
        }
        line.push_back('}');
        line.push_back('\n');
        out.written();
    }

private:
    static void appendValue(fmt::memory_buffer& line, const Column& column, Rows& rows, std::size_t row) {
        static constexpr std::string_view kNull = "null";
        const std::size_t start = line.size();
        const bool isInfinite = column.form == Form::real && std::isinf(column.value(rows, row));
        const bool isText = column.form == Form::text || column.form == Form::character;
        if (isInfinite || !column.append(rows, row, false, line)) {
            line.append(kNull.data(), kNull.data() + kNull.size());
        } else if (isText) {
            const std::string text = jsonString({line.data() + start, line.size() - start});
            line.resize(start);
            line.append(text.data(), text.data() + text.size());
        }
    }

    std::vector<Column> columns_;
    std::vector<std::string> names_;
};

template <class Writer>
void printRows(Output& out, const std::vector<std::int64_t>& keys, const std::vector<Column>& columns,
               Writer&& writer) {
    writer.printHeader(out);
    Rows rows(columns);
    for (std::size_t from = 0; from < keys.size(); from += kRowsAtOnce) {
        rows.begin(std::span(keys).subspan(from, std::min(kRowsAtOnce, keys.size() - from)));
        for (std::size_t row = 0; row < rows.keys().size(); ++row) writer.printRow(out, rows, row);
    }
}

void printTable(Output& out, const std::vector<std::int64_t>& keys, const ListOptions& options,
                const std::vector<Column>& columns) {
    Rows first;
    first.begin(std::span(keys).subspan(0, std::min(kRowsAtOnce, keys.size())));
    Table table(columns, options.columns.empty(), options.width.value_or(terminalWidth(STDOUT_FILENO)), first);
    if (!table.leftOut().empty())
        complain("list", fmt::format("not shown for want of room: {} (--width 0 shows all)", table.leftOut()));
    printRows(out, keys, columns, table);
}

ExitStatus run(const ListOptions& options, Output& out) {
    Session session(options, complainOfLine);
    std::string problem;
    const auto columns = columnsOf(!options.columns.empty()    ? options.columns
                                   : options.format == "table" ? kTableColumns
                                                               : kFileColumns,
                                   problem);
    if (!columns) session.fail("--columns", problem);
    if (session.status() == ExitStatus::failure) return session.status();
    if (std::any_of(columns->begin(), columns->end(), [](const Column& column) { return column.isOrigin(); }))
        ObsKeepOrigins(1);
    if (!session.start()) return session.status();
    session.load();
    if (options.dryRun) {
        if (session.selection()) printText(out, *session.selection());
        return session.status();
    }

    std::vector<std::int64_t> keys = storedKeys(options.order);
    keys.resize(std::min(keys.size(), options.limit.value_or(keys.size())));
    if (options.keysOnly) {
        for (const std::int64_t key : keys) out.print("{}\n", key);
        return session.status();
    }
    if (options.format == "csv" || options.format == "tsv")
        printRows(out, keys, *columns, SeparatedLines(*columns, options.format == "csv" ? ',' : '\t'));
    else if (options.format == "jsonl") printRows(out, keys, *columns, JsonLines(*columns));
    else printTable(out, keys, options, *columns);
    return session.status();
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<ListOptions>();
    addCommonOptions(app, *options);
    app.add_option("-O,--order", options->order, "Order, -10 to 10 ('obstool help orders')")
        ->type_name("CODE")
        ->check(isFrom(-10, 10))
        ->capture_default_str();
    CLI::Option* const keys = app.add_flag("-k,--keys", options->keysOnly, "Keys only, without a header");
    app.add_option("-n,--limit", options->limit, "Stop after N observations")->type_name("N")->check(isCount());
    CLI::Option* const columns =
        app.add_option("-c,--columns", options->columns, "Columns to show, names with commas ('obstool help columns')")
            ->type_name("NAMES")
            ->excludes(keys);
    std::vector<std::string> names;
    for (const Column& column : allColumns()) names.push_back(column.name);
    suggest(columns, std::move(names));
    oneOf(app.add_option("-f,--format", options->format, "table, csv, tsv or jsonl (a JSON object a line)"),
          {std::begin(kFormats), std::end(kFormats)})
        ->type_name("FORMAT")
        ->capture_default_str()
        ->excludes(keys);
    app.add_option("--width", options->width, "Fit a table to N columns; 0 does not. The terminal's when left out")
        ->type_name("N")
        ->check(isCount());
    return runWith(std::move(options), run);
}

}  // namespace

Command commandList() { return {"list", "List observations, one a line", kListFooter, add}; }

}  // namespace obstool
