// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "cli/HelpText.h"
#include "cli/Nearest.h"
#include "cli/OptionTree.h"
#include "cli/Text.h"
#include "cli/Topics.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

std::string footer() {
    std::string text = "\nTopics:\n";
    for (const Topic& topic : topics()) text += fmt::format("  {:<16} {}\n", topic.name, topic.title);
    text.pop_back();
    return text;
}

ExitStatus run(const CLI::App& root, const std::string& what, Output& out) {
    if (what.empty()) {
        out.print("{}", helpOf(root));
        return ExitStatus::allGood;
    }
    const auto topic =
        std::find_if(topics().begin(), topics().end(), [&](const Topic& one) { return what == one.name; });
    if (topic != topics().end()) {
        out.print("{}", flowed(topic->text(), textWidth()));
        return ExitStatus::allGood;
    }
    std::vector<std::string> known;
    for (const Topic& one : topics()) known.emplace_back(one.name);
    for (const CLI::App* command : commandsOf(root)) {
        if (command->get_name() == what) {
            out.print("{}", helpOf(*command));
            return ExitStatus::allGood;
        }
        known.push_back(command->get_name());
    }
    complain("help", fmt::format("there is no command or topic '{}' ('obstool help' lists them){}", printable(what),
                                 didYouMean(what, known)));
    return ExitStatus::failure;
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    const auto what = std::make_shared<std::string>();
    CLI::Option* const option = app.add_option("TOPIC", *what, "A command or a topic")->type_name("");
    std::vector<std::string> known;
    for (const CLI::App* command : commandsOf(*app.get_parent())) known.push_back(command->get_name());
    for (const Topic& topic : topics()) known.emplace_back(topic.name);
    suggest(option, std::move(known));
    return [what, root = app.get_parent()](Output& out) { return run(*root, *what, out); };
}

}  // namespace

Command commandHelp() {
    static const std::string text = footer();
    return {"help", "Tell about a command or a topic", text.c_str(), add};
}

}  // namespace obstool
