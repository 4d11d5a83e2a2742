// SPDX-License-Identifier: Apache-2.0
#include "Topics.h"

#include <iterator>

#include <fmt/format.h>

#include "Columns.h"
#include "Configuration.h"
#include "Formats.h"
#include "HelpText.h"

namespace obstool {

namespace {

constexpr StatusRow kStatuses[] = {
    {ExitStatus::allGood, "all well", "What was asked for is done, and nothing was left out or found."},
    {ExitStatus::badLines, "something was left out or found",
     "Lines were bad or passed over, convert lost observations, validate found something, compare found a difference."},
    {ExitStatus::failure, "could not do it",
     "The command line or the configuration is wrong, a file cannot be read or written or holds something else than "
     "observations, an include file is missing, what was asked for is not there."},
    {ExitStatus::interrupted, "interrupted", "Ctrl-C while files were loaded."},
};

std::string statusesText() {
    std::string text = "A command ends with one of these; of several the greatest.\n\n";
    for (const StatusRow& row : kStatuses)
        text += fmt::format("  {:>3}  {}: {}\n", static_cast<int>(row.status), row.title, row.meaning);
    return text +
           "\n--passed-over=ignore takes lines of no known kind for granted, --zeroed=fail counts values that\n"
           "are taken as 0. Duplicates are named by validate and are else no fault.\n";
}

std::string selectionText() {
    return R"~(--select takes criteria as SELOB lines do: name=value, name!=value, or < <= > >= and a number.
After = and != a value may be a list with commas and each member a range low:high or low..high,
either end of which may be left open. Criteria are joined by blanks or "and" and by "or",
turned round by "not" and grouped by parentheses: "sat=5,8 (el>10 or not type=1:4)". An
observation whose type does not carry a value does not meet a criterion of it. SELOB lines
in files select nothing by themselves; a note names each. The names are

  sat    satellite number, or the name of a laser target in quotes: sat="lageos1"
  sen    sensor number, or a sensor's description (--sensors) in quotes
  type   type, as list shows it
  class  U, C or S
  el     elevation or declination, degrees, or with the unit rad, arcmin or arcsec
  az     azimuth or right ascension, the same; 350:10 goes through 0
  range  km, or with the unit m: range<500m
  rate   range rate, km/s or with the unit m/s
  ind1   first indicator; ind2 is the second
  file   name of a FILE in quotes
  line   number of the line
  gid    number of the FILE, from 1
  year   four digits
  time   )~"
           R"~(a date 2024-01-31, 2024-031 or 24031, with a time of day 2024-01-31T12:30:00.5 or )~"
           R"~(24031123000500 or less of it, which stands for all of that day, hour ...; or days since )~"
           R"~(1950 with a point. Times of day with a colon need .. in a range

--dry-run only tells how many observations do not meet each of the criteria or parentheses,
whatever the others say, and how many meet all.
)~";
}

std::string columnsText() {
    std::string text = fmt::format("What list --columns and compare --tolerance name.\n\n  {:<24} {:<20} {}\n",
                                   "column", "unit", "holds");
    for (const Column& column : allColumns()) {
        std::string line = fmt::format("  {:<24} {:<20} {}", column.name, column.unit, column.meaning);
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}

std::string formatsText() {
    std::string text = "The formats that files are recognised by, line by line, and that convert --to writes.\n\n";
    for (const Format& format : formats()) text += fmt::format("  {:<8} {}\n", format.name, format.description);
    return text +
           "\nA FILE holds one observation a line, keyword lines and comments (\"*\" in column 1). One that begins "
           "with a\n"
           "CRD header (H1 CRD), or the mark 99999 or 88888 of an older block, is read as laser ranges alone. Each "
           "FILE\n"
           "is read by itself: with the year of --tty-year until it sets another, whatever the files before it have "
           "set.\n";
}

std::string ordersText() {
    return R"(What list --order names; ascending when negative, descending when positive.

   1  time, sensor, type, elevation
   2  time, elevation
   3  as 1, then satellite
   4  sensor, satellite, time, elevation
   5  sensor, time, elevation
   6  sensor, satellite, type, time, elevation
   7  satellite, sensor, type, elevation
   8  order in the files
   9  key, always ascending (0: the same)
  10  satellite, sensor, time
)";
}

std::string configurationText() {
    return R"(Options that the command line leaves out are taken from the first of these that has them:

  1.  the environment: see 'obstool help environment'
  2.  the file that --config or else the variable OBSTOOL_CONFIG names
  3.  the user's file: $XDG_CONFIG_HOME/obstool/config.toml, or ~/.config/obstool/config.toml
  4.  what the option's help says

A file has lines NAME = VALUE with the long names of options, which hold for all commands that
have them; after a line [COMMAND] for that command alone. Text may be in quotes; a flag is true
or false; # begins a comment:

  sensors = "/home/me/sites.csv"
  earth-orientation = "/home/me/eop.csv"
  quiet = true
  [list]
  limit = 50

What is wrong in it is told with its line and ends the command with status 2. --no-config leaves
out files and environment. Options that name what is written, or that a command requires, cannot
be set so. 'obstool version --verbose' tells what is in force, and so does every --json.
)";
}

std::string environmentText() {
    std::string text = "The variables of the environment that the command reads.\n\n";
    for (const EnvironmentVariable& variable : environmentVariables()) {
        const std::string option = variable.option != nullptr ? fmt::format(" (--{})", variable.option) : "";
        text += fmt::format("  {:<22} {}{}\n", variable.name, variable.meaning, option);
    }
    return text +
           "\nAn option on the command line takes precedence; --no-config leaves out those that give an option.\n";
}

constexpr Topic kTopics[] = {
    {"statuses", "exit statuses", statusesText},
    {"selection", "criteria of --select", selectionText},
    {"columns", "columns of list", columnsText},
    {"orders", "orders of list", ordersText},
    {"formats", "formats of files", formatsText},
    {"configuration", "options by files and environment", configurationText},
    {"environment", "variables of the environment", environmentText},
};

}  // namespace

std::span<const StatusRow> exitStatuses() { return kStatuses; }

std::span<const Topic> topics() { return kTopics; }

}  // namespace obstool
