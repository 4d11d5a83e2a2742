// SPDX-License-Identifier: Apache-2.0
/// @file
/// obstool: looks into files of satellite tracking observations and converts them.
/// This file reads the command line; the subcommands are in the folder commands.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <functional>
#include <map>
#include <sstream>

#include <CLI/CLI.hpp>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Output.h"
#include "Progress.h"
#include "Text.h"
#include "cli/commands/Command.h"
#include "siblings/include/ObsFamily.h"

namespace {

using namespace obstool;

constexpr auto kDescription = "Looks into files of satellite tracking observations and converts them.";

constexpr auto kFooter = R"~(
'obstool COMMAND --help' shows a command's options. A FILE holds one observation a line,
keyword lines and comments ("*" in column 1); the name - stands for standard input. Files that
are packed with gzip or zstd, whatever their names, are unpacked on the way. A file
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
loaded. --passed-over=ignore and --zeroed=fail change what counts.

Examples:
  obstool info today.obs
  obstool list --order -7 --limit 20 today.obs
  obstool list --select "sat=5,25544 sen=211:220 time=2024-01-01:2024-01-31 el>10" year.obs
  obstool convert january.obs.gz february.obs.zst -o all.b3 --to b3)~";

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

ExitStatus run(int argc, char** argv, Output& out) {
    CLI::App app(kDescription, "obstool");
    app.footer(kFooter);
    app.failure_message(usageError);
    app.set_version_flag("--version", version, "Show the library's version");
    app.require_subcommand(1);
    std::map<const CLI::App*, std::function<ExitStatus(Output&)>> runs;
    for (const Command& command : commands()) {
        CLI::App* const sub = app.add_subcommand(command.name, command.description);
        sub->footer(command.footer);
        runs[sub] = command.add(*sub);
    }

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
    return runs.at(app.get_subcommands().front())(out);
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
