// SPDX-License-Identifier: Apache-2.0
#include "cli/commands/Command.h"

// The rows: the function commandNAME of each file, in the order of the help.
#define OBSTOOL_COMMANDS(ROW) \
    ROW(Info)                 \
    ROW(List)                 \
    ROW(Show)                 \
    ROW(Explain)              \
    ROW(Validate)             \
    ROW(Stats)                \
    ROW(Compare)              \
    ROW(Convert)              \
    ROW(Version)              \
    ROW(Help)                 \
    ROW(Generate)

namespace obstool {

#define OBSTOOL_DECLARE(name) Command command##name();
OBSTOOL_COMMANDS(OBSTOOL_DECLARE)
#undef OBSTOOL_DECLARE

const std::vector<Command>& commands() {
#define OBSTOOL_LIST(name) command##name(),
    static const std::vector<Command> all{OBSTOOL_COMMANDS(OBSTOOL_LIST)};
#undef OBSTOOL_LIST
    return all;
}

}  // namespace obstool
