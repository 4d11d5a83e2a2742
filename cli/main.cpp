// SPDX-License-Identifier: Apache-2.0
/// @file
/// obstool: looks into files of satellite tracking observations and converts them.
/// This file reads the command line; the subcommands are in files of their names.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <sstream>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Formats.h"
#include "Progress.h"
#include "Text.h"
#include "siblings/include/ObsFamily.h"

namespace {

using namespace obstool;

constexpr auto kDescription = "Looks into files of satellite tracking observations and converts them.";

constexpr auto kFooter = R"~(
'obstool COMMAND --help' shows a command's options. A FILE holds one observation a line,
keyword lines and comments ("*" in column 1); the name - stands for standard input. A file
that begins with a CRD header (H1 CRD), or the mark 99999 or 88888 of an older block, is
read as laser ranges alone. The public laser stations are known (the folder OBS_DATA of the
environment may hold another laser_stations.csv); --sensors adds to them. A correction that
is asked for and cannot be computed is left out and told with the number of ranges.

--select takes criteria as SELOB lines do: name=value, name!=value, or < <= > >= and a number.
After = and != a value may be a list with commas and each member a range low:high or low..high,
either end of which may be left open. Criteria are joined by blanks or "and" and by "or",
turned round by "not" and grouped by parentheses: "sat=5,8 (el>10 or not type=1:4)". An
observation whose type does not carry a value does not meet a criterion of it. SELOB lines
in files select nothing by themselves; a note names each. The names are
  sat    satellite number, or the name of a laser target in quotes: sat="lageos1"
  sen    sensor number, or a sensor's description (--sensors) in quotes
  type   type, as list shows it       el     elevation or declination, degrees
  class  U, C or S                    az     azimuth or right ascension; 350:10 goes through 0
  ind1   first indicator              range  km, or with the unit m: range<500m
  ind2   second indicator             rate   range rate, km/s or with the unit m/s
  gid    number of the FILE, from 1   year   four digits
  time   a date 2024-01-31, 2024-031 or 24031, with a time of day 2024-01-31T12:30:00.5 or
         24031123000500 or less of it, which stands for all of that day, hour ...; or days
         since 1950 with a point. Times of day with a colon need .. in a range
--dry-run only tells how many observations do not meet each of the criteria or parentheses,
whatever the others say, and how many meet all.

Each FILE is read by itself: with the year of --tty-year until it sets another, whatever the
files before it have set. Lines that are neither observation, comment nor keyword line are passed
over and named; so are values that could not be read and are taken as 0. Lines of one kind
and reason are named once, with how many there are; --line-limit sets how many reasons.

Exit status: 0 when all went well, 1 when some lines were bad or passed over or convert lost
observations, 2 when the command line was wrong, a file could not be read or written, or
holds something else than observations, 130 when it was interrupted (Ctrl-C) while it
loaded: nothing is written then. --passed-over=ignore and --zeroed=fail change what
counts.

Examples:
  obstool info today.obs
  obstool list --order -7 --limit 20 today.obs
  obstool list --select "sat=5,25544 sen=211:220 time=2024-01-01:2024-01-31 el>10" year.obs
  zcat *.obs.gz | obstool convert - -o all.b3 --to b3)~";

constexpr auto kInfoFooter = R"(
Shows the lines loaded, duplicate and bad in each file and what all its lines were; the time
span and the numbers of observations by type, sensor and satellite in all; and the lines that
are bad or passed over as FILE:LINE: reason, with --json every one of them.
With --group and --select all but the first table and the lines tell of the wanted
observations only; with --select there is also how many each criterion drops.)";

constexpr auto kListFooter = R"(
Times are UTC. A value that the observation's type does not carry is shown as -. Lines
that are bad or passed over are named on standard error.

Orders (ascending when negative, descending when positive):
   1  time, sensor, type, elevation       6  sensor, satellite, type, time, elevation
   2  time, elevation                     7  satellite, sensor, type, elevation
   3  as 1, then satellite                8  order in the files
   4  sensor, satellite, time, elevation  9  key, always ascending (0: the same)
   5  sensor, time, elevation            10  satellite, sensor, time)";

constexpr auto kConvertFooter = R"(
The observations of all files go to one file, in ascending order of their keys. Lines that
are bad or passed over are named on standard error and left out. When a file cannot be read,
or holds something else than observations, nothing is written.

What the format could not carry is then told by type and field or reason: refused (no line
is written), unreadable (a line is, but cannot be read again), dropped, changed, or rounded
within the last digit of the format; the first ones of each with the line of the output,
where each has its own. The exit status is 1, whatever is reported, when observations were
refused, unreadable or written under another sensor's number.
With nothing to tell there is no report. Differences in the last bit of a number are not
counted. Biases and what else only CSV lines carry are compared as CSV lines write them;
sigma lists, which these do not show either, no file can hold.

