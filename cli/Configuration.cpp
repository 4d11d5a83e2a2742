// SPDX-License-Identifier: Apache-2.0
#include "Configuration.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "Nearest.h"
#include "OptionTree.h"
#include "Text.h"

namespace obstool {

namespace {

constexpr EnvironmentVariable kVariables[] = {
    {"OBS_SENSORS", "sensors", "the file of sensors"},
    {"OBS_EARTH_ORIENTATION", "earth-orientation", "the file of Earth orientation"},
    {"OBS_TTY_YEAR", "tty-year", "the year of TTY messages"},
    {"OBS_TROPOSPHERE", "troposphere", "the correction of laser ranges"},
    {"OBS_LINE_LIMIT", "line-limit", "how many lines or reasons of a kind are named"},
    {"OBS_THREADS", "threads", "how many threads load and save"},
    {"OBS_LOG", "log", "the file for the library's messages"},
    {"OBS_COLOR", "color", "whether output is in colour"},
    {"OBSTOOL_CONFIG", nullptr, "a configuration file, as --config"},
    {"OBS_DATA", nullptr, "a folder with another laser_stations.csv"},
    {"NO_COLOR", nullptr, "if it is not empty, output is not in colour"},
    {"TERM", nullptr, "output is not in colour where it is not set, or is dumb"},
    {"HOME", nullptr, "the folder of .config"},
    {"XDG_CONFIG_HOME", nullptr, "the folder of configuration, where it is not ~/.config"},
    {"TMPDIR", nullptr, "the folder for copies of input that can be read only once"},
};

/// Options that a forgotten setting must not make: what is written over, and where the configuration is.
constexpr std::string_view kForCommandLineOnly[] = {"config", "no-config", "help",  "version",
                                                    "output", "append",    "force", "dry-run"};

Configuration& inForce() {
    static Configuration configuration;
    return configuration;
}

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr ? value : "";
}

// --- Files ---------------------------------------------------------------------------------------

std::string_view trimmed(std::string_view text) {
    constexpr auto kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) + 1 - first);
}

/// The value after "=", without quotes and comment. Nothing where a quote has no end or something comes after it.
std::optional<std::string> valueOf(std::string_view text) {
    if (!text.starts_with('"') && !text.starts_with('\'')) return std::string(trimmed(text.substr(0, text.find('#'))));
    const bool hasEscapes = text[0] == '"';
    std::string value;
    std::size_t i = 1;
    for (; i < text.size() && text[i] != text[0]; ++i) {
        if (hasEscapes && text[i] == '\\' && i + 1 < text.size()) ++i;
        value += text[i];
    }
    if (i >= text.size()) return std::nullopt;
    const std::string_view rest = trimmed(text.substr(i + 1));
    return rest.empty() || rest.starts_with('#') ? std::optional(value) : std::nullopt;
}

/// Throws std::runtime_error for a line that is none of a configuration file.
class ConfigurationFile {
public:
    explicit ConfigurationFile(std::string name) : name_(std::move(name)) {}

    void read(std::vector<Setting>& settings) {
        errno = 0;
        std::error_code error;
        std::ifstream file(name_);
        if (std::filesystem::is_directory(name_, error)) errno = EISDIR;
        if (!file || errno == EISDIR) throw std::runtime_error(fmt::format("{}: {}", name_, std::strerror(errno)));
        constexpr std::size_t kMostBytes = std::size_t{1} << 20;  // some files never end
        std::string text(kMostBytes, '\0');
        file.read(text.data(), std::ssize(text));
        text.resize(static_cast<std::size_t>(file.gcount()));
        if (text.size() == kMostBytes) throw std::runtime_error(fmt::format("{}: longer than a megabyte", name_));
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            ++number_;
            take(trimmed(line), settings);
        }
    }

