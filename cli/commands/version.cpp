// SPDX-License-Identifier: Apache-2.0
#include <link.h>

#include <algorithm>
#include <cfloat>
#include <cstdlib>
#include <filesystem>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/Configuration.h"
#include "cli/Stations.h"
#include "cli/Text.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

constexpr auto kFooter = R"(
--verbose adds the libraries as they were found, the configuration files, sensors and Earth
orientation in force, and the variables of the environment that are set.)";

struct Options {
    bool verbose = false;
    std::string sensors, earthOrientation;  ///< of the configuration
};

/// The library and its siblings, by the files that are loaded; the version is in the name.
std::vector<std::string> libraries() {
    std::vector<std::string> files;
    const auto visit = [](dl_phdr_info* info, std::size_t, void* to) {
        std::error_code error;
        const std::filesystem::path file = std::filesystem::canonical(info->dlpi_name, error);
        if (!error && file.filename().string().starts_with("libObs"))
            static_cast<std::vector<std::string>*>(to)->push_back(file.string());
        return 0;
    };
    dl_iterate_phdr(visit, &files);
    std::sort(files.begin(), files.end());
    return files;
}

void printRow(Output& out, const char* name, const std::string& value) {
    out.print("{:<18} {}\n", name, value.empty() ? "none" : printable(value));
}

void printVerbose(const Options& options, Output& out) {
    out.print("\n");
    for (const std::string& file : libraries()) printRow(out, "library", file);
    printRow(out, "precision", fmt::format("double, {} digits; times in days resolve 0.3 us, keys 0.1 s", DBL_DIG));
    printRow(out, "key mode", GetObsKeyMode() == 0 ? "field keys" : "address keys");
    if (configuration().files.empty()) printRow(out, "configuration", {});
    for (const std::string& file : configuration().files) printRow(out, "configuration", file);
    for (const Setting& setting : configuration().settings)
        printRow(out, "option",
                 fmt::format("--{}={} ({}{})", setting.option, setting.value, setting.place,
                             setting.command.empty() ? "" : ", for " + setting.command));
    printRow(out, "laser stations", shippedStations());
    printRow(out, "sensors", options.sensors);
    printRow(out, "Earth orientation", options.earthOrientation);
    for (const EnvironmentVariable& variable : environmentVariables())
        if (const char* const value = std::getenv(variable.name); value != nullptr)
            printRow(out, "environment", fmt::format("{}={}", variable.name, value));
}

ExitStatus run(const Options& options, Output& out) {
    Text512 info;
    ObsGetInfo(info.data());
    out.print("{}\n", info.str());
    printRow(out, "commit", OBSTOOL_COMMIT);
    printRow(out, "compiler", OBSTOOL_COMPILER);
    if (options.verbose) printVerbose(options, out);
    return ExitStatus::allGood;
}

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<Options>();
    app.add_flag("-v,--verbose", options->verbose, "Tell what is in force, too");
    // What the commands that load would take.
    for (const auto& [name, value] :
         {std::pair("--sensors", &options->sensors), std::pair("--earth-orientation", &options->earthOrientation)})
        app.add_option(name, *value, "As the commands that load files have it")->type_name("FILE")->group("");
    return runWith(std::move(options), run);
}

}  // namespace

Command commandVersion() { return {"version", "Tell the version, and what is in force", kFooter, add}; }

}  // namespace obstool
