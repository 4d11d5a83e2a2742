// SPDX-License-Identifier: Apache-2.0
#include "KeptFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"

namespace obstool {

bool isSameFile(const std::string& a, const std::string& b) {
    std::error_code none;
    return a == b || std::filesystem::equivalent(a, b, none);
}

bool isKeptFile(const std::string& name) {
    struct stat file {
    }, output{};
    if (name == "-" || ::stat(name.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) return false;
    // "/dev/stdout" may stand for a regular file, which whoever redirected the output has replaced already.
    return ::fstat(STDOUT_FILENO, &output) != 0 || file.st_dev != output.st_dev || file.st_ino != output.st_ino;
}

std::string lostWith(const LoadResult& input, const std::vector<LoadResult>& all) {
    std::int64_t unwanted = -ObsGetCount();
    for (const LoadResult& file : all) unwanted += file.loaded;
    const struct {
        std::int64_t count;
        const char *one, *many;
    } losses[] = {
        {input.lines.comments, "comment or blank line", "comments and blank lines"},
        {input.lines.keywords, "keyword line", "keyword lines"},
        {input.bad, "bad line", "bad lines"},
        {input.lines.passedOver, "line of no known kind", "lines of no known kind"},
        {input.duplicate, "duplicate", "duplicates"},
        {unwanted, "observation that is not selected", "observations that are not selected"},
    };
    std::string text;
    for (const auto& [count, one, many] : losses)
        if (count > 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, count == 1 ? one : many);
    return text;
}

}  // namespace obstool
