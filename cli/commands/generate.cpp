// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstring>
#include <fstream>

#include "cli/Completion.h"
#include "cli/Manual.h"
#include "cli/OptionTree.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

bool write(const std::string& name, const std::string& text) {
    errno = 0;
    std::ofstream file(name);
    file << text << std::flush;
    if (!file) complain(name, std::strerror(errno != 0 ? errno : EIO));
    return static_cast<bool>(file);
}

ExitStatus run(const CLI::App& root, const std::string& folder, Output&) {
    bool isDone =
        write(folder + "/obstool.bash", bashCompletion(root)) && write(folder + "/_obstool", zshCompletion(root)) &&
        write(folder + "/obstool.fish", fishCompletion(root)) && write(folder + "/obstool.1", manualPage(root));
    for (const CLI::App* command : commandsOf(root))
        isDone = isDone && write(folder + "/" + manualName(*command) + ".1", manualPage(*command));
    return isDone ? ExitStatus::allGood : ExitStatus::failure;
}

/// For the build, so no help shows it.
std::function<ExitStatus(Output&)> add(CLI::App& app) {
    const auto folder = std::make_shared<std::string>();
    app.add_option("FOLDER", *folder, "Where the files go")->required();
    app.group("");
    return [folder, root = app.get_parent()](Output& out) { return run(*root, *folder, out); };
}

}  // namespace

Command commandGenerate() { return {"generate", "Write the manual pages and completions", "", add}; }

}  // namespace obstool
