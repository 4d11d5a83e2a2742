// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"

#include <charconv>
#include <cmath>
#include <cstdlib>

#include "OptionTree.h"

namespace obstool {

CLI::Validator isMeasure() {
    const auto check = [](std::string& text) {
        char* end = nullptr;
        const double value = std::strtod(text.c_str(), &end);
        const bool isGood = !text.empty() && *end == '\0' && std::isfinite(value) && value >= 0;
        return isGood ? std::string() : fmt::format("'{}' is not a number of 0 or more", text);
    };
    return CLI::Validator(check, "");
}

CLI::Validator isCount() {
    const auto check = [](std::string& text) {
        const bool isGood = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        return isGood ? std::string() : fmt::format("'{}' is not a whole number of 0 or more", text);
    };
    return CLI::Validator(check, "");
}

namespace {

/// @param kind what numbers, for the message
template <class Number>
CLI::Validator isBetween(Number low, Number high, const char* kind) {
    const auto check = [=](std::string& text) {
        Number value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, value);
        const bool isGood = error == std::errc() && stop == end && value >= low && value <= high;
        return isGood ? std::string() : fmt::format("'{}' is not {} from {} to {}", text, kind, low, high);
    };
    return CLI::Validator(check, "");
}

}  // namespace

CLI::Validator isFrom(std::int32_t low, std::int32_t high) { return isBetween(low, high, "a whole number"); }
CLI::Validator isFrom(double low, double high) { return isBetween(low, high, "a number"); }

void addChoice(CLI::App& app, const char* name, const char* help, const std::vector<std::string>& values, bool& flag) {
    const auto set = [&flag, second = values.back()](const std::string& value) { flag = value == second; };
    oneOf(app.add_option_function<std::string>(name, set, help), values)
        ->type_name(fmt::format("{}|{}", values.front(), values.back()));
}

CLI::Option* addFiles(CLI::App& app, CommonOptions& options) {
    const auto take = [&options](const std::vector<std::string>& given) {
        static_cast<FileArguments&>(options) = expandFiles(given);
    };
    return app
        .add_option_function<std::vector<std::string>>(
            "FILE", take, "Files to load, folders, or patterns in quotes; - is standard input")
        ->type_name("")
        ->required();
}

void addSelectOptions(CLI::App& app, CommonOptions& options) {
    app.add_option("-g,--group", options.groups,
                   "Only what was loaded from the Nth FILE (of duplicates, the first); may be repeated")
        ->type_name("N")
        ->check(isCount())
        ->allow_extra_args(false);
    CLI::Option* select =
        app.add_option("-s,--select", options.select, "Only what meets the criteria, for example \"sat=5 el=10:\"")
            ->type_name("CRITERIA");
    app.add_flag("--dry-run", options.dryRun, "Only tell how many observations the criteria drop")->needs(select);
}

void addLoadOptions(CLI::App& app, CommonOptions& options) {
    app.add_option("--tty-year", options.ttyYear, "Year of TTY messages in files without a TTY_YEAR line")
        ->type_name("YEAR")
        ->check(isFrom(1000, 9999));
    ofFile(app.add_option("-S,--sensors", options.sensors,
                          "File of sensors beside the laser stations, for what names or needs them"))
        ->type_name("SENSORS");
    ofFile(app.add_option("--earth-orientation", options.earthOrientation,
                          "File of UT1-UTC and polar motion by day, for states; zeros when left out"))
        ->type_name("EOP");
    oneOf(app.add_option("--troposphere", options.troposphere,
                         "Correct laser ranges by none, mendes-pavlis or marini-murray, where the file has not"),
          {kTroposphereModels.begin(), kTroposphereModels.end()})
        ->type_name("MODEL");
    app.add_flag("--centre-of-mass", options.centreOfMass,
                 "Refer laser ranges to the satellite's centre of mass, where the file has not");
    app.add_option("--line-limit", options.lineLimit,
                   "Name the first N lines or reasons of a kind in each FILE; 0 names all")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    addChoice(app, "--zeroed", "Values that cannot be read and are taken as 0: tell of them, or fail for them",
              {"tell", "fail"}, options.zeroedFails);
    addChoice(app, "--passed-over", "Lines that are nothing known: fail for them, or ignore them", {"fail", "ignore"},
              options.passedOverIgnored);
    ofFile(app.add_option("--log", options.log, "Append the library's messages to LOG"))->type_name("LOG");
    app.add_option("--threads", options.threads, "Load and save with N threads, 0 with one for each core")
        ->type_name("N")
        ->check(isFrom(0, 256))
        ->capture_default_str();
    app.add_flag("-q,--quiet", options.quiet, "Do not show on a terminal how far a load or save is");
}

void addCommonOptions(CLI::App& app, CommonOptions& options) {
    addFiles(app, options);
    addSelectOptions(app, options);
    addLoadOptions(app, options);
}

}  // namespace obstool