With --strict nothing is written either when laser ranges lack a correction that was asked for.

CRD files take ranges (types 2 and 6) of laser stations alone, in the order of stations,
satellites and times. The corrections that are asked for count as applied to all of them.)";

std::string version() {
    Text512 info;
    ObsGetInfo(info.data());
    return info.str();
}

std::string usageError(const CLI::App* app, const CLI::Error& error) {
    const std::vector<std::string> unknown = app->remaining();
    const bool noCommand = app->get_subcommands().empty() && !unknown.empty() && !unknown.front().starts_with('-');
    return fmt::format("obstool: {}\nTry 'obstool --help' or 'obstool COMMAND --help'.\n",
                       noCommand ? fmt::format("there is no command '{}'", printable(unknown.front())) : error.what());
}

/// NOTE: without it "-1" would wrap around to a very large count.
CLI::Validator isCount() {
    const auto check = [](std::string& text) {
        const bool digits = text.find_first_not_of("0123456789") == std::string::npos;
        return digits ? std::string() : fmt::format("{} is not a whole number of 0 or more", text);
    };
    return CLI::Validator(check, "");
}

/// An option of two values, the second of which sets a flag.
void addChoice(CLI::App* command, const char* name, const char* help, const std::vector<std::string>& values,
               bool& flag) {
    command
        ->add_option_function<std::string>(
            name, [&flag, second = values.back()](const std::string& value) { flag = value == second; }, help)
        ->type_name(fmt::format("{}|{}", values.front(), values.back()))
        ->check(CLI::IsMember(values).description(""));
}

CLI::App* addCommand(CLI::App& app, const char* name, const char* description, const char* footer,
                     CommonOptions& options) {
    CLI::App* command = app.add_subcommand(name, description);
    command->footer(footer);
    command->add_option("FILE", options.files, "Files to load; - is standard input")->type_name("")->required();
    command
        ->add_option("--group", options.groups,
                     "Only what was loaded from the Nth FILE (of duplicates, the first); may be repeated")
        ->type_name("N")
        ->check(isCount())
        ->allow_extra_args(false);
    CLI::Option* select =
        command->add_option("--select", options.select, "Only what meets the criteria, for example \"sat=5 el=10:\"")
            ->type_name("CRITERIA");
    command->add_flag("--dry-run", options.dryRun, "Only tell how many observations the criteria drop")->needs(select);
    command->add_option("--tty-year", options.ttyYear, "Year of TTY messages in files without a TTY_YEAR line")
        ->type_name("YEAR")
        ->check(CLI::Range(1000, 9999).description(""));
    command
        ->add_option("--sensors", options.sensors,
                     "File of sensors beside the laser stations, for what names or needs them")
        ->type_name("SENSORS");
    command
        ->add_option("--troposphere", options.troposphere,
                     "Correct laser ranges by none, mendes-pavlis or marini-murray, where the file has not")
        ->type_name("MODEL")
        ->check(CLI::IsMember(std::vector<std::string>(kTroposphereModels.begin(), kTroposphereModels.end()))
                    .description(""));
    command->add_flag("--centre-of-mass", options.centreOfMass,
                      "Refer laser ranges to the satellite's centre of mass, where the file has not");
    command
        ->add_option("--line-limit", options.lineLimit,
                     "Name the first N lines or reasons of a kind in each FILE; 0 names all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    addChoice(command, "--zeroed", "Values that cannot be read and are taken as 0: tell of them, or fail for them",
              {"tell", "fail"}, options.zeroedFails);
    addChoice(command, "--passed-over", "Lines that are nothing known: fail for them, or ignore them",
              {"fail", "ignore"}, options.passedOverIgnored);
    command->add_option("--log", options.log, "Append the library's messages to LOG")->type_name("LOG");
    command->add_flag("--quiet", options.quiet, "Do not show on a terminal how far a load or save is");
    return command;
}

CLI::Validator isStrictness() {
    const auto check = [](std::string& text) {
        const bool known = text == kStrictLosses || text == kStrictExact;
        return known ? std::string() : fmt::format("the only value is {}, not {}", kStrictExact, text);
    };
    return CLI::Validator(check, "");
}

CLI::Validator oneOfTheFormats() {
    std::vector<std::string> names;
    for (const Format& format : formats())
        if (names.empty() || names.back() != format.name) names.emplace_back(format.name);
    return CLI::IsMember(names).description("");
}

