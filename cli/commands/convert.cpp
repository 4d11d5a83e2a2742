// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "cli/CommandLine.h"
#include "cli/Formats.h"
#include "cli/KeptFile.h"
#include "cli/Losses.h"
#include "cli/OptionTree.h"
#include "cli/commands/Command.h"

namespace obstool {

namespace {

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

A file OUT or REPORT that is there already is kept unless --force is given; pipes and devices
are written. --append adds to OUT. Before OUT takes the place of one of the FILEs it is told what
that drops beside the form of the lines.

With --strict nothing is written either when laser ranges lack a correction that was asked for.

CRD files take ranges (types 2 and 6) of laser stations alone, in the order of stations,
satellites and times. The corrections that are asked for count as applied to all of them.)";

struct ConvertOptions : CommonOptions {
    std::string output;
    std::string format;  ///< a name of formats()
    std::string crdData = "npt";
    bool append = false, force = false;
    std::string strict;  ///< empty, or one of kStrict...
    std::string report;  ///< file for the report; empty: standard error
    bool noReport = false;
    std::size_t examples = 3;
};

constexpr std::string_view kStrictLosses = "true";  ///< of a flag without value; rounding is not a loss
constexpr std::string_view kStrictExact = "exact";

/// Number of the first line that is written.
std::int64_t firstLineOf(const ConvertOptions& options, const Format& format) {
    std::int64_t before = 0;
    std::error_code error;
    if (options.append && std::filesystem::is_regular_file(options.output, error)) {
        std::ifstream file(options.output);
        char last = '\n';
        for (auto at = std::istreambuf_iterator<char>(file); at != std::istreambuf_iterator<char>(); ++at)
            before += (last = *at) == '\n';
        before += last != '\n';  // an unfinished line is ended first
    }
    return before + format.facts[OBS_FORMAT_HEADER_LINES] + 1;
}

void writeReport(const ConvertOptions& options, const std::string& text, Session& session, Output& out) {
    if (options.noReport) return;
    if (options.report == "-") return out.print("{}", text);
    if (options.report.empty()) {
        std::fwrite(text.data(), 1, text.size(), stderr);
        return;
    }
    errno = 0;
    std::ofstream file(options.report);
    file << text << std::flush;
    if (!file) session.fail(options.report, std::strerror(errno != 0 ? errno : EIO));
}

/// Fails for files that would be replaced without being asked for, before any is read.
void checkOutputs(const ConvertOptions& options, Session& session) {
    constexpr auto kThere = "it is there already: --force replaces it";
    const bool isReported = !options.report.empty() && !options.noReport;
    if (isReported && options.report == "-" && options.output == "-")
        return session.fail("--report", "standard output is taken by the observations");
    if (isReported && options.report != "-" && isSameFile(options.report, options.output))
        return session.fail("--report", "the observations are written there");
    const bool isLogOutput =
        isSameFile(options.log, options.output) || (isReported && isSameFile(options.log, options.report));
    if (!options.log.empty() && isLogOutput && !isDevice(options.log))
        return session.fail("--log", "the observations or the report are written there");
    if (options.dryRun || options.force) return;
    const auto isOutput = [&](const std::string& file) { return isSameFile(file, options.output); };
    const bool isInput = std::any_of(options.files.begin(), options.files.end(), isOutput);
    if (!options.append && !isInput && isKeptFile(options.output))
        session.fail(options.output, fmt::format("{}, --append adds to it", kThere));
    if (isReported && isKeptFile(options.report)) session.fail(options.report, kThere);
}

/// Tells what is lost of an input that is to be replaced; without --force that is a failure.
void checkInputs(const ConvertOptions& options, const std::vector<LoadResult>& loaded, Session& session) {
    if (options.append || !isKeptFile(options.output)) return;
    for (std::size_t i = 0; i < options.files.size(); ++i) {
        if (!isSameFile(options.files[i], options.output)) continue;
        const std::string lost = lostWith(loaded[i], loaded);
        const std::string drops = fmt::format("replacing it, one of the files read, drops {}",
                                              lost.empty() ? "nothing but the form of its lines" : lost);
        if (options.force) complain(options.output, drops);
        else session.fail(options.output, drops + ": --force does it");
        return;
    }
}

/// @param output as shown to the user
Losses saveAndCompare(const ConvertOptions& options, const Format& format, const std::string& output,
                      Session& session) {
    const auto freeGroup = static_cast<std::int32_t>(options.files.size()) + 1;
    const std::int64_t firstLine = firstLineOf(options, format);
    Losses losses;
    const auto compare = [&](const std::vector<Told>& told) {
        losses = findLosses(format, told, firstLine, options.examples, freeGroup);
    };
    const bool isStrict = !options.strict.empty(), isCompared = !options.noReport || isStrict;
    if (isCompared && !isStrict && format.isOfCards()) {
        const auto told = toldBySaving([&] { session.save(options.output, options.append, format); });
        // A save that failed has not told all.
        const bool hasToldAll = session.status() != ExitStatus::failure;
        session.quietly([&] { compare(hasToldAll ? told : toldBySaving(format)); });
        return losses;
    }
    if (isCompared) session.quietly([&] { compare(toldBySaving(format)); });
    if (isStrict && losses.any(options.strict == kStrictExact))
        session.fail(output, "not written: the format cannot carry everything");
    else if (isStrict && session.uncorrected() > 0)
        session.fail(output, fmt::format("not written: {} corrections that were asked for could not be applied",
                                         session.uncorrected()));
    else session.save(options.output, options.append, format);
    return losses;
}

ExitStatus run(const ConvertOptions& options, Output& out) {
    const Format& format = *findFormat(options.format, options.crdData);
    Session session(options, complainOfLine);
    checkOutputs(options, session);
    if (session.status() != ExitStatus::failure) session.start();
    if (session.status() == ExitStatus::failure) return session.status();
    const std::vector<LoadResult> loaded = session.load();
    if (!options.dryRun) checkInputs(options, loaded, session);
    // An incomplete result must not take the place of an earlier good one.
    if (session.status() == ExitStatus::failure) return session.status();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }

