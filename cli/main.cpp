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
#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "Colour.h"
#include "Configuration.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "HelpText.h"
#include "OptionTree.h"
#include "Output.h"
#include "Progress.h"
#include "Text.h"
#include "cli/commands/Command.h"
#include "siblings/include/ObsFamily.h"

namespace {

using namespace obstool;

constexpr auto kDescription = "Looks into files of satellite tracking observations and converts them.";

constexpr auto kFooter = R"~(
'obstool help COMMAND' shows a command's options, 'obstool help TOPIC' tells about statuses,
selection, columns, orders, formats, configuration or environment. A FILE holds one observation
a line, keyword lines and comments ("*" in column 1); the name - stands for standard input.
Files that are packed with gzip or zstd, whatever their names, are unpacked on the way.
A folder stands for the files in it and below, a pattern in quotes ("2024/*.obs") for what
matches it.

The public laser stations are known (the folder OBS_DATA of the environment may hold another
laser_stations.csv); --sensors adds to them. A correction that is asked for and cannot be
computed is left out and told with the number of ranges. Lines that are neither observation,
comment nor keyword line are passed over and named; so are values that could not be read and are
taken as 0. Lines of one kind and reason are named once, with how many there are; --line-limit
sets how many reasons.

Exit status: 0 all well, 1 something was left out or found, 2 could not do it, 130 interrupted.

Examples:
  obstool info today.obs
  obstool list --order -7 --limit 20 today.obs
  obstool list --select "sat=5,25544 time=2024-01-01:2024-01-31 el>10" year.obs
  obstool convert january.obs.gz february.obs.zst -o all.b3 --to b3)~";

std::string version() {
    Text512 info;
    ObsGetInfo(info.data());
    return info.str();
}

std::string usageError(const CLI::App* app, const CLI::Error& error) {
    const auto parsed = app->get_subcommands();
    return fmt::format("obstool: {}\nTry 'obstool help{}'.\n", usageProblem(*app, error),
                       parsed.empty() ? "" : " " + parsed.front()->get_name());
}

/// The options of all commands.
void addCommonOptions(CLI::App& app) {
    app.description(kDescription);
    app.footer(kFooter);
    app.failure_message(usageError);
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("-V,--version", version, "Show the library's version");
    addConfigurationOptions(app);
    oneOf(app.add_option_function<std::string>("--color", setColour, "When to write in colour: on a terminal, or"),
          {"auto", "always", "never"})
        ->type_name("WHEN");
    app.require_subcommand(1);
    app.fallthrough();
}

ExitStatus run(int argc, char** argv, Output& out) {
    CLI::App app(kDescription, "obstool");
    addCommonOptions(app);
    std::map<const CLI::App*, std::function<ExitStatus(Output&)>> runs;
    for (const Command& command : commands()) {
        CLI::App* const sub = app.add_subcommand(command.name, command.description);
        sub->footer(command.footer);
        runs[sub] = command.add(*sub);
    }
    if (!configure(app, argc, argv)) return ExitStatus::failure;

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
    settleConfiguration(app);
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
