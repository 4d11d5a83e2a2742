// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Commands.h"
#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Formats.h"
#include "Losses.h"

namespace obstool {

namespace {

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

}  // namespace

ExitStatus runConvert(const ConvertOptions& options, Output& out) {
    const Format& format = *findFormat(options.format, options.crdData);
    Session session(options, complainOfLine);
    if (options.report == "-" && options.output == "-")
        session.fail("--report", "standard output is taken by the observations");
    else session.start();
    if (session.status() == ExitStatus::failure) return session.status();
    session.load();
    // An incomplete result must not take the place of an earlier good one.
    if (session.status() == ExitStatus::failure) return session.status();
    if (options.dryRun) {
        printText(out, *session.selection());
        return session.status();
    }

    Losses losses;
    if (!options.noReport || !options.strict.empty()) {
        const auto freeGroup = static_cast<std::int32_t>(options.files.size()) + 1;
        session.quietly(
            [&] { losses = findLosses(format, firstLineOf(options, format), options.examples, freeGroup); });
    }
    const std::string output = options.output == "-" ? "(standard output)" : options.output;
    if (!options.strict.empty() && losses.any(options.strict == kStrictExact))
        session.fail(output, "not written: the format cannot carry everything");
    else if (!options.strict.empty() && session.uncorrected() > 0)
        session.fail(output, fmt::format("not written: {} corrections that were asked for could not be applied",
                                         session.uncorrected()));
    else session.save(options.output, options.append, format);
    writeReport(options, describe(losses, format, output), session, out);
    return session.status();
}

}  // namespace obstool