private:
    void take(std::string_view line, std::vector<Setting>& settings) {
        if (line.empty() || line[0] == '#' || line[0] == ';') return;
        if (line[0] == '[') {
            const std::size_t end = line.find(']');
            if (end == std::string_view::npos) fail("the name of a section ends with ]");
            command_ = trimmed(line.substr(1, end - 1));
            return;
        }
        const std::size_t equal = line.find('=');
        if (equal == std::string_view::npos) fail("neither NAME = VALUE nor [COMMAND] nor a comment with #");
        const auto value = valueOf(trimmed(line.substr(equal + 1)));
        if (!value) fail("a text in quotes does not end, or something comes after it");
        std::string_view option = trimmed(line.substr(0, equal));
        while (option.starts_with('-')) option.remove_prefix(1);
        settings.push_back({command_, std::string(option), *value, fmt::format("{}:{}", name_, number_)});
    }

    [[noreturn]] void fail(const char* why) { throw std::runtime_error(fmt::format("{}:{}: {}", name_, number_, why)); }

    std::string name_, command_;
    int number_ = 0;
};

/// That of the user; empty where there is none.
std::string userFile() {
    namespace fs = std::filesystem;
    const std::string home = environment("HOME");
    std::string folder = environment("XDG_CONFIG_HOME");
    if (folder.empty() && !home.empty()) folder = home + "/.config";
    const fs::path file = fs::path(folder) / "obstool" / "config.toml";
    std::error_code error;
    return !folder.empty() && fs::exists(file, error) ? file.string() : std::string();
}

// --- Options -------------------------------------------------------------------------------------

std::vector<CLI::App*> partsOf(CLI::App& root) {
    std::vector<CLI::App*> parts = root.get_subcommands([](CLI::App*) { return true; });
    parts.push_back(&root);
    return parts;
}

bool isFlag(const CLI::Option& option) { return option.get_items_expected_max() == 0; }

bool mayBeSet(const CLI::Option& option) {
    return !option.get_required() && !option.get_lnames().empty() &&
           std::find(std::begin(kForCommandLineOnly), std::end(kForCommandLineOnly), option.get_lnames().front()) ==
               std::end(kForCommandLineOnly);
}

/// Throws std::runtime_error for what no option takes.
void apply(CLI::App& root, const Setting& setting) {
    std::vector<std::string> commands, options;
    bool isTaken = false, isCommand = setting.command.empty();
    for (CLI::App* const part : partsOf(root)) {
        if (part->get_parent() != nullptr) commands.push_back(part->get_name());
        if (!setting.command.empty() && part->get_name() != setting.command) continue;
        isCommand = true;
        for (const CLI::Option* option : std::as_const(*part).get_options())
            if (mayBeSet(*option)) options.push_back(option->get_lnames().front());
        CLI::Option* const option = part->get_option_no_throw("--" + setting.option);
        if (option == nullptr || !mayBeSet(*option)) continue;
        isTaken = true;
        try {
            option->default_val(setting.value);
        } catch (const CLI::ConversionError&) {
            throw std::runtime_error(fmt::format("{}: --{}: '{}' is {}", setting.place, setting.option, setting.value,
                                                 isFlag(*option) ? "neither true nor false" : "no value of it"));
        } catch (const CLI::Error& error) {
            throw std::runtime_error(fmt::format("{}: {}", setting.place, error.what()));
        }
    }
    const auto refuse = [&](std::string_view what, std::string_view name, const std::vector<std::string>& known) {
        throw std::runtime_error(
            fmt::format("{}: there is no {} '{}'{}", setting.place, what, name, didYouMean(name, known)));
    };
    if (!isCommand) refuse("command", setting.command, commands);
    if (!isTaken) refuse("option that can be set,", setting.option, options);
}

/// The value of --config, and whether there is a --no-config, before anything is read by its rules.
struct Where {
    bool isOff = false;
    std::string file;
};