    const std::string output = options.output == "-" ? "(standard output)" : options.output;
    writeReport(options, describe(saveAndCompare(options, format, output, session), format, output), session, out);
    return session.status();
}

CLI::Validator isStrictness() {
    const auto check = [](std::string& text) {
        const bool known = text == kStrictLosses || text == kStrictExact;
        return known ? std::string() : fmt::format("the only value is {}, not {}", kStrictExact, text);
    };
    return CLI::Validator(check, "");
}

std::vector<std::string> namesOfFormats() {
    std::vector<std::string> names;
    for (const Format& format : formats())
        if (names.empty() || names.back() != format.name) names.emplace_back(format.name);
    return names;
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

std::function<ExitStatus(Output&)> add(CLI::App& app) {
    auto options = std::make_shared<ConvertOptions>();
    addCommonOptions(app, *options);
    ofFile(app.add_option("-o,--output", options->output, "File to write; - is standard output"))
        ->type_name("OUT")
        ->required();
    oneOf(app.add_option("-t,--to", options->format, formatsHelp()), namesOfFormats())->type_name("FORMAT")->required();
    oneOf(app.add_option("--crd-data", options->crdData, "Data of --to crd: npt (normal points) or frd (full rate)"),
          {"npt", "frd"})
        ->type_name("DATA")
        ->capture_default_str();
    app.add_flag("--append", options->append, "Add to the file OUT");
    app.add_flag("--force", options->force, "Replace files that are there already");
    app.add_flag("--strict", options->strict,
                 "Write nothing if more than digits would be lost; --strict=exact: or digits")
        ->check(isStrictness());
    CLI::Option* report =
        ofFile(app.add_option("--report", options->report, "File for the report; - is standard output"))
            ->type_name("REPORT");
    app.add_flag("--no-report", options->noReport, "Do not report losses")->excludes(report);
    app.add_option("--examples", options->examples, "Name the first N observations of each loss")
        ->type_name("N")
        ->check(isCount())
        ->capture_default_str();
    return runWith(std::move(options), run);
}

}  // namespace

Command commandConvert() {
    return {"convert", "Write the observations of files in another format", kConvertFooter, add};
}

}  // namespace obstool