std::string formatsHelp() {
    std::string help = "Format to write:";
    std::string last;
    for (const Format& format : formats()) {
        if (format.name == last) help.back() = ',';  // in the place of the bracket
        else help += fmt::format(" {} (", format.name);
        help += format.name == last ? fmt::format(" {})", format.description) : fmt::format("{})", format.description);
        last = format.name;
    }
    return help;
}

CLI::App* addInfo(CLI::App& app, InfoOptions& options) {
    CLI::App* command = addCommand(app, "info", "Tell what files hold and which lines are bad", kInfoFooter, options);
    command->add_option("--top", options.top, "Show the busiest N sensors and satellites; 0 shows all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    command->add_flag("--duplicates", options.duplicates, "Name the duplicate lines, too");
    command->add_flag("--json", options.json, "Write one JSON object instead of tables");
    return command;
}

CLI::App* addList(CLI::App& app, ListOptions& options) {
    CLI::App* command = addCommand(app, "list", "List observations, one a line", kListFooter, options);
    command->add_option("--order", options.order, "Order, from the table below (-10 to 10)")
        ->type_name("CODE")
        ->check(CLI::Range(-10, 10).description(""))
        ->capture_default_str();
    command->add_flag("--keys", options.keysOnly, "Keys only, without a header");
    command->add_option("--limit", options.limit, "Stop after N observations")->type_name("N")->check(isCount());
    return command;
}

void addConvert(CLI::App& app, ConvertOptions& options) {
    CLI::App* command =
        addCommand(app, "convert", "Write the observations of files in another format", kConvertFooter, options);
    command->add_option("-o,--output", options.output, "File to write; - is standard output")
        ->type_name("OUT")
        ->required();
    command->add_option("--to", options.format, formatsHelp())
        ->type_name("FORMAT")
        ->required()
        ->check(oneOfTheFormats());
    command->add_option("--crd-data", options.crdData, "Data of --to crd: npt (normal points) or frd (full rate)")
        ->type_name("DATA")
        ->check(CLI::IsMember({"npt", "frd"}).description(""))
        ->capture_default_str();
    command->add_flag("--append", options.append, "Add to the file instead of replacing it");
    command
        ->add_flag("--strict", options.strict,
                   "Write nothing if more than digits would be lost; --strict=exact: or digits")
        ->check(isStrictness());
    CLI::Option* report = command->add_option("--report", options.report, "File for the report; - is standard output")
                              ->type_name("REPORT");
    command->add_flag("--no-report", options.noReport, "Do not report losses")->excludes(report);
    command->add_option("--examples", options.examples, "Name the first N observations of each loss")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
}

ExitStatus run(int argc, char** argv, Output& out) {
    CLI::App app(kDescription, "obstool");
    app.footer(kFooter);
    app.failure_message(usageError);
    app.set_version_flag("--version", version, "Show the library's version");
    app.require_subcommand(1);
    InfoOptions info;
    ListOptions list;
    ConvertOptions convert;
    const CLI::App* infoCommand = addInfo(app, info);
    const CLI::App* listCommand = addList(app, list);
    addConvert(app, convert);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        // Also thrown for --help and --version, with status 0.
        std::ostringstream answer, complaint;
        const int status = app.exit(error, answer, complaint);
        out.print("{}", answer.str());
        std::fputs(complaint.str().c_str(), stderr);
        return status == 0 ? ExitStatus::allGood : ExitStatus::failure;
    }
    if (infoCommand->parsed()) return runInfo(info, out);
    if (listCommand->parsed()) return runList(list, out);
    return runConvert(convert, out);
}

/// A closed standard stream would lend its number to the next file opened, and what is
/// meant for the stream would end up there. These stand-ins fail when they are used.
void occupyStandardStreams() {
    for (int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(descriptor, F_GETFD) < 0) ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

/// The signals that end the command leave no half-written file; then they end it. The first interrupt of a load lets it
/// end by itself.
void cleanUpOnSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
        action.sa_handler = [](int caught) {
            if (caught == SIGINT && interruptLoad()) return;
            FamilyGiveUpFiles();
            std::raise(caught);  // the default action is back; it comes when this returns
        };
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace

int main(int argc, char** argv) {
    occupyStandardStreams();
    cleanUpOnSignals();
    Output out;
    ExitStatus status = ExitStatus::failure;
    try {
        status = run(argc, argv, out);
    } catch (const Interrupted&) {
        complain("stopped", "interrupted");
        status = ExitStatus::interrupted;
    } catch (const std::exception& error) { complain("stopped", error.what()); }
    return static_cast<int>(std::max(status, out.finish()));
}