Where whereToRead(int argc, const char* const* argv) {
    constexpr std::string_view kName = "--config";
    Where where{false, environment("OBSTOOL_CONFIG")};
    for (int i = 1; i < argc && std::string_view(argv[i]) != "--"; ++i) {
        const std::string_view word = argv[i];
        where.isOff = where.isOff || word == "--no-config";
        if (word == kName && i + 1 < argc) where.file = argv[i + 1];
        else if (word.starts_with("--config=")) where.file = word.substr(kName.size() + 1);
    }
    return where;
}

}  // namespace

std::span<const EnvironmentVariable> environmentVariables() { return kVariables; }

const Configuration& configuration() { return inForce(); }

void addConfigurationOptions(CLI::App& root) {
    // Both are read before the command line is.
    CLI::Option* const file =
        ofFile(root.add_option("--config", "Read values of options from FILE, beside the user's file"))
            ->type_name("FILE");
    constexpr auto kHelp = "Read no configuration, neither from files nor from the environment";
    root.add_flag(
            "--no-config", [](std::int64_t) {}, kHelp)
        ->excludes(file);
}

bool configure(CLI::App& root, int argc, const char* const* argv) {
    const Where where = whereToRead(argc, argv);
    if (where.isOff) return true;
    Configuration& now = inForce();
    try {
        for (const std::string& file : {userFile(), where.file}) {
            if (file.empty()) continue;
            now.files.push_back(file);
            ConfigurationFile(file).read(now.settings);
        }
        for (const EnvironmentVariable& variable : kVariables)
            if (const std::string value = environment(variable.name); variable.option != nullptr && !value.empty())
                now.settings.push_back({{}, variable.option, value, variable.name});
        for (const Setting& setting : now.settings) apply(root, setting);
    } catch (const std::runtime_error& error) {
        complain("configuration", fmt::format("{} (--no-config leaves it out)", error.what()));
        return false;
    }
    return true;
}

void settleConfiguration(CLI::App& root) {
    const auto parsed = root.get_subcommands();
    if (!parsed.empty() && parsed.front()->get_name() == "version") return;  // which tells of all
    std::vector<Setting>& settings = inForce().settings;
    const auto optionOf = [&](const Setting& setting) -> CLI::Option* {
        if (!parsed.empty() && (setting.command.empty() || setting.command == parsed.front()->get_name()))
            if (auto* const option = parsed.front()->get_option_no_throw("--" + setting.option)) return option;
        return setting.command.empty() ? root.get_option_no_throw("--" + setting.option) : nullptr;
    };
    std::erase_if(settings, [&](const Setting& setting) {
        CLI::Option* const option = optionOf(setting);
        if (option == nullptr || option->count() > 0) return true;
        const auto& others = option->get_excludes();
        if (!isFlag(*option) ||
            std::none_of(others.begin(), others.end(), [](const auto* other) { return other->count() > 0; }))
            return false;
        option->default_val("false");
        return true;
    });
    // Of several for one option the last is in force.
    for (std::size_t i = 0; i < settings.size();) {
        const auto isSame = [&](const Setting& other) { return other.option == settings[i].option; };
        const bool isOutdone =
            std::any_of(settings.begin() + static_cast<std::ptrdiff_t>(i) + 1, settings.end(), isSame);
        if (isOutdone) settings.erase(settings.begin() + static_cast<std::ptrdiff_t>(i));
        else ++i;
    }
}

void printJsonConfiguration(Output& out) {
    const Configuration& now = configuration();
    out.print("\"configuration\": {{\"files\": [");
    for (const std::string& file : now.files)
        out.print("{}{}", &file == &now.files.front() ? "" : ", ", jsonString(file));
    out.print("], \"options\": [");
    for (const Setting& setting : now.settings)
        out.print(R"({}{{"option": {}, "value": {}, "from": {}}})", &setting == &now.settings.front() ? "" : ", ",
                  jsonString(setting.option), jsonString(setting.value), jsonString(setting.place));
    out.print("]}}");
}

}  // namespace obstool
